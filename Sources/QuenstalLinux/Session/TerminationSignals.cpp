#include "QuenstalLinux/Session/TerminationSignals.hpp"

#include "QuenstalLinux/Session/EndLimit.hpp"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace quenstal {

namespace {

/// A handler only gets the signal.
std::atomic<int> caughtEvent = -1;
static_assert(std::atomic<int>::is_always_lock_free);

/// On any thread, in the middle of anything.
void noteSignal(int)
{
    const int interrupted = errno;
    EndLimit::begin();
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(caughtEvent, &one, sizeof one);
    errno = interrupted;
}

} // namespace

TerminationSignals::TerminationSignals()
    : caught_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    caughtEvent = caught_.get();
    struct sigaction action { };
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        sigaction(signals[i], nullptr, &earlier_[i]);
        // The program may have been started with this signal ignored.
        if (earlier_[i].sa_handler != SIG_IGN)
            sigaction(signals[i], &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    for (std::size_t i = 0; i < signals.size(); ++i)
        sigaction(signals[i], &earlier_[i], nullptr);
    caughtEvent = -1;
}

Cancellation TerminationSignals::onSignal(RunLoop& runLoop, RunLoop::Task task)
{
    return runLoop.watchReadable(caught_.get(), [descriptor = caught_.get(), task = std::move(task)] {
        std::uint64_t count = 0;
        if (read(descriptor, &count, sizeof count) == sizeof count)
            task();
    });
}

} // namespace quenstal
