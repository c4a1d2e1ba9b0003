// Construction, refresh and the enable switch.

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalCore/QuenstalController/Attempt.hpp"
#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

QuenstalController::QuenstalController(std::shared_ptr<AudioDeviceProviding> audioDevices,
    std::shared_ptr<DisplayTargetProviding> displays, std::shared_ptr<PermissionProviding> permissions,
    std::shared_ptr<SystemVolumeControlling> systemVolume, std::shared_ptr<DDCVolumeControlling> ddcVolume,
    std::shared_ptr<SoftwareVolumeControlling> softwareVolume, std::shared_ptr<EQProfileStoring> eqProfileStore,
    ModeSelector modeSelector, VolumeReducer reducer, VolumeSnapshot initialVolume)
    : audioDevices_(std::move(audioDevices))
    , displays_(std::move(displays))
    , permissions_(std::move(permissions))
    , systemVolume_(std::move(systemVolume))
    , ddcVolume_(std::move(ddcVolume))
    , softwareVolume_(std::move(softwareVolume))
    , eqProfileStore_(std::move(eqProfileStore))
    , modeSelector_(modeSelector)
    , reducer_(reducer)
    , state_{
          .outputDevice = std::nullopt,
          .displayTarget = std::nullopt,
          .permissions = PermissionState::allGranted(),
          .mode = ControlMode::unavailable(UnavailableReason::noOutputDevice),
          .volume = initialVolume,
          .isEnabled = true,
          .diagnostics = {},
          .audioProcessing = AudioProcessingState::unavailable(),
      }
    , lastAudibleLevel_(std::max(initialVolume.level, reducer.stepSize()))
{
    refresh();
}

QuenstalState QuenstalController::refresh()
{
    Device device = attempt([&] { return audioDevices_->defaultOutputDevice(); }).value_or(std::nullopt);
    Display display;
    if (device)
        display = attempt([&] { return displays_->displayTarget(*device); }).value_or(std::nullopt);
    const auto permissions
        = attempt([&] { return permissions_->currentPermissionState(); }).value_or(state_.permissions);

    state_ = isEnabled_ ? refreshedWhileEnabled(std::move(device), std::move(display), permissions)
                        : refreshedWhileDisabled(std::move(device), std::move(display), permissions);

    // A running session always carries the stored profile; the next refresh tries again.
    if (state_.mode.is<ControlMode::SoftwareTap>() && state_.outputDevice)
        pushProfile(state_.audioProcessing.profile, *state_.outputDevice);
    return state_;
}

QuenstalState QuenstalController::refreshedWhileEnabled(
    Device device, Display display, const PermissionState& permissions)
{
    const bool softwareAvailable
        = device && attempt([&] { return softwareVolume_->isAvailable(*device); }).value_or(false);
    const bool prefersSoftware = device && isExternalDisplayLike(device->transport)
        && attempt([&] { return eqProfileStore_->softwareProcessingPreferred(outputKey(*device)); }).value_or(false);
    ModeSelection selection
        = modeSelector_.selectMode(device, display, permissions, softwareAvailable, prefersSoftware);

    const VolumeSnapshot volume = readVolume(selection.mode, device, display).value_or(state_.volume);
    EQProfile profile = device ? storedProfile(*device) : EQProfile::defaultProfile();
    AudioProcessingState processing = audioProcessing(
        std::move(profile), state_.audioProcessing.boostHintVisible, device, selection.mode, permissions);

    if (!volume.isMuted && volume.level > 0)
        lastAudibleLevel_ = volume.level;

    return {std::move(device), std::move(display), permissions, std::move(selection.mode), volume, true,
        std::move(selection.diagnostics), std::move(processing)};
}

QuenstalState QuenstalController::refreshedWhileDisabled(
    Device device, Display display, const PermissionState& permissions)
{
    const ControlMode mode = ControlMode::disabled();
    EQProfile profile = device ? storedProfile(*device) : state_.audioProcessing.profile;
    AudioProcessingState processing = audioProcessing(std::move(profile), false, device, mode, permissions);

    return {std::move(device), std::move(display), permissions, mode, state_.volume, false, {}, std::move(processing)};
}

EQProfile QuenstalController::storedProfile(const AudioOutputDevice& device)
{
    return attempt([&] { return eqProfileStore_->profile(outputKey(device)); })
        .value_or(std::nullopt)
        .value_or(EQProfile::defaultProfile());
}

std::optional<VolumeSnapshot> QuenstalController::readVolume(
    const ControlMode& mode, const Device& device, const Display& display)
{
    // Each path needs its own end: without it there is nothing to ask.
    const auto read = [](auto& port, const auto& target) -> std::optional<VolumeSnapshot> {
        return target ? attempt([&] { return port.readVolume(*target); }) : std::nullopt;
    };
    using None = std::optional<VolumeSnapshot>;
    return mode.match([&](const ControlMode::SystemVolume&) { return read(*systemVolume_, device); },
        [&](const ControlMode::HardwareDDC&) { return read(*ddcVolume_, display); },
        [&](const ControlMode::SoftwareTap&) { return read(*softwareVolume_, device); },
        [](const ControlMode::Unavailable&) { return None(); }, [](const ControlMode::Disabled&) { return None(); });
}

SoundLevelSnapshot QuenstalController::readLevels(
    const ControlMode& mode, const Device& device, AudioProcessingDiagnostic diagnostic)
{
    if (!isAvailable(diagnostic) || !mode.is<ControlMode::SoftwareTap>() || !device)
        return SoundLevelSnapshot::zero();
    return attempt([&] { return softwareVolume_->readLevels(*device); }).value_or(SoundLevelSnapshot::zero());
}

void QuenstalController::pushProfile(const EQProfile& profile, const AudioOutputDevice& device)
{
    attempt([&] { softwareVolume_->setEQProfile(profile, device); });
}

QuenstalState QuenstalController::setEnabled(bool enabled)
{
    if (enabled == isEnabled_)
        return refresh();
    return toggleEnabled();
}

QuenstalState QuenstalController::toggleEnabled()
{
    isEnabled_ = !isEnabled_;
    if (isEnabled_)
        return resumeSoftwareFallbackIfNeeded(refresh());
    // First the sessions, so that no audio keeps flowing through the software path.
    shutdown();
    return refresh();
}

QuenstalState QuenstalController::resumeSoftwareFallbackIfNeeded(const QuenstalState& refreshed)
{
    if (!refreshed.mode.is<ControlMode::SoftwareTap>() || !refreshed.outputDevice)
        return refreshed;
    const auto failure = failureOf([&] { softwareVolume_->setVolume(refreshed.volume, *refreshed.outputDevice); });
    if (!failure)
        return refreshed;
    return appendDiagnostic({DiagnosticCode::commandIgnored, DiagnosticSeverity::error,
        "Software volume could not be restored after enabling Quenstal.", *failure});
}

void QuenstalController::shutdown()
{
    attempt([&] { softwareVolume_->stopAll(); });
}

} // namespace quenstal
