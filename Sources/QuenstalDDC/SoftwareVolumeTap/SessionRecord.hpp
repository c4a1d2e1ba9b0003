#pragma once

// What a software volume session remembers, and the values that cross its border.

#include "QuenstalDDC/SoftwareVolumeTap/PackedCoefficients.hpp"
#include "QuenstalPlatform/AudioBuffers.hpp"

#include <cstddef>
#include <cstdint>

namespace quenstal {

inline constexpr std::size_t softwareEQBandCount = 5;
/// Rows of filter state. Channel 7 and those above it share the last one.
inline constexpr std::size_t softwareEQChannelCount = 8;

/// One band of the equalizer as handed in.
struct QSSoftwareEQBand {
    float frequencyHz = 0;
    float gainDB = 0;
};

/// The equalizer's settings as handed in. Any values are taken: the setter clamps.
struct QSSoftwareEQProfile {
    bool enabled = false;
    float preampDB = 0;
    /// Bands in use; the rest pass through. More than five count as five.
    std::uint32_t bandCount = 0;
    QSSoftwareEQBand bands[softwareEQBandCount] = {};
};

/// One reading of the meters: linear, 0 to 1.
struct QSSoftwareLevels {
    float levelL = 0;
    float levelR = 0;
    float peakL = 0;
    float peakR = 0;
    bool clipping = false;
};

/// A biquad y = b0·x + b1·x[n−1] + b2·x[n−2] − a1·y[n−1] − a2·y[n−2], normalised so that a0 is 1.
struct QSBiquadCoefficients {
    float b0 = 0;
    float b1 = 0;
    float b2 = 0;
    float a1 = 0;
    float a2 = 0;

    static constexpr QSBiquadCoefficients passThrough() { return {.b0 = 1}; }
};

/// The last two samples in and out of one band on one channel.
struct QSBiquadState {
    float x1 = 0;
    float x2 = 0;
    float y1 = 0;
    float y2 = 0;
};

enum class QSSampleFormat : std::uint32_t { float32 = 1, float64 = 2, int16 = 3, int32 = 4 };

struct QSSignalKernels;

/// The state of one session. Obtained zero-filled and prepared by `QSSoftwareVolumeSessionPrepare`.
///
/// The main and the audio thread share it without locks: each field marked as shared has one writer, and is read and
/// written by relaxed accesses of its own width (`relaxedLoad`, `relaxedStore`).
struct QSSoftwareVolumeSession {
    AudioObjectID tapID = 0;
    AudioObjectID aggregateDeviceID = 0;
    AudioIOProcID ioProcID = nullptr;

    /// Linear, 0 to 1. Shared, written by the main thread.
    float gain = 0;
    /// Whether the bands and the preamp apply. Shared, written by the main thread.
    bool eqEnabled = false;
    /// Linear. Shared, written by the main thread.
    float preampGain = 0;

    /// Largest absolute sample of channel 0 and 1 in the last cycle. Shared, written by the audio thread.
    float levelL = 0;
    float levelR = 0;
    /// The same, falling slowly. Shared, written by the audio thread.
    float peakL = 0;
    float peakR = 0;
    /// Frames for which the clipping indicator stays lit. Shared, written by the audio thread.
    std::int32_t clipHoldFrames = 0;

    /// Shared, written by the main thread; one cycle may see a mixture of old and new.
    QSBiquadCoefficients coefficients[softwareEQBandCount] = {};
    /// Audio thread.
    QSBiquadState filterState[softwareEQChannelCount][softwareEQBandCount] = {};

    /// Frames a second. Shared, written by the main thread.
    double sampleRate = 0;

    // The form of the samples: written by the main thread, only while the procedure does not run.
    std::uint32_t channelCount = 0;
    bool nonInterleaved = false;
    std::uint32_t sampleFormat = 0;

    // The implementation's own, below this line.

    /// The machine's fastest kernels; null works too, and means the scalar reference. Written before the start.
    const QSSignalKernels* kernels = nullptr;
    /// The profile set last, from which a change of the sample rate computes anew. Main thread.
    QSSoftwareEQProfile profile = {};
    /// Main thread.
    bool hasProfile = false;
    /// The vector kernels' copy of `coefficients`. Audio thread.
    QSPackedCoefficients packed = {};
};

} // namespace quenstal
