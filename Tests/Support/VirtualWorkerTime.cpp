#include "Support/VirtualWorkerTime.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace quenstal {

WorkerTime::Time VirtualWorkerTime::now() const
{
    const std::lock_guard lock(mutex_);
    return now_;
}

void VirtualWorkerTime::sleepUntil(Time time)
{
    std::mutex mutex;
    std::condition_variable condition;
    Lock lock(mutex);
    waitUntil(lock, condition, time, [] { return false; });
}

bool VirtualWorkerTime::waitUntil(
    Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready)
{
    while (!ready()) {
        Waiter waiter{.condition = &condition, .deadline = deadline, .woken = {}};
        {
            Lock own(mutex_);
            if (now_ >= deadline)
                return false;
            waiters_.push_back(&waiter);
            --running_;
            lock.unlock();
            passTime();
            waiter.woken.wait(own, [&] { return waiter.isAwake; });
        }
        lock.lock();
    }
    return true;
}

void VirtualWorkerTime::wakeAll(std::condition_variable& condition)
{
    const std::lock_guard lock(mutex_);
    const auto waiters = waiters_;
    for (Waiter* waiter : waiters)
        if (waiter->condition == &condition)
            wake(*waiter);
}

void VirtualWorkerTime::wake(Waiter& waiter)
{
    waiters_.remove(&waiter);
    ++running_;
    waiter.isAwake = true;
    waiter.woken.notify_one();
}

void VirtualWorkerTime::passTime()
{
    if (running_ > 0 || waiters_.empty())
        return;
    const Time next = (*std::ranges::min_element(waiters_, {}, &Waiter::deadline))->deadline;
    if (next == never) {
        std::fputs("every thread waits for another, for ever\n", stderr);
        std::abort();
    }
    now_ = std::max(now_, next);
    const auto waiters = waiters_;
    for (Waiter* waiter : waiters)
        if (waiter->deadline <= now_)
            wake(*waiter);
}

std::thread VirtualWorkerTime::startThread(std::function<void()> body)
{
    {
        const std::lock_guard lock(mutex_);
        ++running_;
    }
    return std::thread([this, body = std::move(body)] {
        body();
        const std::lock_guard lock(mutex_);
        --running_;
        passTime();
    });
}

} // namespace quenstal
