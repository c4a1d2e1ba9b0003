#pragma once

// Building a software volume session from the platform's audio objects, and taking it down. Main thread.

#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"
#include "QuenstalPlatform/AudioTaps.hpp"

#include <cstddef>

namespace quenstal {

/// Name of the tap and of the aggregate device.
inline constexpr const char* softwareVolumeName = "Quenstal Software Volume";

/// Captures everything that other programs play on the device, and plays it there through
/// `QSSoftwareVolumeIOProc`, from the first cycle on with that gain. True with a handle in `*session`, or false with a
/// message in the buffer and nothing left behind. A null buffer or a size of 0 takes no message.
bool QSSoftwareVolumeSessionCreate(AudioTaps& taps, const char* deviceUID, QSSoftwareVolumeSession** session,
    char* errorBuffer, std::size_t errorBufferSize, float initialGain);

/// Ends the session and frees the record; the direct path is back. Nothing happens for null.
void QSSoftwareVolumeSessionDestroy(AudioTaps& taps, QSSoftwareVolumeSession* session);

/// Takes over the rate of the tap, which may change while the session runs. Nothing happens for null, or when the
/// format cannot be read.
void QSSoftwareVolumeSessionUpdateFormat(AudioTaps& taps, QSSoftwareVolumeSession* session);

// Used within this module only.

/// Copies the message, cut to the buffer.
void QSSetError(char* errorBuffer, std::size_t errorBufferSize, const char* message);
/// Writes "<stage> failed with status <status>.", cut to the buffer.
void QSSetStatusError(char* errorBuffer, std::size_t errorBufferSize, const char* stage, PlatformStatus status);
/// True with the form of the samples, or false with a message in the buffer.
bool QSResolveSampleFormat(const AudioStreamBasicDescription& format, std::uint32_t* sampleFormat, char* errorBuffer,
    std::size_t errorBufferSize);

} // namespace quenstal
