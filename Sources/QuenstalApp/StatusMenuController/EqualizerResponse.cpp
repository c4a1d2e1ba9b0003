#include "QuenstalApp/StatusMenuController/EqualizerResponse.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace quenstal {

namespace {

QSSoftwareEQProfile handedIn(const EQProfile& profile)
{
    QSSoftwareEQProfile handed;
    handed.enabled = true;
    handed.bandCount = static_cast<std::uint32_t>(std::min(profile.bands.size(), softwareEQBandCount));
    for (std::uint32_t i = 0; i < handed.bandCount; ++i) {
        const EQBand& band = profile.bands[i];
        handed.bands[i] = {static_cast<float>(band.frequencyHz), static_cast<float>(band.gainDB)};
    }
    return handed;
}

/// The factor of one band, from its transfer function on the unit circle.
double magnitude(const QSBiquadCoefficients& band, std::complex<double> delay)
{
    const std::complex<double> zeros = double{band.b0} + (double{band.b1} + double{band.b2} * delay) * delay;
    const std::complex<double> poles = 1.0 + (double{band.a1} + double{band.a2} * delay) * delay;
    return std::abs(zeros) / std::abs(poles);
}

} // namespace

EqualizerResponse::EqualizerResponse(const EQProfile& profile, double sampleRate)
    : sampleRate_(sampleRate)
{
    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, 1);
    QSSoftwareVolumeSessionSetSampleRate(&session, sampleRate);
    const QSSoftwareEQProfile handed = handedIn(profile);
    QSSoftwareVolumeSessionSetEQProfile(&session, &handed);
    std::ranges::copy(session.coefficients, bands_.begin());
}

double EqualizerResponse::decibelsAt(double frequencyHz) const
{
    const std::complex<double> delay = std::polar(1.0, -2 * std::numbers::pi * frequencyHz / sampleRate_);
    double factor = 1;
    for (const QSBiquadCoefficients& band : bands_)
        factor *= magnitude(band, delay);
    return 20 * std::log10(factor);
}

} // namespace quenstal
