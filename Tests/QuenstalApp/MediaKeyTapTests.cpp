#include "QuenstalApp/ShellTest.hpp"

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct MediaKeyTapTest : ShellTest {
    MediaKeyTapTest()
    {
        playOnSpeakers();
        finishSetupEarlier();
        launch();
    }
};

TEST_F(MediaKeyTapTest, startCreatesAnActiveSessionTapAtTheHeadForSystemDefinedEventsOnly)
{
    tap->start();
    EXPECT_THAT(
        taps.calls(), ElementsAre("create session headInsert active 0x4000", "create source", "add source", "enable"));
    EXPECT_TRUE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, startingTwiceLeavesOneTap)
{
    tap->start();
    tap->start();
    EXPECT_EQ(taps.tapCount(), 1);
    EXPECT_TRUE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, stopReleasesInTheReverseOrder)
{
    tap->start();
    tap->stop();
    const auto& calls = taps.calls();
    EXPECT_THAT(std::vector(calls.begin() + 4, calls.end()),
        ElementsAre("disable", "remove source", "release source", "release tap"));
    EXPECT_FALSE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, stoppingAStoppedTapOnlyReportsCaptureInactive)
{
    tap->stop();
    EXPECT_THAT(taps.calls(), IsEmpty());
    EXPECT_FALSE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, aTapThatCannotBeCreatedIsReportedInactive)
{
    tap->start();
    tap->stop();
    taps.refuseTaps(true);
    tap->start();
    EXPECT_EQ(taps.tapCount(), 0);
    EXPECT_FALSE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, aSourceThatCannotBeMadeCountsAsFailedCreation)
{
    taps.refuseSources(true);
    tap->start();
    EXPECT_EQ(taps.tapCount(), 0);
    EXPECT_FALSE(view().mediaKeyCaptureActive());
    taps.refuseSources(false);
    tap->start();
    EXPECT_TRUE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, exactlyTheKeyDownsOfTheThreeVolumeKeysAreSwallowed)
{
    struct Row {
        const char* what;
        TapEvent event;
        bool isSwallowed;
        const char* captured;
    };
    const auto none = "No F-key events captured yet";
    const Row rows[]{
        {"volume up, down", {14, 8, 0x00000A00}, true, "F12 volume up"},
        {"volume down, down", {14, 8, 0x00010A00}, true, "F11 volume down"},
        {"mute, down", {14, 8, 0x00070A00}, true, "F10 mute"},
        {"mute, repeat", {14, 8, 0x00070A01}, true, "F10 mute"},
        {"volume up with bits above 32", {14, 8, 0x7700000A00}, true, "F12 volume up"},
        {"volume up, up", {14, 8, 0x00000B00}, false, none},
        {"mute, up", {14, 8, 0x00070B00}, false, none},
        {"mute, no state", {14, 8, 0x00070000}, false, none},
        {"brightness up", {14, 8, 0x00020A00}, false, none},
        {"play", {14, 8, 0x00100A00}, false, none},
        {"code 7 in the high bits of a longer code", {14, 8, 0x01070A00}, false, none},
        {"another subtype", {14, 7, 0x00000A00}, false, none},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        launch();
        tap->start();
        EXPECT_EQ(taps.send(row.event), !row.isSwallowed);
        loop.runUntilIdle();
        EXPECT_TRUE(view().lastMediaKeyCaptureDescription().starts_with(row.captured));
        tap.reset();
    }
}

TEST_F(MediaKeyTapTest, aVolumeKeyStepsAfterTheCallbackHasReturned)
{
    ports.permissions = PermissionState::allGranted();
    tap->start();
    EXPECT_FALSE(taps.sendButton(AuxiliaryButton::soundUp, AuxiliaryButton::down));
    EXPECT_THAT(ports.takeCalls(), IsEmpty());
    loop.runOneTurn();
    EXPECT_EQ(
        ports.takeCalls(), refreshOfSpeakers() + refreshOfSpeakers() + Calls{"system.setVolume(0.5625, speakers)"});
    loop.runUntilIdle();
    EXPECT_EQ(ports.takeCalls(), refreshOfSpeakers());
    EXPECT_EQ(view().snapshot().statusTitle, "56%");
}

TEST_F(MediaKeyTapTest, aStepOfAMonitorStartsFromWhereItsKnobIsNow)
{
    playOnMonitor();
    controller->refresh();
    tap->start();
    monitorWatch.askMonitor();
    taps.press(AuxiliaryButton::soundUp);
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    EXPECT_EQ(ports.ddcVolume.level, 0.5) << "not before the monitor was asked";
    ports.ddcVolume.level = 0.25;
    monitorWatch.monitorAnswers();
    EXPECT_EQ(ports.ddcVolume.level, 0.375);
}

