#pragma once

#include "QuenstalPlatform/RunLoop.hpp"
#include "QuenstalSimulation/PendingTasks.hpp"

#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace quenstal {

/// A run loop whose time is moved by hand. The thread that makes it is the main thread; only `post` and the clocks
/// may be used from another.
class SimulatedRunLoop final : public RunLoop {
public:
    SimulatedRunLoop();

    void post(Task task) override { pending_.post(std::move(task)); }
    [[nodiscard]] Cancellation after(Duration delay, Task task) override;
    [[nodiscard]] Cancellation repeat(Duration interval, Task task) override;
    [[nodiscard]] Cancellation watchReadable(int descriptor, Task task) override;
    SteadyTime steadyNow() const override;
    WallTime wallNow() const override;
    bool isMainThread() const override;

    /// Runs one turn: the oldest posted task, else the earliest timer that is due, else the task of a descriptor
    /// that can be read. False when there was nothing to run.
    bool runOneTurn();
    /// Runs turns until nothing is left to do at the present time. Does not move time.
    void runUntilIdle();
    /// Moves time on, running everything that falls due on the way, at its own time.
    void advance(Duration duration);

    /// Time of day at construction; `wallNow` moves on from it with the steady clock.
    void setWallTime(WallTime now);
    /// Timers that would still fire: none is left behind by a well-behaved owner.
    std::size_t pendingTimers() const { return pending_.timers(); }

private:
    struct Watch {
        int descriptor;
        Task task;
    };
    using Key = std::uint64_t;

    bool runReadable();

    const std::thread::id mainThread_;
    mutable std::mutex mutex_; // guards now_
    SteadyTime now_{};
    Duration wallOffset_{};
    PendingTasks pending_;
    Key lastKey_ = 0;
    std::map<Key, Watch> watches_;
};

} // namespace quenstal
