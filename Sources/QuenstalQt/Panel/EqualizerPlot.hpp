#pragma once

#include "QuenstalCore/Models.hpp"

#include <QList>

namespace quenstal {

/// Where a linear level stands on the meter: 0 at −48 dB, 1 at full scale.
qreal meterPosition(double level);

/// Decibels at points evenly spread over the plot, whose columns are the bands; none without bands.
QList<qreal> plottedResponse(const EQProfile& profile);

} // namespace quenstal
