#pragma once

#include "QuenstalDDC/SoftwareVolumeTap.hpp"

namespace quenstal::testing_support {

/// What the procedure does to a sine of that frequency at 48 kHz, in decibels: measured on its output.
double measuredGainDB(const QSSoftwareEQProfile& profile, double frequencyHz);

/// What the textbook's five peaking filters and the preamp would do, in double precision.
double analyticGainDB(const QSSoftwareEQProfile& profile, double frequencyHz);

} // namespace quenstal::testing_support
