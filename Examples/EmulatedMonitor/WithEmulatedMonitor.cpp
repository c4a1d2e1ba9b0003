// Runs a command on a machine with an emulated monitor:
//
//     with-emulated-monitor [--layout hdmi|dp|mst|unlinked|internal|two] [--volume N] [--maximum N] [--leading-bytes N]
//                           [--refuse-sets] [--trace] -- COMMAND…
//
// The command and its children see an emulated graphics card below /sys and the monitor's buses as /dev/i2c-N, whoever
// they run as; everything else is the machine's own. What was read and written is told at the end.

#include "EmulatedMonitor/EmulatedMachine.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
    char** command = nullptr;
};

struct Machine {
    MachineFixture fixture;
    EmulatedMachine::Monitors monitors;
};

constexpr int usageStatus = 64;
constexpr int cannotRunStatus = 127;

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
        {"unlinked", {{{{"HDMI-A-1", Link::none, -1, edid}}, {{2, "SMBus I801 adapter"}, {6}}}, {{6, monitor}}}},
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

/// The command's status as a shell gives it.
int run(char** command)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(command[0], command);
        std::fprintf(stderr, "%s: %s\n", command[0], std::strerror(errno));
        ::_exit(cannotRunStatus);
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    if (child < 0)
        return cannotRunStatus;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

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
                   "[--maximum N]\n           [--leading-bytes N] [--refuse-sets] [--trace] -- COMMAND...\n",
            stderr);
        return usageStatus;
    }
    EmulatedMachine emulation(machine->fixture, machine->monitors);
    emulation.trace(options->isTracing);
    const int status = run(options->command);
    report(machine->monitors);
    return status;
}

} // namespace
} // namespace quenstal

int main(int, char** argv)
{
    return quenstal::main(argv);
}
