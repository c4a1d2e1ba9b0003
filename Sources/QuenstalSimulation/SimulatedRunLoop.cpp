#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <utility>

#include <poll.h>

namespace quenstal {

/// Takes its entry out of the loop when it goes. The loop outlives it.
class SimulatedRunLoop::Registration final : public Interface {
public:
    Registration(SimulatedRunLoop& loop, Key key)
        : loop_(loop)
        , key_(key)
    {
    }
    ~Registration() override
    {
        loop_.timers_.erase(key_);
        loop_.watches_.erase(key_);
    }

private:
    SimulatedRunLoop& loop_;
    Key key_;
};

SimulatedRunLoop::SimulatedRunLoop()
    : mainThread_(std::this_thread::get_id())
{
}

void SimulatedRunLoop::post(Task task)
{
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
}

Cancellation SimulatedRunLoop::after(Duration delay, Task task)
{
    return addTimer(delay, {}, std::move(task));
}

Cancellation SimulatedRunLoop::repeat(Duration interval, Task task)
{
    return addTimer(interval, interval, std::move(task));
}

Cancellation SimulatedRunLoop::addTimer(Duration delay, Duration interval, Task task)
{
    timers_.emplace(++nextKey_, Timer{steadyNow() + delay, interval, std::move(task)});
    return std::make_unique<Registration>(*this, nextKey_);
}

Cancellation SimulatedRunLoop::watchReadable(int descriptor, Task task)
{
    watches_.emplace(++nextKey_, Watch{descriptor, std::move(task)});
    return std::make_unique<Registration>(*this, nextKey_);
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
    return runPosted() || runDueTimer() || runReadable();
}

void SimulatedRunLoop::runUntilIdle()
{
    while (runOneTurn()) { }
}

void SimulatedRunLoop::advance(Duration duration)
{
    const SteadyTime end = steadyNow() + duration;
    runUntilIdle();
    for (auto timer = earliestTimer(); timer != timers_.end() && timer->second.due <= end; timer = earliestTimer()) {
        {
            const std::lock_guard lock(mutex_);
            now_ = std::max(now_, timer->second.due);
        }
        runUntilIdle();
    }
    const std::lock_guard lock(mutex_);
    now_ = end;
}

bool SimulatedRunLoop::runPosted()
{
    Task task;
    {
        const std::lock_guard lock(mutex_);
        if (posted_.empty())
            return false;
        task = std::move(posted_.front());
        posted_.pop_front();
    }
    task();
    return true;
}

std::map<SimulatedRunLoop::Key, SimulatedRunLoop::Timer>::iterator SimulatedRunLoop::earliestTimer()
{
    return std::ranges::min_element(timers_, {}, [](const auto& entry) { return entry.second.due; });
}

bool SimulatedRunLoop::runDueTimer()
{
    const auto entry = earliestTimer();
    if (entry == timers_.end() || entry->second.due > steadyNow())
        return false;
    // A copy: the task may cancel its own timer.
    const Task task = entry->second.task;
    if (entry->second.interval > Duration::zero())
        entry->second.due += entry->second.interval;
    else
        timers_.erase(entry);
    task();
    return true;
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
