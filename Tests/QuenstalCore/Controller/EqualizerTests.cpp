#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

namespace quenstal {
namespace {

using EqualizerTest = ControllerTest;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

using Edit = std::function<QuenstalState(QuenstalController&)>;

struct NamedEdit {
    const char* name;
    Edit edit;
    /// What becomes of a voice profile, switched on, with a preamp of −3.
    EQProfile result;
};

std::vector<NamedEdit> everyEdit()
{
    const EQProfile voice(true, EQPresetName::voice, -3);
    return {
        {"setEQEnabled", [](auto& controller) { return controller.setEQEnabled(false); }, voice.settingEnabled(false)},
        {"selectEQPreset", [](auto& controller) { return controller.selectEQPreset(EQPresetName::night); },
            EQProfile(true, EQPresetName::night, -3)},
        {"updateEQBand", [](auto& controller) { return controller.updateEQBand(1, 2.25); }, voice.settingBand(1, 2.5)},
        {"updateEQPreamp", [](auto& controller) { return controller.updateEQPreamp(-0.74); },
            EQProfile(true, EQPresetName::voice, -0.5)},
        {"resetEQProfile", [](auto& controller) { return controller.resetEQProfile(); },
            EQProfile(true, EQPresetName::flat, 0)},
    };
}

TEST_F(EqualizerTest, everyEditIsSavedAndPushedToTheRunningSession)
{
    for (const auto& [name, edit, result] : everyEdit()) {
        playOnSilentMonitor();
        ports.levels = {0.1, 0.2, 0.3, 0.4, true};
        ports.store->saveProfile(EQProfile(true, EQPresetName::voice, -3), "monitor-uid");
        auto& controller = start();
        QuenstalState expected = controller.state();
        expected.audioProcessing.profile = result;

        EXPECT_EQ(edit(controller), expected) << name;
        EXPECT_EQ(controller.state(), expected) << name;
        EXPECT_EQ(ports.takeCalls(),
            refreshOfSilentMonitor("voice -3")
                + Calls({"saveProfile(" + described(result) + ", monitor-uid)", "readLevels(monitor)",
                    "setEQProfile(" + described(result) + ", monitor)"}))
            << name;
        EXPECT_EQ(ports.store->profile("monitor-uid"), result) << name;
        EXPECT_EQ(controller.refresh().audioProcessing.profile, result) << name;
    }
}

TEST_F(EqualizerTest, everyEditIsSavedButNotPushedWhereNoSessionRuns)
{
    struct Row {
        const char* name;
        void (EqualizerTest::*play)();
        bool isEnabled;
        std::string key;
        Calls refreshed;
        Calls explained;
    };
    const std::vector<Row> rows{
        {"speakers", &EqualizerTest::playOnSpeakers, true, "speakers-uid", refreshOfSpeakers(), {}},
        {"monitor", &EqualizerTest::playOnMonitor, true, "monitor-uid", refreshOfMonitor(), {"isAvailable(monitor)"}},
        {"disabled", &EqualizerTest::playOnMonitor, false, "monitor-uid", refreshOfMonitorWhileDisabled(),
            {"isAvailable(monitor)"}},
    };
    for (const Row& row : rows) {
        for (const auto& [name, edit, result] : everyEdit()) {
            (this->*row.play)();
            ports.store->saveProfile(EQProfile(true, EQPresetName::voice, -3), row.key);
            auto& controller = start();
            controller.setEnabled(row.isEnabled);
            ports.takeCalls();

            EXPECT_EQ(edit(controller).audioProcessing.profile, result) << row.name << ' ' << name;
            EXPECT_EQ(ports.takeCalls(),
                row.refreshed + Calls({"saveProfile(" + described(result) + ", " + row.key + ")"}) + row.explained)
                << row.name << ' ' << name;
            EXPECT_EQ(ports.store->profile(row.key), result) << row.name << ' ' << name;
        }
    }
}

TEST_F(EqualizerTest, withoutAnOutputEveryEditIsLost)
{
    auto& controller = start();
    const QuenstalState before = controller.state();
    for (const auto& [name, edit, result] : everyEdit()) {
        EXPECT_EQ(edit(controller), before) << name;
        EXPECT_EQ(ports.takeCalls(), refreshOfNothing()) << name;
    }
}

TEST_F(EqualizerTest, anEditThatIsLostDoesNotUseUpTheBoostHint)
{
    auto& controller = start();
    controller.updateEQBand(0, 3);
    playOnSilentMonitor();
    EXPECT_TRUE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
}

TEST_F(EqualizerTest, everyOutputHasItsOwnProfile)
{
    playOnSpeakers();
    auto& controller = start();
    controller.selectEQPreset(EQPresetName::music);
    playOnMonitor();
    EXPECT_EQ(controller.refresh().audioProcessing.profile.preset, EQPresetName::flat);
    playOnSpeakers();
    EXPECT_EQ(controller.refresh().audioProcessing.profile.preset, EQPresetName::music);
}

TEST_F(EqualizerTest, aPreampIsSnappedAndClamped)
{
    struct Row {
        double given;
        double stored;
    };
    const std::vector<Row> rows{
        {7.3, 6},
        {6.24, 6},
        {-0.74, -0.5},
        {-0.75, -1},
        {-0.25, -0.5},
        {0.25, 0.5},
        {-13, -12},
        {notANumber, 0},
        {infinity, 0},
        {-infinity, 0},
    };
    playOnSilentMonitor();
    auto& controller = start();
    for (const Row& row : rows) {
        EXPECT_EQ(controller.updateEQPreamp(row.given).audioProcessing.profile.preampDB, row.stored) << row.given;
        EXPECT_EQ(ports.store->profile("monitor-uid")->preampDB, row.stored) << row.given;
    }
}

TEST_F(EqualizerTest, everyEditNormalisesABadlyStoredProfile)
{
    EQProfile bad;
    bad.preset = EQPresetName::voice;
    bad.bands = {EQBand(4, 1, "X", 3), EQBand(9, 1, "Y", 4)};
    bad.bands[0].gainDB = 99.1;
    bad.preampDB = -40;
    playOnSpeakers();
    for (const auto& [name, edit, unused] : everyEdit()) {
        ports.store->saveProfile(bad, "speakers-uid");
        const EQProfile edited = edit(start()).audioProcessing.profile;
        EXPECT_EQ(edited.bands.size(), 5U) << name;
        EXPECT_EQ(edited, EQProfile(edited.enabled, edited.preset, edited.bands, edited.preampDB)) << name;
    }
}

TEST_F(EqualizerTest, resettingASwitchedOffEqualizerLeavesItOff)
{
    for (const bool enabled : {false, true}) {
        playOnSilentMonitor();
        ports.store->saveProfile(EQProfile(enabled, EQPresetName::movie, 4), "monitor-uid");
        EXPECT_EQ(start().resetEQProfile().audioProcessing.profile, EQProfile(enabled, EQPresetName::flat, 0));
    }
}

TEST_F(EqualizerTest, theFirstBoostLowersAnUntouchedPreampAndShowsTheHint)
{
    playOnSilentMonitor();
    auto& controller = start();
    const QuenstalState first = controller.updateEQBand(0, 3);
    EXPECT_TRUE(first.audioProcessing.boostHintVisible);
    EXPECT_EQ(first.audioProcessing.profile.preampDB, -2);
    EXPECT_EQ(first.audioProcessing.profile.bands[0].gainDB, 3);
    EXPECT_EQ(first.audioProcessing.profile.preset, EQPresetName::custom);
    EXPECT_EQ(ports.store->profile("monitor-uid"), first.audioProcessing.profile);

    const QuenstalState second = controller.updateEQBand(0, 4);
    EXPECT_FALSE(second.audioProcessing.boostHintVisible);
    EXPECT_EQ(second.audioProcessing.profile.preampDB, -2);
    EXPECT_EQ(second.audioProcessing.profile.bands[0].gainDB, 4);
}

TEST_F(EqualizerTest, theBoostRuleLooksAtTheGainAsGivenAndAtThePreampAsStored)
{
    struct Row {
        double gainDB;
        double storedPreampDB;
        bool applies;
        double preampDB;
        double storedGainDB;
    };
    const std::vector<Row> rows{
        {3, 0, true, -2, 3},
        {0.5, 0, true, -2, 0.5},
        // Snaps to no gain at all, but was meant as a boost.
        {0.1, 0, true, -2, 0},
        {5e-324, 0, true, -2, 0},
        {100, 0, true, -2, 12},
        {infinity, 0, true, -2, 0},
        {3, -0.0, true, -2, 3},
        {0, 0, false, 0, 0},
        {-3, 0, false, 0, -3},
        {notANumber, 0, false, 0, 0},
        {-infinity, 0, false, 0, 0},
        {3, -1.5, false, -1.5, 3},
        {3, 2, false, 2, 3},
        // Not exactly 0 as stored, although it comes out as 0.
        {3, 0.1, false, 0, 3},
        {3, notANumber, false, 0, 3},
    };
    playOnSilentMonitor();
    for (const Row& row : rows) {
        EQProfile stored;
        stored.preampDB = row.storedPreampDB;
        ports.store->saveProfile(stored, "monitor-uid");
        const AudioProcessingState processing = start().updateEQBand(2, row.gainDB).audioProcessing;
        EXPECT_EQ(processing.boostHintVisible, row.applies) << row.gainDB << " at " << row.storedPreampDB;
        EXPECT_EQ(processing.profile.preampDB, row.preampDB) << row.gainDB << " at " << row.storedPreampDB;
        EXPECT_EQ(processing.profile.bands[2].gainDB, row.storedGainDB) << row.gainDB << " at " << row.storedPreampDB;
    }
}

TEST_F(EqualizerTest, aBoostOfABandThatIsNotThereShowsTheHintAsWell)
{
    playOnSilentMonitor();
    const AudioProcessingState processing = start().updateEQBand(7, 3).audioProcessing;
    EXPECT_TRUE(processing.boostHintVisible);
    EXPECT_EQ(processing.profile, EQProfile(false, EQPresetName::custom, -2));
}

TEST_F(EqualizerTest, aBoostWhileDisabledShowsTheHintUntilTheNextRefresh)
{
    playOnMonitor();
    auto& controller = start();
    controller.setEnabled(false);
    EXPECT_TRUE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    EXPECT_FALSE(controller.refresh().audioProcessing.boostHintVisible);
}

TEST_F(EqualizerTest, theHintComesOncePerLaunchWhateverTheOutputAndThePreamp)
{
    playOnSilentMonitor();
    auto& controller = start();
    controller.updateEQBand(0, 3);
    controller.resetEQProfile();
    EXPECT_FALSE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    EXPECT_EQ(controller.state().audioProcessing.profile.preampDB, 0);

    playOnSpeakers();
    EXPECT_FALSE(controller.updateEQBand(0, 3).audioProcessing.boostHintVisible);
    controller.setEnabled(false);
    controller.setEnabled(true);
    EXPECT_FALSE(controller.updateEQBand(1, 3).audioProcessing.boostHintVisible);

    EXPECT_TRUE(start().updateEQBand(1, 3).audioProcessing.boostHintVisible);
}

TEST_F(EqualizerTest, theHintStaysAcrossRefreshesAndEveryLaterEditHidesIt)
{
    const std::vector<std::pair<const char*, Edit>> hiding{
        {"setEQEnabled", [](auto& controller) { return controller.setEQEnabled(true); }},
        {"selectEQPreset", [](auto& controller) { return controller.selectEQPreset(EQPresetName::night); }},
        {"updateEQBand", [](auto& controller) { return controller.updateEQBand(1, 2); }},
        {"updateEQPreamp", [](auto& controller) { return controller.updateEQPreamp(-2); }},
        {"resetEQProfile", [](auto& controller) { return controller.resetEQProfile(); }},
        {"dismissEQBoostHint", [](auto& controller) { return controller.dismissEQBoostHint(); }},
    };
    playOnSilentMonitor();
    for (const auto& [name, hide] : hiding) {
        ports.store.emplace();
        auto& controller = start();
        controller.updateEQBand(0, 3);
        EXPECT_TRUE(controller.refresh().audioProcessing.boostHintVisible) << name;
        EXPECT_TRUE(controller.setEnabled(true).audioProcessing.boostHintVisible) << name;
        EXPECT_FALSE(hide(controller).audioProcessing.boostHintVisible) << name;
        EXPECT_FALSE(controller.refresh().audioProcessing.boostHintVisible) << name;
    }
}

TEST_F(EqualizerTest, aSessionThatRefusesTheProfileKeepsNothingFromBeingStored)
{
    playOnSilentMonitor();
    ports.failWith(Call::setEQProfile, QuenstalError::commandFailed("busy"));
    auto& controller = start();
    const QuenstalState state = controller.selectEQPreset(EQPresetName::music);
    EXPECT_EQ(state.diagnostics.size(), 2U);
    EXPECT_EQ(state.audioProcessing.profile.preset, EQPresetName::music);
    EXPECT_EQ(ports.store->profile("monitor-uid")->preset, EQPresetName::music);

    ports.behave();
    ports.takeCalls();
    controller.refresh();
    EXPECT_EQ(ports.takeCalls().back(), "setEQProfile(music 0, monitor)");
}

TEST_F(EqualizerTest, dismissingTheHintReadsTheMetersAndNothingElse)
{
    struct Row {
        const char* name;
        void (EqualizerTest::*play)();
        bool isEnabled;
        Calls calls;
    };
    const std::vector<Row> rows{
        {"nothing", &EqualizerTest::playOnNothing, true, {}},
        {"speakers", &EqualizerTest::playOnSpeakers, true, {}},
        {"monitor", &EqualizerTest::playOnMonitor, true, {"isAvailable(monitor)"}},
        {"silent monitor", &EqualizerTest::playOnSilentMonitor, true, {"readLevels(monitor)"}},
        {"disabled", &EqualizerTest::playOnSilentMonitor, false, {"isAvailable(monitor)"}},
    };
    for (const Row& row : rows) {
        (this->*row.play)();
        auto& controller = start();
        controller.setEnabled(row.isEnabled);
        const QuenstalState before = controller.state();
        ports.takeCalls();
        EXPECT_EQ(controller.dismissEQBoostHint(), before) << row.name;
        EXPECT_EQ(ports.takeCalls(), row.calls) << row.name;
        EXPECT_EQ(controller.state(), before) << row.name;
    }
}

TEST_F(EqualizerTest, dismissingAHiddenHintReturnsTheStoredStateWithFreshLevels)
{
    playOnSilentMonitor();
    auto& controller = start();
    QuenstalState expected = controller.state();
    ports.device.reset();
    ports.softwareVolume = {0.9, false};
    ports.levels = {0.1, 0.2, 0.3, 0.4, true};
    expected.audioProcessing.levels = ports.levels;
    EXPECT_EQ(controller.dismissEQBoostHint(), expected);
}

TEST_F(EqualizerTest, dismissingTheHintKeepsAppendedIssuesAndDoesNotBringTheHintBack)
{
    playOnMonitor();
    auto& controller = start();
    controller.updateEQBand(0, 3);
    ports.failWith(Call::ddcSetVolume, QuenstalError::commandFailed("no"));
    controller.handle(VolumeCommand::stepUp());
    QuenstalState expected = controller.state();
    ASSERT_EQ(expected.diagnostics.size(), 1U);
    expected.audioProcessing.boostHintVisible = false;

    EXPECT_EQ(controller.dismissEQBoostHint(), expected);
    controller.updateEQPreamp(0);
    EXPECT_FALSE(controller.updateEQBand(0, 4).audioProcessing.boostHintVisible);
}

} // namespace
} // namespace quenstal
