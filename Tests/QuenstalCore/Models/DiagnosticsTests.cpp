#include "QuenstalCore/EnumerationChecks.hpp"
#include "QuenstalCore/Models/Diagnostics.hpp"
#include "QuenstalCore/Models/State.hpp"
#include "QuenstalCore/Printing.hpp"

#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;

TEST(DiagnosticSeverityTest, everyCaseHasItsRawValueInDeclarationOrder)
{
    struct Row {
        DiagnosticSeverity value;
        std::string_view rawValue;
    };
    expectCases(std::vector<Row>{
        {DiagnosticSeverity::info, "info"},
        {DiagnosticSeverity::warning, "warning"},
        {DiagnosticSeverity::error, "error"},
    });
    expectOnlyRawValuesDecode<DiagnosticSeverity>();
}

TEST(DiagnosticCodeTest, everyCaseHasItsRawValueInDeclarationOrder)
{
    struct Row {
        DiagnosticCode value;
        std::string_view rawValue;
    };
    expectCases(std::vector<Row>{
        {DiagnosticCode::noOutputDevice, "noOutputDevice"},
        {DiagnosticCode::accessibilityPermissionMissing, "accessibilityPermissionMissing"},
        {DiagnosticCode::systemAudioCapturePermissionMissing, "systemAudioCapturePermissionMissing"},
        {DiagnosticCode::ddcUnavailable, "ddcUnavailable"},
        {DiagnosticCode::ddcCommandFailed, "ddcCommandFailed"},
        {DiagnosticCode::softwareFallbackActive, "softwareFallbackActive"},
        {DiagnosticCode::softwareFallbackUnavailable, "softwareFallbackUnavailable"},
        {DiagnosticCode::audioProcessingActive, "audioProcessingActive"},
        {DiagnosticCode::eqUnavailable, "eqUnavailable"},
        {DiagnosticCode::commandIgnored, "commandIgnored"},
    });
    expectOnlyRawValuesDecode<DiagnosticCode>();
}

TEST(AudioProcessingDiagnosticTest, everyCaseHasItsReasonAndOnlySoftwareAvailableIsAvailable)
{
    struct Row {
        AudioProcessingDiagnostic value;
        std::string_view rawValue;
        bool isAvailable;
        std::string_view reasonText;
    };
    using enum AudioProcessingDiagnostic;
    const std::vector<Row> rows{
        {softwareAvailable, "softwareAvailable", true, ""},
        {ddcHardwareMode, "ddcHardwareMode", false, "DDC/CI hardware mode"},
        {systemVolumeMode, "systemVolumeMode", false, "system volume mode"},
        {outputUnsupported, "outputUnsupported", false, "the current output does not support software processing"},
        {permissionDenied, "permissionDenied", false, "audio capture permission"},
        {unknown, "unknown", false, "an unknown mode"},
    };
    expectCases(rows);
    expectOnlyRawValuesDecode<AudioProcessingDiagnostic>();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rawValue);
        EXPECT_EQ(isAvailable(row.value), row.isAvailable);
        EXPECT_EQ(reasonText(row.value), row.reasonText);
    }
}

TEST(AudioProcessingDiagnosticTest, theReasonOfSoftwareAvailableIsTheEmptyText)
{
    static_assert(reasonText(AudioProcessingDiagnostic::softwareAvailable).empty());
}

TEST(DiagnosticIssueTest, isEqualOnlyWhenEveryFieldIs)
{
    const DiagnosticIssue issue{DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", "B."};
    EXPECT_EQ(issue, DiagnosticIssue(issue));
    const std::vector<DiagnosticIssue> others{
        {DiagnosticCode::ddcCommandFailed, DiagnosticSeverity::info, "A.", "B."},
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::error, "A.", "B."},
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "C.", "B."},
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", "C."},
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", ""},
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", std::nullopt},
    };
    for (const DiagnosticIssue& other : others)
        EXPECT_NE(issue, other);
}

TEST(QuenstalErrorTest, comparesTheCaseAndTheMessageOfAFailedCommand)
{
    const std::vector<QuenstalError> distinct{
        QuenstalError::commandFailed("A"),
        QuenstalError::commandFailed("B"),
        QuenstalError::commandFailed(""),
        QuenstalError::noOutputDevice(),
        QuenstalError::unsupportedDevice(),
        QuenstalError::permissionMissing(),
    };
    for (std::size_t i = 0; i < distinct.size(); ++i) {
        for (std::size_t k = 0; k < distinct.size(); ++k)
            EXPECT_EQ(distinct[i] == distinct[k], i == k) << i << " and " << k;
    }
}

