#pragma once

// The session that the program was started in, as the environment describes it.

#include <string>

namespace quenstal {

/// In a Wayland session an X server sees no keys but those of its own programs.
bool isWaylandSession();

/// Whether there is a desktop at all: without one the toolkit aborts instead of reporting an error.
bool isDesktopSession();

std::string currentSeat();

} // namespace quenstal
