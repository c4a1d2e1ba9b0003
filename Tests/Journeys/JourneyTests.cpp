// The roads of the program from end to end, on a machine in memory.

#include "Journeys/SimulatedMachine.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

constexpr auto up = AuxiliaryButton::soundUp;
constexpr auto down = AuxiliaryButton::soundDown;
constexpr auto mute = AuxiliaryButton::mute;

struct JourneyTest : testing::Test {
    /// Loudest sample that the output got.
    static float loudest(const SimulatedAudioTaps::Recording& recording)
    {
        float loudest = 0;
        for (const auto& channel : recording) {
            for (const float sample : channel)
                loudest = std::max(loudest, std::abs(sample));
        }
        return loudest;
    }

    /// Refreshes of the controller since the last time.
    std::size_t refreshes()
    {
        const std::size_t count = machine.audio.journal().callsBeginning("get 1 dOut").size();
        machine.audio.journal().clear();
        return count;
    }
    std::ptrdiff_t tapCreations() const
    {
        return std::ranges::count_if(
            machine.keys.calls(), [](const std::string& call) { return call.starts_with("create session"); });
    }

    SimulatedMachine machine;
};

// --- A key press on each path ---

TEST_F(JourneyTest, onSpeakersTheKeysMoveTheirOwnVolume)
{
    const AudioObjectID speakers = machine.plugInSpeakers();
    machine.launch();
    machine.press(up);
    EXPECT_FLOAT_EQ(machine.audio.output(speakers)->volumes.at(0).value, 0.5625F);
    machine.press(mute);
    EXPECT_EQ(machine.audio.output(speakers)->mute->value, 1);
    EXPECT_EQ(machine.desktop.statusButton()->title, " Muted");
    machine.press(down);
    EXPECT_EQ(machine.audio.output(speakers)->mute->value, 0);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 50%");
    EXPECT_EQ(machine.desktop.keyFeedback().size(), 3u);
}

TEST_F(JourneyTest, onAMonitorTheKeysMoveItsSpeakersOverDDC)
{
    machine.plugInMonitorOutput();
    // One that answers right after a change: pacing is the buses' matter, and these have none.
    const auto monitor = machine.plugInMonitor({.volume = 50, .quirks = {.busyAfterSet = 0ms}});
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
    machine.press(up);
    EXPECT_EQ(monitor->volume(), 56);
    machine.press(mute);
    EXPECT_EQ(monitor->volume(), 0);
    machine.press(mute);
    EXPECT_EQ(monitor->volume(), 56);
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
}

TEST_F(JourneyTest, whatWasFoundIsToldAsItChanges)
{
    machine.plugInSpeakers();
    machine.trust.setTrusted(false);
    machine.launch();
    std::vector<bool> captured;
    machine.delegate->onFindingsChanged = [&] { captured.push_back(machine.delegate->findings().areKeysCaptured); };
    EXPECT_FALSE(machine.delegate->findings().areKeysCaptured);
    EXPECT_EQ(machine.delegate->findings().state.outputDevice->name, "Speakers");

    machine.trust.setTrusted(true);
    machine.trust.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_THAT(captured, ElementsAre(true));
    machine.busHealth.setProblems({{DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5", "Left", ""}});
    machine.loop.runUntilIdle();
    EXPECT_EQ(captured.size(), 2u);
    EXPECT_EQ(machine.delegate->findings().monitorProblems.size(), 1u);
}

TEST_F(JourneyTest, aKeyThatTheMonitorLosesMovesTheSoftwareGain)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 50, .quirks = {.busyAfterSet = 0ms}});
    machine.launch();
    machine.taps.play([](std::uint32_t, std::uint64_t) { return 1.0F; });
    machine.press(down);
    const double wanted = machine.state().volume.level;
    monitor->setQuirks({.isDeaf = true});
    machine.busHealth.loseWrite();
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.state().mode.is<ControlMode::SoftwareTap>());
    EXPECT_NEAR(loudest(machine.taps.runCycles(4)), wanted, 1e-6);
}

TEST_F(JourneyTest, onAMonitorWithoutDDCTheKeysMoveTheSoftwareGain)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.taps.play([](std::uint32_t, std::uint64_t) { return 1.0F; });
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    for (int i = 0; i < 8; ++i)
        machine.press(down);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 50%");
    EXPECT_FALSE(machine.taps.directPathIsAudible("monitor-uid"));
    EXPECT_FLOAT_EQ(loudest(machine.taps.runCycles(4)), 0.5F);
    machine.press(mute);
    EXPECT_EQ(loudest(machine.taps.runCycles(4)), 0);
    machine.quit();
    EXPECT_TRUE(machine.taps.directPathIsAudible("monitor-uid"));
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
}

