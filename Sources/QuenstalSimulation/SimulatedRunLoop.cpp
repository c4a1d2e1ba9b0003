#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include "QuenstalPlatform/Undo.hpp"

#include <algorithm>
#include <utility>

#include <poll.h>

namespace quenstal {

SimulatedRunLoop::SimulatedRunLoop()
    : mainThread_(std::this_thread::get_id())
{
}

Cancellation SimulatedRunLoop::after(Duration delay, Task task)
{
    return pending_.addTimer(steadyNow() + delay, {}, std::move(task));
}

Cancellation SimulatedRunLoop::repeat(Duration interval, Task task)
{
    return pending_.addTimer(steadyNow() + interval, interval, std::move(task));
}

Cancellation SimulatedRunLoop::watchReadable(int descriptor, Task task)
{
    watches_.emplace(++lastKey_, Watch{descriptor, std::move(task)});
    return std::make_unique<Undo>([this, key = lastKey_] { watches_.erase(key); });
}

RunLoop::SteadyTime SimulatedRunLoop::steadyNow() const
{
    const std::lock_guard lock(mutex_);
    return now_;
}

RunLoop::WallTime SimulatedRunLoop::wallNow() const
{
    const auto sinceEpoch = steadyNow().time_since_epoch() + wallOffset_;
    return WallTime(std::chrono::duration_cast<WallTime::duration>(sinceEpoch));
}

void SimulatedRunLoop::setWallTime(WallTime now)
{
    wallOffset_ = now.time_since_epoch() - steadyNow().time_since_epoch();
}

bool SimulatedRunLoop::isMainThread() const
{
    return std::this_thread::get_id() == mainThread_;
}

bool SimulatedRunLoop::runOneTurn()
{
    return pending_.runPosted() || pending_.runDueTimer(steadyNow()) || runReadable();
}

void SimulatedRunLoop::runUntilIdle()
{
    while (runOneTurn()) { }
}

void SimulatedRunLoop::advance(Duration duration)
{
    const SteadyTime end = steadyNow() + duration;
    runUntilIdle();
    for (auto due = pending_.nextDue(); due && *due <= end; due = pending_.nextDue()) {
        {
            const std::lock_guard lock(mutex_);
            now_ = std::max(now_, *due);
        }
        runUntilIdle();
    }
    const std::lock_guard lock(mutex_);
    now_ = end;
}

bool SimulatedRunLoop::runReadable()
{
    for (const auto& [key, watch] : watches_) {
        pollfd descriptor{watch.descriptor, POLLIN, 0};
        if (poll(&descriptor, 1, 0) <= 0)
            continue;
        const Task task = watch.task;
        task();
        return true;
    }
    return false;
}

} // namespace quenstal
