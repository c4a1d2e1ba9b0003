#include "QuenstalCore/MenuPresenter/SetupGuideSnapshot.hpp"

#include "QuenstalCore/ProgrammingError.hpp"

namespace quenstal {

namespace {

bool hasExternalOutput(const QuenstalState& state)
{
    return state.outputDevice && isExternalDisplayLike(state.outputDevice->transport);
}

std::string outputSummaryFor(const QuenstalState& state)
{
    std::string summary = state.outputDevice ? state.outputDevice->name : "No output";
    summary += " - ";
    summary += state.mode.userFacingName();
    return summary;
}

std::string softwareSummaryFor(AudioProcessingDiagnostic diagnostic)
{
    switch (diagnostic) {
    case AudioProcessingDiagnostic::softwareAvailable:
        return "Software volume and EQ are available for this output.";
    case AudioProcessingDiagnostic::ddcHardwareMode:
        return "EQ needs software mode; hardware volume can still be used without EQ.";
    case AudioProcessingDiagnostic::systemVolumeMode:
        return "Software mode is not needed for this output.";
    case AudioProcessingDiagnostic::outputUnsupported:
    case AudioProcessingDiagnostic::unknown:
        return "Software mode is used only for supported HDMI/DisplayPort outputs.";
    case AudioProcessingDiagnostic::permissionDenied:
        return "Software mode needs System Audio Capture permission.";
    }
    programmingError("The diagnostic is none of its cases.");
}

} // namespace

PermissionNeeds permissionNeeds(const QuenstalState& state)
{
    const AudioProcessingDiagnostic diagnostic = state.audioProcessing.diagnostic;
    const bool mayCapture
        = isGranted(state.permissions.systemAudioCapture) && diagnostic != AudioProcessingDiagnostic::permissionDenied;
    return {
        .accessibility = !isGranted(state.permissions.accessibility),
        .audioCapture = hasExternalOutput(state) && !isAvailable(diagnostic) && !mayCapture,
    };
}

std::string SetupGuideSnapshot::hardwareSummaryFor(const QuenstalState& state)
{
    if (state.displayTarget && state.displayTarget->supportsVolumeCommand)
        return "This display exposes DDC/CI hardware volume.";
    if (hasExternalOutput(state))
        return "This display may not expose DDC/CI volume.";
    return "Built-in, USB, Bluetooth, and AirPlay outputs use normal system volume.";
}

std::string SetupGuideSnapshot::audioCaptureStatusFor(const QuenstalState& state)
{
    if (!hasExternalOutput(state))
        return "Not needed for this output";
    if (isAvailable(state.audioProcessing.diagnostic))
        return "Active";
    return permissionNeeds(state).audioCapture ? "Needed for software mode" : "Ready when software mode starts";
}

SetupGuideSnapshot::SetupGuideSnapshot(const QuenstalState& state)
    : outputSummary(outputSummaryFor(state))
    , hardwareSummary(hardwareSummaryFor(state))
    , softwareSummary(softwareSummaryFor(state.audioProcessing.diagnostic))
    , accessibilityStatus(permissionNeeds(state).accessibility ? "Needed for F10/F11/F12"
                                                               : "Permission granted, waiting for F-key test")
    , accessibilityActionTitle("Accessibility Settings")
    , audioCaptureStatus(audioCaptureStatusFor(state))
    , audioCaptureActionTitle(state.audioProcessing.canSwitchToSoftware ? "Try Software Mode" : "Open Sound Settings")
{
}

} // namespace quenstal
