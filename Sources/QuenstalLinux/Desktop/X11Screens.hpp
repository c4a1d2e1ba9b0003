#pragma once

#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <string>

namespace quenstal {

/// Reports when the screens of an X server turn on again. The server blanks them or switches the monitors off (DPMS);
/// clients see both as its screen saver, which sends events. Main thread.
class X11Screens {
public:
    /// Connects to the display, "" for the one of the environment. Without a server, or with one that sends no such
    /// events, the task never runs. The run loop outlives this.
    X11Screens(RunLoop& runLoop, RunLoop::Task didWake, const std::string& display = {});

private:
    void selectChanges(xcb_window_t root);
    void dispatch();

    RunLoop::Task didWake_;
    XcbConnection connection_;
    std::uint8_t notify_ = 0;
    bool areOff_ = false;
    Cancellation watch_;
};

} // namespace quenstal