TEST_F(JourneyTest, aMonitorThatRefusesToBeSetFallsBackAndComesBack)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 50});
    machine.launch();
    monitor->setQuirks({.refusesSets = true});
    machine.keys.press(up);
    // The press itself, before the panel's own refresh looks again.
    machine.loop.runOneTurn();
    EXPECT_TRUE(machine.state().mode.is<ControlMode::SoftwareTap>());
    EXPECT_EQ(machine.state().diagnostics.back().code, DiagnosticCode::ddcCommandFailed);
    EXPECT_NE(machine.taps.liveObjects(), 0u);
    monitor->setQuirks({});
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
    machine.press(up);
    EXPECT_EQ(monitor->volume(), 56);
}

TEST_F(JourneyTest, softwareProcessingIsChosenOnceAndKeptAcrossStarts)
{
    machine.plugInMonitorOutput();
    machine.plugInMonitor({.volume = 50});
    machine.launch();
    machine.view().switchToSoftwareProcessing();
    machine.view().setEQEnabled(true);
    machine.view().selectPreset(EQPresetName::voice);
    machine.quit();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    EXPECT_TRUE(machine.view().snapshot().eqEnabled);
    EXPECT_EQ(machine.view().snapshot().eqPresetName, "Voice");
}

// --- What changes by other hands ---

TEST_F(JourneyTest, anotherOutputShowsATurnLater)
{
    machine.plugInSpeakers();
    const AudioObjectID monitor = machine.plugInMonitorOutput();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().outputName, "Speakers");
    machine.audio.setDefaultOutput(monitor);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().outputName, "Monitor");
    machine.audio.removeOutput(monitor);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().outputName, "Speakers");
}

TEST_F(JourneyTest, aSliderMovedElsewhereShowsATurnLater)
{
    const AudioObjectID speakers = machine.plugInSpeakers();
    machine.launch();
    machine.audio.changeVolumeElsewhere(speakers, audioElementMain, 0.25F);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.desktop.statusButton()->title, " 25%");
}

TEST_F(JourneyTest, aMonitorThatComesShowsATurnLater)
{
    machine.plugInMonitorOutput();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    machine.plugInMonitor();
    machine.busHealth.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
}

TEST_F(JourneyTest, aDeniedBusIsNamedInTheGuideATurnLaterUntilAccessIsGiven)
{
    using Kind = DisplayBusProblem::Kind;
    machine.plugInMonitorOutput();
    machine.launch();
    machine.busHealth.setProblems({{Kind::accessDenied, "/dev/i2c-5", "Left", "Join the group i2c."}});
    EXPECT_TRUE(machine.view().monitorProblems().empty());
    machine.loop.runUntilIdle();
    ASSERT_EQ(machine.view().monitorProblems().size(), 1u);
    EXPECT_EQ(machine.view().monitorProblems()[0].device, "/dev/i2c-5");
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    machine.plugInMonitor();
    machine.busHealth.setProblems({});
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.view().monitorProblems().empty());
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
}

// --- Permission ---

TEST_F(JourneyTest, withoutAccessibilityTheTapIsStoppedAtLaunchAndCaptureReportedInactive)
{
    machine.plugInSpeakers();
    machine.trust.setTrusted(false);
    machine.launch();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_THAT(machine.keys.calls(), ElementsAre());
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
    EXPECT_EQ(machine.view().captureAdvice(), "Allow Quenstal to capture the volume keys.");
}

TEST_F(JourneyTest, keysWorkTheMomentAccessIsGivenAndGoBackTheMomentItIsWithdrawn)
{
    machine.plugInSpeakers();
    machine.trust.setTrusted(false);
    machine.launch();
    machine.view().requestAccessibility();
    EXPECT_EQ(machine.trust.prompts(), 1);
    machine.loop.advance(5s);
    machine.trust.setTrusted(true);
    machine.loop.advance(1s);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    EXPECT_TRUE(machine.view().mediaKeyCaptureActive());
    EXPECT_EQ(machine.loop.pendingTimers(), 0u);
    machine.trust.setTrusted(false);
    machine.trust.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
}

TEST_F(JourneyTest, theFirstRunLeadsThroughTheGuide)
{
    machine.preferences.setBoolean(SetupGuidePreferences::key, false);
    machine.plugInSpeakers();
    machine.trust.setTrusted(false);
    machine.desktop.placeStatusItem(false);
    machine.launch();
    machine.loop.advance(300ms);
    machine.desktop.placeStatusItem(true);
    machine.loop.advance(100ms);
    ASSERT_TRUE(machine.desktop.isPanelVisible());
    EXPECT_EQ(machine.view().screen(), GlassDialViewState::Screen::setup);
    machine.view().requestAccessibility();
    machine.trust.setTrusted(true);
    machine.loop.advance(1s);
    machine.press(up);
    EXPECT_THAT(machine.view().lastMediaKeyCaptureDescription(), StartsWith("F12 volume up at "));
    machine.view().finishSetup();
    EXPECT_EQ(machine.view().screen(), GlassDialViewState::Screen::dial);
    EXPECT_TRUE(machine.preferences.boolean("Quenstal.SetupGuideCompleted"));
}

// --- The switch ---

