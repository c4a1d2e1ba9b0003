#include "QuenstalSimulation/PendingTasks.hpp"

#include "QuenstalPlatform/Undo.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

auto earliest(auto& timers)
{
    return std::ranges::min_element(timers, {}, [](const auto& entry) { return entry.second.due; });
}

} // namespace

void PendingTasks::post(Task task)
{
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
}

Cancellation PendingTasks::addTimer(SteadyTime due, Duration interval, Task task)
{
    timers_.emplace(++lastKey_, Timer{due, interval, std::move(task)});
    return std::make_unique<Undo>([this, key = lastKey_] { timers_.erase(key); });
}

bool PendingTasks::runPosted()
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

bool PendingTasks::runDueTimer(SteadyTime now)
{
    const auto entry = earliest(timers_);
    if (entry == timers_.end() || entry->second.due > now)
        return false;
    // A copy: the task may cancel its own timer.
    const Task task = entry->second.task;
    if (entry->second.interval > Duration::zero())
        entry->second.due = now + entry->second.interval;
    else
        timers_.erase(entry);
    task();
    return true;
}

std::optional<RunLoop::SteadyTime> PendingTasks::nextDue() const
{
    const auto entry = earliest(timers_);
    if (entry == timers_.end())
        return std::nullopt;
    return entry->second.due;
}

} // namespace quenstal