TEST_F(MediaKeyTapTest, aKeyForAnotherOutputDoesNotWaitForAMonitor)
{
    tap->start();
    monitorWatch.askMonitor();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    EXPECT_EQ(ports.systemVolume.level, 0.5625);
}

TEST_F(MediaKeyTapTest, aKeyThatWaitsForAMonitorDoesNotOutliveTheTap)
{
    playOnMonitor();
    controller->refresh();
    tap->start();
    monitorWatch.askMonitor();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    tap.reset();
    monitorWatch.monitorAnswers();
    EXPECT_EQ(ports.ddcVolume.level, 0.5);
}

TEST_F(MediaKeyTapTest, aBurstOfPressesMakesOnePanelRefresh)
{
    tap->start();
    for (int i = 0; i < 5; ++i)
        taps.press(AuxiliaryButton::soundDown);
    loop.runUntilIdle();
    const Calls calls = ports.takeCalls();
    EXPECT_EQ(countOf(calls, "defaultOutputDevice"), 5u * 2 + 1);
    EXPECT_EQ(calls.back(), refreshOfSpeakers().back());
    EXPECT_EQ(ports.systemVolume.level, 0.5 - 5 * 0.0625);
}

TEST_F(MediaKeyTapTest, whileDisabledAKeyIsSwallowedAndRecordedButNotCarriedOut)
{
    tap->start();
    controller->setEnabled(false);
    ports.takeCalls();
    EXPECT_FALSE(taps.sendButton(AuxiliaryButton::mute, AuxiliaryButton::down));
    loop.runUntilIdle();
    EXPECT_THAT(ports.takeCalls(), IsEmpty());
    EXPECT_TRUE(view().lastMediaKeyCaptureDescription().starts_with("F10 mute at "));
}

TEST_F(MediaKeyTapTest, withoutAccessibilityAKeyGivesNoCommand)
{
    tap->start();
    ports.permissions.accessibility = PermissionStatus::denied;
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    EXPECT_EQ(ports.takeCalls(), refreshOfSpeakers());
}

TEST_F(MediaKeyTapTest, aTapDisabledByTheSystemIsRestartedOnALaterTurn)
{
    for (const EventType reason : {eventTypeTapDisabledByTimeout, eventTypeTapDisabledByUserInput}) {
        tap->start();
        taps.disableTaps(reason);
        EXPECT_EQ(taps.listeningCount(), 0);
        loop.runUntilIdle();
        EXPECT_EQ(taps.listeningCount(), 1);
        EXPECT_TRUE(view().mediaKeyCaptureActive());
    }
}

TEST_F(MediaKeyTapTest, aLateRestartNeverRevivesATapThatWasStoppedMeanwhile)
{
    tap->start();
    taps.disableTaps(eventTypeTapDisabledByTimeout);
    tap->stop();
    loop.runUntilIdle();
    EXPECT_EQ(taps.tapCount(), 0);
    EXPECT_FALSE(view().mediaKeyCaptureActive());
}

TEST_F(MediaKeyTapTest, aKeyOutlivesNeitherTheTapNorNeedsTheStatusController)
{
    tap->start();
    taps.press(AuxiliaryButton::soundUp);
    status.reset();
    loop.runUntilIdle();
    EXPECT_EQ(ports.systemVolume.level, 0.5625);
    taps.press(AuxiliaryButton::soundUp);
    tap.reset();
    loop.runUntilIdle();
    EXPECT_EQ(ports.systemVolume.level, 0.5625);
}

TEST_F(MediaKeyTapTest, aCapturedKeyShowsTheNewLevelWhileThePanelIsClosed)
{
    tap->start();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    EXPECT_THAT(desktop.keyFeedback(), ElementsAre(KeyFeedback{"speaker.wave.2.fill", "56%", 56, "Built-in Speakers"}));
    desktop.clickStatusItem();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    EXPECT_EQ(desktop.keyFeedback().size(), 1u);
}

TEST_F(MediaKeyTapTest, aSwallowedKeyThatCannotDoAnythingSaysWhy)
{
    ports.device = dock();
    tap->start();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    ASSERT_EQ(desktop.keyFeedback().size(), 1u);
    EXPECT_EQ(desktop.keyFeedback().front().percent, std::nullopt);
    EXPECT_EQ(desktop.keyFeedback().front().text, view().snapshot().primaryDiagnostic);
}

} // namespace
} // namespace quenstal
