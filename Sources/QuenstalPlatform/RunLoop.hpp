#pragma once

#include "QuenstalPlatform/Interface.hpp"

#include <chrono>
#include <functional>
#include <memory>

namespace quenstal {

/// Ends what it stands for (a pending call, a repetition, a watch) when it is destroyed.
using Cancellation = std::unique_ptr<Interface>;

/// The main thread's loop and its clocks. Calls run one at a time, on the main thread, each on a turn of its own.
class RunLoop : public Interface {
public:
    using Task = std::function<void()>;
    using Duration = std::chrono::nanoseconds;
    using SteadyTime = std::chrono::steady_clock::time_point;
    using WallTime = std::chrono::system_clock::time_point;

    /// Runs the task on a later turn, after all tasks posted before it. Any thread.
    virtual void post(Task task) = 0;
    /// Runs the task once, no earlier than the delay from now. Main thread.
    [[nodiscard]] virtual Cancellation after(Duration delay, Task task) = 0;
    /// Runs the task every interval, first after one interval. Missed ticks are skipped. Main thread.
    [[nodiscard]] virtual Cancellation repeat(Duration interval, Task task) = 0;
    /// Runs the task on every turn on which the descriptor can be read, until cancelled. The descriptor stays the
    /// caller's. Main thread.
    [[nodiscard]] virtual Cancellation watchReadable(int descriptor, Task task) = 0;

    /// Never goes back. Any thread.
    virtual SteadyTime steadyNow() const = 0;
    /// The time of day. Any thread.
    virtual WallTime wallNow() const = 0;
    virtual bool isMainThread() const = 0;
};

} // namespace quenstal
