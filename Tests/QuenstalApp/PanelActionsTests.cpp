// What the panel's controls and the keyboard do.

#include "QuenstalApp/ShellTest.hpp"

#include <time.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Screen = GlassDialViewState::Screen;

struct PanelActionsTest : ShellTest {
    PanelActionsTest()
    {
        playOnSilentMonitor();
        launchWithOpenPanel();
    }
};

TEST_F(PanelActionsTest, theDialSetsTheLevel)
{
    view().setVolumePercent(37);
    EXPECT_EQ(ports.softwareVolume, VolumeSnapshot(0.37, false));
    EXPECT_EQ(view().snapshot().statusTitle, "37%");
}

TEST_F(PanelActionsTest, theSwitchTellsTheNewValueAfterTheControllerTookIt)
{
    std::vector<bool> told;
    status->onEnabledChanged = [&](bool enabled) {
        EXPECT_EQ(controller->isEnabled(), enabled);
        told.push_back(enabled);
    };
    view().toggleEnable();
    EXPECT_FALSE(view().snapshot().isEnabled);
    view().toggleEnable();
    EXPECT_TRUE(view().snapshot().isEnabled);
    EXPECT_THAT(told, ElementsAre(false, true));
}

TEST_F(PanelActionsTest, equalizerEditsReachTheProfile)
{
    view().setEQEnabled(true);
    view().selectPreset(EQPresetName::night);
    view().setEQBand(2, 4);
    view().setEQPreamp(-3);
    const EQProfile& profile = view().snapshot().eqProfile;
    EXPECT_TRUE(profile.enabled);
    EXPECT_EQ(profile.preset, EQPresetName::custom);
    EXPECT_EQ(profile.bands[2].gainDB, 4);
    EXPECT_EQ(profile.preampDB, -3);
    EXPECT_EQ(ports.store->profile("monitor-uid"), profile);
}

TEST_F(PanelActionsTest, theBoostHintGrowsThePanelUntilItIsDismissed)
{
    view().showEqualizer();
    view().setEQBand(0, 3);
    EXPECT_EQ(desktop.panelFrame(), (Rect{840, 24, 344, 513}));
    view().dismissBoostHint();
    EXPECT_EQ(desktop.panelFrame(), (Rect{840, 24, 344, 475}));
}

TEST_F(PanelActionsTest, switchingToSoftwareIsRememberedForTheOutput)
{
    playOnMonitor();
    view().refreshOutput();
    EXPECT_EQ(view().snapshot().modeKind, GlassDialModeKind::hardware);
    view().switchToSoftwareProcessing();
    EXPECT_EQ(view().snapshot().modeKind, GlassDialModeKind::software);
    EXPECT_TRUE(ports.store->softwareProcessingPreferred("monitor-uid"));
}

TEST_F(PanelActionsTest, resetAsksWhenThereIsSomethingToLose)
{
    view().selectPreset(EQPresetName::movie);
    view().resetEQ(true);
    EXPECT_EQ(desktop.alert(),
        (Alert{"Reset equalizer?", "This restores the Flat preset for the current output.", {"Reset", "Cancel"}}));
    EXPECT_EQ(view().snapshot().eqPresetName, "Movie");
    desktop.answerAlert(1000);
    EXPECT_EQ(view().snapshot().eqPresetName, "Flat");
}

TEST_F(PanelActionsTest, anyOtherAnswerKeepsTheProfile)
{
    view().selectPreset(EQPresetName::movie);
    for (const AlertResponse response : {1001, 1002, 0, -1}) {
        view().resetEQ(true);
        desktop.answerAlert(response);
        EXPECT_EQ(view().snapshot().eqPresetName, "Movie");
    }
}

TEST_F(PanelActionsTest, resetDoesNotAskWithoutConfirmationOrForTheDefaultProfile)
{
    view().resetEQ(true);
    EXPECT_EQ(desktop.alert(), std::nullopt);
    view().selectPreset(EQPresetName::movie);
    view().resetEQ(false);
    EXPECT_EQ(desktop.alert(), std::nullopt);
    EXPECT_EQ(view().snapshot().eqPresetName, "Flat");
}

TEST_F(PanelActionsTest, anAnswerAfterTheEndIsDropped)
{
    view().selectPreset(EQPresetName::movie);
    view().resetEQ(true);
    status.reset();
    desktop.answerAlert(1000);
    EXPECT_EQ(ports.store->profile("monitor-uid")->preset, EQPresetName::movie);
}

