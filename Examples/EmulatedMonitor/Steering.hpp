#pragma once

#include "EmulatedMonitor/EmulatedMachine.hpp"

#include <memory>
#include <string>

namespace quenstal {

/// A monitor and its cable in the hands of another program, by words:
///
///     volume        answers its volume, in the monitor's own units
///     volume N      someone turns its knob
///     well          every fault is over
///     deaf          DDC/CI is not answered at all
///     refuse        what would change something is refused
///     garbage       every answer is noise
///     empty         every answer is an empty message
///     checksum      every answer has a wrong checksum
///     late          every answer is the one before
///     fail N        the next N messages are not acknowledged
///     unplug, plug  the cable
///     hotplug       the kernel's event alone
class Steering {
public:
    Steering(EmulatedMachine& machine, std::string connector, std::shared_ptr<SimulatedMonitor> monitor);

    /// What is answered to one line: a number, "ok", or "unknown".
    std::string obey(const std::string& line);

private:
    void plug(bool isIn);

    EmulatedMachine& machine_;
    const std::string connector_;
    const std::shared_ptr<SimulatedMonitor> monitor_;
};

} // namespace quenstal
