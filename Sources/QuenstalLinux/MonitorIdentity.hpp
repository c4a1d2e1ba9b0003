#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quenstal {

/// What a sound output knows of the monitor that it plays on.
struct MonitorIdentity {
    /// As the monitor calls itself; empty when unknown.
    std::string name;
    /// Bytes 8 and 9 of the monitor's EDID, the first in the low byte: the order in which an ELD gives them.
    std::optional<std::uint16_t> manufacturer;
    /// Bytes 10 and 11, likewise.
    std::optional<std::uint16_t> product;

    bool operator==(const MonitorIdentity&) const = default;
};

/// The monitor that plays the current sound output, absent when that cannot be told. Main thread; answers at once.
using CurrentOutputMonitor = std::function<std::optional<MonitorIdentity>()>;

} // namespace quenstal
