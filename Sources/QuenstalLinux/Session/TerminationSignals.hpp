#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <array>

#include <signal.h>

namespace quenstal {

/// Turns SIGINT, SIGTERM and SIGHUP into a task on the run loop, so that the program ends in order. They are caught,
/// not blocked: programs that this one starts receive them as usual. Each begins the `EndLimit`, in case the program is
/// already blocked. One in a process. Main thread.
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Runs the task when the program is, or was already, asked to end. The run loop outlives the result.
    [[nodiscard]] Cancellation onSignal(RunLoop& runLoop, RunLoop::Task task);

private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

    FileDescriptor caught_;
    std::array<struct sigaction, signals.size()> earlier_{};
};

} // namespace quenstal
