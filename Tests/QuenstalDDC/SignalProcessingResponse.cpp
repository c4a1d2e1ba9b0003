#include "QuenstalDDC/SignalProcessingResponse.hpp"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace quenstal::testing_support {

namespace {

constexpr double sampleRate = 48000;
using std::numbers::pi;

double decibels(double factor)
{
    return 20 * std::log10(factor);
}

/// The sine's amplitude: its correlation with both quadratures over whole periods.
double amplitudeOf(const std::vector<float>& samples, std::size_t first, double frequencyHz)
{
    std::complex<double> sum = 0;
    for (std::size_t i = first; i < samples.size(); ++i)
        sum += static_cast<double>(samples[i])
            * std::polar(1.0, -2 * pi * frequencyHz * static_cast<double>(i) / sampleRate);
    return 2 * std::abs(sum) / static_cast<double>(samples.size() - first);
}

} // namespace

double measuredGainDB(const QSSoftwareEQProfile& profile, double frequencyHz)
{
    // A second to settle and a second to measure, which holds whole periods of every whole number of hertz.
    constexpr auto second = static_cast<std::size_t>(sampleRate);
    constexpr double amplitude = 0.05;
    std::vector<float> samples(2 * second);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i]
            = static_cast<float>(amplitude * std::sin(2 * pi * frequencyHz * static_cast<double>(i) / sampleRate));

    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, 1);
    QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
    AudioBuffer buffer{1, static_cast<std::uint32_t>(samples.size() * sizeof(float)), samples.data()};
    const AudioBufferList input{1, &buffer};
    AudioBufferList output{1, &buffer};
    QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
    return decibels(amplitudeOf(samples, second, frequencyHz) / amplitude);
}

double analyticGainDB(const QSSoftwareEQProfile& profile, double frequencyHz)
{
    const auto z = std::polar(1.0, -2 * pi * frequencyHz / sampleRate);
    double gain = static_cast<double>(profile.preampDB);
    for (const QSSoftwareEQBand& band : profile.bands) {
        const double amplitude = std::pow(10, static_cast<double>(band.gainDB) / 40);
        const double w = 2 * pi * static_cast<double>(band.frequencyHz) / sampleRate;
        const double alpha = std::sin(w) / 2;
        const auto numerator = 1 + alpha * amplitude - 2 * std::cos(w) * z + (1 - alpha * amplitude) * z * z;
        const auto denominator = 1 + alpha / amplitude - 2 * std::cos(w) * z + (1 - alpha / amplitude) * z * z;
        gain += decibels(std::abs(numerator / denominator));
    }
    return gain;
}

} // namespace quenstal::testing_support
