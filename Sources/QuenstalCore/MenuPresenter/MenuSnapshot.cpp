#include "QuenstalCore/MenuPresenter/MenuSnapshot.hpp"

#include "QuenstalCore/MenuPresenter/SharedRules.hpp"

namespace quenstal {

namespace {

bool isBlockedByCapturePermission(const QuenstalState& state)
{
    return state.isEnabled && !isGranted(state.permissions.systemAudioCapture) && state.outputDevice
        && isExternalDisplayLike(state.outputDevice->transport)
        && state.mode == ControlMode::unavailable(UnavailableReason::systemAudioCapturePermissionMissing);
}

} // namespace

MenuSnapshot::MenuSnapshot(const QuenstalState& state)
    : title(presenter::statusTitle(state))
    , deviceName(state.outputDevice ? state.outputDevice->name : "No Output")
    , modeName(state.mode.userFacingName())
    , levelPercent(presenter::levelPercent(state.volume))
    , isMuted(state.volume.isMuted)
    , isEnabled(state.isEnabled)
    , needsAccessibilityPermission(state.isEnabled && !isGranted(state.permissions.accessibility))
    , needsSystemAudioCapturePermission(isBlockedByCapturePermission(state))
    , primaryDiagnostic(presenter::primaryDiagnostic(state))
{
}

} // namespace quenstal
