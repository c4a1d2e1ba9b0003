#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <vector>

namespace quenstal {
namespace {

const DiagnosticIssue fellBack{DiagnosticCode::ddcCommandFailed, DiagnosticSeverity::warning,
    "Monitor hardware volume failed, so Quenstal switched to software volume.",
    "Check whether the monitor supports DDC/CI volume over this cable."};

const DiagnosticIssue failed{
    DiagnosticCode::commandIgnored, DiagnosticSeverity::error, "Volume command failed.", "The bus is silent."};

/// A monitor whose hardware volume takes no write.
struct FallbackTest : ControllerTest {
    FallbackTest()
    {
        playOnMonitor();
        ports.failWith(Call::ddcSetVolume, QuenstalError::commandFailed("The bus is silent."));
    }

    static Calls failedWrite() { return refreshOfMonitor() + Calls{"ddc.setVolume(0.5625, panel)"}; }

    void expectUnrescued(QuenstalController& controller, const Calls& afterTheWrite)
    {
        QuenstalState expected = controller.state();
        expected.diagnostics.push_back(failed);
        ports.takeCalls();

        EXPECT_EQ(controller.handle(VolumeCommand::stepUp()),
            VolumeCommandResult::ignored(UnavailableReason::softwareFallbackUnavailable, expected));
        EXPECT_EQ(ports.takeCalls(), failedWrite() + afterTheWrite);
        EXPECT_EQ(controller.state(), expected);
        EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.5, false));
        EXPECT_EQ(controller.lastAudibleLevel(), 0.5625);
    }
};

TEST_F(FallbackTest, aFailedMonitorHandsTheCommandToTheSoftwarePath)
{
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    ports.permissions.accessibility = PermissionStatus::denied;
    const EQProfile stored(true, EQPresetName::movie, -4);
    ports.store->saveProfile(stored, "monitor-uid");
    auto& controller = start();
    QuenstalState expected = controller.state();
    expected.diagnostics.push_back(fellBack);
    expected.mode = ControlMode::softwareTap("monitor");
    expected.volume = {0.5625, false};
    expected.audioProcessing = {stored, ports.levels, AudioProcessingDiagnostic::softwareAvailable, false, false};

    EXPECT_EQ(controller.handle(VolumeCommand::stepUp()), VolumeCommandResult::applied(expected));
    // The profile is not pushed here.
    EXPECT_EQ(ports.takeCalls(),
        failedWrite() + Calls({"isAvailable(monitor)", "software.setVolume(0.5625, monitor)", "readLevels(monitor)"}));
    EXPECT_EQ(controller.state(), expected);
    EXPECT_EQ(expected.diagnostics.size(), 2U);
    EXPECT_EQ(controller.lastAudibleLevel(), 0.5625);
}

TEST_F(FallbackTest, theFallbackKeepsTheBoostHint)
{
    auto& controller = start();
    ASSERT_TRUE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.state().mode, ControlMode::softwareTap("monitor"));
    EXPECT_TRUE(controller.state().audioProcessing.boostHintVisible);
}

TEST_F(FallbackTest, theFallbackIsNotRemembered)
{
    auto& controller = start();
    controller.handle(VolumeCommand::stepUp());
    ports.takeCalls();
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(ports.takeCalls(),
        failedWrite() + Calls({"isAvailable(monitor)", "software.setVolume(0.5625, monitor)", "readLevels(monitor)"}));
    EXPECT_EQ(controller.state().diagnostics, std::vector{fellBack});
    EXPECT_FALSE(ports.store->softwareProcessingPreferred("monitor-uid"));

    ports.behave();
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.state().mode, ControlMode::hardwareDDC("panel"));
    EXPECT_TRUE(controller.state().diagnostics.empty());
}

TEST_F(FallbackTest, withoutThePermissionTheSoftwarePathIsNotEvenAsked)
{
    for (const PermissionStatus status : {PermissionStatus::denied, PermissionStatus::notDetermined}) {
        ports.permissions.systemAudioCapture = status;
        expectUnrescued(start(), {});
    }
}

TEST_F(FallbackTest, anOutputThatTheSoftwarePathCannotServeIsNotWritten)
{
    ports.softwareAvailable = false;
    expectUnrescued(start(), {"isAvailable(monitor)"});
}

TEST_F(FallbackTest, aFallbackThatFailsNeverSurfacesItsOwnError)
{
    ports.failWith(Call::softwareSetVolume, QuenstalError::commandFailed("The tap is gone."));
    expectUnrescued(start(), {"isAvailable(monitor)", "software.setVolume(0.5625, monitor)"});
}

TEST_F(FallbackTest, metersThatCannotBeReadAreZeroAndDoNotStopTheFallback)
{
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    ports.failWith(Call::readLevels, QuenstalError::commandFailed("no meters"));
    auto& controller = start();
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.state().mode, ControlMode::softwareTap("monitor"));
    EXPECT_EQ(controller.state().audioProcessing.levels, SoundLevelSnapshot::zero());
}

TEST_F(FallbackTest, aMuteFallsBackToo)
{
    auto& controller = start();
    controller.handle(VolumeCommand::toggleMute());
    EXPECT_EQ(ports.softwareVolume, VolumeSnapshot(0.5, true));
    EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.5, true));
    EXPECT_EQ(controller.lastAudibleLevel(), 0.5);
}

TEST_F(FallbackTest, theNextRefreshShowsTheMonitorsOwnVolumeAgain)
{
    auto& controller = start();
    controller.handle(VolumeCommand::setLevel(0.9));
    EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.9, false));
    EXPECT_EQ(controller.refresh().volume, VolumeSnapshot(0.5, false));
    EXPECT_EQ(controller.lastAudibleLevel(), 0.5);
}

} // namespace
} // namespace quenstal
