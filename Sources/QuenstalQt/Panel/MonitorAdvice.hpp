#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"

#include <vector>

#include <QString>

namespace quenstal {

/// What keeps the monitors from being controlled, and what helps, in the user's language: a sentence for each problem.
/// A remedy that several monitors in a row share is given once, after the last.
QString monitorAdvice(const std::vector<DisplayBusProblem>& problems);

} // namespace quenstal
