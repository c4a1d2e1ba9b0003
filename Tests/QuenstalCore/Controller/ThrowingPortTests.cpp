// What happens to whatever a port throws: an error of the core, any other exception, or a bare value; from the
// calls that may fail and from those that promise not to.

#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <exception>
#include <functional>
#include <stdexcept>
#include <vector>

namespace quenstal {
namespace {

struct Throwable {
    const char* name;
    std::function<void()> raise;
    const char* description;
};

struct Nameless : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

const std::vector<Throwable>& everyThrowable()
{
    static const std::vector<Throwable> all{
        {"commandFailed", [] { throw QuenstalError::commandFailed("The device said no."); }, "The device said no."},
        {"permissionMissing", [] { throw QuenstalError::permissionMissing(); }, "permissionMissing"},
        {"exception", [] { throw std::runtime_error("Broken pipe"); }, "Broken pipe"},
        {"nameless exception", [] { throw Nameless(); }, "Unknown error."},
        {"int", [] { throw 42; }, "Unknown error."},
        {"text", [] { throw "text"; }, "Unknown error."},
    };
    return all;
}

using Operation = std::function<void(QuenstalController&)>;

const std::vector<std::pair<const char*, Operation>>& everyOperation()
{
    static const std::vector<std::pair<const char*, Operation>> all{
        {"refresh", [](auto& controller) { controller.refresh(); }},
        {"setEnabled(true)", [](auto& controller) { controller.setEnabled(true); }},
        {"setEnabled(false)", [](auto& controller) { controller.setEnabled(false); }},
        {"toggleEnabled", [](auto& controller) { controller.toggleEnabled(); }},
        {"shutdown", [](auto& controller) { controller.shutdown(); }},
        {"handle", [](auto& controller) { controller.handle(VolumeCommand::stepUp()); }},
        {"switch", [](auto& controller) { controller.switchCurrentOutputToSoftwareProcessing(); }},
        {"setEQEnabled", [](auto& controller) { controller.setEQEnabled(true); }},
        {"selectEQPreset", [](auto& controller) { controller.selectEQPreset(EQPresetName::music); }},
        {"updateEQBand", [](auto& controller) { controller.updateEQBand(0, 3); }},
        {"updateEQPreamp", [](auto& controller) { controller.updateEQPreamp(-3); }},
        {"resetEQProfile", [](auto& controller) { controller.resetEQProfile(); }},
        {"dismissEQBoostHint", [](auto& controller) { controller.dismissEQBoostHint(); }},
    };
    return all;
}

struct ThrowingPortTest : ControllerTest {
    QuenstalController& startFailing(Call call, const Throwable& thrown)
    {
        ports.behave();
        auto& controller = start();
        ports.on(call, thrown.raise);
        return controller;
    }
};

TEST_F(ThrowingPortTest, nothingEscapesFromAnyOperationInAnyModeWhicheverCallThrowsWhatever)
{
    const std::vector<void (ThrowingPortTest::*)()> outputs{&ThrowingPortTest::playOnNothing,
        &ThrowingPortTest::playOnSpeakers, &ThrowingPortTest::playOnMonitor, &ThrowingPortTest::playOnSilentMonitor};
    for (const auto play : outputs) {
        for (const Call call : everyCall) {
            for (const Throwable& thrown : everyThrowable()) {
                for (const auto& [name, operation] : everyOperation()) {
                    ports.store.emplace();
                    (this->*play)();
                    auto& controller = startFailing(call, thrown);
                    EXPECT_NO_THROW(operation(controller)) << name << " with " << thrown.name;
                    EXPECT_EQ(controller.state().isEnabled, controller.isEnabled()) << name;

                    // Nothing is left behind: once the port behaves, the state is that of a controller that never
                    // saw it fail.
                    ports.behave();
                    const bool isEnabled = controller.isEnabled();
                    const bool hint = controller.dismissEQBoostHint().audioProcessing.boostHintVisible;
                    EXPECT_FALSE(hint);
                    const QuenstalState after = controller.refresh();
                    auto& fresh = start(after.volume);
                    fresh.setEnabled(isEnabled);
                    EXPECT_EQ(after, fresh.state()) << name << " with " << thrown.name;
                }
            }
        }
    }
}

TEST_F(ThrowingPortTest, constructionSurvivesEveryCallThatThrows)
{
    playOnSilentMonitor();
    for (const Call call : everyCall) {
        for (const Throwable& thrown : everyThrowable()) {
            ports.on(call, thrown.raise);
            EXPECT_NO_THROW(ports.makeController({0.3, false})) << thrown.name;
            ports.behave();
        }
    }
}

TEST_F(ThrowingPortTest, aCommandNamesWhateverTheWriteThrew)
{
    playOnSpeakers();
    for (const Throwable& thrown : everyThrowable()) {
        auto& controller = startFailing(Call::systemSetVolume, thrown);
        controller.handle(VolumeCommand::stepUp());
        EXPECT_EQ(controller.state().diagnostics.back().message, "Volume command failed.");
        EXPECT_EQ(controller.state().diagnostics.back().recoverySuggestion, thrown.description) << thrown.name;
        EXPECT_EQ(controller.lastAudibleLevel(), 0.5625) << thrown.name;
    }
}

TEST_F(ThrowingPortTest, aCommandThatNothingRescuesNamesWhatTheMonitorThrew)
{
    playOnMonitor();
    for (const Throwable& thrown : everyThrowable()) {
        for (const Throwable& other : everyThrowable()) {
            auto& controller = startFailing(Call::ddcSetVolume, thrown);
            ports.on(Call::softwareSetVolume, other.raise);
            controller.handle(VolumeCommand::stepUp());
            EXPECT_EQ(controller.state().diagnostics.back().recoverySuggestion, thrown.description) << thrown.name;
            EXPECT_EQ(controller.state().mode, ControlMode::hardwareDDC("panel"));
        }
    }
}

TEST_F(ThrowingPortTest, aMonitorThatThrowsAnythingFallsBack)
{
    playOnMonitor();
    for (const Throwable& thrown : everyThrowable()) {
        auto& controller = startFailing(Call::ddcSetVolume, thrown);
        EXPECT_TRUE(controller.handle(VolumeCommand::stepUp()).is<VolumeCommandResult::Applied>()) << thrown.name;
        EXPECT_EQ(controller.state().mode, ControlMode::softwareTap("monitor")) << thrown.name;
    }
}

TEST_F(ThrowingPortTest, resumingNamesWhateverTheSessionThrew)
{
    playOnSilentMonitor();
    for (const Throwable& thrown : everyThrowable()) {
        auto& controller = startFailing(Call::softwareSetVolume, thrown);
        controller.setEnabled(false);
        EXPECT_EQ(controller.setEnabled(true).diagnostics.back().recoverySuggestion, thrown.description) << thrown.name;
    }
}

TEST_F(ThrowingPortTest, startingTheSessionNamesWhateverItThrew)
{
    playOnMonitor();
    for (const Call call : {Call::softwareSetVolume, Call::setEQProfile}) {
        for (const Throwable& thrown : everyThrowable()) {
            auto& controller = startFailing(call, thrown);
            EXPECT_EQ(controller.switchCurrentOutputToSoftwareProcessing().diagnostics.back().recoverySuggestion,
                thrown.description)
                << thrown.name;
        }
    }
}

TEST_F(ThrowingPortTest, aCallThatPromisesNotToFailCountsAsNoAnswer)
{
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    ports.store->saveProfile(EQProfile(true, EQPresetName::movie, -4), "monitor-uid");
    ports.permissions.accessibility = PermissionStatus::denied;
    for (const Throwable& thrown : everyThrowable()) {
        playOnMonitor();
        const QuenstalState before = start().state();

        EXPECT_EQ(startFailing(Call::defaultOutputDevice, thrown).refresh().mode,
            unavailable(UnavailableReason::noOutputDevice));
        EXPECT_EQ(startFailing(Call::displayTarget, thrown).refresh().mode, ControlMode::softwareTap("monitor"));
        // The permissions last seen still hold.
        EXPECT_EQ(startFailing(Call::currentPermissionState, thrown).refresh(), before);
        EXPECT_EQ(startFailing(Call::softwareProcessingPreferred, thrown).refresh(), before);

        QuenstalState expected = before;
        expected.audioProcessing.canSwitchToSoftware = false;
        EXPECT_EQ(startFailing(Call::isAvailable, thrown).refresh(), expected);
        expected = before;
        expected.audioProcessing.profile = EQProfile::defaultProfile();
        EXPECT_EQ(startFailing(Call::profile, thrown).refresh(), expected);

        playOnSilentMonitor();
        QuenstalState silent = startFailing(Call::readLevels, thrown).refresh();
        EXPECT_EQ(silent.audioProcessing.levels, SoundLevelSnapshot::zero());
        EXPECT_EQ(startFailing(Call::stopAll, thrown).setEnabled(false).mode, ControlMode::disabled());
    }
}

TEST_F(ThrowingPortTest, anEditThatCannotBeSavedIsShownAndPushedUntilTheNextRefresh)
{
    playOnSilentMonitor();
    for (const Throwable& thrown : everyThrowable()) {
        auto& controller = startFailing(Call::saveProfile, thrown);
        EXPECT_EQ(controller.selectEQPreset(EQPresetName::music).audioProcessing.profile.preset, EQPresetName::music);
        EXPECT_EQ(ports.takeCalls(),
            refreshOfSilentMonitor()
                + Calls(
                    {"saveProfile(music 0, monitor-uid)", "readLevels(monitor)", "setEQProfile(music 0, monitor)"}));
        EXPECT_EQ(controller.refresh().audioProcessing.profile.preset, EQPresetName::flat);
    }
}

TEST_F(ThrowingPortTest, aChoiceThatCannotBeStoredLeavesTheMonitorAsItIs)
{
    playOnMonitor();
    for (const Throwable& thrown : everyThrowable()) {
        auto& controller = startFailing(Call::setSoftwareProcessingPreferred, thrown);
        EXPECT_EQ(controller.switchCurrentOutputToSoftwareProcessing().mode, ControlMode::hardwareDDC("panel"));
        EXPECT_EQ(ports.takeCalls(),
            refreshOfMonitor() + Calls({"setSoftwareProcessingPreferred(true, monitor-uid)"}) + refreshOfMonitor());
    }
}

} // namespace
} // namespace quenstal
