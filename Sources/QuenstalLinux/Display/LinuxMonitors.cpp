#include "QuenstalLinux/Display/LinuxMonitors.hpp"

#include <utility>

namespace quenstal {

LinuxMonitors::LinuxMonitors(RunLoop& loop, CurrentOutputMonitor currentOutput, DisplayMachine machine)
    : registry_(loop, std::move(machine), std::move(currentOutput))
    , buses_(registry_)
    , displays_(registry_)
    , events_(loop, [this] { registry_.devicesChanged(); })
{
}

} // namespace quenstal
