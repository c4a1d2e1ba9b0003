#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <cmath>
#include <limits>
#include <vector>

namespace quenstal {
namespace {

using testing::IsEmpty;

using RefreshTest = ControllerTest;

constexpr double infinity = std::numeric_limits<double>::infinity();

VolumeSnapshot unclamped(double level, bool isMuted)
{
    VolumeSnapshot volume;
    volume.level = level;
    volume.isMuted = isMuted;
    return volume;
}

TEST_F(RefreshTest, constructionRefreshesOnceAndKeepsTheResult)
{
    playOnSpeakers();
    ports.systemVolume = {0.3, false};
    const auto controller = ports.makeController({0.8, false});

    EXPECT_EQ(ports.takeCalls(), refreshOfSpeakers());
    EXPECT_EQ(controller->state().outputDevice, speakers());
    EXPECT_EQ(controller->state().mode, ControlMode::systemVolume("speakers"));
    EXPECT_EQ(controller->state().volume, VolumeSnapshot(0.3, false));
    EXPECT_TRUE(controller->isEnabled());
    EXPECT_EQ(controller->lastAudibleLevel(), 0.3);
}

TEST_F(RefreshTest, theInitialVolumeIsShownUntilOneIsRead)
{
    const auto controller = ports.makeController({0.8, true});
    EXPECT_EQ(controller->state().volume, VolumeSnapshot(0.8, true));
}

TEST_F(RefreshTest, theFirstAudibleLevelIsTheInitialLevelButAtLeastOneStep)
{
    struct Row {
        VolumeSnapshot initial;
        double stepSize;
        double lastAudibleLevel;
    };
    const std::vector<Row> rows{
        {{0, false}, 0.0625, 0.0625},
        {{0, true}, 0.0625, 0.0625},
        {{0.03, true}, 0.0625, 0.0625},
        // The refresh inside the construction finds nothing to read, and the initial volume is audible.
        {{0.03, false}, 0.0625, 0.03},
        {{0.0625, false}, 0.0625, 0.0625},
        {{0.5, false}, 0.0625, 0.5},
        // A muted start still remembers where it was.
        {{0.5, true}, 0.0625, 0.5},
        {{1, false}, 0.0625, 1},
        {{0, false}, 0, 0},
        {{0.2, true}, 2, 1},
    };
    for (const Row& row : rows)
        EXPECT_EQ(ports.makeController(row.initial, row.stepSize)->lastAudibleLevel(), row.lastAudibleLevel)
            << described(row.initial) << " with step " << row.stepSize;
}

TEST_F(RefreshTest, withoutAnOutputOnlyOutputAndPermissionsAreAsked)
{
    ports.display = panel();
    ports.permissions = {PermissionStatus::denied, PermissionStatus::notDetermined};
    auto& controller = start();
    const QuenstalState state = controller.refresh();

    EXPECT_EQ(ports.takeCalls(), refreshOfNothing());
    EXPECT_EQ(state.outputDevice, std::nullopt);
    EXPECT_EQ(state.displayTarget, std::nullopt);
    EXPECT_EQ(state.permissions, ports.permissions);
    EXPECT_EQ(state.mode, unavailable(UnavailableReason::noOutputDevice));
    EXPECT_EQ(state.diagnostics, ModeSelector().selectMode({}, {}, ports.permissions, false, false).diagnostics);
    EXPECT_EQ(state.audioProcessing, AudioProcessingState::unavailable());
}

TEST_F(RefreshTest, everyModeAsksItsOwnPortsInOrder)
{
    struct Row {
        const char* name;
        std::optional<AudioOutputDevice> device;
        std::optional<DisplayControlTarget> display;
        bool softwareAvailable;
        PermissionStatus capture;
        bool prefersSoftware;
        ControlMode mode;
        Calls calls;
    };
    using enum PermissionStatus;
    const AudioOutputDevice nativeMonitor{"monitor", "Monitor", AudioTransport::displayPort, true, "monitor-uid"};
    const Calls nativeMonitorCalls{"defaultOutputDevice", "displayTarget(monitor)", "currentPermissionState",
        "isAvailable(monitor)", "softwareProcessingPreferred(monitor-uid)", "system.readVolume(monitor)",
        "profile(monitor-uid)", "isAvailable(monitor)"};
    const Calls dockCalls{
        "defaultOutputDevice", "displayTarget(dock)", "currentPermissionState", "isAvailable(dock)", "profile(dock)"};
    using Reason = UnavailableReason;
    const ControlMode tap = ControlMode::softwareTap("monitor");
    const std::vector<Row> rows{
        {"nothing", {}, {}, true, granted, false, unavailable(Reason::noOutputDevice), refreshOfNothing()},
        {"speakers", speakers(), {}, true, granted, false, ControlMode::systemVolume("speakers"), refreshOfSpeakers()},
        {"fixed dock", dock(), {}, true, granted, false, unavailable(Reason::fixedVolumeDeviceUnsupported), dockCalls},
        {"native monitor", nativeMonitor, {}, true, granted, false, ControlMode::systemVolume("monitor"),
            nativeMonitorCalls},
        {"monitor", monitor(), panel(), true, granted, false, ControlMode::hardwareDDC("panel"), refreshOfMonitor()},
        {"silent monitor", monitor(), {}, true, granted, false, tap, refreshOfSilentMonitor()},
        {"by choice", monitor(), panel(), true, granted, true, tap, refreshOfSilentMonitor()},
        {"no capture", monitor(), {}, true, denied, false, unavailable(Reason::systemAudioCapturePermissionMissing),
            refreshOfUncontrollableMonitor()},
        {"no software", monitor(), {}, false, granted, false, unavailable(Reason::softwareFallbackUnavailable),
            refreshOfUncontrollableMonitor()},
    };
    for (const Row& row : rows) {
        ports.device = row.device;
        ports.display = row.display;
        ports.softwareAvailable = row.softwareAvailable;
        ports.permissions.systemAudioCapture = row.capture;
        ports.store->setSoftwareProcessingPreferred(row.prefersSoftware, "monitor-uid");
        auto& controller = start();

        const QuenstalState state = controller.refresh();
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_EQ(state.mode, row.mode) << row.name;
        EXPECT_EQ(state, controller.state()) << row.name;
        EXPECT_EQ(state.diagnostics,
            ModeSelector()
                .selectMode(row.device, row.display, ports.permissions, row.softwareAvailable, row.prefersSoftware)
                .diagnostics)
            << row.name;
    }
}

TEST_F(RefreshTest, whileDisabledNothingIsReadButTheProfileAndTheOfferToSwitch)
{
    struct Row {
        const char* name;
        std::optional<AudioOutputDevice> device;
        Calls calls;
    };
    const std::vector<Row> rows{
        {"nothing", {}, refreshOfNothing()},
        {"speakers", speakers(),
            {"defaultOutputDevice", "displayTarget(speakers)", "currentPermissionState", "profile(speakers-uid)"}},
        {"monitor", monitor(), refreshOfMonitorWhileDisabled()},
    };
    for (const Row& row : rows) {
        ports.device = row.device;
        auto& controller = start();
        controller.setEnabled(false);
        ports.takeCalls();

        EXPECT_EQ(controller.refresh().mode, ControlMode::disabled()) << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
    }
}

TEST_F(RefreshTest, theOfferToSwitchIsMadeWhileDisabledToo)
{
    playOnMonitor();
    auto& controller = start();
    EXPECT_TRUE(controller.setEnabled(false).audioProcessing.canSwitchToSoftware);
    ports.softwareAvailable = false;
    EXPECT_FALSE(controller.refresh().audioProcessing.canSwitchToSoftware);
}

TEST_F(RefreshTest, theKeyIsThePersistentNameWhereThereIsOneElseTheIdentity)
{
    struct Row {
        std::optional<std::string> persistentName;
        const char* key;
    };
    const std::vector<Row> rows{
        {"monitor-uid", "monitor-uid"},
        {"", "monitor"},
        {std::nullopt, "monitor"},
        {" ", " "},
    };
    for (const Row& row : rows) {
        playOnMonitor();
        ports.device->coreAudioUID = row.persistentName;
        ports.store.emplace();
        ports.store->saveProfile(EQProfile(true, EQPresetName::night, -3), row.key);
        auto& controller = start();

        EXPECT_EQ(controller.refresh().audioProcessing.profile, EQProfile(true, EQPresetName::night, -3));
        const std::string key = row.key;
        EXPECT_THAT(ports.takeCalls(),
            testing::IsSupersetOf({"profile(" + key + ")", "softwareProcessingPreferred(" + key + ")"}));
    }
}

TEST_F(RefreshTest, anOutputWithoutAStoredProfileHasTheDefaultOne)
{
    playOnSpeakers();
    EXPECT_EQ(start().state().audioProcessing.profile, EQProfile::defaultProfile());
}

TEST_F(RefreshTest, everyReadThatFailsKeepsThePreviousLevelAndMute)
{
    struct Row {
        const char* name;
        void (RefreshTest::*play)();
        Call read;
        VolumeSnapshot FakePorts::*volume;
    };
    const std::vector<Row> rows{
        {"system", &RefreshTest::playOnSpeakers, Call::systemReadVolume, &FakePorts::systemVolume},
        {"ddc", &RefreshTest::playOnMonitor, Call::ddcReadVolume, &FakePorts::ddcVolume},
        {"software", &RefreshTest::playOnSilentMonitor, Call::softwareReadVolume, &FakePorts::softwareVolume},
    };
    for (const Row& row : rows) {
        ports.behave();
        (this->*row.play)();
        ports.*row.volume = {0.2, true};
        auto& controller = start();
        EXPECT_EQ(controller.state().volume, VolumeSnapshot(0.2, true)) << row.name;

        ports.*row.volume = {0.9, false};
        ports.failWith(row.read, QuenstalError::commandFailed("no answer"));
        EXPECT_EQ(controller.refresh().volume, VolumeSnapshot(0.2, true)) << row.name;
        EXPECT_EQ(controller.lastAudibleLevel(), 0.5) << row.name;

        ports.behave();
        EXPECT_EQ(controller.refresh().volume, VolumeSnapshot(0.9, false)) << row.name;
        EXPECT_EQ(controller.lastAudibleLevel(), 0.9) << row.name;
    }
}

TEST_F(RefreshTest, aKeptAudibleVolumeCountsAsTheLastAudibleOne)
{
    playOnSpeakers();
    ports.systemVolume = {0.7, false};
    auto& controller = start();
    ports.failWith(Call::systemReadVolume, QuenstalError::noOutputDevice());
    ports.failWith(Call::systemSetVolume, QuenstalError::noOutputDevice());
    controller.handle(VolumeCommand::setLevel(0.2));
    EXPECT_EQ(controller.lastAudibleLevel(), 0.2);

    controller.refresh();
    EXPECT_EQ(controller.lastAudibleLevel(), 0.7);
}

TEST_F(RefreshTest, onlyAnAudibleReadingChangesTheLastAudibleLevel)
{
    struct Row {
        VolumeSnapshot read;
        double lastAudibleLevel;
    };
    const std::vector<Row> rows{
        {{0.25, false}, 0.25},
        {{1, false}, 1},
        {{0.25, true}, 0.5},
        {{0, false}, 0.5},
        {{0, true}, 0.5},
        {unclamped(-0.25, false), 0.5},
        {unclamped(std::nan(""), false), 0.5},
        {unclamped(1.5, false), 1.5},
        {unclamped(infinity, true), 0.5},
    };
    playOnSpeakers();
    for (const Row& row : rows) {
        ports.systemVolume = {0.5, false};
        auto& controller = start();
        ports.systemVolume = row.read;
        controller.refresh();
        EXPECT_EQ(controller.lastAudibleLevel(), row.lastAudibleLevel) << described(row.read);
    }
}

TEST_F(RefreshTest, aLevelOutOfRangeIsPublishedAsItWasRead)
{
    playOnSpeakers();
    ports.systemVolume = unclamped(1.5, false);
    EXPECT_EQ(start().state().volume.level, 1.5);
}

TEST_F(RefreshTest, theLevelsAreReadOnTheSoftwarePathOnly)
{
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    playOnSilentMonitor();
    EXPECT_EQ(start().state().audioProcessing.levels, ports.levels);
    playOnMonitor();
    EXPECT_EQ(start().state().audioProcessing.levels, SoundLevelSnapshot::zero());
    playOnSpeakers();
    EXPECT_EQ(start().state().audioProcessing.levels, SoundLevelSnapshot::zero());
}

TEST_F(RefreshTest, aRunningSessionCarriesTheStoredProfileAfterEveryRefresh)
{
    playOnSilentMonitor();
    ports.store->saveProfile(EQProfile(true, EQPresetName::movie, -4), "monitor-uid");
    auto& controller = start();
    controller.refresh();
    EXPECT_EQ(ports.takeCalls(), refreshOfSilentMonitor("movie -4"));
}

TEST_F(RefreshTest, aSessionThatTakesNoProfileIsNotReportedAndIsTriedAgain)
{
    playOnSilentMonitor();
    ports.failWith(Call::setEQProfile, QuenstalError::commandFailed("busy"));
    auto& controller = start();
    const auto diagnostics = controller.state().diagnostics;
    EXPECT_EQ(controller.refresh().diagnostics, diagnostics);
    EXPECT_EQ(ports.takeCalls().back(), "setEQProfile(flat 0, monitor)");
}

TEST_F(RefreshTest, issuesAppendedEarlierAreDroppedByTheNextRefresh)
{
    auto& controller = start();
    controller.handle(VolumeCommand::stepUp());
    ASSERT_EQ(controller.state().diagnostics.size(), 2U);
    EXPECT_EQ(controller.refresh().diagnostics.size(), 1U);
    controller.setEnabled(false);
    controller.handle(VolumeCommand::stepUp());
    ASSERT_EQ(controller.state().diagnostics.size(), 1U);
    EXPECT_THAT(controller.refresh().diagnostics, IsEmpty());
}

TEST_F(RefreshTest, nothingIsRememberedOfAnOutputThatIsGone)
{
    playOnSilentMonitor();
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    ports.store->saveProfile(EQProfile(true, EQPresetName::movie, -4), "monitor-uid");
    auto& controller = start();
    ports.device.reset();

    const QuenstalState state = controller.refresh();
    EXPECT_EQ(state.outputDevice, std::nullopt);
    EXPECT_EQ(state.displayTarget, std::nullopt);
    EXPECT_EQ(state.audioProcessing, AudioProcessingState::unavailable());
    EXPECT_EQ(state.volume, VolumeSnapshot(0.5, false));
}

} // namespace
} // namespace quenstal
