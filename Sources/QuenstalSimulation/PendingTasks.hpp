#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>

namespace quenstal {

/// What a run loop has yet to run: posted tasks in their order, and timers. All on the loop's thread but `post`.
class PendingTasks {
public:
    using Task = RunLoop::Task;
    using Duration = RunLoop::Duration;
    using SteadyTime = RunLoop::SteadyTime;

    /// Any thread.
    void post(Task task);
    /// An interval of zero is a single shot. The result goes before this does.
    [[nodiscard]] Cancellation addTimer(SteadyTime due, Duration interval, Task task);

    /// Runs the oldest posted task. False when there is none.
    bool runPosted();
    /// Runs the earliest timer that is due; a repetition is due again an interval later. False when none is.
    bool runDueTimer(SteadyTime now);

    /// When the earliest timer is due.
    std::optional<SteadyTime> nextDue() const;
    std::size_t timers() const { return timers_.size(); }

private:
    struct Timer {
        SteadyTime due;
        Duration interval;
        Task task;
    };
    using Timers = std::map<std::uint64_t, Timer>;

    std::mutex mutex_; // guards posted_
    std::deque<Task> posted_;
    std::uint64_t lastKey_ = 0;
    Timers timers_;
};

} // namespace quenstal
