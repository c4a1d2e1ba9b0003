#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <optional>
#include <vector>

namespace quenstal {

// What the machine tells of as missing, with names and paths that are presentable.

std::vector<DisplayBusProblem> monitorProblems(const MonitorWatch& monitorWatch);
std::optional<PreferencesProblem> preferencesProblem(const Preferences& preferences);

} // namespace quenstal
