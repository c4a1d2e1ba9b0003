// Volume commands, the fall back from a failed monitor, and the switch to software processing.

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalCore/QuenstalController/Attempt.hpp"
#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <utility>

namespace quenstal {

namespace {

using enum DiagnosticCode;
using enum DiagnosticSeverity;

DiagnosticIssue notControllableIssue()
{
    return {commandIgnored, warning, "Volume command ignored because this output is not controllable.", std::nullopt};
}

DiagnosticIssue commandFailedIssue(std::string reason)
{
    return {commandIgnored, error, "Volume command failed.", std::move(reason)};
}

DiagnosticIssue fellBackIssue()
{
    return {ddcCommandFailed, warning, "Monitor hardware volume failed, so Quenstal switched to software volume.",
        "Check whether the monitor supports DDC/CI volume over this cable."};
}

DiagnosticIssue processingNotStartedIssue(std::string reason)
{
    return {commandIgnored, error, "Software processing could not be started for EQ.", std::move(reason)};
}

/// Why the mode takes no commands; none when it does.
std::optional<UnavailableReason> refusalOf(const ControlMode& mode)
{
    using Refusal = std::optional<UnavailableReason>;
    return mode.match([](const ControlMode::SystemVolume&) { return Refusal(); },
        [](const ControlMode::HardwareDDC&) { return Refusal(); },
        [](const ControlMode::SoftwareTap&) { return Refusal(); },
        [](const ControlMode::Unavailable& unavailable) { return Refusal(unavailable.reason); },
        [](const ControlMode::Disabled&) { return Refusal(UnavailableReason::quenstalDisabled); });
}

template <typename T>
const T& required(const std::optional<T>& target, const QuenstalError& otherwise)
{
    if (!target)
        throw otherwise;
    return *target;
}

} // namespace

VolumeCommandResult QuenstalController::handle(const VolumeCommand& command)
{
    const QuenstalState refreshed = refresh();
    if (const auto refusal = refusalOf(refreshed.mode))
        return VolumeCommandResult::ignored(*refusal, appendDiagnostic(notControllableIssue()));

    const auto reduction = reducer_.reduce(refreshed.volume, command, lastAudibleLevel_);
    const VolumeSnapshot& next = reduction.next;
    // Before the write: the user's intent counts even when the write fails.
    lastAudibleLevel_ = reduction.lastAudibleLevel;

    const auto failure = failureOf([&] { apply(next, refreshed.mode); });
    if (!failure) {
        state_ = refreshed;
        state_.volume = next;
        return VolumeCommandResult::applied(state_);
    }
    if (refreshed.mode.is<ControlMode::HardwareDDC>()) {
        if (auto fallback = attempt([&] { return applySoftwareFallback(refreshed, next); })) {
            state_ = *std::move(fallback);
            return VolumeCommandResult::applied(state_);
        }
    }
    return VolumeCommandResult::ignored(
        UnavailableReason::softwareFallbackUnavailable, appendDiagnostic(commandFailedIssue(*failure)));
}

void QuenstalController::apply(const VolumeSnapshot& snapshot, const ControlMode& mode)
{
    const auto noDevice = QuenstalError::noOutputDevice();
    const auto unsupported = QuenstalError::unsupportedDevice();
    mode.match(
        [&](const ControlMode::SystemVolume&) {
            systemVolume_->setVolume(snapshot, required(state_.outputDevice, noDevice));
        },
        [&](const ControlMode::HardwareDDC&) {
            ddcVolume_->setVolume(snapshot, required(state_.displayTarget, unsupported));
        },
        [&](const ControlMode::SoftwareTap&) {
            softwareVolume_->setVolume(snapshot, required(state_.outputDevice, noDevice));
        },
        [&](const ControlMode::Unavailable&) { throw unsupported; },
        [&](const ControlMode::Disabled&) { throw unsupported; });
}

QuenstalState QuenstalController::applySoftwareFallback(const QuenstalState& refreshed, const VolumeSnapshot& next)
{
    if (!refreshed.outputDevice)
        throw QuenstalError::noOutputDevice();
    if (!isGranted(refreshed.permissions.systemAudioCapture))
        throw QuenstalError::permissionMissing();
    const AudioOutputDevice& device = *refreshed.outputDevice;
    if (!softwareVolume_->isAvailable(device))
        throw QuenstalError::unsupportedDevice();
    softwareVolume_->setVolume(next, device);

    // For this command only: nothing is stored, so the next one tries the monitor again.
    QuenstalState fallback = refreshed;
    fallback.diagnostics.push_back(fellBackIssue());
    fallback.mode = ControlMode::softwareTap(device.id);
    fallback.volume = next;
    fallback.permissions.systemAudioCapture = PermissionStatus::granted;
    fallback.audioProcessing = audioProcessing(refreshed.audioProcessing.profile,
        refreshed.audioProcessing.boostHintVisible, fallback.outputDevice, fallback.mode, fallback.permissions);
    return fallback;
}

QuenstalState QuenstalController::switchCurrentOutputToSoftwareProcessing()
{
    QuenstalState refreshed = refresh();
    if (!refreshed.outputDevice || !isExternalDisplayLike(refreshed.outputDevice->transport))
        return refreshed;
    const AudioOutputDevice device = *std::move(refreshed.outputDevice);
    attempt([&] { eqProfileStore_->setSoftwareProcessingPreferred(true, outputKey(device)); });

    QuenstalState switched = refresh();
    if (!switched.mode.is<ControlMode::SoftwareTap>())
        return switched;
    const auto failure = failureOf([&] {
        softwareVolume_->setVolume(switched.volume, device);
        softwareVolume_->setEQProfile(switched.audioProcessing.profile, device);
    });
    if (failure)
        return appendDiagnostic(processingNotStartedIssue(*failure));

    switched.audioProcessing = audioProcessing(std::move(switched.audioProcessing.profile),
        switched.audioProcessing.boostHintVisible, device, switched.mode, switched.permissions);
    state_ = std::move(switched);
    return state_;
}

} // namespace quenstal
