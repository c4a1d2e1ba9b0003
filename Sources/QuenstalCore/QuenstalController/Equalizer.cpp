// Edits of the current output's equalizer profile.

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalCore/QuenstalController/Attempt.hpp"
#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <utility>

namespace quenstal {

namespace {

/// What a first boost takes from a preamp that was never moved, so that positive gain does not clip.
constexpr double automaticPreampDB = -2;

} // namespace

template <typename Transform>
QuenstalState QuenstalController::updateEQProfile(Transform transform)
{
    reload();
    if (!state_.outputDevice)
        return state_;
    EQEdit edit = transform(state_.audioProcessing.profile);
    // Saved in every mode, so that the profile is ready when software processing starts.
    attempt([&] { eqProfileStore_->saveProfile(edit.profile, outputKey(*state_.outputDevice)); });

    state_.audioProcessing.profile = std::move(edit.profile);
    state_.audioProcessing.boostHintVisible = edit.boostHintVisible;
    explainAudioProcessing(state_, state_.outputDevice);
    pushProfile();
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
    // Not `gainDB <= 0`: a NaN is no boost.
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
    state_.audioProcessing.boostHintVisible = false;
    explainAudioProcessing(state_, state_.outputDevice);
    return state_;
}

} // namespace quenstal
