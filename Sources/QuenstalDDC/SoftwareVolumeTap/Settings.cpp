// The main thread's side: settings in, meters out.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/RelaxedAccess.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SignalProcessing.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

constexpr double defaultSampleRate = 48000;
constexpr std::uint32_t defaultChannelCount = 2;

constexpr float lowestDB = -12;
constexpr float highestBandDB = 12;
/// It may cut more than it may boost: the limiter behind it is a hard one.
constexpr float highestPreampDB = 6;
/// Gains below this are no gain.
constexpr float inaudibleDB = 0.001f;

/// A peaking filter with Q = 1, in single precision throughout.
QSBiquadCoefficients peakingBand(const QSSoftwareEQBand& band, float sampleRate)
{
    const float gainDB = QSClampDB(band.gainDB, highestBandDB);
    const bool computable = sampleRate > 0 && std::isfinite(band.frequencyHz) && band.frequencyHz > 0;
    if (!computable || std::fabs(gainDB) < inaudibleDB)
        return QSBiquadCoefficients::passThrough();

    const float frequency = std::fmin(band.frequencyHz, sampleRate * 0.5f - 1.0f);
    const float amplitude = std::pow(10.0f, gainDB / 40.0f);
    const float w = frequency * 6.2831855f / sampleRate;
    const float cosine = std::cos(w);
    const float alpha = std::sin(w) * 0.5f;
    const float a0 = 1.0f + alpha / amplitude;
    return {
        .b0 = (1.0f + alpha * amplitude) / a0,
        .b1 = (-2.0f * cosine) / a0,
        .b2 = (1.0f - alpha * amplitude) / a0,
        .a1 = (-2.0f * cosine) / a0,
        .a2 = (1.0f - alpha / amplitude) / a0,
    };
}

void storeCoefficients(QSBiquadCoefficients& place, const QSBiquadCoefficients& value)
{
    relaxedStore(place.b0, value.b0);
    relaxedStore(place.b1, value.b1);
    relaxedStore(place.b2, value.b2);
    relaxedStore(place.a1, value.a1);
    relaxedStore(place.a2, value.a2);
}

void computeBands(QSSoftwareVolumeSession& session, const QSSoftwareEQProfile& profile)
{
    const float sampleRate = static_cast<float>(session.sampleRate);
    for (std::size_t k = 0; k < softwareEQBandCount; ++k) {
        storeCoefficients(session.coefficients[k],
            k < profile.bandCount ? peakingBand(profile.bands[k], sampleRate) : QSBiquadCoefficients::passThrough());
    }
}

} // namespace

float QSClampGain(float gain)
{
    if (!std::isfinite(gain) || gain < 0)
        return 0;
    return gain > 1 ? 1 : gain;
}

float QSClampDB(float decibels, float limit)
{
    if (!std::isfinite(decibels))
        return 0;
    if (decibels < lowestDB)
        return lowestDB;
    return decibels > limit ? limit : decibels;
}

void QSSoftwareVolumeSessionPrepare(QSSoftwareVolumeSession& session, float initialGain)
{
    session.gain = QSClampGain(initialGain);
    session.preampGain = 1;
    std::ranges::fill(session.coefficients, QSBiquadCoefficients::passThrough());
    session.sampleRate = defaultSampleRate;
    session.channelCount = defaultChannelCount;
    session.nonInterleaved = false;
    session.sampleFormat = static_cast<std::uint32_t>(QSSampleFormat::float32);
    session.kernels = &fastestKernels();
}

void QSSoftwareVolumeSessionSetGain(QSSoftwareVolumeSession* session, float gain)
{
    if (session)
        relaxedStore(session->gain, QSClampGain(gain));
}

void QSSoftwareVolumeSessionSetEQProfile(QSSoftwareVolumeSession* session, const QSSoftwareEQProfile* profile)
{
    if (!session || !profile)
        return;
    session->profile = *profile;
    session->hasProfile = true;
    relaxedStore(session->preampGain, std::pow(10.0f, QSClampDB(profile->preampDB, highestPreampDB) / 20.0f));
    relaxedStore(session->eqEnabled, profile->enabled);
    computeBands(*session, *profile);
}

void QSSoftwareVolumeSessionSetSampleRate(QSSoftwareVolumeSession* session, double sampleRate)
{
    if (!session)
        return;
    relaxedStore(session->sampleRate, sampleRate > 0 ? sampleRate : defaultSampleRate);
    if (session->hasProfile)
        computeBands(*session, session->profile);
}

void QSSoftwareVolumeSessionReadLevels(const QSSoftwareVolumeSession* session, QSSoftwareLevels* levels)
{
    if (!levels)
        return;
    *levels = {};
    if (!session)
        return;
    levels->levelL = relaxedLoad(session->levelL);
    levels->levelR = relaxedLoad(session->levelR);
    levels->peakL = relaxedLoad(session->peakL);
    levels->peakR = relaxedLoad(session->peakR);
    levels->clipping = relaxedLoad(session->clipHoldFrames) > 0;
}

} // namespace quenstal
