// The life of the program from launch to its end, on a machine in memory: permission, switch, sleep, a second start.

#include "Journeys/JourneyTest.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::StartsWith;

constexpr auto up = AuxiliaryButton::soundUp;
constexpr auto down = AuxiliaryButton::soundDown;

struct LifeTest : JourneyTest { };

// --- Permission ---

TEST_F(LifeTest, withoutAccessibilityTheTapIsStoppedAtLaunchAndCaptureReportedInactive)
{
    machine.plugInSpeakers();
    machine.permission.setTrusted(false);
    machine.launch();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_THAT(machine.keys.calls(), ElementsAre());
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
    EXPECT_EQ(machine.view().captureAdvice(), "Allow Quenstal to capture the volume keys.");
}

TEST_F(LifeTest, keysWorkTheMomentAccessIsGivenAndGoBackTheMomentItIsWithdrawn)
{
    machine.plugInSpeakers();
    machine.permission.setTrusted(false);
    machine.launch();
    machine.view().requestAccessibility();
    EXPECT_EQ(machine.permission.prompts(), 1);
    machine.loop.advance(5s);
    machine.permission.setTrusted(true);
    machine.loop.advance(1s);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    EXPECT_TRUE(machine.view().mediaKeyCaptureActive());
    EXPECT_EQ(machine.loop.pendingTimers(), 0u);
    machine.permission.setTrusted(false);
    machine.permission.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
}

TEST_F(LifeTest, aTapThatWasRefusedAtLaunchIsMadeWithTheNextRefreshThatFindsItPossible)
{
    machine.plugInSpeakers();
    machine.keys.refuseTaps(true);
    machine.launch();
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
    machine.permission.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive()) << "still refused";
    machine.keys.refuseTaps(false);
    machine.permission.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    EXPECT_TRUE(machine.view().mediaKeyCaptureActive());
    const auto creations = tapCreations();
    machine.permission.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(tapCreations(), creations) << "one is enough";
}

TEST_F(LifeTest, theFirstRunLeadsThroughTheGuide)
{
    machine.preferences.setBoolean(SetupGuidePreferences::key, false);
    machine.plugInSpeakers();
    machine.permission.setTrusted(false);
    machine.desktop.placeStatusItem(false);
    machine.launch();
    machine.loop.advance(300ms);
    machine.desktop.placeStatusItem(true);
    machine.loop.advance(100ms);
    ASSERT_TRUE(machine.desktop.isPanelVisible());
    EXPECT_EQ(machine.view().screen(), GlassDialViewState::Screen::setup);
    machine.view().requestAccessibility();
    machine.permission.setTrusted(true);
    machine.loop.advance(1s);
    machine.press(up);
    EXPECT_THAT(machine.view().lastMediaKeyCaptureDescription(), StartsWith("F12 volume up at "));
    machine.view().finishSetup();
    EXPECT_EQ(machine.view().screen(), GlassDialViewState::Screen::dial);
    EXPECT_TRUE(machine.preferences.boolean("Quenstal.SetupGuideCompleted"));
}

// --- Preferences ---

TEST_F(LifeTest, preferencesThatAreNotKeptAreToldOnceAndFoundUntilTheyAre)
{
    machine.plugInSpeakers();
    machine.launch();
    int changes = 0;
    machine.delegate->onReportChanged = [&] { ++changes; };
    const PreferencesProblem problem{PreferencesProblem::Kind::notSaved, "/a/file"};
    machine.preferences.setProblem(problem);
    EXPECT_THAT(machine.desktop.notices(), ElementsAre(StartsWith("Quenstal's preferences: Your preferences cannot")));
    EXPECT_EQ(machine.delegate->machineReport().preferencesProblem, problem);
    EXPECT_EQ(changes, 1);
    machine.preferences.setProblem(std::nullopt);
    EXPECT_EQ(machine.desktop.notices().size(), 1u);
    EXPECT_EQ(machine.delegate->machineReport().preferencesProblem, std::nullopt);
    EXPECT_EQ(changes, 2);
}

// --- The switch ---

TEST_F(LifeTest, theSwitchOnThePanelStopsAndStartsTheTap)
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

TEST_F(LifeTest, switchedOnWithoutAccessibilityTheStartFailsAndIsReported)
{
    machine.plugInSpeakers();
    machine.permission.setTrusted(false);
    machine.keys.refuseTaps(true);
    machine.launch();
    machine.view().toggleEnable();
    machine.view().toggleEnable();
    EXPECT_THAT(machine.keys.calls(), ElementsAre(StartsWith("create session")));
    EXPECT_FALSE(machine.view().mediaKeyCaptureActive());
}

