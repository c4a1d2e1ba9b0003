// Puts the program together: the machine, the toolkit, and the delegate that lives between them.

#include "Quenstal/LinuxMachine.hpp"
#include "Quenstal/SessionEnvironment.hpp"
#include "QuenstalApp/AppDelegate.hpp"
#include "QuenstalApp/CommandLine.hpp"
#include "QuenstalApp/MachineReport.hpp"
#include "QuenstalApp/PresentableText.hpp"
#include "QuenstalApp/ReportPrinter.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Memory.hpp"
#include "QuenstalLinux/Session/EndLimit.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalLinux/Session/TerminationSignals.hpp"
#include "QuenstalQt/QtRunLoop.hpp"
#include "QuenstalQt/QtToolkit.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string_view>
#include <utility>

#include <span>

namespace quenstal {
namespace {

using Request = CommandLine::Request;

/// The exit status for an unexpected argument.
constexpr int usageFailure = 2;

MendingCommands mendingCommands()
{
    // Once the package is installed no command helps: the advice explains who has access.
    const bool isInstalled = std::filesystem::exists("/usr/lib/udev/rules.d/70-quenstal-i2c.rules");
    return {"systemctl --user start pipewire.service wireplumber.service", isInstalled ? "" : "./package install"};
}

void print(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

int printReport()
{
    const auto words = reportOfRunningInstance();
    // Any program may own the name on the bus.
    constexpr std::size_t longestReport = 20'000;
    print(words ? presentableLines(*words, longestReport) : "Quenstal is not running in this session.\n");
    return words ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// There is one instance in a session; a second start only opens its panel.
int standBack(SingleInstance& instance, Request request)
{
    if (request == Request::startInBackground)
        return EXIT_SUCCESS;
    const bool isShown = instance.activateFirst();
    if (request == Request::startAndTell) {
        print("Quenstal is already running in this session.\n");
        printReport();
    }
    return isShown ? EXIT_SUCCESS : EXIT_FAILURE;
}

int start(int& argc, char** argv, Request request)
{
    if (!isDesktopSession()) {
        std::fputs("Quenstal cannot start: there is no desktop session here.\n", stderr);
        return EXIT_FAILURE;
    }
    const EndLimit endLimit;
    TerminationSignals termination;
    Bus bus = DBusConnection::open(DBusConnection::Which::session);
    const bool isSilent = bus && !busGreets(*bus, DBusConnection::greetingPatience);
    using State = QtToolkit::SessionBusState;
    QtToolkit toolkit(argc, argv, isSilent ? State::isSilent : State::hasGreeted);
    QtRunLoop runLoop;
    DBusConnection sessionBus(runLoop, std::move(bus));
    SingleInstance instance(sessionBus);
    if (!instance.isFirst())
        return standBack(instance, request);

    LinuxMachine machine(runLoop, sessionBus);
    AppDelegate delegate(machine.platform());
    if (isSilent)
        sessionBus.onGreeting([&] { machine.desktop().sessionBusAppeared(sessionBus.address()); });
    // A bus that was silent at the start answers only now.
    instance.onNotFirst([&instance, &machine] {
        instance.activateFirst();
        machine.desktop().terminate();
    });
    instance.onActivated([&delegate] { delegate.applicationShouldReopen(); });
    const Cancellation ending = termination.onSignal(runLoop, [&machine] { machine.desktop().terminate(); });
    delegate.applicationDidFinishLaunching();

    const auto report = [&delegate] { return inPlainWords(delegate.machineReport(), mendingCommands()); };
    instance.onReportAsked(report);
    ReportPrinter printer(runLoop, report, print);
    if (request == Request::startAndTell) {
        delegate.onReportChanged = [&printer] { printer.mayHaveChanged(); };
        printer.mayHaveChanged();
    }
    const int status = toolkit.run();
    EndLimit::begin();
    delegate.onReportChanged = nullptr;
    delegate.applicationWillTerminate();
    return status;
}

int run(int argc, char** argv)
{
    const auto [request, unknown]
        = readCommandLine(std::span<const char* const>(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    if (!unknown.empty()) {
        std::fprintf(
            stderr, "quenstal: unexpected argument \"%s\"; see quenstal --help\n", presentable(unknown).c_str());
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
        return printReport();
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
    // A message of a bus may have 128 MB. What a frame of the panel takes is far smaller, and kept.
    constexpr int largestKept = 4 * 1024 * 1024;
    quenstal::returnLargeMemory(largestKept);
    try {
        return quenstal::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Quenstal cannot start: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
