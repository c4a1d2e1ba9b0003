#pragma once

#include "QuenstalPlatform/RunLoop.hpp"
#include "QuenstalSimulation/PendingTasks.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <thread>

namespace quenstal {

/// A run loop in real time, for tests of what talks to real servers and devices. The thread that makes it is the main
/// thread.
class EpollRunLoop : public RunLoop {
public:
    EpollRunLoop();
    ~EpollRunLoop() override;

    void post(Task task) override;
    [[nodiscard]] Cancellation after(Duration delay, Task task) override;
    [[nodiscard]] Cancellation repeat(Duration interval, Task task) override;
    [[nodiscard]] Cancellation watchReadable(int descriptor, Task task) override;
    SteadyTime steadyNow() const override { return std::chrono::steady_clock::now() + passed_; }
    WallTime wallNow() const override { return std::chrono::system_clock::now(); }
    bool isMainThread() const override { return std::this_thread::get_id() == mainThread_; }

    /// Runs turns until the condition holds. False when it does not within the limit. Looks now and then without an
    /// event, because a condition may come true on another thread, which wakes nobody.
    bool runUntil(const std::function<bool()>& condition, Duration limit = std::chrono::seconds(10),
        Duration longestWait = std::chrono::milliseconds(5));
    void runFor(Duration duration);
    /// So much time has passed without anything happening.
    void letPass(Duration duration) { passed_ += duration; }
    /// Times that the loop woke up since it was made.
    std::uint64_t wakeUps() const { return wakeUps_; }

private:
    struct Watch {
        int descriptor;
        Task task;
    };
    using Key = std::uint64_t;

    /// Waits for an event until that time at the latest, and runs what it woke up for.
    void waitUntil(SteadyTime end);
    void wake() const;

    const std::thread::id mainThread_ = std::this_thread::get_id();
    Duration passed_{};
    PendingTasks pending_;
    int epoll_;
    int wakeEvent_;
    Key lastKey_ = 0;
    std::map<Key, Watch> watches_;
    std::uint64_t wakeUps_ = 0;
};

} // namespace quenstal
