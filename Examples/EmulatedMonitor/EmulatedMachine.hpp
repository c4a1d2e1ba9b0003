#pragma once

#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quenstal {

/// A machine whose I2C devices and /sys the whole process and its children see in place of the real ones, with
/// simulated monitors behind /dev/i2c-N. The process must run with the preloaded library (`umockdev-wrapper`).
class EmulatedMachine {
public:
    /// By bus number; a bus without a monitor acknowledges nothing.
    using Monitors = std::map<int, std::shared_ptr<SimulatedMonitor>>;

    EmulatedMachine(const MachineFixture& machine, Monitors monitors);
    ~EmulatedMachine();
    EmulatedMachine(const EmulatedMachine&) = delete;
    EmulatedMachine& operator=(const EmulatedMachine&) = delete;

    /// Whether this process sees an emulation at all.
    static bool isPossible();

    /// Prints every message to the error output.
    void trace(bool isOn);
    /// The names of the forbidden buses that some program has opened.
    std::vector<std::string> forbiddenBusesOpened() const;

    /// A monitor is plugged in ("connected") or out, and the kernel says so.
    void setStatus(const std::string& connector, const std::string& status);
    /// The event alone, as a storm of them is made.
    void announceHotplug();

private:
    class Testbed;
    std::unique_ptr<Testbed> testbed_;
};

} // namespace quenstal
