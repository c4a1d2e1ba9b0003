#include "QuenstalDDC/SoftwareVolumeTap/Reference.hpp"

#include "QuenstalDDC/SoftwareVolumeTap/RelaxedAccess.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

float runBand(const QSBiquadCoefficients& band, QSBiquadState& state, float x)
{
    const float y = relaxedLoad(band.b0) * x + relaxedLoad(band.b1) * state.x1 + relaxedLoad(band.b2) * state.x2
        - relaxedLoad(band.a1) * state.y1 - relaxedLoad(band.a2) * state.y2;
    state.x2 = state.x1;
    state.x1 = x;
    state.y2 = state.y1;
    state.y1 = y;
    return y;
}

template <class Format>
void processFormat(QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run)
{
    for (std::size_t j = 0; j < run.count; ++j) {
        const std::uint32_t channel = run.firstChannel + static_cast<std::uint32_t>(j % run.channels);
        const float sample = decodeAt<Format>(run.input, j);
        const float result
            = QSProcessSample(session, channel, cycle.eqEnabled, cycle.clipped, sample, cycle.gain, cycle.preampGain);
        encodeAt<Format>(run.output, j, result);
        QSUpdateChannelLevel(channel, cycle.peakL, cycle.peakR, std::fabs(result));
    }
}

void processReferencePair(
    QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& left, const QSSampleRun& right)
{
    processReference(session, cycle, left);
    processReference(session, cycle, right);
}

} // namespace

float QSProcessSample(QSSoftwareVolumeSession& session, std::uint32_t channel, bool eqEnabled, bool& clipped,
    float sample, float gain, float preampGain)
{
    float y = sample * gain;
    if (eqEnabled) {
        y = sample * gain * preampGain;
        auto& row = session.filterState[std::min<std::size_t>(channel, softwareEQChannelCount - 1)];
        for (std::size_t k = 0; k < softwareEQBandCount; ++k)
            y = runBand(session.coefficients[k], row[k], y);
    }
    if (y > 1 || y < -1)
        clipped = true;
    if (!std::isfinite(y))
        return 0;
    if (y > 1)
        return 1;
    return y < -1 ? -1 : y;
}

void processReference(QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run)
{
    withFormat(run.format, [&](auto format) { processFormat<decltype(format)>(session, cycle, run); });
}

const QSSignalKernels referenceKernels{
    .name = "reference", .process = processReference, .processPair = processReferencePair};

} // namespace quenstal
