#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <vector>

namespace quenstal {
namespace {

using testing::IsEmpty;

using EnablementTest = ControllerTest;

const Calls resumed{"software.setVolume(0.5, monitor)"};
const Calls stopped{"stopAll"};

TEST_F(EnablementTest, switchingToTheSameValueOnlyRefreshes)
{
    playOnSilentMonitor();
    auto& controller = start();
    EXPECT_EQ(controller.setEnabled(true), controller.state());
    EXPECT_EQ(ports.takeCalls(), refreshOfSilentMonitor());
    EXPECT_TRUE(controller.isEnabled());

    controller.setEnabled(false);
    ports.takeCalls();
    EXPECT_EQ(controller.setEnabled(false), controller.state());
    EXPECT_EQ(ports.takeCalls(), refreshOfMonitorWhileDisabled());
    EXPECT_FALSE(controller.isEnabled());
}

TEST_F(EnablementTest, switchingOffStopsTheSessionsBeforeTheRefreshThatReportsIt)
{
    playOnSilentMonitor();
    ports.softwareVolume = {0.4, true};
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    auto& controller = start();
    const QuenstalState state = controller.setEnabled(false);

    EXPECT_EQ(ports.takeCalls(), stopped + refreshOfMonitorWhileDisabled());
    EXPECT_EQ(state, controller.state());
    EXPECT_FALSE(controller.isEnabled());
    EXPECT_FALSE(state.isEnabled);
    EXPECT_EQ(state.mode, ControlMode::disabled());
    EXPECT_EQ(state.outputDevice, monitor());
    EXPECT_EQ(state.volume, VolumeSnapshot(0.4, true));
    EXPECT_THAT(state.diagnostics, IsEmpty());
    EXPECT_EQ(state.audioProcessing.levels, SoundLevelSnapshot::zero());
    EXPECT_EQ(state.audioProcessing.diagnostic, AudioProcessingDiagnostic::outputUnsupported);
}

TEST_F(EnablementTest, switchingOnResumesTheSessionWithTheVolumeJustRead)
{
    playOnSilentMonitor();
    auto& controller = start();
    controller.setEnabled(false);
    ports.takeCalls();
    ports.softwareVolume = {0.25, true};
    const QuenstalState state = controller.setEnabled(true);

    EXPECT_EQ(ports.takeCalls(), refreshOfSilentMonitor() + Calls{"software.setVolume(0.25 muted, monitor)"});
    EXPECT_EQ(state, controller.state());
    EXPECT_TRUE(controller.isEnabled());
    EXPECT_TRUE(state.isEnabled);
    EXPECT_EQ(state.mode, ControlMode::softwareTap("monitor"));
}

TEST_F(EnablementTest, aSessionWhoseVolumeCannotBeReadIsResumedWithTheRememberedOne)
{
    playOnSilentMonitor();
    ports.softwareVolume = {0.75, false};
    auto& controller = start();
    controller.setEnabled(false);
    ports.failWith(Call::softwareReadVolume, QuenstalError::commandFailed("no session"));
    ports.takeCalls();
    controller.setEnabled(true);
    EXPECT_EQ(ports.takeCalls().back(), "software.setVolume(0.75, monitor)");
}

TEST_F(EnablementTest, switchingOnResumesNothingInOtherModes)
{
    struct Row {
        const char* name;
        void (EnablementTest::*play)();
        Calls calls;
    };
    const std::vector<Row> rows{
        {"nothing", &EnablementTest::playOnNothing, refreshOfNothing()},
        {"speakers", &EnablementTest::playOnSpeakers, refreshOfSpeakers()},
        {"monitor", &EnablementTest::playOnMonitor, refreshOfMonitor()},
    };
    for (const Row& row : rows) {
        (this->*row.play)();
        auto& controller = start();
        controller.setEnabled(false);
        ports.takeCalls();
        controller.setEnabled(true);
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
    }
}

TEST_F(EnablementTest, aSessionThatCannotBeResumedIsReportedAsAnIgnoredCommand)
{
    playOnSilentMonitor();
    auto& controller = start();
    const auto before = controller.state();
    controller.setEnabled(false);
    ports.failWith(Call::softwareSetVolume, QuenstalError::commandFailed("The tap is gone."));
    const QuenstalState state = controller.setEnabled(true);

    auto expected = before;
    expected.diagnostics.push_back(issue(DiagnosticCode::commandIgnored, DiagnosticSeverity::error,
        "Software volume could not be restored after enabling Quenstal.", "The tap is gone."));
    EXPECT_EQ(state.diagnostics, expected.diagnostics);
    EXPECT_EQ(state, expected);
    EXPECT_EQ(state, controller.state());
}

TEST_F(EnablementTest, togglingDoesWhatSwitchingToTheOtherValueDoes)
{
    playOnSilentMonitor();
    auto& controller = start();
    QuenstalState state = controller.toggleEnabled();
    EXPECT_EQ(ports.takeCalls(), stopped + refreshOfMonitorWhileDisabled());
    EXPECT_FALSE(controller.isEnabled());
    EXPECT_EQ(state, controller.state());

    state = controller.toggleEnabled();
    EXPECT_EQ(ports.takeCalls(), refreshOfSilentMonitor() + resumed);
    EXPECT_TRUE(controller.isEnabled());
    EXPECT_EQ(state, controller.state());
}

TEST_F(EnablementTest, shutdownStopsTheSessionsAndNothingElse)
{
    playOnSilentMonitor();
    auto& controller = start();
    const QuenstalState before = controller.state();
    controller.shutdown();
    EXPECT_EQ(ports.takeCalls(), stopped);
    EXPECT_EQ(controller.state(), before);
    EXPECT_TRUE(controller.isEnabled());
}

TEST_F(EnablementTest, theRememberedVolumeSurvivesTheTimeWhileDisabled)
{
    playOnSpeakers();
    ports.systemVolume = {0.3, false};
    auto& controller = start();
    controller.setEnabled(false);
    ports.systemVolume = {0.9, false};
    EXPECT_EQ(controller.refresh().volume, VolumeSnapshot(0.3, false));
    EXPECT_EQ(controller.lastAudibleLevel(), 0.3);
    EXPECT_EQ(controller.setEnabled(true).volume, VolumeSnapshot(0.9, false));
}

TEST_F(EnablementTest, whileDisabledWithoutAnOutputThePreviousProfileStaysVisible)
{
    playOnSilentMonitor();
    const EQProfile stored(true, EQPresetName::movie, -4);
    ports.store->saveProfile(stored, "monitor-uid");
    auto& controller = start();
    controller.setEnabled(false);
    ports.device.reset();
    EXPECT_EQ(controller.refresh().audioProcessing.profile, stored);
    EXPECT_EQ(controller.setEnabled(true).audioProcessing.profile, EQProfile::defaultProfile());
}

TEST_F(EnablementTest, whileDisabledAnOutputWithoutAStoredProfileHasTheDefaultOne)
{
    playOnSilentMonitor();
    ports.store->saveProfile(EQProfile(true, EQPresetName::movie, -4), "monitor-uid");
    auto& controller = start();
    controller.setEnabled(false);
    playOnSpeakers();
    EXPECT_EQ(controller.refresh().audioProcessing.profile, EQProfile::defaultProfile());
}

TEST_F(EnablementTest, switchingOffHidesTheBoostHintForGood)
{
    playOnSilentMonitor();
    auto& controller = start();
    ASSERT_TRUE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    ASSERT_TRUE(controller.refresh().audioProcessing.boostHintVisible);
    EXPECT_FALSE(controller.setEnabled(false).audioProcessing.boostHintVisible);
    EXPECT_FALSE(controller.setEnabled(true).audioProcessing.boostHintVisible);
}

} // namespace
} // namespace quenstal
