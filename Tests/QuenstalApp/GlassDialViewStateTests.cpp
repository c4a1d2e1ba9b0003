#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Screen = GlassDialViewState::Screen;
using Property = GlassDialViewState::Property;

struct GlassDialViewStateTest : testing::Test, GlassDialViewState::Observer {
    GlassDialViewStateTest()
    {
        view.onScreenChanged = [this] { log.emplace_back("screen changed"); };
        view.onEQBandChange = [this](std::int64_t id, double gain) { bands.emplace_back(id, gain); };
        view.onEQPreset = [this](EQPresetName preset) { presets.push_back(preset); };
    }

    void propertyWillChange(Property property) override { before.emplace_back(property, view.screen()); }
    void propertyDidChange(Property property) override { after.emplace_back(property, view.screen()); }

    /// Publishes a profile with these bands.
    void showBands(std::vector<EQBand> newBands)
    {
        QuenstalState state;
        state.audioProcessing.profile.bands = std::move(newBands);
        view.update(GlassDialSnapshot(state));
    }

    GlassDialViewState view{GlassDialSnapshot(QuenstalState()), SetupGuideSnapshot(QuenstalState())};
    std::vector<std::string> log;
    std::vector<std::pair<std::int64_t, double>> bands;
    std::vector<EQPresetName> presets;
    std::vector<std::pair<Property, Screen>> before;
    std::vector<std::pair<Property, Screen>> after;
};

TEST_F(GlassDialViewStateTest, startsOnTheDialWithNothingCaptured)
{
    EXPECT_EQ(view.screen(), Screen::dial);
    EXPECT_FALSE(view.showsMoreActions());
    EXPECT_FALSE(view.mediaKeyCaptureActive());
    EXPECT_EQ(view.lastMediaKeyCaptureDescription(), "No F-key events captured yet");
    EXPECT_EQ(view.focusedEQBandID(), std::nullopt);
    EXPECT_EQ(view.captureAdvice(), "");
    EXPECT_THAT(view.monitorProblems(), IsEmpty());
    EXPECT_EQ(static_cast<int>(Screen::dial), 0);
    EXPECT_EQ(static_cast<int>(Screen::setup), 1);
    EXPECT_EQ(static_cast<int>(Screen::equalizer), 2);
}

TEST_F(GlassDialViewStateTest, aChangeIsAnnouncedBeforeItAndAgainAfterIt)
{
    view.addObserver(*this);
    view.setScreen(Screen::setup);
    EXPECT_THAT(before, ElementsAre(std::pair(Property::screen, Screen::dial)));
    EXPECT_THAT(after, ElementsAre(std::pair(Property::screen, Screen::setup)));
    view.removeObserver(*this);
    view.setScreen(Screen::dial);
    EXPECT_EQ(after.size(), 1u);
}

TEST_F(GlassDialViewStateTest, settingAnEqualValueAnnouncesNothing)
{
    view.addObserver(*this);
    view.setScreen(Screen::dial);
    view.setShowsMoreActions(false);
    view.setFocusedEQBandID(std::nullopt);
    view.setPermissionNeeds({});
    view.setCaptureAdvice("");
    view.setMonitorProblems({});
    view.update(GlassDialSnapshot(QuenstalState()));
    view.updateSetupSnapshot(SetupGuideSnapshot(QuenstalState()));
    view.updateMediaKeyCapture(false, "No F-key events captured yet");
    EXPECT_THAT(before, IsEmpty());
    EXPECT_THAT(after, IsEmpty());
}

