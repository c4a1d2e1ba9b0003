#pragma once

#include "QuenstalLinux/Display/MonitorIdentity.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quenstal {

/// A connected connector of a graphics card, as the kernel shows it below /sys.
struct Connector {
    /// For example "card1-HDMI-A-1".
    std::string name;
    /// A panel inside the machine: never to be probed, it may freeze.
    bool isInternal = false;
    std::vector<std::uint8_t> edid;
    /// None of it known when there is no valid EDID.
    MonitorIdentity identity;
    /// For example "i2c-5"; empty when the driver does not say.
    std::string bus;

    bool operator==(const Connector&) const = default;

    /// The part of the name in front of the connector: "card1".
    std::string card() const { return name.substr(0, name.find('-')); }
    /// What to call it before the user.
    const std::string& title() const { return identity.name.empty() ? name : identity.name; }
};

/// Connected connectors in a stable order. Files that are missing, truncated or vanish meanwhile leave their field
/// empty. May block for as long as the driver probes; not on the main thread.
std::vector<Connector> readConnectors(const std::filesystem::path& sysRoot);

/// A bus of a graphics card that no connector claims.
struct UnclaimedBus {
    std::string name;
    /// "card1".
    std::string card;

    bool operator==(const UnclaimedBus&) const = default;
};

/// System management buses left out, in a stable order: where the monitors of connectors without a bus may be.
std::vector<UnclaimedBus> unclaimedDisplayBuses(const std::filesystem::path& sysRoot);

/// Whether the kernel offers I2C devices at all.
bool hasI2CDevices(const std::filesystem::path& sysRoot);

} // namespace quenstal
