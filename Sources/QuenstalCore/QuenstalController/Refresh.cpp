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
    reload();
}

QuenstalState QuenstalController::refresh()
{
    reload();
    return state_;
}

void QuenstalController::reload()
{
    Device device = attempt([&] { return audioDevices_->defaultOutputDevice(); });
    Display display = device ? attempt([&] { return displays_->displayTarget(*device); }) : std::nullopt;
    const auto permissions
        = attempt([&] { return permissions_->currentPermissionState(); }).value_or(state_.permissions);

    QuenstalState fresh = isEnabled_ ? reloadedWhileEnabled(std::move(device), std::move(display), permissions)
                                     : reloadedWhileDisabled(std::move(device), std::move(display), permissions);
    explainAudioProcessing(fresh, fresh.outputDevice);
    state_ = std::move(fresh);
    pushProfile();
}

QuenstalState QuenstalController::reloadedWhileEnabled(
    Device device, Display display, const PermissionState& permissions)
{
    const bool softwareAvailable
        = device && attempt([&] { return softwareVolume_->isAvailable(*device); }).value_or(false);
    const bool prefersSoftware = device && isExternalDisplayLike(device->transport)
        && attempt([&] { return eqProfileStore_->softwareProcessingPreferred(outputKey(*device)); }).value_or(false);
    ModeSelection selection
        = modeSelector_.selectMode(device, display, permissions, softwareAvailable, prefersSoftware);

    const VolumeSnapshot volume = readVolume(selection.mode, device, display).value_or(state_.volume);
    if (!volume.isMuted && volume.level > 0)
        lastAudibleLevel_ = volume.level;

    EQProfile profile = device ? storedProfile(*device) : EQProfile::defaultProfile();
    return {std::move(device), std::move(display), permissions, std::move(selection.mode), volume, true,
        std::move(selection.diagnostics),
        {.profile = std::move(profile), .boostHintVisible = state_.audioProcessing.boostHintVisible}};
}

QuenstalState QuenstalController::reloadedWhileDisabled(
    Device device, Display display, const PermissionState& permissions)
{
    EQProfile profile = device ? storedProfile(*device) : state_.audioProcessing.profile;
    return {std::move(device), std::move(display), permissions, ControlMode::disabled(), state_.volume, false, {},
        {.profile = std::move(profile)}};
}

EQProfile QuenstalController::storedProfile(const AudioOutputDevice& device)
{
    std::optional<EQProfile> stored = attempt([&] { return eqProfileStore_->profile(outputKey(device)); });
    return stored ? *std::move(stored) : EQProfile::defaultProfile();
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

void QuenstalController::pushProfile()
{
    // A failure is made good by the next refresh, which pushes again.
    if (state_.mode.is<ControlMode::SoftwareTap>() && state_.outputDevice)
        attempt([&] { softwareVolume_->setEQProfile(state_.audioProcessing.profile, *state_.outputDevice); });
}

QuenstalState QuenstalController::setEnabled(bool enabled)
{
    return enabled == isEnabled_ ? refresh() : toggleEnabled();
}

QuenstalState QuenstalController::toggleEnabled()
{
    isEnabled_ = !isEnabled_;
    // First the sessions, so that no audio keeps flowing through the software path.
    if (!isEnabled_)
        shutdown();
    reload();
    if (isEnabled_)
        resumeSoftwareFallbackIfNeeded();
    return state_;
}

void QuenstalController::resumeSoftwareFallbackIfNeeded()
{
    if (!state_.mode.is<ControlMode::SoftwareTap>() || !state_.outputDevice)
        return;
    const auto failure = failureOf([&] { softwareVolume_->setVolume(state_.volume, *state_.outputDevice); });
    if (failure)
        appendDiagnostic({DiagnosticCode::commandIgnored, DiagnosticSeverity::error,
            "Software volume could not be restored after enabling Quenstal.", *failure});
}

void QuenstalController::shutdown()
{
    attempt([&] { softwareVolume_->stopAll(); });
}

} // namespace quenstal
