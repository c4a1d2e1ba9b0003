#pragma once

// Gain, equalizer, limiter and meters of a software volume session: the setters, the reader and the procedure.
// A null session is taken everywhere and does nothing.

#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

namespace quenstal {

/// Gives a zero-filled record its first values: the gain (clamped), an equalizer that is off and passes through,
/// 48 kHz, two interleaved channels of float32, and the fastest kernels of this machine. Main thread, before the start.
void QSSoftwareVolumeSessionPrepare(QSSoftwareVolumeSession& session, float initialGain);

/// Any number is taken; see `QSClampGain`. Heard from the next cycle on. Main thread.
void QSSoftwareVolumeSessionSetGain(QSSoftwareVolumeSession* session, float gain);

/// Computes and stores preamp, bands and whether they apply. Gains are clamped to −12…+12 dB, the preamp to −12…+6 dB,
/// frequencies to 1 Hz below half the sample rate. The filters keep their state: no click. A null profile changes
/// nothing. Main thread.
void QSSoftwareVolumeSessionSetEQProfile(QSSoftwareVolumeSession* session, const QSSoftwareEQProfile* profile);

/// Takes the stream's rate (48 kHz when it is not above 0) and computes the bands of the profile set last for it.
/// May be called while the procedure runs. Main thread.
void QSSoftwareVolumeSessionSetSampleRate(QSSoftwareVolumeSession* session, double sampleRate);

/// Copies the meters; all zero for a null session. Nothing happens without a place for them. Reading changes nothing.
/// Main thread.
void QSSoftwareVolumeSessionReadLevels(const QSSoftwareVolumeSession* session, QSSoftwareLevels* levels);

/// One cycle: copies input to output and applies gain, equalizer and limiter; meters the first two channels.
/// An `AudioIOProc`; `clientData` is the session. Takes any bytes, and writes only to the output buffers, only samples
/// in [−1, 1]. Always returns 0. Audio thread: no allocation, no lock, no system call; restores the floating-point
/// mode.
PlatformStatus QSSoftwareVolumeIOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input,
    const AudioTimeStamp* inputTime, AudioBufferList* output, const AudioTimeStamp* outputTime, void* clientData);

/// A number that is not finite or below 0 gives 0, one above 1 gives 1. Any thread.
float QSClampGain(float gain);

/// A number that is not finite gives 0; else it is limited to [−12, limit]. Any thread.
float QSClampDB(float decibels, float limit);

} // namespace quenstal
