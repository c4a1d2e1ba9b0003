#pragma once

#include "QuenstalPlatform/WindowSystem.hpp"

#include <memory>
#include <string>

namespace quenstal {

/// A connection of its own to the X server, beside the toolkit's: that of the display, "" for the one of the
/// environment. Null when there is no X server, or one without the input extension in version 2.
std::unique_ptr<WindowSystem> connectToX11(RunLoop& runLoop, const std::string& display = {});

} // namespace quenstal
