// Puts the program together on Linux: the machine's parts, the toolkit, and the delegate that lives between them.

#include "QuenstalApp/AppDelegate.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioObjects.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioTaps.hpp"
#include "QuenstalLinux/Audio/PipeWireConnection.hpp"
#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/LinuxTrust.hpp"
#include "QuenstalLinux/Keys/X11KeyCapture.hpp"
#include "QuenstalLinux/Session/BusConnection.hpp"
#include "QuenstalLinux/Session/FilePreferences.hpp"
#include "QuenstalLinux/Session/LogindWake.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalLinux/Session/TerminationSignals.hpp"
#include "QuenstalQt/Desktop/QtDesktop.hpp"
#include "QuenstalQt/QtRunLoop.hpp"
#include "QuenstalQt/QtToolkit.hpp"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

namespace quenstal {
namespace {

/// Below a Wayland desktop the X server sees no keys but those of its own programs.
bool isWaylandSession()
{
    const char* display = std::getenv("WAYLAND_DISPLAY");
    return display && *display;
}

/// The machine's parts, in the order in which they build on one another.
class LinuxMachine {
public:
    LinuxMachine(RunLoop& runLoop, BusConnection& sessionBus)
        : monitors_(runLoop, [this] { return currentMonitor(); })
        , audioConnection_(runLoop)
        , audioGraph_(audioConnection_, runLoop)
        , audioObjects_(audioConnection_, audioGraph_, runLoop)
        , audioTaps_(audioConnection_, audioGraph_, runLoop)
        , systemBus_(runLoop, BusConnection::Which::system)
        , wake_(runLoop, systemBus_, sessionBus)
        , preferences_(FilePreferences::defaultPath())
        , evdevKeys_(runLoop)
        , windowSystem_(connectToX11(runLoop))
        , desktop_(windowSystem_.get())
    {
        if (!isWaylandSession())
            x11Keys_.emplace(runLoop);
        if (x11Keys_)
            waysOfCapture_.push_back(&*x11Keys_);
        waysOfCapture_.push_back(&evdevKeys_);
        eventTaps_.emplace(runLoop, waysOfCapture_);
        trust_.emplace(desktop_, waysOfCapture_);
    }

    AppPlatform platform(RunLoop& runLoop)
    {
        return {runLoop, audioObjects_, audioTaps_, monitors_.buses(), monitors_.health(), monitors_.displays(),
            *eventTaps_, *trust_, preferences_, desktop_, wake_, desktop_};
    }
    QtDesktop& desktop() { return desktop_; }

    void reportPreferences()
    {
        if (const auto problem = preferences_.takeProblem())
            desktop_.showNotice("Quenstal's preferences", *problem);
    }

private:
    std::optional<MonitorIdentity> currentMonitor() const
    {
        const auto eld = audioObjects_.currentMonitor();
        if (!eld)
            return std::nullopt;
        return MonitorIdentity{eld->monitorName, eld->manufacturer, eld->product};
    }

    // First: it begins to look for monitors at once, and asks for the current one only on later turns.
    LinuxMonitors monitors_;
    PipeWireConnection audioConnection_;
    PipeWireGraph audioGraph_;
    PipeWireAudioObjects audioObjects_;
    PipeWireAudioTaps audioTaps_;
    BusConnection systemBus_;
    LogindWake wake_;
    FilePreferences preferences_;
    std::optional<X11KeyCapture> x11Keys_;
    EvdevKeyCapture evdevKeys_;
    std::vector<KeyCapture*> waysOfCapture_;
    std::unique_ptr<WindowSystem> windowSystem_;
    QtDesktop desktop_;
    std::optional<LinuxEventTaps> eventTaps_;
    std::optional<LinuxTrust> trust_;
};

int run(int argc, char** argv)
{
    // Before anything that starts a thread.
    TerminationSignals termination;
    QtToolkit toolkit(argc, argv);
    QtRunLoop runLoop;
    BusConnection sessionBus(runLoop, BusConnection::Which::session);
    SingleInstance instance(sessionBus);
    if (!instance.isFirst())
        return instance.activateFirst() ? EXIT_SUCCESS : EXIT_FAILURE;

    LinuxMachine machine(runLoop, sessionBus);
    AppDelegate delegate(machine.platform(runLoop));
    instance.onActivated([&delegate] { delegate.applicationShouldReopen(); });
    const Cancellation ending = termination.onSignal(runLoop, [&machine] { machine.desktop().terminate(); });
    delegate.applicationDidFinishLaunching();
    machine.reportPreferences();
    const int status = toolkit.run();
    delegate.applicationWillTerminate();
    return status;
}

} // namespace
} // namespace quenstal

int main(int argc, char** argv)
{
    return quenstal::run(argc, argv);
}
