#include "QuenstalCore/MenuPresenter/GlassDialSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/MenuSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/States.hpp"
#include "QuenstalCore/Printing.hpp"

#include <functional>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using enum AudioProcessingDiagnostic;

QuenstalState processingState(AudioProcessingDiagnostic diagnostic, bool isProfileEnabled, EQPresetName preset)
{
    QuenstalState state = monitorState();
    state.audioProcessing.diagnostic = diagnostic;
    state.audioProcessing.profile = EQProfile(isProfileEnabled, preset, -1.5);
    return state;
}

TEST(GlassDialSnapshotTest, withoutOutputTheDisplayGivesItsNameToTheDialButNotToTheMenu)
{
    QuenstalState state = monitorState();
    EXPECT_EQ(GlassDialSnapshot(state).outputName, "LG UltraFine");
    state.outputDevice.reset();
    state.displayTarget->name = "LG";
    EXPECT_EQ(GlassDialSnapshot(state).outputName, "LG");
    EXPECT_EQ(MenuSnapshot(state).deviceName, "No Output");
    state.displayTarget.reset();
    EXPECT_EQ(GlassDialSnapshot(state).outputName, "No Output");
}

TEST(GlassDialSnapshotTest, anOutputWithoutANameIsNotReplacedByTheDisplay)
{
    QuenstalState state = monitorState();
    state.outputDevice->name = "";
    EXPECT_EQ(GlassDialSnapshot(state).outputName, "");
}

TEST(GlassDialSnapshotTest, ddcIsAvailableWhenTheDisplayTakesTheVolumeCommandWhateverElse)
{
    struct Row {
        std::optional<DisplayControlTarget> display;
        bool available;
    };
    const std::vector<Row> rows{
        {DisplayControlTarget{"7", "LG", true, true}, true},
        {DisplayControlTarget{"7", "LG", false, true}, true},
        {DisplayControlTarget{"7", "LG", true, false}, false},
        {DisplayControlTarget{"7", "LG", false, false}, false},
        {std::nullopt, false},
    };
    for (const Row& row : rows) {
        for (const bool isEnabled : {true, false}) {
            QuenstalState state = monitorState();
            state.displayTarget = row.display;
            state.isEnabled = isEnabled;
            EXPECT_EQ(GlassDialSnapshot(state).ddcAvailable, row.available);
        }
    }
}

TEST(GlassDialSnapshotTest, onlySoftwareModeShowsTheBannerThatDDCIsMissing)
{
    const auto missing = issue(DiagnosticSeverity::info, "A", DiagnosticCode::ddcUnavailable);
    const auto missingAsError = issue(DiagnosticSeverity::error, "A", DiagnosticCode::ddcUnavailable);
    const auto other = issue(DiagnosticSeverity::info, "B", DiagnosticCode::ddcCommandFailed);
    const auto software = ControlMode::softwareTap("42");
    struct Row {
        const char* name;
        ControlMode mode;
        std::vector<DiagnosticIssue> diagnostics;
        bool isEnabled;
        bool shown;
    };
    const std::vector<Row> rows{
        {"software", software, {missing}, true, true},
        {"not first", software, {other, missing}, true, true},
        {"any severity", software, {missingAsError}, true, true},
        {"another issue", software, {other}, true, false},
        {"no issue", software, {}, true, false},
        {"switched off", software, {missing}, false, false},
        {"hardware", ControlMode::hardwareDDC("7"), {missing}, true, false},
        {"system", ControlMode::systemVolume("42"), {missing}, true, false},
        {"unavailable", ControlMode::unavailable(UnavailableReason::softwareFallbackUnavailable), {missing}, true,
            false},
        {"disabled", ControlMode::disabled(), {missing}, true, false},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.mode = row.mode;
        state.diagnostics = row.diagnostics;
        state.isEnabled = row.isEnabled;
        EXPECT_EQ(GlassDialSnapshot(state).showsDDCBanner, row.shown) << row.name;
    }
}

TEST(GlassDialSnapshotTest, theEqualizerFieldsFollowTheDiagnosticAndNotTheSwitch)
{
    struct Row {
        AudioProcessingDiagnostic diagnostic;
        bool isAvailable;
        bool needsPermission;
        std::string chip;
        std::string reason;
    };
    const std::vector<Row> rows{
        {softwareAvailable, true, false, "Movie", ""},
        {ddcHardwareMode, false, false, "-", "DDC/CI hardware mode"},
        {systemVolumeMode, false, false, "-", "system volume mode"},
        {outputUnsupported, false, false, "-", "the current output does not support software processing"},
        {permissionDenied, false, true, "-", "audio capture permission"},
        {unknown, false, false, "-", "an unknown mode"},
    };
    for (const Row& row : rows) {
        for (const bool isEnabled : {true, false}) {
            SCOPED_TRACE(row.reason);
            QuenstalState state = processingState(row.diagnostic, true, EQPresetName::movie);
            state.isEnabled = isEnabled;
            const GlassDialSnapshot dial(state);
            EXPECT_EQ(dial.eqAvailable, row.isAvailable);
            EXPECT_EQ(dial.eqEnabled, row.isAvailable);
            EXPECT_EQ(dial.eqNeedsAudioPermission, row.needsPermission);
            EXPECT_EQ(dial.eqChipSubtitle, row.chip);
            EXPECT_EQ(dial.eqUnavailableReason, row.reason);
            EXPECT_EQ(dial.eqPresetName, "Movie");
        }
    }
}