TEST_F(JourneyTest, theSwitchOnThePanelStopsAndStartsTheTap)
{
    machine.plugInSpeakers();
    machine.launch();
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    machine.view().toggleEnable();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_TRUE(machine.keys.send({eventTypeSystemDefined, 8, 0x0A00}));
    machine.view().toggleEnable();
    EXPECT_EQ(machine.keys.listeningCount(), 1);
}

TEST_F(JourneyTest, switchedOnWithoutAccessibilityTheStartFailsAndIsReported)
{
    machine.plugInSpeakers();
    machine.trust.setTrusted(false);
    machine.keys.refuseTaps(true);
    machine.launch();
    machine.view().toggleEnable();
    machine.view().toggleEnable();
    EXPECT_THAT(machine.keys.calls(), ElementsAre(StartsWith("create session")));
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
}

// --- Sleep and wake ---

TEST_F(JourneyTest, twoWakesInOneTurnRestartTheTapTwiceAndRefreshThePanelOnce)
{
    machine.plugInSpeakers();
    machine.launch();
    refreshes();
    const auto creations = tapCreations();
    machine.workspace.didWake();
    machine.workspace.screensDidWake();
    EXPECT_EQ(refreshes(), 2u);
    EXPECT_EQ(tapCreations(), creations + 2);
    machine.loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
}

TEST_F(JourneyTest, aWakeWhileSwitchedOffStopsTheTapAndRefreshesThePanelOnce)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.view().toggleEnable();
    refreshes();
    machine.workspace.didWake();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    machine.loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(JourneyTest, aStormOfWakesLeavesOneTap)
{
    machine.plugInSpeakers();
    machine.launch();
    for (int i = 0; i < 100; ++i) {
        machine.workspace.screensDidWake();
        machine.workspace.didWake();
        if (i % 7 == 0)
            machine.keys.disableTaps(eventTypeTapDisabledByTimeout);
    }
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.keys.tapCount(), 1);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    EXPECT_EQ(machine.loop.pendingTimers(), 0u);
}

TEST_F(JourneyTest, theBusesAreToldOfSleepWakeAndTheEnd)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.workspace.willSleep();
    machine.workspace.didWake();
    machine.quit();
    EXPECT_THAT(machine.busHealth.calls(), ElementsAre("will sleep", "did wake", "stop"));
}

// --- The end ---

TEST_F(JourneyTest, terminationStopsTheTapAndTheSoftwareSession)
{
    const AudioObjectID output = machine.plugInMonitorOutput();
    machine.launch();
    machine.press(down);
    ASSERT_NE(machine.taps.liveObjects(), 0u);
    machine.delegate->applicationWillTerminate();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
    machine.delegate.reset();
    EXPECT_EQ(machine.desktop.statusButton(), std::nullopt);
    // Nobody is left to hear of these.
    machine.audio.removeOutput(output);
    machine.trust.tellOfChange();
    machine.workspace.didWake();
    machine.loop.runUntilIdle();
}

TEST_F(JourneyTest, terminationBeforeLaunchHarmsNothing)
{
    AppDelegate delegate(
        AppPlatform{machine.loop, machine.audio, machine.taps, machine.buses, machine.busHealth, machine.displays,
            machine.keys, machine.trust, machine.preferences, machine.desktop, machine.workspace, machine.views});
    delegate.applicationShouldReopen();
    delegate.applicationWillTerminate();
    EXPECT_EQ(delegate.controller(), nullptr);
}

TEST_F(JourneyTest, aSecondStartShowsThePanelAndDoesNotCloseIt)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.delegate->applicationShouldReopen();
    EXPECT_TRUE(machine.desktop.isPanelVisible());
    machine.delegate->applicationShouldReopen();
    EXPECT_TRUE(machine.desktop.isPanelVisible());
}

TEST_F(JourneyTest, aCallFromAnotherThreadIsAProgrammingError)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    machine.plugInSpeakers();
    machine.launch();
    EXPECT_DEATH(std::thread([this] { machine.delegate->applicationWillTerminate(); }).join(), "programming error");
}

// --- The report ---

TEST_F(JourneyTest, theCopiedReportTellsTheWholeStory)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.view().copyDiagnosticsFromMore();
    const std::string& report = *machine.desktop.pasteboard();
    EXPECT_EQ(report,
        machine.delegate->controller()->exportedDiagnostics()
            + "\n[info] accessibilityPermission: Running app sees Accessibility permission as granted."
              "\n[info] mediaKeyCapture: F10/F11/F12 listener is active. Last event: No F-key events captured yet."
              "\n[info] mediaKeyTroubleshooting: If F keys do not work, remove stale Quenstal entries from "
              "Accessibility, quit Quenstal, reopen it from Applications, then enable the installed app.");
    machine.press(down);
    machine.view().copyDiagnosticsFromMore();
    EXPECT_THAT(*machine.desktop.pasteboard(), Not(testing::HasSubstr("mediaKeyTroubleshooting")));
}

} // namespace
} // namespace quenstal
