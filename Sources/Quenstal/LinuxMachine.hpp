#pragma once

#include "QuenstalApp/AppDelegate.hpp"
#include "QuenstalLinux/Audio/LinuxAudio.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Desktop/X11Screens.hpp"
#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/LinuxCapturePermission.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/PatientKeyCapture.hpp"
#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"
#include "QuenstalLinux/Keys/X11KeyCapture.hpp"
#include "QuenstalLinux/Session/FilePreferences.hpp"
#include "QuenstalLinux/Session/LogindWake.hpp"
#include "QuenstalQt/Desktop/QtDesktop.hpp"

#include <memory>
#include <vector>

namespace quenstal {

/// The machine's parts, in the order in which they build on one another. Main thread.
class LinuxMachine {
public:
    /// Both outlive this.
    LinuxMachine(RunLoop& runLoop, DBusConnection& sessionBus);

    AppPlatform platform();
    QtDesktop& desktop() { return desktop_; }

private:
    std::vector<KeyCapture*> waysOfCapture();

    RunLoop& runLoop_;
    // First: it begins to look for monitors at once, and asks for the current one only on later turns.
    LinuxMonitors monitors_;
    LinuxAudio audio_;
    DBusConnection systemBus_;
    LogindWake wake_;
    X11Screens screens_;
    FilePreferences preferences_;
    std::unique_ptr<X11KeyCapture> x11Keys_;
    EvdevKeyCapture evdevKeys_;
    ServiceKeyCapture serviceKeys_;
    std::unique_ptr<PatientKeyCapture> patientX11Keys_;
    PatientKeyCapture patientServiceKeys_;
    PatientKeyCapture patientEvdevKeys_;
    std::unique_ptr<WindowSystem> windowSystem_;
    QtDesktop desktop_;
    LinuxEventTaps eventTaps_;
    LinuxCapturePermission permission_;
};

} // namespace quenstal
