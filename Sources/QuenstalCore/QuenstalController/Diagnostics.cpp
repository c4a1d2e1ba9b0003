// How the controller explains itself: the classification of the output, and the report.

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalCore/QuenstalController/Attempt.hpp"

#include <utility>

namespace quenstal {

namespace {

std::string reportLine(const DiagnosticIssue& issue)
{
    std::string line = "[";
    line += rawValue(issue.severity);
    line += "] ";
    line += rawValue(issue.code);
    line += ": " + issue.message;
    if (issue.recoverySuggestion)
        line += " Suggestion: " + *issue.recoverySuggestion;
    return line;
}

DiagnosticIssue unavailableIssue(const AudioProcessingState& processing)
{
    std::string message = "EQ is unavailable in ";
    message += reasonText(processing.diagnostic);
    message += ".";
    std::optional<std::string> suggestion;
    if (processing.canSwitchToSoftware)
        suggestion = "Switch this HDMI or DisplayPort output to software processing to use EQ.";
    return {DiagnosticCode::eqUnavailable, DiagnosticSeverity::info, std::move(message), std::move(suggestion)};
}

DiagnosticIssue availableIssue(const EQProfile& profile)
{
    std::string message = profile.enabled ? "Audio processing is enabled with " : "Audio processing is available with ";
    message += displayName(profile.preset);
    message += " EQ.";
    return {DiagnosticCode::audioProcessingActive, DiagnosticSeverity::info, std::move(message),
        profile.enabled ? "Quenstal is applying EQ in the software audio pipeline."
                        : "Enable EQ to apply the saved profile."};
}

} // namespace

AudioProcessingDiagnostic QuenstalController::audioProcessingDiagnostic(
    const Device& device, const ControlMode& mode, const PermissionState& permissions)
{
    using enum AudioProcessingDiagnostic;
    if (!device)
        return outputUnsupported;
    if (!isGranted(permissions.systemAudioCapture) && isExternalDisplayLike(device->transport))
        return permissionDenied;
    return mode.match([](const ControlMode::SystemVolume&) { return systemVolumeMode; },
        [](const ControlMode::HardwareDDC&) { return ddcHardwareMode; },
        [](const ControlMode::SoftwareTap&) { return softwareAvailable; },
        [](const ControlMode::Unavailable& unavailable) {
            return unavailable.reason == UnavailableReason::systemAudioCapturePermissionMissing ? permissionDenied
                                                                                                : outputUnsupported;
        },
        [](const ControlMode::Disabled&) { return outputUnsupported; });
}

bool QuenstalController::canSwitchToSoftwareProcessing(const Device& device, AudioProcessingDiagnostic diagnostic)
{
    using enum AudioProcessingDiagnostic;
    return diagnostic != softwareAvailable && diagnostic != unknown && device
        && isExternalDisplayLike(device->transport)
        && attempt([&] { return softwareVolume_->isAvailable(*device); }).value_or(false);
}

void QuenstalController::explainAudioProcessing(QuenstalState& state, const Device& device)
{
    AudioProcessingState& processing = state.audioProcessing;
    processing.diagnostic = audioProcessingDiagnostic(device, state.mode, state.permissions);
    processing.canSwitchToSoftware = canSwitchToSoftwareProcessing(device, processing.diagnostic);
    processing.levels = readLevels(state.mode, device, processing.diagnostic);
}

DiagnosticIssue QuenstalController::audioProcessingDiagnosticIssue() const
{
    const AudioProcessingState& processing = state_.audioProcessing;
    return isAvailable(processing.diagnostic) ? availableIssue(processing.profile) : unavailableIssue(processing);
}

const QuenstalState& QuenstalController::appendDiagnostic(DiagnosticIssue issue)
{
    state_.diagnostics.push_back(std::move(issue));
    return state_;
}

std::string QuenstalController::exportedDiagnostics() const
{
    std::string report;
    for (const DiagnosticIssue& issue : state_.diagnostics)
        report += reportLine(issue) + "\n";
    return report + reportLine(audioProcessingDiagnosticIssue());
}

} // namespace quenstal
