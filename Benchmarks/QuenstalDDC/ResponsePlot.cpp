#include "ResponsePlot.hpp"

#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalDDC/SignalProcessingResponse.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

namespace quenstal {

namespace {

using namespace testing_support;

constexpr std::array presets{
    EQPresetName::flat, EQPresetName::voice, EQPresetName::movie, EQPresetName::music, EQPresetName::night};
constexpr std::array colours{"#7f7f7f", "#d9572b", "#2b7fd9", "#2f9e44", "#8e44ad"};

/// Three an octave, whole hertz.
constexpr std::array frequencies{20, 25, 32, 40, 50, 63, 80, 100, 125, 160, 200, 250, 315, 400, 500, 630, 800, 1000,
    1250, 1600, 2000, 2500, 3150, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000};

QSSoftwareEQProfile profileOf(EQPresetName preset)
{
    const EQProfile settings(true, preset, 0);
    QSSoftwareEQProfile profile{.enabled = true, .bandCount = 5};
    for (std::size_t k = 0; k < softwareEQBandCount; ++k) {
        const EQBand& band = settings.bands[k];
        profile.bands[k] = {static_cast<float>(band.frequencyHz), static_cast<float>(band.gainDB)};
    }
    return profile;
}

// The drawing: logarithmic frequency to the right, decibels upwards.

constexpr double width = 860;
constexpr double height = 420;
constexpr double margin = 48;
constexpr double range = 6;

double xOf(double frequency)
{
    return margin + (width - 2 * margin) * std::log10(frequency / 20) / 3;
}

double yOf(double gainDB)
{
    return height / 2 - (height / 2 - margin) * gainDB / range;
}

void drawGrid(std::ostream& svg)
{
    for (int gain = -static_cast<int>(range); gain <= static_cast<int>(range); gain += 2) {
        svg << "<path class='grid' d='M" << xOf(20) << ' ' << yOf(gain) << 'H' << xOf(20000) << "'/><text x='"
            << margin - 8 << "' y='" << yOf(gain) + 4 << "' text-anchor='end'>" << gain << "</text>\n";
    }
    for (const int frequency : {20, 60, 250, 1000, 4000, 12000, 20000}) {
        svg << "<path class='grid' d='M" << xOf(frequency) << ' ' << yOf(range) << 'V' << yOf(-range) << "'/><text x='"
            << xOf(frequency) << "' y='" << yOf(-range) + 18 << "' text-anchor='middle'>" << frequency << "</text>\n";
    }
}

std::string curveOf(const QSSoftwareEQProfile& profile)
{
    std::ostringstream path;
    constexpr int points = 300;
    for (int i = 0; i <= points; ++i) {
        const double frequency = 20 * std::pow(10, 3.0 * i / points);
        path << (i == 0 ? 'M' : 'L') << xOf(frequency) << ' ' << yOf(analyticGainDB(profile, frequency));
    }
    return path.str();
}

} // namespace

void plotResponses(const std::string& path)
{
    std::ofstream svg(path);
    svg << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << width << ' ' << height
        << "'>\n<style>text{font:12px "
           "sans-serif;fill:#444}.grid{stroke:#ddd;fill:none}.line{fill:none;stroke-width:1.5}"
           "</style>\n<rect width='100%' height='100%' fill='white'/>\n";
    drawGrid(svg);

    std::printf("\nResponse, measured by sines against analytic, in decibels\n%8s", "Hz");
    for (const EQPresetName preset : presets)
        std::printf("%10s", std::string(displayName(preset)).c_str());
    std::printf("\n");
    std::array<double, presets.size()> worst{};
    for (const int frequency : frequencies) {
        std::printf("%8d", frequency);
        for (std::size_t i = 0; i < presets.size(); ++i) {
            const QSSoftwareEQProfile profile = profileOf(presets[i]);
            const double measured = measuredGainDB(profile, frequency);
            worst[i] = std::max(worst[i], std::fabs(measured - analyticGainDB(profile, frequency)));
            std::printf("%10.3f", measured);
            svg << "<circle r='2.4' fill='" << colours[i] << "' cx='" << xOf(frequency) << "' cy='" << yOf(measured)
                << "'/>\n";
        }
        std::printf("\n");
    }
    std::printf("%8s", "error");
    for (const double error : worst)
        std::printf("%10.5f", error);
    std::printf("\n");

    for (std::size_t i = 0; i < presets.size(); ++i) {
        svg << "<path class='line' stroke='" << colours[i] << "' d='" << curveOf(profileOf(presets[i]))
            << "'/><text x='" << margin + 10 + 70.0 * static_cast<double>(i) << "' y='24' style='fill:" << colours[i]
            << "'>" << displayName(presets[i]) << "</text>\n";
    }
    svg << "<text x='" << width - margin
        << "' y='24' text-anchor='end'>lines: analytic, dots: measured; dB over Hz</text>"
        << "\n</svg>\n";
    std::printf("Drawn in %s\n", path.c_str());
}

} // namespace quenstal
