#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace quenstal {

/// The clock of the threads that wait for monitors. All their waiting goes through it, so that tests can move it by
/// hand. Any thread.
class WorkerTime : public Interface {
public:
    using Duration = RunLoop::Duration;
    using Time = RunLoop::SteadyTime;
    using Lock = std::unique_lock<std::mutex>;

    static constexpr Time never = Time::max();

    virtual Time now() const = 0;
    virtual void sleepUntil(Time time) = 0;
    /// Waits until `ready`, which is called under the lock, or until the deadline. Returns the last result of `ready`.
    virtual bool waitUntil(
        Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready)
        = 0;
    virtual void wakeAll(std::condition_variable& condition) = 0;
    virtual std::thread startThread(std::function<void()> body) = 0;
};

/// Real time.
class RealWorkerTime final : public WorkerTime {
public:
    Time now() const override;
    void sleepUntil(Time time) override;
    bool waitUntil(
        Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready) override;
    void wakeAll(std::condition_variable& condition) override;
    std::thread startThread(std::function<void()> body) override;
};

} // namespace quenstal
