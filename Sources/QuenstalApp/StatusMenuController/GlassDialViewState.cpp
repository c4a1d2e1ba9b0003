#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

template <typename Callback, typename... Arguments>
void call(const Callback& callback, Arguments... arguments)
{
    if (callback)
        callback(arguments...);
}

} // namespace

GlassDialViewState::GlassDialViewState(GlassDialSnapshot snapshot, SetupGuideSnapshot setupSnapshot)
    : snapshot_(std::move(snapshot))
    , setupSnapshot_(std::move(setupSnapshot))
    , lastMediaKeyCaptureDescription_(noMediaKeyCapturedDescription)
{
}

void GlassDialViewState::addObserver(Observer& observer)
{
    observers_.push_back(&observer);
}

void GlassDialViewState::removeObserver(Observer& observer)
{
    std::erase(observers_, &observer);
}

template <typename T>
void GlassDialViewState::publish(Property property, T& field, T value)
{
    if (field == value)
        return;
    for (Observer* observer : observers_)
        observer->propertyWillChange(property);
    field = std::move(value);
    for (Observer* observer : observers_)
        observer->propertyDidChange(property);
}

void GlassDialViewState::setScreen(Screen screen)
{
    publish(Property::screen, screen_, screen);
}

void GlassDialViewState::setShowsMoreActions(bool shows)
{
    publish(Property::showsMoreActions, showsMoreActions_, shows);
}

void GlassDialViewState::setFocusedEQBandID(std::optional<std::int64_t> id)
{
    publish(Property::focusedEQBandID, focusedEQBandID_, id);
}

void GlassDialViewState::setPermissionNeeds(PermissionNeeds needs)
{
    publish(Property::permissionNeeds, permissionNeeds_, needs);
}

void GlassDialViewState::setCaptureAdvice(std::string advice)
{
    publish(Property::captureAdvice, captureAdvice_, std::move(advice));
}

void GlassDialViewState::setMonitorProblems(std::vector<DisplayBusProblem> problems)
{
    publish(Property::monitorProblems, monitorProblems_, std::move(problems));
}

void GlassDialViewState::update(GlassDialSnapshot snapshot)
{
    publish(Property::snapshot, snapshot_, std::move(snapshot));
}

void GlassDialViewState::updateSetupSnapshot(SetupGuideSnapshot setupSnapshot)
{
    publish(Property::setupSnapshot, setupSnapshot_, std::move(setupSnapshot));
}

void GlassDialViewState::updateMediaKeyCapture(bool isActive, std::string lastEventDescription)
{
    publish(Property::mediaKeyCaptureActive, mediaKeyCaptureActive_, isActive);
    publish(Property::lastMediaKeyCaptureDescription, lastMediaKeyCaptureDescription_, std::move(lastEventDescription));
}

void GlassDialViewState::show(Screen screen)
{
    hideMoreActions();
    if (screen_ == screen)
        return;
    setScreen(screen);
    call(onScreenChanged);
}

void GlassDialViewState::showDial()
{
    show(Screen::dial);
}

void GlassDialViewState::showEqualizer()
{
    show(Screen::equalizer);
}

void GlassDialViewState::showSetupGuide()
{
    show(Screen::setup);
}

void GlassDialViewState::toggleMoreActions()
{
    setShowsMoreActions(!showsMoreActions_);
}

void GlassDialViewState::hideMoreActions()
{
    setShowsMoreActions(false);
}

void GlassDialViewState::setVolumePercent(std::int64_t percent)
{
    call(onVolumeChange, percent);
}

void GlassDialViewState::toggleMute()
{
    call(onToggleMute);
}

void GlassDialViewState::toggleEnable()
{
    call(onToggleEnable);
}

void GlassDialViewState::refreshOutput()
{
    call(onRefreshOutput);
}

void GlassDialViewState::setEQEnabled(bool enabled)
{
    call(onEQToggle, enabled);
}

void GlassDialViewState::selectPreset(EQPresetName preset)
{
    call(onEQPreset, preset);
}

void GlassDialViewState::setEQBand(std::int64_t id, double gainDB)
{
    call(onEQBandChange, id, gainDB);
}

void GlassDialViewState::setEQPreamp(double gainDB)
{
    call(onEQPreampChange, gainDB);
}

void GlassDialViewState::resetEQ(bool confirm)
{
    call(onEQReset, confirm);
}

void GlassDialViewState::dismissBoostHint()
{
    call(onDismissBoostHint);
}

void GlassDialViewState::switchToSoftwareProcessing()
{
    call(onSwitchToSoftwareProcessing);
}

void GlassDialViewState::requestAccessibility()
{
    call(onRequestAccessibility);
}

void GlassDialViewState::openAudioSettings()
{
    call(onOpenAudioSettings);
}

void GlassDialViewState::finishSetup()
{
    call(onFinishSetup);
}

void GlassDialViewState::quit()
{
    call(onQuit);
}

void GlassDialViewState::openSettingsFromMore()
{
    hideMoreActions();
    call(onOpenSettings);
}

void GlassDialViewState::openSetupGuideFromMore()
{
    hideMoreActions();
    call(onOpenSetupGuide);
}

void GlassDialViewState::copyDiagnosticsFromMore()
{
    hideMoreActions();
    call(onCopyDiagnostics);
}

void GlassDialViewState::adjustFocusedEQBand(double delta)
{
    const std::vector<EQBand>& bands = snapshot_.eqProfile.bands;
    if (!focusedEQBandID_ && bands.empty())
        return;
    const std::int64_t id = focusedEQBandID_ ? *focusedEQBandID_ : bands.front().id;
    const auto band = std::ranges::find(bands, id, &EQBand::id);
    if (band == bands.end())
        return;
    // Read before the focus is announced: an observer may publish another profile.
    const double gainDB = band->gainDB;
    setFocusedEQBandID(id);
    call(onEQBandChange, id, gainDB + delta);
}

void GlassDialViewState::selectPresetByIndex(std::int64_t index)
{
    constexpr auto presets = allCases<EQPresetName>();
    if (index >= 0 && index < static_cast<std::int64_t>(presets.size()))
        call(onEQPreset, presets[static_cast<std::size_t>(index)]);
}

} // namespace quenstal
