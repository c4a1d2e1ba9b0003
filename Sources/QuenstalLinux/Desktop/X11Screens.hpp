#pragma once

#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <string>

namespace quenstal {

/// Tells when the screens of an X server go on again. The server blanks them by itself or has the monitors switched
/// off (DPMS); to others both are its screen saver, of which it tells without being asked. Main thread.
class X11Screens {
public:
    /// Connects to the display, "" for the one of the environment. Without a server, or one that does not tell, the
    /// task never runs. The run loop outlives this.
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
