#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <vector>

namespace quenstal {
namespace {

using SwitchToSoftwareTest = ControllerTest;

const Calls choose{"setSoftwareProcessingPreferred(true, monitor-uid)"};
const Calls startVolume{"software.setVolume(0.5, monitor)"};
const Calls startProfile{"setEQProfile(flat 0, monitor)"};
const Calls meters{"readLevels(monitor)"};

DiagnosticIssue notStarted(std::string description)
{
    return {DiagnosticCode::commandIgnored, DiagnosticSeverity::error,
        "Software processing could not be started for EQ.", std::move(description)};
}

TEST_F(SwitchToSoftwareTest, anOutputThatIsNoMonitorIsLeftAlone)
{
    struct Row {
        const char* name;
        void (SwitchToSoftwareTest::*play)();
        const char* key;
        Calls calls;
    };
    const std::vector<Row> rows{
        {"nothing", &SwitchToSoftwareTest::playOnNothing, "", refreshOfNothing()},
        {"speakers", &SwitchToSoftwareTest::playOnSpeakers, "speakers-uid", refreshOfSpeakers()},
    };
    for (const Row& row : rows) {
        (this->*row.play)();
        auto& controller = start();
        EXPECT_EQ(controller.switchCurrentOutputToSoftwareProcessing(), controller.state()) << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_FALSE(ports.store->softwareProcessingPreferred(row.key)) << row.name;
    }
}

TEST_F(SwitchToSoftwareTest, aMonitorsSessionStartsWithItsVolumeAndProfile)
{
    playOnMonitor();
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    auto& controller = start();
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    EXPECT_EQ(ports.takeCalls(),
        refreshOfMonitor() + choose + refreshOfSilentMonitor() + startVolume + startProfile + meters);
    EXPECT_EQ(state, controller.state());
    EXPECT_EQ(state.mode, ControlMode::softwareTap("monitor"));
    EXPECT_EQ(state.audioProcessing.diagnostic, AudioProcessingDiagnostic::softwareAvailable);
    EXPECT_EQ(state.audioProcessing.levels, ports.levels);
    EXPECT_FALSE(state.audioProcessing.canSwitchToSoftware);
    EXPECT_EQ(
        state.diagnostics, ModeSelector().selectMode(monitor(), panel(), ports.permissions, true, true).diagnostics);
}

TEST_F(SwitchToSoftwareTest, theMetersAreReadAfterTheSessionStarted)
{
    playOnMonitor();
    ports.on(Call::setEQProfile, [&] { ports.levels = {0.6, 0.6, 0.6, 0.6, false}; });
    EXPECT_EQ(start().switchCurrentOutputToSoftwareProcessing().audioProcessing.levels.levelL, 0.6);
}

TEST_F(SwitchToSoftwareTest, theSessionStartsWithTheStoredProfileAndTheHintStays)
{
    playOnMonitor();
    auto& controller = start();
    ASSERT_TRUE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    ports.takeCalls();
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    EXPECT_EQ(ports.takeCalls(),
        refreshOfMonitor() + choose + refreshOfSilentMonitor("custom -2") + startVolume
            + Calls({"setEQProfile(custom -2, monitor)"}) + meters);
    EXPECT_TRUE(state.audioProcessing.boostHintVisible);
    EXPECT_EQ(state.audioProcessing.profile.preampDB, -2);
}

TEST_F(SwitchToSoftwareTest, theChoiceHoldsForTheFollowingRefreshes)
{
    playOnMonitor();
    auto& controller = start();
    controller.switchCurrentOutputToSoftwareProcessing();
    EXPECT_TRUE(ports.store->softwareProcessingPreferred("monitor-uid"));
    EXPECT_EQ(controller.refresh().mode, ControlMode::softwareTap("monitor"));
}

TEST_F(SwitchToSoftwareTest, withoutThePermissionTheChoiceIsStoredAndNothingStarted)
{
    playOnMonitor();
    ports.permissions.systemAudioCapture = PermissionStatus::denied;
    auto& controller = start();
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + choose + refreshOfUncontrollableMonitor());
    EXPECT_EQ(state, controller.state());
    EXPECT_EQ(state.mode, unavailable(UnavailableReason::systemAudioCapturePermissionMissing));
    EXPECT_TRUE(ports.store->softwareProcessingPreferred("monitor-uid"));
}

TEST_F(SwitchToSoftwareTest, whileDisabledTheChoiceIsStoredAndNothingStarted)
{
    playOnMonitor();
    auto& controller = start();
    controller.setEnabled(false);
    ports.takeCalls();
    EXPECT_EQ(controller.switchCurrentOutputToSoftwareProcessing().mode, ControlMode::disabled());
    EXPECT_EQ(ports.takeCalls(), refreshOfMonitorWhileDisabled() + choose + refreshOfMonitorWhileDisabled());
    EXPECT_TRUE(ports.store->softwareProcessingPreferred("monitor-uid"));
}

TEST_F(SwitchToSoftwareTest, aVolumeThatCannotBeSetEndsTheStart)
{
    playOnMonitor();
    auto& controller = start();
    ports.failWith(Call::softwareSetVolume, QuenstalError::commandFailed("The tap is gone."));
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + choose + refreshOfSilentMonitor() + startVolume);
    EXPECT_EQ(state, controller.state());
    EXPECT_EQ(state.diagnostics.back(), notStarted("The tap is gone."));
    EXPECT_EQ(state.diagnostics.size(), 2U);
    EXPECT_EQ(state.mode, ControlMode::softwareTap("monitor"));
    EXPECT_TRUE(ports.store->softwareProcessingPreferred("monitor-uid"));
}

