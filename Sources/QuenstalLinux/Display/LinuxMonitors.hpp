#pragma once

// Everything that this room has for monitors, put together: what the composition of the program creates.

#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"
#include "QuenstalLinux/Display/MonitorRegistry.hpp"
#include "QuenstalLinux/Display/UdevDisplayEvents.hpp"

namespace quenstal {

/// Begins to look for monitors when it is made: make it early, since the first key press waits for what is not known
/// by then. Main thread; the run loop outlives it.
class LinuxMonitors {
public:
    LinuxMonitors(RunLoop& loop, CurrentOutputMonitor currentOutput, DisplayMachine machine = {});

    DisplayBuses& buses() { return buses_; }
    Displays& displays() { return displays_; }
    MonitorWatch& watch() { return registry_; }

private:
    MonitorRegistry registry_;
    LinuxDisplayBuses buses_;
    LinuxDisplays displays_;
    UdevDisplayEvents events_;
};

} // namespace quenstal
