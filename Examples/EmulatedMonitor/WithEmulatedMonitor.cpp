// Runs a command on a machine with an emulated monitor:
//
//     with-emulated-monitor [--layout hdmi|dp|mst|unlinked|internal|two] [--volume N] [--maximum N] [--leading-bytes N]
//                           [--refuse-sets] [--trace] [--steered] -- COMMAND…
//
// The command and its children see an emulated graphics card below /sys and the monitor's buses as /dev/i2c-N, whoever
// they run as; everything else is the machine's own. What was read and written is told at the end. SIGTERM and SIGINT
// are handed to the command.
//
// With --steered the monitor obeys the lines of the standard input (see Steering.hpp) and answers each on the standard
// output, where the first line is the command's process number. The command ends when that input does. The status is 70
// when it has opened a bus of the card that leads to no display.

#include "EmulatedMonitor/EmulatedMachine.hpp"
#include "EmulatedMonitor/Steering.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using Link = MachineFixture::Link;
using Edid = std::vector<std::uint8_t>;

struct Options {
    std::string layout = "hdmi";
    MonitorDescription monitor;
    bool isTracing = false;
    bool isSteered = false;
    char** command = nullptr;
};

struct Machine {
    MachineFixture fixture;
    EmulatedMachine::Monitors monitors;

    /// The connector of the last monitor, by its EDID.
    std::string steeredConnector() const
    {
        const auto& edid = monitors.rbegin()->second->edid();
        const auto connector = std::ranges::find_if(
            fixture.connectors, [&](const auto& one) { return std::ranges::equal(one.edid, edid); });
        return connector->name;
    }
};

constexpr int usageStatus = 64;
constexpr int cannotRunStatus = 127;
/// A steered command is a program under test.
constexpr int forbiddenBusStatus = 70;

std::shared_ptr<SimulatedMonitor> internalPanel()
{
    return std::make_shared<SimulatedMonitor>(
        MonitorDescription{.name = "Panel", .product = 1, .quirks = {.isDeaf = true}});
}

Edid edidOf(const std::shared_ptr<SimulatedMonitor>& monitor)
{
    return {monitor->edid().begin(), monitor->edid().end()};
}

std::optional<Machine> machineOf(const Options& options)
{
    const auto monitor = std::make_shared<SimulatedMonitor>(options.monitor);
    MonitorDescription secondDescription = options.monitor;
    secondDescription.name = "Simulated 32";
    secondDescription.product = 0x4321;
    const auto second = std::make_shared<SimulatedMonitor>(secondDescription);
    const auto panel = internalPanel();
    const Edid edid = edidOf(monitor);
    const MachineFixture::Connector panelConnector{"eDP-1", Link::auxiliary, 3, edidOf(panel)};

    const std::map<std::string, Machine, std::less<>> machines{
        {"hdmi", {{{panelConnector, {"HDMI-A-1", Link::ddc, 5, edid}}, {}}, {{3, panel}, {5, monitor}}}},
        {"dp", {{{panelConnector, {"DP-1", Link::auxiliary, 5, edid}}, {}}, {{3, panel}, {5, monitor}}}},
        {"mst",
            {{{{"DP-1", Link::auxiliary, 4, {}, "disconnected"}, {"DP-5", Link::none, -1, edid}}, {{7}, {8}}},
                {{8, monitor}}}},
        {"unlinked",
            {{{{"HDMI-A-1", Link::none, -1, edid}}, {{2, "Synopsys DesignWare I2C adapter"}, {6}}}, {{6, monitor}}}},
        {"internal", {{{panelConnector}, {}}, {{3, panel}}}},
        {"two",
            {{{{"DP-1", Link::auxiliary, 5, edid}, {"HDMI-A-1", Link::ddc, 6, edidOf(second)}}, {}},
                {{5, monitor}, {6, second}}}},
    };
    const auto machine = machines.find(options.layout);
    return machine == machines.end() ? std::nullopt : std::optional(machine->second);
}

std::optional<std::uint16_t> numberIn(std::string_view text)
{
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// False for an option that is not known or lacks its value.
bool takeOption(Options& options, std::string_view name, const char* value)
{
    if (name == "--layout" && value) {
        options.layout = value;
        return true;
    }
    const std::optional<std::uint16_t> number = value ? numberIn(value) : std::nullopt;
    if (!number)
        return false;
    if (name == "--volume")
        options.monitor.volume = *number;
    else if (name == "--maximum")
        options.monitor.maximum = *number;
    else if (name == "--leading-bytes")
        options.monitor.quirks.leadingBytes = *number;
    else
        return false;
    return true;
}

std::optional<Options> parse(char** argument)
{
    Options options;
    while (*argument && std::string_view(*argument) != "--") {
        const std::string_view name = *argument++;
        if (name == "--trace")
            options.isTracing = true;
        else if (name == "--steered")
            options.isSteered = true;
        else if (name == "--refuse-sets")
            options.monitor.quirks.refusesSets = true;
        else if (!takeOption(options, name, *argument) || !*argument++)
            return std::nullopt;
    }
    if (!*argument || !argument[1])
        return std::nullopt;
    options.command = argument + 1;
    return options;
}

/// The signals that end a run, readable from a descriptor. Made before the emulation starts its threads, which would
/// take them otherwise.
class HeldSignals {
public:
    HeldSignals()
    {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGCHLD, SIGTERM, SIGINT})
            sigaddset(&signals, signal);
        sigprocmask(SIG_BLOCK, &signals, &before_);
        descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC);
    }

    int descriptor() const { return descriptor_; }
    void letGo() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
    int descriptor_ = -1;
};

