#pragma once

#include "QuenstalLinux/MonitorIdentity.hpp"

#include <cstdint>
#include <optional>
#include <string>

#include <span>

namespace quenstal {

/// The length of an EDID's first block; what follows it is of no interest here.
inline constexpr std::size_t edidBlockLength = 128;

/// A monitor's description of itself. None for bytes that do not begin with an EDID block with a correct checksum.
std::optional<MonitorIdentity> monitorIdentityOf(std::span<const std::uint8_t> edid);

/// Whether two descriptions can be of one monitor: something known of both is equal, and nothing known of both
/// differs.
bool describeSameMonitor(const MonitorIdentity& a, const MonitorIdentity& b);

} // namespace quenstal
