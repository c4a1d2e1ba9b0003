#pragma once

#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalDDC/SoftwareVolumeTap.hpp"

#include <array>

namespace quenstal {

/// The frequency response of a profile's bands, without the preamp, from the coefficients that the audio callback
/// runs with. Any thread.
class EqualizerResponse {
public:
    /// `sampleRate` in hertz, above 0.
    explicit EqualizerResponse(const EQProfile& profile, double sampleRate = 48000);

    /// Gain in decibels at a frequency in hertz.
    double decibelsAt(double frequencyHz) const;

private:
    std::array<QSBiquadCoefficients, softwareEQBandCount> bands_{};
    double sampleRate_;
};

} // namespace quenstal