/// The command, and what reaches this program while it runs: its end, signals, and lines that steer the monitor.
class Run {
public:
    /// With no steering the command keeps the standard input and output.
    Run(char** command, const HeldSignals& signals, Steering* steering)
        : signals_(signals)
        , steering_(steering)
        , child_(::fork())
    {
        if (child_ == 0)
            start(command);
        if (steering_)
            say(std::to_string(child_));
    }

    /// The command's status as a shell gives it.
    int status()
    {
        if (child_ < 0)
            return cannotRunStatus;
        std::array<pollfd, 2> watched{{{signals_.descriptor(), POLLIN, 0}, {steering_ ? STDIN_FILENO : -1, POLLIN, 0}}};
        int status = 0;
        while (::waitpid(child_, &status, WNOHANG) == 0) {
            if (::poll(watched.data(), watched.size(), -1) <= 0)
                continue;
            if (watched[0].revents != 0)
                takeSignal();
            if (watched[1].revents != 0 && !takeLines())
                watched[1].fd = -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    [[noreturn]] void start(char** command) const
    {
        signals_.letGo();
        if (steering_ && (!std::freopen("/dev/null", "r", stdin) || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0))
            ::_exit(cannotRunStatus);
        ::execvp(command[0], command);
        std::fprintf(stderr, "%s: %s\n", command[0], std::strerror(errno));
        ::_exit(cannotRunStatus);
    }

    void takeSignal() const
    {
        signalfd_siginfo signal{};
        if (::read(signals_.descriptor(), &signal, sizeof signal) == sizeof signal && signal.ssi_signo != SIGCHLD)
            ::kill(child_, SIGTERM);
    }

    /// False at the end of the input, which is the command's end too.
    bool takeLines()
    {
        std::array<char, 256> bytes{};
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            ::kill(child_, SIGTERM);
            return false;
        }
        for (const char byte : std::string_view(bytes.data(), static_cast<std::size_t>(count))) {
            if (byte == '\n')
                say(steering_->obey(std::exchange(line_, {})));
            else
                line_ += byte;
        }
        return true;
    }

    static void say(const std::string& line)
    {
        std::printf("%s\n", line.c_str());
        std::fflush(stdout);
    }

    const HeldSignals& signals_;
    Steering* const steering_;
    const pid_t child_;
    std::string line_;
};

void report(const EmulatedMachine::Monitors& monitors)
{
    for (const auto& [bus, monitor] : monitors) {
        const std::vector<MonitorTransaction> journal = monitor->journal();
        const auto count = [&journal](MonitorTransaction::Kind kind) {
            return std::ranges::count_if(
                journal, [kind](const MonitorTransaction& one) { return one.kind == kind && one.error == 0; });
        };
        std::fprintf(stderr, "/dev/i2c-%d %s: volume %d, %td read, %td written\n", bus,
            monitor->description().name.c_str(), monitor->volume(), count(MonitorTransaction::Kind::get),
            count(MonitorTransaction::Kind::set));
    }
}

int main(char** argv)
{
    if (!EmulatedMachine::isPossible()) {
        std::vector<char*> again{const_cast<char*>("umockdev-wrapper")};
        for (char** argument = argv; *argument; ++argument)
            again.push_back(*argument);
        again.push_back(nullptr);
        ::execvp(again[0], again.data());
        std::fprintf(stderr, "umockdev-wrapper: %s\n", std::strerror(errno));
        return cannotRunStatus;
    }
    const std::optional<Options> options = parse(argv + 1);
    const std::optional<Machine> machine = options ? machineOf(*options) : std::nullopt;
    if (!machine) {
        std::fputs("usage: with-emulated-monitor [--layout hdmi|dp|mst|unlinked|internal|two] [--volume N] "
                   "[--maximum N]\n           [--leading-bytes N] [--refuse-sets] [--trace] [--steered] -- "
                   "COMMAND...\n",
            stderr);
        return usageStatus;
    }
    const HeldSignals signals;
    EmulatedMachine emulation(machine->fixture, machine->monitors);
    emulation.trace(options->isTracing);
    std::optional<Steering> steering;
    if (options->isSteered)
        steering.emplace(emulation, machine->steeredConnector(), machine->monitors.rbegin()->second);
    const int status = Run(options->command, signals, steering ? &*steering : nullptr).status();
    report(machine->monitors);
    const std::vector<std::string> forbidden = emulation.forbiddenBusesOpened();
    for (const std::string& name : forbidden)
        std::fprintf(stderr, "%s was opened, which leads to no display\n", name.c_str());
    return steering && !forbidden.empty() ? forbiddenBusStatus : status;
}

} // namespace
} // namespace quenstal

int main(int, char** argv)
{
    return quenstal::main(argv);
}
