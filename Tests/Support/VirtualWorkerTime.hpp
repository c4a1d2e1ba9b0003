#pragma once

#include "QuenstalLinux/Display/WorkerTime.hpp"

#include <list>

namespace quenstal {

/// Time that passes only while every thread that it knows is waiting, and then at once up to the next deadline. The
/// thread that makes it is one of them.
class VirtualWorkerTime final : public WorkerTime {
public:
    Time now() const override;
    void sleepUntil(Time time) override;
    bool waitUntil(
        Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready) override;
    void wakeAll(std::condition_variable& condition) override;
    std::thread startThread(std::function<void()> body) override;

    /// Lets the other threads work for this long.
    void advance(Duration duration) { sleepUntil(now() + duration); }

private:
    struct Waiter {
        const std::condition_variable* condition;
        Time deadline;
        std::condition_variable woken;
        bool isAwake = false;
    };

    void wake(Waiter& waiter);
    void passTime();

    mutable std::mutex mutex_; // guards everything below; taken after the caller's own lock
    Time now_{std::chrono::hours(1)};
    int running_ = 1;
    std::list<Waiter*> waiters_;
};

} // namespace quenstal