TEST_F(PanelActionsTest, bothSettingsEntriesOpenTheSoundPage)
{
    view().openSettingsFromMore();
    view().openAudioSettings();
    EXPECT_THAT(desktop.openedAddresses(),
        ElementsAre(std::string(GlassDialSettingsDestination::soundSettingsURLString),
            std::string(GlassDialSettingsDestination::soundSettingsURLString)));
}

TEST_F(PanelActionsTest, theGuideIsShownFromTheTray)
{
    view().toggleMoreActions();
    view().openSetupGuideFromMore();
    EXPECT_EQ(view().screen(), Screen::setup);
    EXPECT_EQ(desktop.panelFrame().size(), (Size{344, 481}));
}

TEST_F(PanelActionsTest, quitClosesThePanelAndTerminates)
{
    view().quit();
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_TRUE(desktop.isTerminated());
}

// --- The report ---

constexpr const char* noKeysYet = "No F-key events captured yet";

TEST_F(PanelActionsTest, theReportIsCopiedLetterByLetter)
{
    view().copyDiagnosticsFromMore();
    EXPECT_EQ(desktop.pasteboard(),
        controller->exportedDiagnostics()
            + "\n[info] accessibilityPermission: Running app sees Accessibility permission as granted."
              "\n[info] mediaKeyCapture: F10/F11/F12 listener is inactive. Last event: No F-key events captured yet."
              "\n[info] mediaKeyTroubleshooting: If F keys do not work, remove stale Quenstal entries from "
              "Accessibility, quit Quenstal, reopen it from Applications, then enable the installed app.");
}

TEST_F(PanelActionsTest, theTroubleshootingLineNeedsAccessibilityAndNoCapturedKey)
{
    ports.permissions.accessibility = PermissionStatus::denied;
    view().refreshOutput();
    view().copyDiagnosticsFromMore();
    EXPECT_TRUE(desktop.pasteboard()->ends_with(
        "\n[info] accessibilityPermission: Running app sees Accessibility permission as not granted."
        "\n[info] mediaKeyCapture: F10/F11/F12 listener is inactive. Last event: No F-key events captured yet."));
    ports.permissions.accessibility = PermissionStatus::granted;
    view().refreshOutput();
    status->updateMediaKeyCapture(true);
    status->recordMediaKeyCapture(MediaKeyRouter::Key::volumeDown);
    view().copyDiagnosticsFromMore();
    EXPECT_TRUE(desktop.pasteboard()->ends_with("\n[info] mediaKeyCapture: F10/F11/F12 listener is active. Last event: "
        + view().lastMediaKeyCaptureDescription() + "."));
}

TEST_F(PanelActionsTest, theReportUsesTheStoredPermission)
{
    ports.permissions.accessibility = PermissionStatus::denied;
    view().copyDiagnosticsFromMore();
    EXPECT_NE(desktop.pasteboard()->find("permission as granted."), std::string::npos);
    EXPECT_THAT(ports.takeCalls(), IsEmpty());
}

TEST_F(PanelActionsTest, aCapturedKeyIsNotedWithItsLocalTime)
{
    tm local{};
    local.tm_year = 2024 - 1900;
    local.tm_mon = 5;
    local.tm_mday = 7;
    local.tm_hour = 14;
    local.tm_min = 3;
    local.tm_sec = 27;
    local.tm_isdst = -1;
    const auto wall = RunLoop::WallTime::clock::from_time_t(mktime(&local)) + 250ms;
    loop.setWallTime(wall);
    status->recordMediaKeyCapture(MediaKeyRouter::Key::volumeDown);
    EXPECT_EQ(view().lastMediaKeyCaptureDescription(), "F11 volume down at 14:03:27");
    EXPECT_EQ(preferences.string("QuenstalLastMediaKey"), "F11 volume down");
    EXPECT_EQ(preferences.number("QuenstalLastMediaKeyTimestamp"),
        std::chrono::duration<double>(wall.time_since_epoch()).count());
}

TEST_F(PanelActionsTest, theCaptureStateIsPublishedWithAFreshSetupSnapshotAndTheAdvice)
{
    permission.setTrusted(false);
    permission.setAdvice("Another program uses the volume keys.");
    ports.permissions.accessibility = PermissionStatus::denied;
    controller->refresh();
    status->updateMediaKeyCapture(false);
    EXPECT_EQ(view().setupSnapshot().accessibilityStatus, "Needed for F10/F11/F12");
    EXPECT_TRUE(view().permissionNeeds().accessibility);
    EXPECT_EQ(view().captureAdvice(), "Another program uses the volume keys.");
    permission.setTrusted(true);
    status->updateMediaKeyCapture(true);
    EXPECT_TRUE(view().mediaKeyCaptureActive());
    EXPECT_EQ(view().lastMediaKeyCaptureDescription(), noKeysYet);
    EXPECT_EQ(view().captureAdvice(), "");
}

