// Edits of the current output's equaliser profile.

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalCore/QuenstalController/Attempt.hpp"
#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <utility>

namespace quenstal {

namespace {

/// What a first boost takes from a preamp that was never moved, so that positive gain does not clip.
constexpr double automaticPreampDB = -2;

} // namespace

QuenstalState QuenstalController::updateEQProfile(const std::function<EQEdit(const EQProfile&)>& transform)
{
    QuenstalState refreshed = refresh();
    if (!refreshed.outputDevice)
        return refreshed;
    const AudioOutputDevice& device = *refreshed.outputDevice;

    // Saved in every mode, so that the profile is ready when software processing starts.
    EQEdit edit = transform(refreshed.audioProcessing.profile);
    attempt([&] { eqProfileStore_->saveProfile(edit.profile, outputKey(device)); });

    refreshed.audioProcessing = audioProcessing(
        std::move(edit.profile), edit.boostHintVisible, refreshed.outputDevice, refreshed.mode, refreshed.permissions);
    state_ = std::move(refreshed);
    if (state_.mode.is<ControlMode::SoftwareTap>())
        pushProfile(state_.audioProcessing.profile, *state_.outputDevice);
    return state_;
}

QuenstalState QuenstalController::setEQEnabled(bool enabled)
{
    return updateEQProfile([&](const EQProfile& current) { return EQEdit{current.settingEnabled(enabled)}; });
}

QuenstalState QuenstalController::selectEQPreset(EQPresetName preset)
{
    return updateEQProfile([&](const EQProfile& current) { return EQEdit{current.selectingPreset(preset)}; });
}

QuenstalState QuenstalController::updateEQBand(std::int64_t id, double gainDB)
{
    return updateEQProfile([&](const EQProfile& current) { return boosted(current, id, gainDB); });
}

QuenstalController::EQEdit QuenstalController::boosted(const EQProfile& current, std::int64_t id, double gainDB)
{
    EQProfile edited = current.settingBand(id, gainDB);
    if (!(gainDB > 0) || current.preampDB != 0 || boostHintAlreadyShown_)
        return {std::move(edited), false};
    boostHintAlreadyShown_ = true;
    return {edited.settingPreamp(automaticPreampDB), true};
}

QuenstalState QuenstalController::updateEQPreamp(double preampDB)
{
    return updateEQProfile([&](const EQProfile& current) { return EQEdit{current.settingPreamp(preampDB)}; });
}

QuenstalState QuenstalController::resetEQProfile()
{
    return updateEQProfile([](const EQProfile& current) { return EQEdit{current.resettingToFlatPreservingEnabled()}; });
}

QuenstalState QuenstalController::dismissEQBoostHint()
{
    state_.audioProcessing = audioProcessing(
        std::move(state_.audioProcessing.profile), false, state_.outputDevice, state_.mode, state_.permissions);
    return state_;
}

} // namespace quenstal
