#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <limits>
#include <vector>

namespace quenstal {
namespace {

using CommandTest = ControllerTest;

const DiagnosticIssue notControllable{DiagnosticCode::commandIgnored, DiagnosticSeverity::warning,
    "Volume command ignored because this output is not controllable.", std::nullopt};

DiagnosticIssue failed(std::string description)
{
    return {
        DiagnosticCode::commandIgnored, DiagnosticSeverity::error, "Volume command failed.", std::move(description)};
}

TEST_F(CommandTest, everyControllableModeWritesOnceOverItsOwnPathAfterAFullRefresh)
{
    struct Row {
        const char* name;
        void (CommandTest::*play)();
        Calls calls;
    };
    const std::vector<Row> rows{
        {"system", &CommandTest::playOnSpeakers, refreshOfSpeakers() + Calls{"system.setVolume(0.5625, speakers)"}},
        {"ddc", &CommandTest::playOnMonitor, refreshOfMonitor() + Calls{"ddc.setVolume(0.5625, panel)"}},
        {"software", &CommandTest::playOnSilentMonitor,
            refreshOfSilentMonitor() + Calls{"software.setVolume(0.5625, monitor)"}},
    };
    for (const Row& row : rows) {
        (this->*row.play)();
        auto& controller = start();
        QuenstalState expected = controller.state();
        expected.volume = {0.5625, false};

        EXPECT_EQ(controller.handle(VolumeCommand::stepUp()), VolumeCommandResult::applied(expected)) << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_EQ(controller.state(), expected) << row.name;
        EXPECT_EQ(controller.lastAudibleLevel(), 0.5625) << row.name;
    }
}

TEST_F(CommandTest, theWriteGoesToTheOutputAndDisplayOfTheStateNotToTheIdentityInTheMode)
{
    playOnMonitor();
    auto& controller = start();
    ports.display->id = "other panel";
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(ports.takeCalls().back(), "ddc.setVolume(0.5625, other panel)");
}

TEST_F(CommandTest, everyCommandIsReducedFromTheVolumeJustRead)
{
    struct Row {
        VolumeSnapshot read;
        VolumeCommand command;
        VolumeSnapshot written;
        double lastAudibleLevel;
    };
    const std::vector<Row> rows{
        {{0.5, false}, VolumeCommand::stepUp(), {0.5625, false}, 0.5625},
        {{0.5, false}, VolumeCommand::stepDown(), {0.4375, false}, 0.4375},
        {{0.0625, false}, VolumeCommand::stepDown(), {0, true}, 0.0625},
        {{0.98, false}, VolumeCommand::stepUp(), {1, false}, 1},
        // Muted: the level to come back to is the controller's, 0.25, whatever the output still holds.
        {{0.7, true}, VolumeCommand::stepUp(), {0.3125, false}, 0.3125},
        {{0.7, true}, VolumeCommand::stepDown(), {0.1875, false}, 0.1875},
        {{0.7, true}, VolumeCommand::toggleMute(), {0.25, false}, 0.25},
        {{0.7, true}, VolumeCommand::setMuted(false), {0.25, false}, 0.25},
        {{0.7, true}, VolumeCommand::setMuted(true), {0.7, true}, 0.7},
        {{0.7, false}, VolumeCommand::toggleMute(), {0.7, true}, 0.7},
        {{0.7, false}, VolumeCommand::setMuted(false), {0.7, false}, 0.7},
        {{0, false}, VolumeCommand::toggleMute(), {0, true}, 0.25},
        {{0, true}, VolumeCommand::stepUp(), {0.3125, false}, 0.3125},
        {{0.7, false}, VolumeCommand::setLevel(0), {0, true}, 0.7},
        {{0.7, false}, VolumeCommand::setLevel(1.7), {1, false}, 1},
        {{0.7, false}, VolumeCommand::setLevel(std::numeric_limits<double>::quiet_NaN()), {0, true}, 0.7},
    };
    playOnSpeakers();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ports.systemVolume = {0.25, false};
        auto& controller = start();
        ports.systemVolume = rows[i].read;
        const auto result = controller.handle(rows[i].command);

        EXPECT_EQ(result, VolumeCommandResult::applied(controller.state())) << "row " << i;
        EXPECT_EQ(controller.state().volume, rows[i].written) << "row " << i;
        EXPECT_EQ(ports.systemVolume, rows[i].written) << "row " << i;
        EXPECT_EQ(controller.lastAudibleLevel(), rows[i].lastAudibleLevel) << "row " << i;
    }
}

TEST_F(CommandTest, aMuteRemembersTheRawLevelThatWasRead)
{
    playOnSpeakers();
    ports.systemVolume.level = 1.5;
    auto& controller = start();
    controller.handle(VolumeCommand::setMuted(true));
    EXPECT_EQ(controller.lastAudibleLevel(), 1.5);
    EXPECT_EQ(controller.state().volume, VolumeSnapshot(1, true));
}

TEST_F(CommandTest, whileUncontrollableACommandIsIgnoredWithTheReasonOfTheMode)
{
    struct Row {
        const char* name;
        std::optional<AudioOutputDevice> device;
        PermissionStatus capture;
        bool softwareAvailable;
        bool isEnabled;
        UnavailableReason reason;
        Calls calls;
    };
    using enum PermissionStatus;
    using enum UnavailableReason;
    const Calls dockCalls{
        "defaultOutputDevice", "displayTarget(dock)", "currentPermissionState", "isAvailable(dock)", "profile(dock)"};
    const std::vector<Row> rows{
        {"nothing", {}, granted, true, true, noOutputDevice, refreshOfNothing()},
        {"dock", dock(), granted, true, true, fixedVolumeDeviceUnsupported, dockCalls},
        {"no capture", monitor(), denied, true, true, systemAudioCapturePermissionMissing,
            refreshOfUncontrollableMonitor()},
        {"no software", monitor(), granted, false, true, softwareFallbackUnavailable, refreshOfUncontrollableMonitor()},
        {"disabled", monitor(), granted, true, false, quenstalDisabled, refreshOfMonitorWhileDisabled()},
    };
    for (const Row& row : rows) {
        ports.device = row.device;
        ports.permissions.systemAudioCapture = row.capture;
        ports.softwareAvailable = row.softwareAvailable;
        auto& controller = start({0.3, false});
        controller.setEnabled(row.isEnabled);
        const double lastAudibleLevel = controller.lastAudibleLevel();
        ports.takeCalls();

        QuenstalState expected = controller.state();
        expected.diagnostics.push_back(notControllable);
        EXPECT_EQ(controller.handle(VolumeCommand::setLevel(0.9)), VolumeCommandResult::ignored(row.reason, expected))
            << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_EQ(controller.state(), expected) << row.name;
        EXPECT_EQ(controller.lastAudibleLevel(), lastAudibleLevel) << row.name;
    }
}

TEST_F(CommandTest, aFailedWriteToTheSystemOrTheSoftwarePathHasNoFallback)
{
    struct Row {
        const char* name;
        void (CommandTest::*play)();
        Call write;
        Calls calls;
    };
    const std::vector<Row> rows{
        {"system", &CommandTest::playOnSpeakers, Call::systemSetVolume,
            refreshOfSpeakers() + Calls{"system.setVolume(0.5625, speakers)"}},
        {"software", &CommandTest::playOnSilentMonitor, Call::softwareSetVolume,
            refreshOfSilentMonitor() + Calls{"software.setVolume(0.5625, monitor)"}},
    };
    for (const Row& row : rows) {
        ports.behave();
        (this->*row.play)();
        auto& controller = start();
        ports.failWith(row.write, QuenstalError::commandFailed("The device said no."));
        QuenstalState expected = controller.state();
        expected.diagnostics.push_back(failed("The device said no."));

        EXPECT_EQ(controller.handle(VolumeCommand::stepUp()),
            VolumeCommandResult::ignored(UnavailableReason::softwareFallbackUnavailable, expected))
            << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_EQ(controller.state(), expected) << row.name;
        EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.5, false)) << row.name;
        EXPECT_EQ(controller.lastAudibleLevel(), 0.5625) << row.name;
    }
}

