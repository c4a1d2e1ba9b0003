#pragma once

#include "QuenstalCore/Models/EQProfile.hpp"

#include <array>

namespace quenstal {

/// The frequency response of a profile's bands, without the preamp, from the coefficients that the audio callback
/// runs with. Any thread.
class EqualiserResponse {
public:
    /// `sampleRate` in hertz.
    explicit EqualiserResponse(const EQProfile& profile, double sampleRate = 48000);

    /// Gain in decibels at a frequency in hertz.
    double decibelsAt(double frequencyHz) const;

private:
    /// b0, b1, b2, a1, a2; a0 is 1.
    using Coefficients = std::array<float, 5>;

    std::array<Coefficients, 5> bands_{};
    double sampleRate_;
};

} // namespace quenstal
