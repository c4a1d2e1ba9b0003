#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <optional>
#include <vector>

namespace quenstal {

// The problems that the machine reports, with presentable names and paths.

std::vector<DisplayBusProblem> monitorProblems(const MonitorWatch& monitorWatch);
std::optional<PreferencesProblem> preferencesProblem(const Preferences& preferences);

} // namespace quenstal
