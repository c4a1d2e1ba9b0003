#include "QuenstalLinux/Bus/EventLoop.hpp"

#include <cstdlib>
#include <string>
#include <utility>

#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace quenstal {

namespace {

void require(int status, const char* what)
{
    if (status < 0)
        throw std::system_error(-status, std::generic_category(), what);
}

std::uint64_t microseconds(RunLoop::Duration duration)
{
    return static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(duration).count());
}

} // namespace

/// One source of events, for as long as it lives.
class EventLoop::Source final : public Interface {
public:
    Source(Duration interval, Task task)
        : interval_(interval)
        , task_(std::move(task))
    {
    }
    ~Source() override { sd_event_source_disable_unref(source_); }

    void addTime(sd_event* event, Duration delay)
    {
        require(
            sd_event_add_time_relative(event, &source_, CLOCK_MONOTONIC, microseconds(delay), accuracy, onTime, this),
            "timer");
    }
    void addReadable(sd_event* event, int descriptor)
    {
        require(sd_event_add_io(event, &source_, descriptor, EPOLLIN, onReadable, this), "watch");
    }

private:
    /// In microseconds. 0 would stand for a quarter of a second.
    static constexpr std::uint64_t accuracy = 1;

    static int onTime(sd_event_source*, std::uint64_t, void* self)
    {
        auto& source = *static_cast<Source*>(self);
        if (source.interval_ > Duration::zero()) {
            sd_event_source_set_time_relative(source.source_, microseconds(source.interval_));
            sd_event_source_set_enabled(source.source_, SD_EVENT_ONESHOT);
        }
        source.call();
        return 0;
    }
    static int onReadable(sd_event_source*, int, std::uint32_t, void* self)
    {
        static_cast<Source*>(self)->call();
        return 0;
    }
    /// The task may end its own source.
    void call() const
    {
        const Task task = task_;
        task();
    }

    Duration interval_;
    Task task_;
    sd_event_source* source_ = nullptr;
};

EventLoop::EventLoop()
    : wakeEvent_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE))
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    sd_event* event = nullptr;
    require(sd_event_new(&event), "event loop");
    event_.reset(event);
    // Without a handler of its own a signal ends the loop.
    require(sd_event_add_signal(event, nullptr, SIGTERM, nullptr, nullptr), "SIGTERM");
    require(sd_event_add_signal(event, nullptr, SIGINT, nullptr, nullptr), "SIGINT");
    require(sd_event_set_watchdog(event, 1), "watchdog");
    wakeWatch_ = watchReadable(wakeEvent_, [this] { runOldestPosted(); });
}

EventLoop::~EventLoop()
{
    wakeWatch_.reset();
    close(wakeEvent_);
}

int EventLoop::run()
{
    return sd_event_loop(event_.get());
}

void EventLoop::exit(int status)
{
    sd_event_exit(event_.get(), status);
}

void EventLoop::post(Task task)
{
    {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(task));
    }
    eventfd_write(wakeEvent_, 1);
}

/// The event counts the tasks, so that it can be read again while there are more.
void EventLoop::runOldestPosted()
{
    eventfd_t one = 0;
    eventfd_read(wakeEvent_, &one);
    Task task;
    {
        const std::lock_guard lock(mutex_);
        task = std::move(posted_.front());
        posted_.pop_front();
    }
    task();
}

Cancellation EventLoop::after(Duration delay, Task task)
{
    return addTimer(delay, {}, std::move(task));
}

Cancellation EventLoop::repeat(Duration interval, Task task)
{
    return addTimer(interval, interval, std::move(task));
}

Cancellation EventLoop::addTimer(Duration delay, Duration interval, Task task)
{
    auto source = std::make_unique<Source>(interval, std::move(task));
    source->addTime(event_.get(), delay);
    return source;
}

Cancellation EventLoop::watchReadable(int descriptor, Task task)
{
    auto source = std::make_unique<Source>(Duration::zero(), std::move(task));
    source->addReadable(event_.get(), descriptor);
    return source;
}

} // namespace quenstal
