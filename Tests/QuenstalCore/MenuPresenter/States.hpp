#pragma once

#include "QuenstalCore/Models/State.hpp"

#include <string>

namespace quenstal::test {

inline AudioOutputDevice outputOver(AudioTransport transport, const std::string& name = "LG UltraFine")
{
    return {"42", name, transport, false, "uid"};
}

/// An HDMI monitor driven over DDC/CI, everything granted and nothing to complain about.
inline QuenstalState monitorState()
{
    QuenstalState state;
    state.outputDevice = outputOver(AudioTransport::hdmi);
    state.displayTarget = DisplayControlTarget{"7", "LG Display", true, true};
    state.permissions = PermissionState::allGranted();
    state.mode = ControlMode::hardwareDDC("7");
    state.volume = VolumeSnapshot::defaultAudible();
    state.audioProcessing.diagnostic = AudioProcessingDiagnostic::ddcHardwareMode;
    return state;
}

inline DiagnosticIssue issue(
    DiagnosticSeverity severity, const std::string& message, DiagnosticCode code = DiagnosticCode::commandIgnored)
{
    return {code, severity, message, "Never shown."};
}

} // namespace quenstal::test