TEST(GlassDialSnapshotTest, inHardwareModeAnEnabledProfileIsNeitherEnabledNorAvailable)
{
    const GlassDialSnapshot dial(processingState(ddcHardwareMode, true, EQPresetName::voice));
    EXPECT_FALSE(dial.eqEnabled);
    EXPECT_FALSE(dial.eqAvailable);
    EXPECT_EQ(dial.eqChipSubtitle, "-");
    EXPECT_EQ(dial.eqUnavailableReason, "DDC/CI hardware mode");
}

TEST(GlassDialSnapshotTest, aDisabledNightProfileIsOffButKeepsItsName)
{
    const GlassDialSnapshot dial(processingState(softwareAvailable, false, EQPresetName::night));
    EXPECT_EQ(dial.eqChipSubtitle, "Off");
    EXPECT_EQ(dial.eqPresetName, "Night");
    EXPECT_FALSE(dial.eqEnabled);
    EXPECT_TRUE(dial.eqAvailable);
}

TEST(GlassDialSnapshotTest, everyPresetShowsItsNameOnTheChip)
{
    struct Row {
        EQPresetName preset;
        std::string name;
    };
    const std::vector<Row> rows{
        {EQPresetName::flat, "Flat"},
        {EQPresetName::voice, "Voice"},
        {EQPresetName::movie, "Movie"},
        {EQPresetName::music, "Music"},
        {EQPresetName::night, "Night"},
        {EQPresetName::custom, "Custom"},
    };
    for (const Row& row : rows) {
        const GlassDialSnapshot dial(processingState(softwareAvailable, true, row.preset));
        EXPECT_EQ(dial.eqPresetName, row.name);
        EXPECT_EQ(dial.eqChipSubtitle, row.name);
    }
}

TEST(GlassDialSnapshotTest, copiesProfileLevelsSwitchAndHintUnchanged)
{
    QuenstalState state = processingState(unknown, true, EQPresetName::voice);
    state.audioProcessing.profile.preampDB = 99;
    state.audioProcessing.levels.peakL = 7;
    for (const bool flag : {true, false}) {
        state.audioProcessing.canSwitchToSoftware = flag;
        state.audioProcessing.boostHintVisible = !flag;
        const GlassDialSnapshot dial(state);
        EXPECT_EQ(dial.eqProfile, state.audioProcessing.profile);
        EXPECT_EQ(dial.eqLevels, state.audioProcessing.levels);
        EXPECT_EQ(dial.eqCanSwitchToSoftware, flag);
        EXPECT_EQ(dial.eqBoostHintVisible, !flag);
    }
}

TEST(GlassDialSnapshotTest, disabledAndMutedIsOffWithThePlainSpeakerAndWithoutDiagnostic)
{
    QuenstalState state = monitorState();
    state.diagnostics = {issue(DiagnosticSeverity::error, "A")};
    state.permissions = {PermissionStatus::denied, PermissionStatus::denied};
    state.volume.isMuted = true;
    state.isEnabled = false;
    const GlassDialSnapshot dial(state);
    EXPECT_EQ(dial.statusTitle, "Off");
    EXPECT_EQ(dial.statusSymbolName, "speaker.fill");
    EXPECT_EQ(dial.primaryDiagnostic, std::nullopt);
}

TEST(GlassDialSnapshotTest, isMadeFromAStateOnlyAndComparesEveryField)
{
    static_assert(!std::is_default_constructible_v<GlassDialSnapshot>);
    static_assert(!std::is_convertible_v<QuenstalState, GlassDialSnapshot>);
    using Dial = GlassDialSnapshot;
    const Dial dial(monitorState());
    EXPECT_TRUE(dial == Dial(monitorState()));
    const std::vector<std::function<void(Dial&)>> changes{
        [](Dial& other) { other.statusTitle = "?"; },
        [](Dial& other) { other.statusSymbolName = "?"; },
        [](Dial& other) { other.outputName = "?"; },
        [](Dial& other) { other.modeLabel = "?"; },
        [](Dial& other) { other.modeKind = GlassDialModeKind::disabled; },
        [](Dial& other) { ++other.levelPercent; },
        [](Dial& other) { other.isMuted = !other.isMuted; },
        [](Dial& other) { other.isEnabled = !other.isEnabled; },
        [](Dial& other) { other.isControllable = !other.isControllable; },
        [](Dial& other) { other.ddcAvailable = !other.ddcAvailable; },
        [](Dial& other) { other.showsDDCBanner = !other.showsDDCBanner; },
        [](Dial& other) { other.primaryDiagnostic = ""; },
        [](Dial& other) { other.eqEnabled = !other.eqEnabled; },
        [](Dial& other) { other.eqAvailable = !other.eqAvailable; },
        [](Dial& other) { other.eqCanSwitchToSoftware = !other.eqCanSwitchToSoftware; },
        [](Dial& other) { other.eqNeedsAudioPermission = !other.eqNeedsAudioPermission; },
        [](Dial& other) { other.eqPresetName = "?"; },
        [](Dial& other) { other.eqChipSubtitle = "?"; },
        [](Dial& other) { other.eqUnavailableReason = "?"; },
        [](Dial& other) { other.eqProfile.enabled = true; },
        [](Dial& other) { other.eqLevels.clipping = true; },
        [](Dial& other) { other.eqBoostHintVisible = true; },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        Dial other = dial;
        changes[i](other);
        EXPECT_FALSE(dial == other) << "change " << i;
    }
}

TEST(GlassDialSettingsDestinationTest, holdsTwoDifferentLinksAndNothingElse)
{
    static_assert(!std::is_default_constructible_v<GlassDialSettingsDestination>);
    static_assert(!GlassDialSettingsDestination::soundSettingsURLString.empty());
    static_assert(GlassDialSettingsDestination::soundSettingsURLString
        != GlassDialSettingsDestination::accessibilitySettingsURLString);
}

} // namespace
} // namespace quenstal