TEST_F(CommandTest, everyCaseOfTheErrorDescribesItself)
{
    struct Row {
        QuenstalError error;
        const char* description;
    };
    const std::vector<Row> rows{
        {QuenstalError::commandFailed("The device said no."), "The device said no."},
        {QuenstalError::commandFailed(""), ""},
        {QuenstalError::noOutputDevice(), "noOutputDevice"},
        {QuenstalError::unsupportedDevice(), "unsupportedDevice"},
        {QuenstalError::permissionMissing(), "permissionMissing"},
    };
    playOnSpeakers();
    for (const Row& row : rows) {
        auto& controller = start();
        ports.failWith(Call::systemSetVolume, row.error);
        controller.handle(VolumeCommand::stepUp());
        EXPECT_EQ(controller.state().diagnostics.back(), failed(row.description));
    }
}

TEST_F(CommandTest, theIntentToUnmuteCountsEvenWhenTheWriteFails)
{
    playOnSpeakers();
    ports.systemVolume = {0.25, false};
    auto& controller = start();
    ports.systemVolume = {0.25, true};
    ports.failWith(Call::systemSetVolume, QuenstalError::commandFailed("no"));
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.lastAudibleLevel(), 0.3125);
    EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.25, true));

    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.lastAudibleLevel(), 0.375);
}

TEST_F(CommandTest, aCommandAfterSilenceComesBackToWhereTheUserWas)
{
    playOnSpeakers();
    ports.systemVolume = {0.0625, false};
    auto& controller = start();
    controller.handle(VolumeCommand::stepDown());
    EXPECT_EQ(ports.systemVolume, VolumeSnapshot(0, true));
    controller.handle(VolumeCommand::toggleMute());
    EXPECT_EQ(ports.systemVolume, VolumeSnapshot(0.0625, false));
}

TEST_F(CommandTest, aCommandSeesTheOutputOfThisMoment)
{
    playOnSpeakers();
    auto& controller = start();
    playOnMonitor();
    ports.ddcVolume = {0.25, false};
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(ports.takeCalls(), refreshOfMonitor() + Calls{"ddc.setVolume(0.3125, panel)"});
    EXPECT_EQ(ports.systemVolume, VolumeSnapshot(0.5, false));
}

} // namespace
} // namespace quenstal
