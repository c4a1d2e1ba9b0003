#pragma once

// The scalar form, step by step in the order of operations that every kernel must reproduce to the bit. It also
// serves what the vector kernels leave: short blocks, the last incomplete frame, more than eight channels.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

namespace quenstal {

/// One sample through gain, equalizer and limiter; raises `clipped` when the limiter works. Audio thread.
float QSProcessSample(QSSoftwareVolumeSession& session, std::uint32_t channel, bool eqEnabled, bool& clipped,
    float sample, float gain, float preampGain);

/// Raises the block peak of channel 0 or 1; other channels are not metered. Audio thread.
[[gnu::always_inline]] inline void QSUpdateChannelLevel(
    std::uint32_t channel, float& peakL, float& peakR, float magnitude)
{
    if (channel == 0)
        peakL = peakL < magnitude ? magnitude : peakL;
    else if (channel == 1)
        peakR = peakR < magnitude ? magnitude : peakR;
}

/// A run, sample by sample. Audio thread.
void processReference(QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run);

} // namespace quenstal
