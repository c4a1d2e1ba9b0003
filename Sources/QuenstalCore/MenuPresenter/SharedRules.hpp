#pragma once

// The rules that the menu and the dial snapshot share.

#include "QuenstalCore/Models/State.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace quenstal::presenter {

/// The level in percent, halves away from zero, not clamped. A level that is not finite or does not fit a signed
/// 64-bit integer is a programming error and stops the process.
std::int64_t levelPercent(const VolumeSnapshot& volume);

/// "Off", "Muted" or the percentage, as in "42%".
std::string statusTitle(const QuenstalState& state);

/// The message of the first error, else of the first issue; none while disabled.
std::optional<std::string> primaryDiagnostic(const QuenstalState& state);

} // namespace quenstal::presenter
