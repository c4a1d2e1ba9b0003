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
    reload();
    if (const auto refusal = refusalOf(state_.mode))
        return VolumeCommandResult::ignored(*refusal, appendDiagnostic(notControllableIssue()));

    const VolumeReducer::Result reduction = reducer_.reduce(state_.volume, command, lastAudibleLevel_);
    // Before the write: the user's intent counts even when the write fails.
    lastAudibleLevel_ = reduction.lastAudibleLevel;

    const auto failure = failureOf([&] { apply(reduction.next); });
    if (!failure) {
        state_.volume = reduction.next;
        return VolumeCommandResult::applied(state_);
    }
    if (state_.mode.is<ControlMode::HardwareDDC>() && attempt([&] { applySoftwareFallback(reduction.next); }))
        return VolumeCommandResult::applied(state_);
    return VolumeCommandResult::ignored(
        UnavailableReason::softwareFallbackUnavailable, appendDiagnostic(commandFailedIssue(*failure)));
}

void QuenstalController::apply(const VolumeSnapshot& snapshot)
{
    const auto noDevice = QuenstalError::noOutputDevice();
    const auto unsupported = QuenstalError::unsupportedDevice();
    state_.mode.match(
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

void QuenstalController::applySoftwareFallback(const VolumeSnapshot& next)
{
    const auto noDevice = QuenstalError::noOutputDevice();
    const AudioOutputDevice& device = required(state_.outputDevice, noDevice);
    if (!isGranted(state_.permissions.systemAudioCapture))
        throw QuenstalError::permissionMissing();
    if (!softwareVolume_->isAvailable(device))
        throw QuenstalError::unsupportedDevice();
    softwareVolume_->setVolume(next, device);

    // For this command only: nothing is stored, so the next one tries the monitor again.
    state_.diagnostics.push_back(fellBackIssue());
    state_.mode = ControlMode::softwareTap(device.id);
    state_.volume = next;
    explainAudioProcessing(state_, state_.outputDevice);
}

QuenstalState QuenstalController::switchCurrentOutputToSoftwareProcessing()
{
    reload();
    if (!state_.outputDevice || !isExternalDisplayLike(state_.outputDevice->transport))
        return state_;
    // Should the output change on the way, the session is still started for the one that was chosen.
    const Device chosen = state_.outputDevice;
    attempt([&] { eqProfileStore_->setSoftwareProcessingPreferred(true, outputKey(*chosen)); });

    reload();
    if (!state_.mode.is<ControlMode::SoftwareTap>())
        return state_;
    const auto failure = failureOf([&] {
        softwareVolume_->setVolume(state_.volume, *chosen);
        softwareVolume_->setEQProfile(state_.audioProcessing.profile, *chosen);
    });
    if (failure)
        return appendDiagnostic(processingNotStartedIssue(*failure));
    explainAudioProcessing(state_, chosen);
    return state_;
}

} // namespace quenstal
