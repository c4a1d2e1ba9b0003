#pragma once

#include <string_view>

#include <sys/types.h>

namespace quenstal {

/// Whether a process is stopped, in the hands of a debugger, or writing its core. Not so when it sleeps, waits for a
/// disk, or has ended.
bool isHeldUp(pid_t process);

/// The same, by the kernel's text about the process.
bool tellsOfHoldUp(std::string_view status);

} // namespace quenstal
