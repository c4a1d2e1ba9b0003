#pragma once

#include "Support/EpollRunLoop.hpp"

#include <chrono>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace quenstal {

/// How many times as long as usual everything takes on this machine, which was measured while it booted. At least 1;
/// always 1 on a machine that is not emulated.
int machineSlowness();

/// The limit on this machine of what is waited for at most so long on one of the usual speed.
template <class Duration>
Duration slowed(Duration usual)
{
    return usual * machineSlowness();
}

/// What a limit that was met says: "gave up after 60 s (2 times the usual 30 s: this machine is slow)".
std::string gaveUpAfter(std::chrono::nanoseconds usual);

/// A run loop whose limits are those of a machine of the usual speed: on a slower one it waits longer.
class MachineLoop final : public EpollRunLoop {
public:
    /// Runs turns until the condition holds. A limit that is met says how long it was.
    testing::AssertionResult runUntil(
        const std::function<bool()>& condition, Duration usualLimit = std::chrono::seconds(10));
};

} // namespace quenstal
