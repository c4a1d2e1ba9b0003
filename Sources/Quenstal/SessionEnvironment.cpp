#include "Quenstal/SessionEnvironment.hpp"

#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <cstdlib>

namespace quenstal {

namespace {

/// Empty for one that is not set.
std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

bool isWaylandSession()
{
    return !variable("WAYLAND_DISPLAY").empty();
}

bool isDesktopSession()
{
    return isWaylandSession() || !variable("DISPLAY").empty() || !variable("QT_QPA_PLATFORM").empty();
}

std::string currentSeat()
{
    const std::string seat = variable("XDG_SEAT");
    return seat.empty() ? firstSeat : seat;
}

} // namespace quenstal