// --- Sleep and wake ---

TEST_F(LifeTest, twoWakesInOneTurnRestartTheTapTwiceAndRefreshThePanelOnce)
{
    machine.plugInSpeakers();
    machine.launch();
    refreshes();
    const auto creations = tapCreations();
    machine.sleepAndWake.didWake();
    machine.sleepAndWake.screensDidWake();
    EXPECT_EQ(refreshes(), 2u);
    EXPECT_EQ(tapCreations(), creations + 2);
    machine.loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
}

TEST_F(LifeTest, aWakeWhileSwitchedOffStopsTheTapAndRefreshesThePanelOnce)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.view().toggleEnable();
    refreshes();
    machine.sleepAndWake.didWake();
    EXPECT_EQ(machine.keys.tapCount(), 0);
    machine.loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(LifeTest, aStormOfWakesLeavesOneTap)
{
    machine.plugInSpeakers();
    machine.launch();
    for (int i = 0; i < 100; ++i) {
        machine.sleepAndWake.screensDidWake();
        machine.sleepAndWake.didWake();
        if (i % 7 == 0)
            machine.keys.disableTaps(eventTypeTapDisabledByTimeout);
    }
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.keys.tapCount(), 1);
    EXPECT_EQ(machine.keys.listeningCount(), 1);
    EXPECT_EQ(machine.loop.pendingTimers(), 0u);
}

TEST_F(LifeTest, theBusesAreToldOfSleepWakeAndTheEnd)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.sleepAndWake.willSleep();
    machine.sleepAndWake.didWake();
    machine.quit();
    EXPECT_THAT(machine.monitorWatch.calls(), ElementsAre("will sleep", "did wake", "stop"));
}

TEST_F(LifeTest, aSleepThatNobodyEndsIsOverForTheBusesWhenAKeyIsPressed)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.sleepAndWake.willSleep();
    machine.press(up);
    EXPECT_THAT(machine.monitorWatch.calls(), ElementsAre("will sleep", "did wake"));
    machine.press(up);
    EXPECT_EQ(machine.monitorWatch.calls().size(), 2u);
}

// --- The end ---

TEST_F(LifeTest, terminationStopsTheTapAndTheSoftwareSession)
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
    machine.permission.tellOfChange();
    machine.sleepAndWake.didWake();
    machine.loop.runUntilIdle();
}

TEST_F(LifeTest, atTheEndTheSoundGoesBackBeforeAnythingThatMayBeHeldUp)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.press(down);
    bool isGivenBack = false;
    machine.taps.onGiveSoundBack = [&] {
        isGivenBack = true;
        EXPECT_EQ(machine.taps.liveObjects(), 0u);
        EXPECT_EQ(machine.keys.tapCount(), 1);
        EXPECT_THAT(machine.monitorWatch.calls(), ElementsAre());
        EXPECT_EQ(machine.preferences.saves(), 0);
    };
    machine.delegate->applicationWillTerminate();
    EXPECT_TRUE(isGivenBack);
    EXPECT_EQ(machine.preferences.saves(), 1);
}

TEST_F(LifeTest, terminationBeforeLaunchHarmsNothing)
{
    AppDelegate delegate(machine.platform());
    delegate.applicationShouldReopen();
    delegate.applicationWillTerminate();
    EXPECT_EQ(delegate.controller(), nullptr);
}

TEST_F(LifeTest, aSecondStartShowsThePanelAndDoesNotCloseIt)
{
    machine.plugInSpeakers();
    machine.launch();
    machine.delegate->applicationShouldReopen();
    EXPECT_TRUE(machine.desktop.isPanelVisible());
    machine.delegate->applicationShouldReopen();
    EXPECT_TRUE(machine.desktop.isPanelVisible());
}

TEST_F(LifeTest, everyEntryFromAnotherThreadIsAProgrammingError)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Row {
        const char* name;
        std::function<void()> enter;
    };
    const Row rows[]{
        {"launch", [this] { machine.delegate->applicationDidFinishLaunching(); }},
        {"second start", [this] { machine.delegate->applicationShouldReopen(); }},
        {"wake", [this] { machine.sleepAndWake.didWake(); }},
        {"wake of the screens", [this] { machine.sleepAndWake.screensDidWake(); }},
        {"end", [this] { machine.delegate->applicationWillTerminate(); }},
    };
    machine.plugInSpeakers();
    machine.launch();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_DEATH(std::thread(row.enter).join(), "programming error");
    }
}

} // namespace
} // namespace quenstal
