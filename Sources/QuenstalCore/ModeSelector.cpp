#include "QuenstalCore/ModeSelector.hpp"

#include <utility>

namespace quenstal {

namespace {

using enum DiagnosticCode;
using enum DiagnosticSeverity;

DiagnosticIssue noOutputIssue()
{
    return {
        noOutputDevice, error, "No output device is selected.", "Choose an audio output device in System Settings."};
}

DiagnosticIssue accessibilityIssue()
{
    return {accessibilityPermissionMissing, warning, "Keyboard volume keys cannot be captured yet.",
        "Grant Accessibility access to Quenstal."};
}

/// There is no code of its own for this case; the panel and the report show it as an ignored command.
DiagnosticIssue fixedVolumeIssue()
{
    return {commandIgnored, error, "This fixed-volume output is not an HDMI or DisplayPort monitor.",
        "Choose a built-in, USB, Bluetooth, HDMI, or DisplayPort output."};
}

DiagnosticIssue noDDCIssue()
{
    return {ddcUnavailable, info, "This display does not expose DDC/CI volume control.",
        "Quenstal will try software volume if system audio capture is allowed."};
}

DiagnosticIssue fallbackUnavailableIssue()
{
    return {softwareFallbackUnavailable, error, "Software volume fallback is not available for this output.",
        "Reconnect the display or choose another output device."};
}

DiagnosticIssue capturePermissionIssue()
{
    return {systemAudioCapturePermissionMissing, warning, "Software volume needs system audio capture permission.",
        "Grant system audio recording access to Quenstal."};
}

DiagnosticIssue softwareActiveIssue(const char* message)
{
    return {
        softwareFallbackActive, info, message, "Quenstal is routing audio through its software processing pipeline."};
}

/// One run of the selection: the issues gathered so far, and the ways to end.
class Selection {
public:
    void add(DiagnosticIssue issue) { diagnostics_.push_back(std::move(issue)); }

    ModeSelection finish(ControlMode mode) { return {std::move(mode), std::move(diagnostics_)}; }

    ModeSelection finish(UnavailableReason reason, DiagnosticIssue issue)
    {
        add(std::move(issue));
        return finish(ControlMode::unavailable(reason));
    }

    ModeSelection finishWithSoftware(const AudioOutputDevice& device, const PermissionState& permissions,
        bool softwareFallbackAvailable, const char* activeMessage)
    {
        if (!softwareFallbackAvailable)
            return finish(UnavailableReason::softwareFallbackUnavailable, fallbackUnavailableIssue());
        if (!isGranted(permissions.systemAudioCapture))
            return finish(UnavailableReason::systemAudioCapturePermissionMissing, capturePermissionIssue());
        add(softwareActiveIssue(activeMessage));
        return finish(ControlMode::softwareTap(device.id));
    }

private:
    std::vector<DiagnosticIssue> diagnostics_;
};

bool acceptsHardwareVolume(const std::optional<DisplayControlTarget>& display)
{
    return display && display->supportsDDC && display->supportsVolumeCommand;
}

} // namespace

ModeSelection ModeSelector::selectMode(const std::optional<AudioOutputDevice>& device,
    const std::optional<DisplayControlTarget>& display, const PermissionState& permissions,
    bool softwareFallbackAvailable, bool prefersSoftwareProcessing) const
{
    Selection selection;
    // Without an output nothing else matters, the keys included.
    if (!device)
        return selection.finish(UnavailableReason::noOutputDevice, noOutputIssue());

    if (!isGranted(permissions.accessibility))
        selection.add(accessibilityIssue());

    const bool isMonitor = isExternalDisplayLike(device->transport);
    if (isMonitor && prefersSoftwareProcessing) {
        return selection.finishWithSoftware(*device, permissions, softwareFallbackAvailable,
            "Software processing is active for this HDMI or DisplayPort output.");
    }
    if (device->supportsNativeVolume)
        return selection.finish(ControlMode::systemVolume(device->id));
    if (!isMonitor)
        return selection.finish(UnavailableReason::fixedVolumeDeviceUnsupported, fixedVolumeIssue());
    if (acceptsHardwareVolume(display))
        return selection.finish(ControlMode::hardwareDDC(display->id));

    selection.add(noDDCIssue());
    return selection.finishWithSoftware(*device, permissions, softwareFallbackAvailable,
        "Software volume fallback is active for this HDMI or DisplayPort output.");
}

} // namespace quenstal
