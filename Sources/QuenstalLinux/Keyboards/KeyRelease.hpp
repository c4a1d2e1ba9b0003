#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <string>

namespace quenstal {

/// Runs the task, on a later turn, once no key of the keyboard is held any more or the keyboard is gone. Sleeps until
/// its keys move. Null if it may not be read. Main thread.
[[nodiscard]] Cancellation whenReleased(RunLoop& runLoop, const std::string& node, RunLoop::Task task);

} // namespace quenstal
