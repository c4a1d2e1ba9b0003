// Puts the program together on Linux: the machine's parts, the toolkit, and the delegate that lives between them.

#include "QuenstalApp/AppDelegate.hpp"
#include "QuenstalApp/CommandLine.hpp"
#include "QuenstalApp/Findings.hpp"
#include "QuenstalApp/FindingsTeller.hpp"
#include "QuenstalApp/PresentableText.hpp"
#include "QuenstalLinux/Audio/LinuxAudio.hpp"
#include "QuenstalLinux/Desktop/X11Screens.hpp"
#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/LinuxTrust.hpp"
#include "QuenstalLinux/Keys/PatientKeyCapture.hpp"
#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"
#include "QuenstalLinux/Keys/X11KeyCapture.hpp"
#include "QuenstalLinux/Session/BusConnection.hpp"
#include "QuenstalLinux/Session/EndLimit.hpp"
#include "QuenstalLinux/Session/FilePreferences.hpp"
#include "QuenstalLinux/Session/LogindWake.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalLinux/Session/TerminationSignals.hpp"
#include "QuenstalQt/Desktop/QtDesktop.hpp"
#include "QuenstalQt/QtRunLoop.hpp"
#include "QuenstalQt/QtToolkit.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <span>

namespace quenstal {
namespace {

using Request = CommandLine::Request;

/// The status of a program that was started in a way that it does not know.
constexpr int usageFailure = 2;

bool isSet(const char* variable)
{
    const char* value = std::getenv(variable);
    return value && *value;
}

/// Below a Wayland desktop the X server sees no keys but those of its own programs.
bool isWaylandSession()
{
    return isSet("WAYLAND_DISPLAY");
}

/// The toolkit has no word for a missing desktop, it only aborts.
bool isDesktopSession()
{
    return isWaylandSession() || isSet("DISPLAY") || isSet("QT_QPA_PLATFORM");
}

MendingCommands mendingCommands()
{
    // Where the package is installed no command gives what is missing: the advice says who is let in.
    const bool isInstalled = std::filesystem::exists("/usr/lib/udev/rules.d/70-quenstal-i2c.rules");
    return {"systemctl --user start pipewire.service wireplumber.service", isInstalled ? "" : "./package install"};
}

void print(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

std::string currentSeat()
{
    const char* seat = std::getenv("XDG_SEAT");
    return seat && *seat ? seat : firstSeat;
}

/// The machine's parts, in the order in which they build on one another.
class LinuxMachine {
public:
    LinuxMachine(RunLoop& runLoop, BusConnection& sessionBus)
        : monitors_(runLoop, [this] { return audio_.currentMonitor(); })
        , audio_(runLoop)
        , systemBus_(runLoop, BusConnection::Which::system)
        , wake_(runLoop, systemBus_, sessionBus)
        , screens_(runLoop, [this] { wake_.screensDidWake(); })
        , preferences_(runLoop, PreferencesFile::defaultPath())
        , x11Keys_(isWaylandSession() ? nullptr : std::make_unique<X11KeyCapture>(runLoop))
        , evdevKeys_(runLoop, currentSeat())
        , serviceKeys_(runLoop, systemBus_, evdevKeys_)
        , patientX11Keys_(x11Keys_ ? std::make_unique<PatientKeyCapture>(runLoop, *x11Keys_) : nullptr)
        , patientServiceKeys_(runLoop, serviceKeys_)
        , patientEvdevKeys_(runLoop, evdevKeys_)
        , windowSystem_(connectToX11(runLoop))
        , desktop_(windowSystem_.get())
        , eventTaps_(runLoop, waysOfCapture())
        , trust_(desktop_, waysOfCapture())
    {
    }

    AppPlatform platform(RunLoop& runLoop)
    {
        return {
            .runLoop = runLoop,
            .sound = {.objects = audio_.objects(), .taps = audio_.taps()},
            .monitors = {.displays = monitors_.displays(), .buses = monitors_.buses(), .watch = monitors_.health()},
            .keys = {.taps = eventTaps_, .permission = trust_},
            .session = {.desktop = desktop_, .views = desktop_, .sleepAndWake = wake_, .preferences = preferences_},
        };
    }
    QtDesktop& desktop() { return desktop_; }

private:
    /// The better way first: the X server gives the keys without anyone reading the keyboard; the key service reads it
    /// in this program's place.
    std::vector<KeyCapture*> waysOfCapture()
    {
        if (patientX11Keys_)
            return {patientX11Keys_.get(), &patientServiceKeys_, &patientEvdevKeys_};
        return {&patientServiceKeys_, &patientEvdevKeys_};
    }

    // First: it begins to look for monitors at once, and asks for the current one only on later turns.
    LinuxMonitors monitors_;
    LinuxAudio audio_;
    BusConnection systemBus_;
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
    LinuxTrust trust_;
};

int report()
{
    const auto words = reportOfRunningInstance();
    // Whoever has the name on the bus has answered.
    constexpr std::size_t longestReport = 20'000;
    print(words ? presentableLines(*words, longestReport) : "Quenstal does not run in this session.\n");
    return words ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// What a second start does: there is one instance a session.
int standBack(SingleInstance& instance, Request request)
{
    if (request == Request::startInBackground)
        return EXIT_SUCCESS;
    const bool isShown = instance.activateFirst();
    if (request == Request::startAndTell) {
        print("Quenstal runs already in this session.\n");
        report();
    }
    return isShown ? EXIT_SUCCESS : EXIT_FAILURE;
}

int start(int& argc, char** argv, Request request)
{
    if (!isDesktopSession()) {
        std::fputs("Quenstal cannot run: there is no desktop session here.\n", stderr);
        return EXIT_FAILURE;
    }
    const EndLimit endLimit;
    TerminationSignals termination;
    Bus bus = BusConnection::open(BusConnection::Which::session);
    const bool isSilent = bus && !busGreets(*bus, BusConnection::greetingPatience);
    using State = QtToolkit::SessionBusState;
    QtToolkit toolkit(argc, argv, isSilent ? State::isSilent : State::hasGreeted);
    QtRunLoop runLoop;
    BusConnection sessionBus(runLoop, std::move(bus));
    SingleInstance instance(sessionBus);
    if (!instance.isFirst())
        return standBack(instance, request);

    LinuxMachine machine(runLoop, sessionBus);
    AppDelegate delegate(machine.platform(runLoop));
    if (isSilent)
        sessionBus.onGreeting([&] { machine.desktop().sessionBusAppeared(sessionBus.address()); });
    // A bus that was silent at the start tells only now.
    instance.onNotFirst([&instance, &machine] {
        instance.activateFirst();
        machine.desktop().terminate();
    });
    instance.onActivated([&delegate] { delegate.applicationShouldReopen(); });
    const Cancellation ending = termination.onSignal(runLoop, [&machine] { machine.desktop().terminate(); });
    delegate.applicationDidFinishLaunching();

    const auto findings = [&delegate] { return inPlainWords(delegate.findings(), mendingCommands()); };
    instance.onReportAsked(findings);
    FindingsTeller teller(runLoop, findings, print);
    if (request == Request::startAndTell) {
        delegate.onFindingsChanged = [&teller] { teller.mayHaveChanged(); };
        teller.mayHaveChanged();
    }
    const int status = toolkit.run();
    EndLimit::begin();
    delegate.onFindingsChanged = nullptr;
    delegate.applicationWillTerminate();
    return status;
}

int run(int argc, char** argv)
{
    const auto [request, unknown]
        = readCommandLine(std::span<const char* const>(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    if (!unknown.empty()) {
        std::fprintf(stderr, "quenstal: %s is not known; see quenstal --help\n", presentable(unknown).c_str());
        return usageFailure;
    }
    switch (request) {
    case Request::help:
        print(commandLineHelp());
        return EXIT_SUCCESS;
    case Request::version:
        print("Quenstal " QUENSTAL_VERSION "\n");
        return EXIT_SUCCESS;
    case Request::report:
        return report();
    case Request::start:
    case Request::startInBackground:
    case Request::startAndTell:
        break;
    }
    return start(argc, argv, request);
}

} // namespace
} // namespace quenstal

int main(int argc, char** argv)
{
    try {
        return quenstal::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Quenstal cannot run: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
