#pragma once

#include "QuenstalLinux/MonitorIdentity.hpp"

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
    /// For example "i2c-5"; empty when the driver does not say, or names one that is not known to lead to a display.
    std::string bus;
    /// Buses that the monitor may be behind, but are not known to lead to displays and are left alone, with their
    /// names: "i2c-3 (AMDGPU SMU 0)".
    std::vector<std::string> leftAlone;

    bool operator==(const Connector&) const = default;

    /// The part of the name in front of the connector: "card1".
    std::string card() const { return name.substr(0, name.find('-')); }
    /// What to call it before the user.
    const std::string& title() const { return identity.name.empty() ? name : identity.name; }
};

/// Connected connectors in a stable order. Files that are missing, truncated or vanish meanwhile leave their field
/// empty. May block for as long as the driver probes; not on the main thread.
std::vector<Connector> readConnectors(const std::filesystem::path& sysRoot);

/// An I2C bus, most often of a graphics card.
struct CardBus {
    /// "i2c-5".
    std::string device;
    /// As its driver calls it.
    std::string name;
    /// "card1"; empty when it hangs below something else.
    std::string card;
    /// To lead to a display. Others are not to be touched.
    bool isKnown = false;

    bool operator==(const CardBus&) const = default;

    /// "i2c-5 (AMDGPU DM i2c hw bus 0)".
    std::string title() const { return device + " (" + name + ")"; }
};

/// The buses that no connector claims, in a stable order: where the monitors of connectors without a bus may be.
std::vector<CardBus> unclaimedBuses(const std::filesystem::path& sysRoot);

/// Whether the kernel offers I2C devices at all.
bool hasI2CDevices(const std::filesystem::path& sysRoot);

} // namespace quenstal
