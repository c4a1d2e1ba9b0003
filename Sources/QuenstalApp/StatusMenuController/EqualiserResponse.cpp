#include "QuenstalApp/StatusMenuController/EqualiserResponse.hpp"

#include <cmath>
#include <complex>
#include <numbers>

namespace quenstal {

EqualiserResponse::EqualiserResponse(const EQProfile& profile, double sampleRate)
    : sampleRate_(sampleRate)
{
    for (std::size_t i = 0; i < bands_.size() && i < profile.bands.size(); ++i) {
        const EQBand& band = profile.bands[i];
        const double A = std::pow(10.0, band.gainDB / 40);
        const double w = 2 * std::numbers::pi * band.frequencyHz / sampleRate;
        const double alpha = std::sin(w) / 2;
        const double a0 = 1 + alpha / A;
        bands_[i] = {static_cast<float>((1 + alpha * A) / a0), static_cast<float>(-2 * std::cos(w) / a0),
            static_cast<float>((1 - alpha * A) / a0), static_cast<float>(-2 * std::cos(w) / a0),
            static_cast<float>((1 - alpha / A) / a0)};
    }
}

double EqualiserResponse::decibelsAt(double frequencyHz) const
{
    const std::complex<double> delay = std::polar(1.0, -2 * std::numbers::pi * frequencyHz / sampleRate_);
    double magnitude = 1;
    for (const auto& [b0, b1, b2, a1, a2] : bands_) {
        const std::complex<double> zeros = double(b0) + (double(b1) + double(b2) * delay) * delay;
        const std::complex<double> poles = 1.0 + (double(a1) + double(a2) * delay) * delay;
        magnitude *= std::abs(zeros) / std::abs(poles);
    }
    return 20 * std::log10(magnitude);
}

} // namespace quenstal
