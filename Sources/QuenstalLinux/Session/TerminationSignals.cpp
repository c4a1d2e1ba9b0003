#include "QuenstalLinux/Session/TerminationSignals.hpp"

#include <utility>

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace quenstal {

TerminationSignals::TerminationSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signals_ = FileDescriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
}

Cancellation TerminationSignals::onSignal(RunLoop& runLoop, RunLoop::Task task)
{
    return runLoop.watchReadable(signals_.get(), [descriptor = signals_.get(), task = std::move(task)] {
        signalfd_siginfo information{};
        while (read(descriptor, &information, sizeof information) > 0) { }
        task();
    });
}

} // namespace quenstal
