#include "Machine/MachineLoop.hpp"

#include <algorithm>
#include <cstdlib>

namespace quenstal {

int machineSlowness()
{
    static const int measured = [] {
        const char* const told = std::getenv("QUENSTAL_MACHINE_SLOWNESS");
        return told ? std::max(1, std::atoi(told)) : 1;
    }();
    return measured;
}

std::string gaveUpAfter(std::chrono::nanoseconds usual)
{
    const auto seconds = [](std::chrono::nanoseconds time) {
        return testing::PrintToString(std::chrono::duration<double>(time).count()) + " s";
    };
    const std::string limit = "gave up after " + seconds(slowed(usual));
    if (machineSlowness() == 1)
        return limit;
    return limit + " (" + std::to_string(machineSlowness()) + " times the usual " + seconds(usual)
        + ": this machine is slow)";
}

testing::AssertionResult MachineLoop::runUntil(const std::function<bool()>& condition, Duration usualLimit)
{
    if (EpollRunLoop::runUntil(condition, slowed(usualLimit)))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << gaveUpAfter(usualLimit);
}

} // namespace quenstal