TEST(QuenstalErrorTest, isCaughtAsAStandardExceptionAndDescribesItself)
{
    struct Row {
        QuenstalError error;
        std::string what;
    };
    const std::vector<Row> rows{
        {QuenstalError::commandFailed("The bus is busy."), "The bus is busy."},
        {QuenstalError::noOutputDevice(), "noOutputDevice"},
        {QuenstalError::unsupportedDevice(), "unsupportedDevice"},
        {QuenstalError::permissionMissing(), "permissionMissing"},
    };
    for (const Row& row : rows) {
        try {
            throw row.error;
        } catch (const std::exception& error) {
            EXPECT_EQ(error.what(), row.what);
        }
    }
    EXPECT_TRUE(rows[0].error.is<QuenstalError::CommandFailed>());
    EXPECT_FALSE(rows[1].error.is<QuenstalError::CommandFailed>());
}

TEST(AudioProcessingStateTest, unavailableHasTheDefaultProfileAndNothingElse)
{
    const AudioProcessingState state = AudioProcessingState::unavailable();
    EXPECT_EQ(state.profile, EQProfile::defaultProfile());
    EXPECT_EQ(state.levels, SoundLevelSnapshot::zero());
    EXPECT_EQ(state.diagnostic, AudioProcessingDiagnostic::outputUnsupported);
    EXPECT_FALSE(state.canSwitchToSoftware);
    EXPECT_FALSE(state.boostHintVisible);
}

TEST(AudioProcessingStateTest, isEqualOnlyWhenEveryFieldIs)
{
    const AudioProcessingState state;
    AudioProcessingState other = state;
    EXPECT_EQ(state, other);
    other.profile.enabled = true;
    EXPECT_NE(state, other);
    other = state;
    other.levels.clipping = true;
    EXPECT_NE(state, other);
    other = state;
    other.diagnostic = AudioProcessingDiagnostic::unknown;
    EXPECT_NE(state, other);
    other = state;
    other.canSwitchToSoftware = true;
    EXPECT_NE(state, other);
    other = state;
    other.boostHintVisible = true;
    EXPECT_NE(state, other);
}

QuenstalState monitorState()
{
    QuenstalState state;
    state.outputDevice = AudioOutputDevice{"42", "LG", AudioTransport::hdmi, false, "uid"};
    state.displayTarget = DisplayControlTarget{"7", "LG", true, true};
    state.mode = ControlMode::hardwareDDC("7");
    state.diagnostics = {
        {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", std::nullopt},
        {DiagnosticCode::commandIgnored, DiagnosticSeverity::error, "B.", std::nullopt},
    };
    return state;
}

TEST(QuenstalStateTest, differsWhenAnyFieldDiffers)
{
    const QuenstalState state = monitorState();
    EXPECT_EQ(state, monitorState());
    std::vector<QuenstalState> others(8, state);
    others[0].outputDevice->name = "Dell";
    others[1].displayTarget.reset();
    others[2].permissions = PermissionState::allGranted();
    others[3].mode = ControlMode::disabled();
    others[4].volume = VolumeSnapshot::fullScale();
    others[5].isEnabled = false;
    others[6].diagnostics.pop_back();
    others[7].audioProcessing.boostHintVisible = true;
    for (std::size_t i = 0; i < others.size(); ++i)
        EXPECT_FALSE(state == others[i]) << i;
}

TEST(QuenstalStateTest, twoStatesThatDifferOnlyInTheOrderOfTheirDiagnosticsAreNotEqual)
{
    QuenstalState swapped = monitorState();
    std::swap(swapped.diagnostics.front(), swapped.diagnostics.back());
    EXPECT_FALSE(monitorState() == swapped);
}

TEST(VolumeCommandResultTest, comparesCaseReasonAndWholeState)
{
    QuenstalState muted = monitorState();
    muted.volume.isMuted = true;
    const std::vector<VolumeCommandResult> distinct{
        VolumeCommandResult::applied(monitorState()),
        VolumeCommandResult::applied(muted),
        VolumeCommandResult::ignored(UnavailableReason::noOutputDevice, monitorState()),
        VolumeCommandResult::ignored(UnavailableReason::noOutputDevice, muted),
        VolumeCommandResult::ignored(UnavailableReason::quenstalDisabled, monitorState()),
    };
    for (std::size_t i = 0; i < distinct.size(); ++i) {
        for (std::size_t k = 0; k < distinct.size(); ++k)
            EXPECT_EQ(distinct[i] == distinct[k], i == k) << i << " and " << k;
    }
}

TEST(VolumeCommandResultTest, handsOutItsPayload)
{
    const auto result = VolumeCommandResult::ignored(UnavailableReason::quenstalDisabled, monitorState());
    EXPECT_TRUE(result.is<VolumeCommandResult::Ignored>());
    EXPECT_FALSE(result.is<VolumeCommandResult::Applied>());
    result.match([](const VolumeCommandResult::Applied&) { ADD_FAILURE(); },
        [](const VolumeCommandResult::Ignored& ignored) {
            EXPECT_EQ(ignored.reason, UnavailableReason::quenstalDisabled);
            EXPECT_EQ(ignored.state, monitorState());
        });
}

} // namespace
} // namespace quenstal
