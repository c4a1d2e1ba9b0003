#pragma once

#include <string>

#include <span>

namespace quenstal {

/// Buses that lead to displays: those with such a name below a device with such a driver. Every other bus is left
/// alone. Some of a graphics card lead to its power controller, where a single read can leave the card unusable until
/// the machine is switched off. The udev rule 70-quenstal-i2c.rules gives access to the same buses.
struct KnownBus {
    const char* driver;
    /// As in a shell: ? is any character, * is any text.
    const char* name;
};

std::span<const KnownBus> knownBuses();

/// Whether a display is known to be behind the bus with this name, below a device with this driver.
bool leadsToDisplay(const std::string& driver, const std::string& name);

} // namespace quenstal
