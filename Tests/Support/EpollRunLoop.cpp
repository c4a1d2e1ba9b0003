#include "Support/EpollRunLoop.hpp"

#include "QuenstalPlatform/Undo.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace quenstal {

EpollRunLoop::EpollRunLoop()
    : epoll_(epoll_create1(EPOLL_CLOEXEC))
    , wakeEvent_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    epoll_event event{};
    event.events = EPOLLIN;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, wakeEvent_, &event) != 0)
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
}

EpollRunLoop::~EpollRunLoop()
{
    close(wakeEvent_);
    close(epoll_);
}

void EpollRunLoop::post(Task task)
{
    pending_.post(std::move(task));
    wake();
}

Cancellation EpollRunLoop::after(Duration delay, Task task)
{
    return pending_.addTimer(steadyNow() + delay, {}, std::move(task));
}

Cancellation EpollRunLoop::repeat(Duration interval, Task task)
{
    return pending_.addTimer(steadyNow() + interval, interval, std::move(task));
}

Cancellation EpollRunLoop::watchReadable(int descriptor, Task task)
{
    watches_.emplace(++lastKey_, Watch{descriptor, std::move(task)});
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = lastKey_;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0)
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    return std::make_unique<Undo>([this, key = lastKey_] {
        const auto watch = watches_.extract(key);
        if (!watch.empty())
            epoll_ctl(epoll_, EPOLL_CTL_DEL, watch.mapped().descriptor, nullptr);
    });
}

bool EpollRunLoop::runUntil(const std::function<bool()>& condition, Duration limit, Duration longestWait)
{
    const SteadyTime end = steadyNow() + limit;
    while (!condition()) {
        if (steadyNow() >= end)
            return false;
        if (!pending_.runPosted() && !pending_.runDueTimer(steadyNow()))
            waitUntil(std::min(end, steadyNow() + longestWait));
    }
    return true;
}

void EpollRunLoop::runFor(Duration duration)
{
    runUntil([] { return false; }, duration);
}

void EpollRunLoop::waitUntil(SteadyTime end)
{
    end = std::min(end, pending_.nextDue().value_or(end));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(end - steadyNow(), Duration::zero()));
    epoll_event event{};
    if (epoll_wait(epoll_, &event, 1, static_cast<int>(left.count())) != 1)
        return;
    ++wakeUps_;
    if (event.data.u64 == 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto bytes = read(wakeEvent_, &count, sizeof count);
        return;
    }
    const auto watch = watches_.find(event.data.u64);
    if (watch == watches_.end())
        return;
    const Task task = watch->second.task;
    task();
}

void EpollRunLoop::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto bytes = write(wakeEvent_, &one, sizeof one);
}

} // namespace quenstal
