#pragma once

// What an audio callback receives: identifiers, statuses, the stream's format, lists of buffers.

#include "QuenstalPlatform/PlatformStatus.hpp"

#include <cstdint>

namespace quenstal {

/// A device, a tap or the system itself; 0 is none.
using AudioObjectID = std::uint32_t;

/// Four characters read as one big-endian number: the names of properties and formats.
using FourCharCode = std::uint32_t;

consteval FourCharCode fourCharCode(const char (&text)[5])
{
    FourCharCode code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

/// The format of a stream of samples.
struct AudioStreamBasicDescription {
    /// Frames a second.
    double sampleRate = 0;
    FourCharCode formatID = 0;
    /// Bits of `AudioFormatFlag`.
    std::uint32_t formatFlags = 0;
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t framesPerPacket = 0;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channelsPerFrame = 0;
    std::uint32_t bitsPerChannel = 0;
    std::uint32_t reserved = 0;

    bool operator==(const AudioStreamBasicDescription&) const = default;
};

inline constexpr FourCharCode audioFormatLinearPCM = fourCharCode("lpcm");

struct AudioFormatFlag {
    static constexpr std::uint32_t isFloat = 0x01;
    static constexpr std::uint32_t isSignedInteger = 0x04;
    static constexpr std::uint32_t isNonInterleaved = 0x20;
};

/// Samples of one or, interleaved, several channels. The memory belongs to the caller of the procedure.
struct AudioBuffer {
    std::uint32_t numberChannels = 0;
    /// Size of `data` in bytes.
    std::uint32_t dataByteSize = 0;
    /// Null if the buffer is empty.
    void* data = nullptr;
};

struct AudioBufferList {
    std::uint32_t numberBuffers = 0;
    AudioBuffer* buffers = nullptr;
};

struct AudioTimeStamp {
    double sampleTime = 0;
    std::uint64_t hostTime = 0;
};

/// Called on the audio thread once a cycle; always returns 0.
using AudioIOProc = PlatformStatus (*)(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input,
    const AudioTimeStamp* inputTime, AudioBufferList* output, const AudioTimeStamp* outputTime, void* clientData);

/// Stands for a registered procedure; null is none.
using AudioIOProcID = struct AudioIOProcRegistration*;

} // namespace quenstal
