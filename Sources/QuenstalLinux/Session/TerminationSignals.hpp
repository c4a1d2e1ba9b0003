#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

namespace quenstal {

/// Turns SIGINT, SIGTERM and SIGHUP into a task on the run loop, so that the program ends in order. Made before any
/// other thread, since threads inherit which signals are held back. Main thread.
class TerminationSignals {
public:
    TerminationSignals();

    /// Runs the task when the program is asked to end. The run loop outlives the result.
    [[nodiscard]] Cancellation onSignal(RunLoop& runLoop, RunLoop::Task task);

private:
    FileDescriptor signals_;
};

} // namespace quenstal