TEST_F(SwitchToSoftwareTest, aProfileThatCannotBeSetEndsTheStart)
{
    playOnMonitor();
    auto& controller = start();
    ports.failWith(Call::setEQProfile, QuenstalError::unsupportedDevice());
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + choose + refreshOfSilentMonitor() + startVolume + startProfile);
    EXPECT_EQ(state, controller.state());
    EXPECT_EQ(state.diagnostics.back(), notStarted("unsupportedDevice"));
    EXPECT_EQ(state.diagnostics.size(), 2U);
}

TEST_F(SwitchToSoftwareTest, whenTheOutputChangesOnTheWayTheSessionIsStartedForTheFirstOne)
{
    playOnMonitor();
    const AudioOutputDevice other{"other", "Other", AudioTransport::displayPort, false, "other-uid"};
    ports.store->setSoftwareProcessingPreferred(true, "other-uid");
    auto& controller = start();
    ports.on(Call::setSoftwareProcessingPreferred, [&] { ports.device = other; });
    const QuenstalState state = controller.switchCurrentOutputToSoftwareProcessing();

    const Calls refreshOfOther{"defaultOutputDevice", "displayTarget(other)", "currentPermissionState",
        "isAvailable(other)", "softwareProcessingPreferred(other-uid)", "software.readVolume(other)",
        "profile(other-uid)", "readLevels(other)", "setEQProfile(flat 0, other)"};
    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + choose + refreshOfOther + startVolume + startProfile + meters);
    EXPECT_EQ(state, controller.state());
    EXPECT_EQ(state.outputDevice, other);
    EXPECT_EQ(state.mode, ControlMode::softwareTap("other"));
}

TEST_F(SwitchToSoftwareTest, whenTheOutputIsGoneOnTheWayNothingIsStarted)
{
    playOnMonitor();
    auto& controller = start();
    ports.on(Call::setSoftwareProcessingPreferred, [&] { ports.device.reset(); });
    EXPECT_EQ(
        controller.switchCurrentOutputToSoftwareProcessing().mode, unavailable(UnavailableReason::noOutputDevice));
    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + choose + refreshOfNothing());
}

} // namespace
} // namespace quenstal
