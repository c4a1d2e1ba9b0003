#include "QuenstalQt/Panel/EqualizerPlot.hpp"

#include "QuenstalApp/StatusMenuController/EqualizerResponse.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

/// The frequency at a place of the plot, in bands from the left edge: logarithmic between the bands, which stand
/// evenly spread in the middle of their columns; 20 Hz and 20 kHz at the edges.
double plotFrequency(const std::vector<EQBand>& bands, double column)
{
    constexpr double lowest = 20;
    constexpr double highest = 20000;
    const double last = static_cast<double>(bands.size()) - 0.5;
    if (column <= 0.5)
        return lowest * std::pow(bands.front().frequencyHz / lowest, column / 0.5);
    if (column >= last)
        return bands.back().frequencyHz * std::pow(highest / bands.back().frequencyHz, (column - last) / 0.5);
    const auto left = static_cast<std::size_t>(column - 0.5);
    const double from = bands[left].frequencyHz;
    return from * std::pow(bands[left + 1].frequencyHz / from, column - 0.5 - static_cast<double>(left));
}

} // namespace

qreal meterPosition(double level)
{
    constexpr double floorDB = 48;
    return level <= 0 ? 0 : std::clamp(1 + 20 * std::log10(level) / floorDB, 0.0, 1.0);
}

QList<qreal> plottedResponse(const EQProfile& profile)
{
    constexpr int points = 121;
    QList<qreal> decibels;
    if (profile.bands.empty())
        return decibels;
    const EqualizerResponse response(profile);
    const auto columns = static_cast<double>(profile.bands.size());
    for (int point = 0; point < points; ++point)
        decibels << response.decibelsAt(plotFrequency(profile.bands, columns * point / (points - 1)));
    return decibels;
}

} // namespace quenstal