TEST_F(GlassDialViewStateTest, everyPropertyIsAnnouncedByItsName)
{
    QuenstalState state;
    state.volume = {0.25, false};
    state.outputDevice = AudioOutputDevice{"1", "Speakers", AudioTransport::builtIn, true, std::nullopt};
    view.addObserver(*this);
    view.update(GlassDialSnapshot(state));
    view.updateSetupSnapshot(SetupGuideSnapshot(state));
    view.setShowsMoreActions(true);
    view.updateMediaKeyCapture(true, "F10 mute at 12:00:00");
    view.setFocusedEQBandID(2);
    view.setPermissionNeeds({.accessibility = true, .audioCapture = false});
    view.setCaptureAdvice("free the keys");
    view.setMonitorProblems({{DisplayBusProblem::Kind::stuck, "/dev/i2c-5", "Monitor", "unplug"}});
    std::vector<Property> announced;
    for (const auto& [property, screen] : after)
        announced.push_back(property);
    EXPECT_THAT(announced,
        ElementsAre(Property::snapshot, Property::setupSnapshot, Property::showsMoreActions,
            Property::mediaKeyCaptureActive, Property::lastMediaKeyCaptureDescription, Property::focusedEQBandID,
            Property::permissionNeeds, Property::captureAdvice, Property::monitorProblems));
}

TEST_F(GlassDialViewStateTest, everyNavigationClosesTheTrayAndTellsOfANewScreenOnce)
{
    struct Row {
        const char* name;
        void (GlassDialViewState::*show)();
        Screen screen;
    };
    const Row rows[]{
        {"equalizer", &GlassDialViewState::showEqualizer, Screen::equalizer},
        {"setup", &GlassDialViewState::showSetupGuide, Screen::setup},
        {"dial", &GlassDialViewState::showDial, Screen::dial},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        view.setShowsMoreActions(true);
        (view.*row.show)();
        EXPECT_EQ(view.screen(), row.screen);
        EXPECT_FALSE(view.showsMoreActions());
        EXPECT_THAT(log, ElementsAre("screen changed"));
        view.setShowsMoreActions(true);
        (view.*row.show)();
        EXPECT_FALSE(view.showsMoreActions());
        EXPECT_EQ(log.size(), 1u);
    }
}

TEST_F(GlassDialViewStateTest, theTrayOpensAndCloses)
{
    view.toggleMoreActions();
    EXPECT_TRUE(view.showsMoreActions());
    view.toggleMoreActions();
    EXPECT_FALSE(view.showsMoreActions());
    view.toggleMoreActions();
    view.hideMoreActions();
    EXPECT_FALSE(view.showsMoreActions());
}

TEST_F(GlassDialViewStateTest, theTraysEntriesCloseItBeforeTheirCallback)
{
    const auto note = [this](std::string name) {
        return [this, name] { log.push_back(name + (view.showsMoreActions() ? " open" : " closed")); };
    };
    view.onOpenSettings = note("settings");
    view.onOpenSetupGuide = note("guide");
    view.onCopyDiagnostics = note("diagnostics");
    for (const auto entry : {&GlassDialViewState::openSettingsFromMore, &GlassDialViewState::openSetupGuideFromMore,
             &GlassDialViewState::copyDiagnosticsFromMore}) {
        view.setShowsMoreActions(true);
        (view.*entry)();
    }
    EXPECT_THAT(log, ElementsAre("settings closed", "guide closed", "diagnostics closed"));
}

