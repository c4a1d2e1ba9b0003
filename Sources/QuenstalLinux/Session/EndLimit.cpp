#include "QuenstalLinux/Session/EndLimit.hpp"

#include <atomic>
#include <cstdlib>
#include <string_view>

#include <signal.h>
#include <time.h>
#include <unistd.h>

namespace quenstal {

namespace {

/// Nothing else uses it: neither the libraries nor the program's parent.
constexpr int signalOfTheEnd = SIGALRM;

timer_t timer{};
/// Whether the timer is there and waits to be begun.
std::atomic<bool> isReady = false;
static_assert(std::atomic<bool>::is_always_lock_free);

/// On any thread, in the middle of anything.
void endNow(int)
{
    constexpr std::string_view words = "Quenstal exits without waiting for a server that is not responding.\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, words.data(), words.size());
    _exit(EXIT_SUCCESS);
}

} // namespace

EndLimit::EndLimit()
{
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = signalOfTheEnd;
    isMade_ = timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
    if (!isMade_)
        return;
    struct sigaction action { };
    action.sa_handler = endNow;
    sigaction(signalOfTheEnd, &action, nullptr);
    isReady = true;
}

EndLimit::~EndLimit()
{
    if (!isMade_)
        return;
    isReady = false;
    timer_delete(timer);
    signal(signalOfTheEnd, SIG_DFL);
}

void EndLimit::begin()
{
    if (!isReady.exchange(false))
        return;
    itimerspec time{};
    time.it_value.tv_nsec = std::chrono::nanoseconds(limit).count();
    timer_settime(timer, 0, &time, nullptr);
}

} // namespace quenstal
