#pragma once

#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <chrono>
#include <functional>

#include <poll.h>

namespace quenstal {

/// Runs turns until it holds, for five seconds of real time at most: for what other processes and threads bring about.
inline bool eventually(SimulatedRunLoop& loop, const std::function<bool()>& holds)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        loop.runUntilIdle();
        poll(nullptr, 0, 1);
    }
    return true;
}

} // namespace quenstal
