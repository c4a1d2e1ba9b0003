#include "QuenstalApp/MachineReport.hpp"

#include "QuenstalApp/MonitorStatements.hpp"
#include "QuenstalCore/ProgrammingError.hpp"

#include <algorithm>
#include <string_view>

namespace quenstal {

namespace {

using namespace std::string_literals;

std::string connection(AudioTransport transport)
{
    switch (transport) {
    case AudioTransport::builtIn:
        return "built-in";
    case AudioTransport::bluetooth:
        return "over Bluetooth";
    case AudioTransport::usb:
        return "over USB";
    case AudioTransport::hdmi:
        return "over HDMI";
    case AudioTransport::displayPort:
        return "over DisplayPort";
    case AudioTransport::airPlay:
        return "over the network";
    case AudioTransport::aggregate:
        return "several outputs combined";
    case AudioTransport::unknown:
        return "connection unknown";
    }
    programmingError("The transport is none of its cases.");
}

std::string output(const std::optional<AudioOutputDevice>& device)
{
    return device ? device->name + ", " + connection(device->transport) : "none";
}

bool hasIssue(const QuenstalState& state, DiagnosticCode code)
{
    return std::ranges::any_of(state.diagnostics, [code](const DiagnosticIssue& issue) { return issue.code == code; });
}

std::string whySoftware(const QuenstalState& state)
{
    if (hasIssue(state, DiagnosticCode::ddcCommandFailed))
        return "the monitor did not accept a command over DDC/CI.";
    if (hasIssue(state, DiagnosticCode::ddcUnavailable))
        return "the output has a fixed volume, and the monitor does not offer volume control over DDC/CI.";
    return "you chose it for this output in the panel.";
}

std::string whyNone(UnavailableReason reason)
{
    switch (reason) {
    case UnavailableReason::noOutputDevice:
        return "there is no output.";
    case UnavailableReason::quenstalDisabled:
        return "Quenstal is switched off in its panel.";
    case UnavailableReason::fixedVolumeDeviceUnsupported:
        return "the output has a fixed volume and is not a monitor.";
    case UnavailableReason::systemAudioCapturePermissionMissing:
        return "the monitor does not offer volume control, and the sound server does not let Quenstal provide it.";
    case UnavailableReason::softwareFallbackUnavailable:
        return "the monitor does not offer volume control, and software volume is not available for this output.";
    }
    programmingError("The reason is none of its cases.");
}

std::string path(const QuenstalState& state)
{
    return std::string(state.mode.userFacingName()) + ": "
        + state.mode.match([](const ControlMode::SystemVolume&) { return "the output has its own volume control."s; },
            [](const ControlMode::HardwareDDC&) {
                return "the output has a fixed volume, and the monitor offers volume control over DDC/CI."s;
            },
            [&](const ControlMode::SoftwareTap&) { return whySoftware(state); },
            [](const ControlMode::Unavailable& unavailable) { return whyNone(unavailable.reason); },
            [](const ControlMode::Disabled&) { return whyNone(UnavailableReason::quenstalDisabled); });
}

std::string keys(const MachineReport& report)
{
    if (report.areKeysCaptured) {
        const std::string way = report.wayOfCapture.empty() ? "" : " " + report.wayOfCapture;
        return "captured" + way + ": mute, volume down and volume up.";
    }
    return report.state.isEnabled ? "not captured." : "left to the desktop while Quenstal is switched off.";
}

std::string description(const DisplayBusProblem& problem)
{
    std::string words;
    std::string_view statement = MonitorStatements::about(problem);
    for (std::size_t gap = statement.find('%'); gap != std::string_view::npos; gap = statement.find('%')) {
        words += statement.substr(0, gap);
        words += statement[gap + 1] == '1' ? problem.monitor : problem.device;
        statement.remove_prefix(gap + 2);
    }
    return words += statement;
}

/// The user has no access to the device, or the system has none yet; not a monitor that misbehaves.
bool isMendedByAccess(const DisplayBusProblem& problem)
{
    const bool isWithoutDevices = problem.device.empty() && !problem.remedy.empty();
    return problem.kind == DisplayBusProblem::Kind::accessDenied || isWithoutDevices;
}

std::string withRemedy(const DisplayBusProblem& problem, const MendingCommands& commands)
{
    const bool isMendedByCommand = isMendedByAccess(problem) && !commands.giveAccess.empty();
    const bool hasRemedy = !isMendedByCommand && !problem.remedy.empty();
    return description(problem) + (hasRemedy ? " " + problem.remedy : "");
}

std::string description(const PreferencesProblem& problem)
{
    switch (problem.kind) {
    case PreferencesProblem::Kind::notValid:
        return "Your preferences file was not valid and has been renamed to " + problem.file + ".";
    case PreferencesProblem::Kind::notReadable:
        return "Your preferences file " + problem.file + " cannot be read. It is left unchanged.";
    case PreferencesProblem::Kind::notSaved:
        return "Your preferences cannot be saved to " + problem.file + ".";
    }
    programmingError("The problem is none of its kinds.");
}

/// Each command stands once, after all the problems that it solves.
std::vector<std::string> problems(const MachineReport& report, const MendingCommands& commands)
{
    std::vector<std::string> lines;
    const auto offer = [&lines](const std::string& command) {
        if (!command.empty())
            lines.push_back("  " + command);
    };
    if (!report.state.outputDevice) {
        lines.emplace_back("No sound server with an output was found.");
        offer(commands.startSound);
    }
    bool isAccessMissing = false;
    for (const DisplayBusProblem& problem : report.monitorProblems) {
        lines.push_back(withRemedy(problem, commands));
        isAccessMissing = isAccessMissing || isMendedByAccess(problem);
    }
    if (!report.areKeysCaptured && !report.captureAdvice.empty())
        lines.push_back(report.captureAdvice);
    if (isAccessMissing)
        offer(commands.giveAccess);
    if (report.preferencesProblem)
        lines.push_back(description(*report.preferencesProblem));
    if (lines.empty())
        lines.emplace_back("none.");
    return lines;
}

} // namespace

std::string inPlainWords(const MachineReport& report, const MendingCommands& commands)
{
    std::string words = "Output:   " + output(report.state.outputDevice) + "\n";
    words += "Volume:   " + path(report.state) + "\n";
    words += "Keys:     " + keys(report) + "\n";
    std::string heading = "Problems: ";
    for (const std::string& line : problems(report, commands)) {
        words += heading + line + "\n";
        heading = "          ";
    }
    return words;
}

} // namespace quenstal