TEST_F(PanelActionsTest, everySyncPublishesWhatIsWrongWithTheMonitorsAndTheReportStaysTheSame)
{
    const auto report = [this] {
        view().copyDiagnosticsFromMore();
        return desktop.pasteboard();
    };
    const auto before = report();
    const DisplayBusProblem problem{
        DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5", "Left", "Install the udev rule."};
    monitorWatch.setProblems({problem});
    EXPECT_TRUE(view().monitorProblems().empty());
    view().refreshOutput();
    EXPECT_THAT(view().monitorProblems(), testing::ElementsAre(problem));
    EXPECT_EQ(report(), before);
    monitorWatch.setProblems({});
    view().refreshOutput();
    EXPECT_TRUE(view().monitorProblems().empty());
}

// --- Accessibility ---

TEST_F(PanelActionsTest, askingForAccessPromptsOpensTheListAndLooksAgainThirtyTimes)
{
    ports.permissions.accessibility = PermissionStatus::denied;
    view().refreshOutput();
    ports.takeCalls();
    view().requestAccessibility();
    EXPECT_EQ(permission.prompts(), 1);
    EXPECT_THAT(desktop.openedAddresses(),
        ElementsAre(std::string(GlassDialSettingsDestination::accessibilitySettingsURLString)));
    loop.runUntilIdle();
    EXPECT_EQ(refreshes(), 1u);
    loop.advance(999ms);
    EXPECT_EQ(refreshes(), 0u);
    loop.advance(1ms);
    EXPECT_EQ(refreshes(), 1u);
    loop.advance(10min);
    EXPECT_EQ(refreshes(), 29u);
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(PanelActionsTest, lookingAgainEndsWhenAccessIsGiven)
{
    ports.permissions.accessibility = PermissionStatus::denied;
    view().refreshOutput();
    view().requestAccessibility();
    loop.advance(3s);
    ports.permissions.accessibility = PermissionStatus::granted;
    ports.takeCalls();
    loop.advance(1min);
    EXPECT_EQ(refreshes(), 1u);
    EXPECT_EQ(view().setupSnapshot().accessibilityStatus, "Permission granted, waiting for F-key test");
    EXPECT_FALSE(view().permissionNeeds().accessibility);
}

TEST_F(PanelActionsTest, aSecondRequestStartsTheOneChainAnew)
{
    ports.permissions.accessibility = PermissionStatus::denied;
    view().refreshOutput();
    view().requestAccessibility();
    loop.advance(500ms);
    view().requestAccessibility();
    loop.runUntilIdle();
    ports.takeCalls();
    loop.advance(999ms);
    EXPECT_EQ(refreshes(), 0u);
    loop.advance(1min);
    EXPECT_EQ(refreshes(), 30u);
}

TEST_F(PanelActionsTest, withAccessNothingIsPrompted)
{
    permission.setTrusted(false);
    view().requestAccessibility();
    EXPECT_EQ(permission.prompts(), 0);
    EXPECT_EQ(desktop.openedAddresses().size(), 1u);
}

// --- Software gain and monitor volume never multiply ---

TEST_F(PanelActionsTest, leavingTheSoftwarePathOnTheSameOutputEndsItsSession)
{
    playOnMonitor();
    view().refreshOutput();
    EXPECT_EQ(countOf(ports.takeCalls(), "stopAll"), 1u);
    view().refreshOutput();
    EXPECT_EQ(countOf(ports.takeCalls(), "stopAll"), 0u);
}

TEST_F(PanelActionsTest, changingTheOutputDoesNotEndTheSession)
{
    playOnSpeakers();
    view().refreshOutput();
    EXPECT_EQ(countOf(ports.takeCalls(), "stopAll"), 0u);
}

TEST_F(PanelActionsTest, aFallbackOfOneKeyPressEndsWhenTheMonitorAnswersAgain)
{
    playOnMonitor();
    view().refreshOutput();
    tap->start();
    ports.failWith(Call::ddcSetVolume, QuenstalError::commandFailed("no answer"));
    ports.takeCalls();
    taps.press(AuxiliaryButton::soundUp);
    loop.runUntilIdle();
    const Calls calls = ports.takeCalls();
    EXPECT_EQ(countOf(calls, "software.setVolume(0.5625, monitor)"), 1u);
    EXPECT_EQ(calls.back(), "stopAll");
}

} // namespace
} // namespace quenstal
