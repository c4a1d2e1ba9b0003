#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include <systemd/sd-event.h>

namespace quenstal {

/// A run loop over libsystemd's, for programs without a toolkit. The thread that makes it is the main thread. It ends
/// when it is told to or when the process is asked to end, and feeds the watchdog of the system's service manager where
/// there is one.
class EventLoop final : public RunLoop {
public:
    /// Before anything that starts a thread: every thread must leave SIGTERM and SIGINT to the loop.
    EventLoop();
    ~EventLoop() override;

    /// Runs turns until the end. The exit status of the process.
    int run();
    /// Ends `run` after this turn.
    void exit(int status);

    void post(Task task) override;
    [[nodiscard]] Cancellation after(Duration delay, Task task) override;
    [[nodiscard]] Cancellation repeat(Duration interval, Task task) override;
    [[nodiscard]] Cancellation watchReadable(int descriptor, Task task) override;
    SteadyTime steadyNow() const override { return std::chrono::steady_clock::now(); }
    WallTime wallNow() const override { return std::chrono::system_clock::now(); }
    bool isMainThread() const override { return std::this_thread::get_id() == mainThread_; }

private:
    class Source;
    struct ReleaseEvent {
        void operator()(sd_event* event) const { sd_event_unref(event); }
    };

    Cancellation addTimer(Duration delay, Duration interval, Task task);
    void runOldestPosted();

    const std::thread::id mainThread_ = std::this_thread::get_id();
    std::mutex mutex_; // guards posted_
    std::deque<Task> posted_;
    std::unique_ptr<sd_event, ReleaseEvent> event_;
    int wakeEvent_;
    Cancellation wakeWatch_;
};

} // namespace quenstal
