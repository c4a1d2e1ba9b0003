#include "QuenstalCore/MenuPresenter/GlassDialSnapshot.hpp"

#include "QuenstalCore/MenuPresenter/SharedRules.hpp"

#include <algorithm>

namespace quenstal {

namespace {

std::string symbolName(const QuenstalState& state)
{
    if (!state.isEnabled)
        return "speaker.fill";
    return state.volume.isMuted ? "speaker.slash.fill" : "speaker.wave.2.fill";
}

std::string nameOfOutput(const QuenstalState& state)
{
    if (state.outputDevice)
        return state.outputDevice->name;
    return state.displayTarget ? state.displayTarget->name : "No Output";
}

GlassDialModeKind kindOf(const ControlMode& mode)
{
    using enum GlassDialModeKind;
    return mode.match([](const ControlMode::SystemVolume&) { return system; },
        [](const ControlMode::HardwareDDC&) { return hardware; },
        [](const ControlMode::SoftwareTap&) { return software; },
        [](const ControlMode::Unavailable&) { return unavailable; },
        [](const ControlMode::Disabled&) { return disabled; });
}

bool softwareReplacesDDC(const QuenstalState& state)
{
    const auto isMissingDDC = [](const DiagnosticIssue& issue) { return issue.code == DiagnosticCode::ddcUnavailable; };
    return state.isEnabled && state.mode.is<ControlMode::SoftwareTap>()
        && std::ranges::any_of(state.diagnostics, isMissingDDC);
}

std::string chipSubtitle(const AudioProcessingState& processing)
{
    if (!isAvailable(processing.diagnostic))
        return "-";
    return processing.profile.enabled ? std::string(displayName(processing.profile.preset)) : "Off";
}

} // namespace

GlassDialSnapshot::GlassDialSnapshot(const QuenstalState& state)
    : statusTitle(presenter::statusTitle(state))
    , statusSymbolName(symbolName(state))
    , outputName(nameOfOutput(state))
    , modeLabel(state.mode.userFacingName())
    , modeKind(kindOf(state.mode))
    , levelPercent(presenter::levelPercent(state.volume))
    , isMuted(state.volume.isMuted)
    , isEnabled(state.isEnabled)
    , isControllable(state.isEnabled && state.mode.isControllable())
    , ddcAvailable(state.displayTarget && state.displayTarget->supportsVolumeCommand)
    , showsDDCBanner(softwareReplacesDDC(state))
    , primaryDiagnostic(presenter::primaryDiagnostic(state))
    , eqEnabled(state.audioProcessing.profile.enabled && isAvailable(state.audioProcessing.diagnostic))
    , eqAvailable(isAvailable(state.audioProcessing.diagnostic))
    , eqCanSwitchToSoftware(state.audioProcessing.canSwitchToSoftware)
    , eqNeedsAudioPermission(state.audioProcessing.diagnostic == AudioProcessingDiagnostic::permissionDenied)
    , eqPresetName(displayName(state.audioProcessing.profile.preset))
    , eqChipSubtitle(chipSubtitle(state.audioProcessing))
    , eqUnavailableReason(reasonText(state.audioProcessing.diagnostic))
    , eqProfile(state.audioProcessing.profile)
    , eqLevels(state.audioProcessing.levels)
    , eqBoostHintVisible(state.audioProcessing.boostHintVisible)
{
}

} // namespace quenstal