TEST_F(GlassDialViewStateTest, actionsForwardToTheirCallbacks)
{
    const auto note = [this](std::string text) { log.push_back(std::move(text)); };
    view.onVolumeChange = [=](std::int64_t percent) { note("volume " + std::to_string(percent)); };
    view.onToggleMute = [=] { note("mute"); };
    view.onToggleEnable = [=] { note("enable"); };
    view.onRefreshOutput = [=] { note("refresh"); };
    view.onEQToggle = [=](bool enabled) { note(enabled ? "eq on" : "eq off"); };
    view.onEQPreset = [=](EQPresetName preset) { note(std::string(rawValue(preset))); };
    view.onEQBandChange = [=](std::int64_t id, double gain) { note(std::to_string(id) + (gain == 1.5 ? " ok" : "")); };
    view.onEQPreampChange = [=](double gain) { note(gain == -2 ? "preamp" : "?"); };
    view.onEQReset = [=](bool confirm) { note(confirm ? "ask" : "reset"); };
    view.onDismissBoostHint = [=] { note("dismiss"); };
    view.onSwitchToSoftwareProcessing = [=] { note("switch"); };
    view.onRequestAccessibility = [=] { note("request"); };
    view.onOpenAudioSettings = [=] { note("audio settings"); };
    view.onFinishSetup = [=] { note("finish"); };
    view.onQuit = [=] { note("quit"); };
    view.setVolumePercent(37);
    view.toggleMute();
    view.toggleEnable();
    view.refreshOutput();
    view.setEQEnabled(true);
    view.selectPreset(EQPresetName::night);
    view.setEQBand(3, 1.5);
    view.setEQPreamp(-2);
    view.resetEQ(true);
    view.resetEQ(false);
    view.dismissBoostHint();
    view.switchToSoftwareProcessing();
    view.requestAccessibility();
    view.openAudioSettings();
    view.finishSetup();
    view.quit();
    EXPECT_THAT(log,
        ElementsAre("volume 37", "mute", "enable", "refresh", "eq on", "night", "3 ok", "preamp", "ask", "reset",
            "dismiss", "switch", "request", "audio settings", "finish", "quit"));
}

TEST_F(GlassDialViewStateTest, actionsWithoutACallbackDoNothing)
{
    GlassDialViewState bare(GlassDialSnapshot{QuenstalState()}, SetupGuideSnapshot{QuenstalState()});
    bare.setVolumePercent(1);
    bare.showEqualizer();
    bare.adjustFocusedEQBand(0.5);
    bare.selectPresetByIndex(0);
    bare.copyDiagnosticsFromMore();
    bare.quit();
    EXPECT_EQ(bare.screen(), Screen::equalizer);
}

TEST_F(GlassDialViewStateTest, withoutFocusTheFirstBandIsFocusedAndMoved)
{
    showBands({EQBand(10, 60, "60", 3), EQBand(11, 250, "250", -1)});
    view.adjustFocusedEQBand(0.5);
    EXPECT_EQ(view.focusedEQBandID(), 10);
    EXPECT_THAT(bands, ElementsAre(std::pair(10, 3.5)));
}

TEST_F(GlassDialViewStateTest, theFocusedBandIsMovedBeyondAllLimits)
{
    showBands({EQBand(10, 60, "60", 3), EQBand(11, 250, "250", 12)});
    view.setFocusedEQBandID(11);
    view.adjustFocusedEQBand(2);
    EXPECT_THAT(bands, ElementsAre(std::pair(11, 14.0)));
}

TEST_F(GlassDialViewStateTest, aFocusedBandThatIsGoneReportsNothingAndKeepsTheFocus)
{
    showBands({EQBand(10, 60, "60", 3)});
    view.setFocusedEQBandID(99);
    view.adjustFocusedEQBand(0.5);
    EXPECT_EQ(view.focusedEQBandID(), 99);
    EXPECT_THAT(bands, IsEmpty());
}

TEST_F(GlassDialViewStateTest, withoutBandsNothingHappens)
{
    showBands({});
    view.adjustFocusedEQBand(0.5);
    EXPECT_EQ(view.focusedEQBandID(), std::nullopt);
    EXPECT_THAT(bands, IsEmpty());
}

TEST_F(GlassDialViewStateTest, presetsAreSelectedByTheirIndex)
{
    for (const std::int64_t index : {-1, 0, 1, 2, 3, 4, 5, 6})
        view.selectPresetByIndex(index);
    EXPECT_THAT(presets,
        ElementsAre(EQPresetName::flat, EQPresetName::voice, EQPresetName::movie, EQPresetName::music,
            EQPresetName::night, EQPresetName::custom));
}

} // namespace
} // namespace quenstal
