// The status item and the life of the panel: opening, closing, position, timer, first run.

#include "QuenstalApp/ShellTest.hpp"

namespace quenstal {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Screen = GlassDialViewState::Screen;

struct StatusMenuControllerTest : ShellTest {
    StatusMenuControllerTest() { playOnSpeakers(); }
};

TEST_F(StatusMenuControllerTest, theStatusButtonShowsSymbolAndTitleFromConstructionOnWithoutAnotherRefresh)
{
    finishSetupEarlier();
    controller = ports.makeController();
    ports.takeCalls();
    status = std::make_shared<StatusMenuController>(
        StatusMenuController::Platform{loop, desktop, preferences, permission, monitorWatch, views},
        std::make_shared<VolumeDesk>(loop, monitorWatch, controller));
    EXPECT_THAT(ports.takeCalls(), IsEmpty());
    EXPECT_EQ(desktop.statusButton(),
        (StatusButtonAppearance{
            "speaker.wave.2.fill", "Quenstal", 13, " 50%", ImagePosition::imageLeading, StatusTint::standard}));
}

TEST_F(StatusMenuControllerTest, theStatusButtonFollowsMuteAndSwitch)
{
    launchWithOpenPanel();
    view().toggleMute();
    EXPECT_EQ(desktop.statusButton()->symbolName, "speaker.slash.fill");
    EXPECT_EQ(desktop.statusButton()->title, " Muted");
    view().toggleEnable();
    EXPECT_EQ(desktop.statusButton()->symbolName, "speaker.fill");
    EXPECT_EQ(desktop.statusButton()->title, " Off");
    EXPECT_EQ(desktop.statusButton()->tint, StatusTint::secondaryLabel);
}

TEST_F(StatusMenuControllerTest, aClickOpensThePanelUnderTheIconWithTheKeyboard)
{
    finishSetupEarlier();
    launch();
    desktop.clickStatusItem();
    EXPECT_EQ(ports.takeCalls(), refreshOfSpeakers());
    EXPECT_TRUE(desktop.isPanelVisible());
    EXPECT_TRUE(desktop.panelHasKeyboard());
    EXPECT_EQ(desktop.panelFrame(), (Rect{1012 - 172, 24, 344, 383}));
    EXPECT_EQ(view().screen(), Screen::dial);
}

TEST_F(StatusMenuControllerTest, theClickThatOpensThePanelDoesNotCloseIt)
{
    finishSetupEarlier();
    launch();
    desktop.clickStatusItem();
    EXPECT_EQ(desktop.mouseMonitors(), 0u);
    EXPECT_EQ(desktop.keyMonitors(), 1u);
    loop.runUntilIdle();
    EXPECT_EQ(desktop.mouseMonitors(), 1u);
    EXPECT_EQ(desktop.mouseMask(), 0x200000Au);
}

TEST_F(StatusMenuControllerTest, theOutsideMonitorIsNotInstalledWhenThePanelClosedBefore)
{
    finishSetupEarlier();
    launch();
    desktop.clickStatusItem();
    desktop.clickStatusItem();
    loop.runUntilIdle();
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_EQ(desktop.mouseMonitors(), 0u);
}

TEST_F(StatusMenuControllerTest, aSecondClickClosesThePanelAndDropsEverything)
{
    launchWithOpenPanel();
    view().showEqualizer();
    view().toggleMoreActions();
    desktop.clickStatusItem();
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_EQ(desktop.keyMonitors(), 0u);
    EXPECT_EQ(desktop.mouseMonitors(), 0u);
    EXPECT_EQ(loop.pendingTimers(), 0u);
    EXPECT_EQ(view().screen(), Screen::dial);
    EXPECT_FALSE(view().showsMoreActions());
}

TEST_F(StatusMenuControllerTest, aClickOutsideClosesThePanel)
{
    launchWithOpenPanel();
    desktop.clickOutside();
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_EQ(desktop.mouseMonitors(), 0u);
}

TEST_F(StatusMenuControllerTest, aClickOnTheIconThatLooksLikeOneOutsideDoesNotReopenThePanel)
{
    launchWithOpenPanel();
    desktop.clickOutside();
    loop.advance(150ms);
    desktop.clickStatusItem();
    EXPECT_FALSE(desktop.isPanelVisible());
    desktop.clickStatusItem();
    EXPECT_TRUE(desktop.isPanelVisible());
}

TEST_F(StatusMenuControllerTest, longAfterAClickOutsideTheIconOpensThePanelAgain)
{
    launchWithOpenPanel();
    desktop.clickOutside();
    loop.advance(400ms);
    desktop.clickStatusItem();
    EXPECT_TRUE(desktop.isPanelVisible());
}

TEST_F(StatusMenuControllerTest, withoutAnIconThePanelOpensAtThePointerAndNeverAtTheOrigin)
{
    finishSetupEarlier();
    launch();
    desktop.setStatusItemFrame(std::nullopt);
    desktop.setPointer(Point{700, 890});
    desktop.clickStatusItem();
    EXPECT_EQ(desktop.panelFrame(), (Rect{528, 507, 344, 383}));
    desktop.clickStatusItem();
    desktop.setPointer(std::nullopt);
    desktop.clickStatusItem();
    EXPECT_EQ(desktop.panelFrame(), (Rect{1088, 32, 344, 383}));
}

TEST_F(StatusMenuControllerTest, aMiddleClickMutesAndTheWheelStepsLikeTheKeys)
{
    finishSetupEarlier();
    launch();
    desktop.scrollStatusItem(2);
    EXPECT_EQ(ports.systemVolume, VolumeSnapshot(0.625, false));
    desktop.scrollStatusItem(-1);
    EXPECT_EQ(ports.systemVolume, VolumeSnapshot(0.5625, false));
    desktop.middleClickStatusItem();
    EXPECT_TRUE(ports.systemVolume.isMuted);
    EXPECT_EQ(desktop.statusButton()->title, " Muted");
}

TEST_F(StatusMenuControllerTest, openInTheMenuOpensThePanelEvenWhenThatClickHasJustClosedIt)
{
    finishSetupEarlier();
    launch();
    desktop.clickStatusItem();
    loop.runUntilIdle();
    desktop.clickOutside();
    EXPECT_FALSE(desktop.isPanelVisible());
    desktop.chooseOpenInMenu();
    EXPECT_TRUE(desktop.panelHasKeyboard());
    desktop.chooseOpenInMenu();
    EXPECT_TRUE(desktop.isPanelVisible());
}

TEST_F(StatusMenuControllerTest, quitInTheMenuClosesThePanelAndEndsTheProgram)
{
    finishSetupEarlier();
    launch();
    desktop.clickStatusItem();
    desktop.chooseQuitInMenu();
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_TRUE(desktop.isTerminated());
}

TEST_F(StatusMenuControllerTest, theItemTellsWhetherItIsMuted)
{
    finishSetupEarlier();
    launch();
    EXPECT_FALSE(desktop.statusButton()->isMuted);
    desktop.middleClickStatusItem();
    EXPECT_TRUE(desktop.statusButton()->isMuted);
}

TEST_F(StatusMenuControllerTest, theWheelStepsAMonitorFromWhereItsKnobIsNow)
{
    finishSetupEarlier();
    playOnMonitor();
    launch();
    monitorWatch.askMonitor();
    desktop.scrollStatusItem(1);
    desktop.middleClickStatusItem();
    EXPECT_EQ(ports.ddcVolume, VolumeSnapshot(0.5, false));
    ports.ddcVolume.level = 0.25;
    monitorWatch.monitorAnswers();
    EXPECT_EQ(ports.ddcVolume, VolumeSnapshot(0.3125, true));
}

TEST_F(StatusMenuControllerTest, anyNumberOfRequestsMakeOneRefresh)
{
    finishSetupEarlier();
    launch();
    for (int i = 0; i < 10; ++i)
        desk->scheduleRefresh();
    EXPECT_EQ(refreshes(), 0u);
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
    desk->scheduleRefresh();
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
}

TEST_F(StatusMenuControllerTest, refreshingTheOutputKeepsThePendingRefresh)
{
    launchWithOpenPanel();
    desk->scheduleRefresh();
    view().refreshOutput();
    EXPECT_EQ(refreshes(), 1u);
    desk->scheduleRefresh();
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
}

TEST_F(StatusMenuControllerTest, openingThePanelClearsThePendingFlagButAPostedRefreshStillRuns)
{
    finishSetupEarlier();
    launch();
    desk->scheduleRefresh();
    desktop.clickStatusItem();
    desk->scheduleRefresh();
    ports.takeCalls();
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(StatusMenuControllerTest, aRefreshThatOutlivesTheProgramIsDropped)
{
    finishSetupEarlier();
    launch();
    desk->scheduleRefresh();
    tap.reset();
    status.reset();
    desk.reset();
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 0u);
    EXPECT_EQ(desktop.statusButton(), std::nullopt);
}

struct LevelTimerTest : ShellTest {
    LevelTimerTest()
    {
        playOnSilentMonitor();
        launchWithOpenPanel();
    }
    bool isRunning() { return loop.pendingTimers() == 1; }
};

TEST_F(LevelTimerTest, runsExactlyWhileTheMetersCanBeSeen)
{
    EXPECT_FALSE(isRunning());
    view().showEqualizer();
    EXPECT_TRUE(isRunning());
    view().showDial();
    EXPECT_FALSE(isRunning());
    view().showEqualizer();
    view().showSetupGuide();
    EXPECT_FALSE(isRunning());
    view().showEqualizer();
    desktop.clickStatusItem();
    EXPECT_FALSE(isRunning());
}

TEST_F(LevelTimerTest, everyTenthOfASecondTheMetersMove)
{
    view().showEqualizer();
    ports.levels = SoundLevelSnapshot(0.5, 0.25, 1, 0.5, false);
    loop.advance(99ms);
    EXPECT_EQ(refreshes(), 0u);
    loop.advance(1ms);
    EXPECT_EQ(refreshes(), 1u);
    EXPECT_EQ(view().snapshot().eqLevels, ports.levels);
    loop.advance(900ms);
    EXPECT_EQ(refreshes(), 9u);
}

TEST_F(LevelTimerTest, startsAndStopsWhenTheOutputTurnsOutAnother)
{
    view().showEqualizer();
    playOnSpeakers();
    loop.advance(100ms);
    EXPECT_FALSE(isRunning());
    EXPECT_EQ(desktop.panelFrame().size(), (Size{344, 311}));
    playOnSilentMonitor();
    view().refreshOutput();
    EXPECT_TRUE(isRunning());
    EXPECT_EQ(desktop.panelFrame().size(), (Size{344, 475}));
}

struct FirstRunTest : ShellTest {
    FirstRunTest() { playOnSpeakers(); }
};

TEST_F(FirstRunTest, theGuideOpensByItselfOnceTheIconHasItsPlace)
{
    launch();
    EXPECT_FALSE(desktop.isPanelVisible());
    loop.runUntilIdle();
    EXPECT_EQ(ports.takeCalls(), refreshOfSpeakers());
    EXPECT_TRUE(desktop.isPanelVisible());
    EXPECT_TRUE(desktop.panelHasKeyboard());
    EXPECT_EQ(view().screen(), Screen::setup);
    EXPECT_EQ(desktop.panelFrame(), (Rect{840, 24, 344, 481}));
    EXPECT_EQ(desktop.keyMonitors(), 1u);
    EXPECT_EQ(desktop.mouseMonitors(), 1u);
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(FirstRunTest, itIsTriedTwelveTimesAtATenthOfASecond)
{
    desktop.placeStatusItem(false);
    launch();
    loop.advance(1099ms);
    EXPECT_EQ(loop.pendingTimers(), 1u);
    loop.advance(1ms);
    EXPECT_EQ(loop.pendingTimers(), 0u);
    desktop.placeStatusItem(true);
    loop.advance(10s);
    EXPECT_FALSE(desktop.isPanelVisible());
}

TEST_F(FirstRunTest, theTwelfthTryStillShowsIt)
{
    desktop.placeStatusItem(false);
    launch();
    loop.advance(1099ms);
    desktop.placeStatusItem(true);
    loop.advance(1ms);
    EXPECT_TRUE(desktop.isPanelVisible());
}

TEST_F(FirstRunTest, whenItNeverOpenedByItselfTheFirstClickShowsIt)
{
    desktop.placeStatusItem(false);
    launch();
    loop.advance(10s);
    desktop.clickStatusItem();
    EXPECT_EQ(view().screen(), Screen::setup);
    EXPECT_EQ(desktop.panelFrame().size(), (Size{344, 481}));
    desktop.clickStatusItem();
    desktop.clickStatusItem();
    EXPECT_EQ(view().screen(), Screen::dial);
}

TEST_F(FirstRunTest, finishingStoresTheFlagAndShowsTheDial)
{
    launch();
    loop.runUntilIdle();
    view().finishSetup();
    EXPECT_EQ(view().screen(), Screen::dial);
    EXPECT_EQ(preferences.values().at("Quenstal.SetupGuideCompleted"), SimulatedPreferences::Value(true));
    EXPECT_TRUE(desktop.isPanelVisible());
    status.reset();
    launch();
    loop.advance(10s);
    EXPECT_FALSE(desktop.isPanelVisible());
}

TEST_F(FirstRunTest, onlyAStoredTrueCountsAsFinished)
{
    preferences.setString(SetupGuidePreferences::key, "true");
    launch();
    loop.runUntilIdle();
    EXPECT_EQ(view().screen(), Screen::setup);
}

} // namespace
} // namespace quenstal
