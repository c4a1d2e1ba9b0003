#include "QuenstalCore/MenuPresenter/SetupGuideSnapshot.hpp"
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
using enum PermissionStatus;

constexpr auto aggregate = AudioTransport::aggregate;
constexpr auto builtIn = AudioTransport::builtIn;
constexpr auto displayPort = AudioTransport::displayPort;
constexpr auto hdmi = AudioTransport::hdmi;
constexpr auto usb = AudioTransport::usb;

const std::string exposes = "This display exposes DDC/CI hardware volume.";
const std::string mayNot = "This display may not expose DDC/CI volume.";
const std::string normal = "Built-in, USB, Bluetooth, and AirPlay outputs use normal system volume.";

TEST(SetupGuideSnapshotTest, theOutputSummaryNamesOutputAndMode)
{
    struct Row {
        std::optional<AudioOutputDevice> device;
        ControlMode mode;
        std::string summary;
    };
    const auto lg = outputOver(hdmi, "LG");
    const std::vector<Row> rows{
        {lg, ControlMode::systemVolume("42"), "LG - System volume"},
        {lg, ControlMode::hardwareDDC("7"), "LG - Monitor hardware"},
        {lg, ControlMode::softwareTap("42"), "LG - Software volume"},
        {lg, ControlMode::unavailable(UnavailableReason::quenstalDisabled), "LG - Unavailable"},
        {lg, ControlMode::disabled(), "LG - Disabled"},
        {outputOver(hdmi, ""), ControlMode::disabled(), " - Disabled"},
        {std::nullopt, ControlMode::disabled(), "No output - Disabled"},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.outputDevice = row.device;
        state.mode = row.mode;
        EXPECT_EQ(SetupGuideSnapshot(state).outputSummary, row.summary);
    }
}

TEST(SetupGuideSnapshotTest, theHardwareSummaryIsTheFirstRowThatMatches)
{
    const DisplayControlTarget capable{"7", "LG", false, true};
    const DisplayControlTarget incapable{"7", "LG", true, false};
    struct Row {
        std::optional<DisplayControlTarget> display;
        std::optional<AudioOutputDevice> device;
        std::string summary;
    };
    const std::vector<Row> rows{
        {capable, outputOver(hdmi), exposes},
        {capable, outputOver(builtIn), exposes},
        {capable, std::nullopt, exposes},
        {incapable, std::nullopt, normal},
        {std::nullopt, std::nullopt, normal},
        {incapable, outputOver(hdmi), mayNot},
        {std::nullopt, outputOver(hdmi), mayNot},
        {std::nullopt, outputOver(displayPort), mayNot},
        {std::nullopt, outputOver(builtIn), normal},
        {std::nullopt, outputOver(aggregate), normal},
        {incapable, outputOver(AudioTransport::unknown), normal},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.displayTarget = row.display;
        state.outputDevice = row.device;
        EXPECT_EQ(SetupGuideSnapshot(state).hardwareSummary, row.summary);
        EXPECT_EQ(SetupGuideSnapshot::hardwareSummaryFor(state), row.summary);
    }
}

TEST(SetupGuideSnapshotTest, theSoftwareSummaryFollowsTheDiagnostic)
{
    struct Row {
        AudioProcessingDiagnostic diagnostic;
        std::string summary;
    };
    const std::vector<Row> rows{
        {softwareAvailable, "Software volume and EQ are available for this output."},
        {ddcHardwareMode, "EQ needs software mode; hardware volume can still be used without EQ."},
        {systemVolumeMode, "Software mode is not needed for this output."},
        {outputUnsupported, "Software mode is used only for supported HDMI/DisplayPort outputs."},
        {unknown, "Software mode is used only for supported HDMI/DisplayPort outputs."},
        {permissionDenied, "Software mode needs System Audio Capture permission."},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.audioProcessing.diagnostic = row.diagnostic;
        EXPECT_EQ(SetupGuideSnapshot(state).softwareSummary, row.summary) << rawValue(row.diagnostic);
    }
}

TEST(SetupGuideSnapshotTest, theAccessibilityStatusFollowsThePermissionAndItsButtonNeverChanges)
{
    struct Row {
        PermissionStatus accessibility;
        std::string status;
    };
    const std::vector<Row> rows{
        {granted, "Permission granted, waiting for F-key test"},
        {denied, "Needed for F10/F11/F12"},
        {notDetermined, "Needed for F10/F11/F12"},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.permissions.accessibility = row.accessibility;
        EXPECT_EQ(SetupGuideSnapshot(state).accessibilityStatus, row.status);
        EXPECT_EQ(permissionNeeds(state).accessibility, row.accessibility != granted);
        EXPECT_EQ(SetupGuideSnapshot(state).accessibilityActionTitle, "Accessibility Settings");
    }
}

TEST(SetupGuideSnapshotTest, theCaptureStatusIsTheFirstRowThatMatches)
{
    struct Row {
        std::optional<AudioOutputDevice> device;
        AudioProcessingDiagnostic diagnostic;
        PermissionStatus capture;
        std::string status;
    };
    const std::vector<Row> rows{
        {std::nullopt, softwareAvailable, granted, "Not needed for this output"},
        {outputOver(builtIn), softwareAvailable, granted, "Not needed for this output"},
        {outputOver(usb), permissionDenied, denied, "Not needed for this output"},
        {outputOver(hdmi), softwareAvailable, granted, "Active"},
        {outputOver(hdmi), softwareAvailable, denied, "Active"},
        {outputOver(displayPort), ddcHardwareMode, granted, "Ready when software mode starts"},
        {outputOver(hdmi), unknown, granted, "Ready when software mode starts"},
        {outputOver(hdmi), permissionDenied, granted, "Needed for software mode"},
        {outputOver(hdmi), ddcHardwareMode, denied, "Needed for software mode"},
        {outputOver(hdmi), ddcHardwareMode, notDetermined, "Needed for software mode"},
        {outputOver(hdmi), permissionDenied, denied, "Needed for software mode"},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.outputDevice = row.device;
        state.audioProcessing.diagnostic = row.diagnostic;
        state.permissions.systemAudioCapture = row.capture;
        EXPECT_EQ(SetupGuideSnapshot(state).audioCaptureStatus, row.status);
        EXPECT_EQ(SetupGuideSnapshot::audioCaptureStatusFor(state), row.status);
        EXPECT_EQ(permissionNeeds(state).audioCapture, row.status == "Needed for software mode");
    }
}

TEST(SetupGuideSnapshotTest, theCaptureButtonTriesSoftwareModeWhenSwitchingIsPossible)
{
    QuenstalState state = monitorState();
    state.audioProcessing.canSwitchToSoftware = true;
    EXPECT_EQ(SetupGuideSnapshot(state).audioCaptureActionTitle, "Try Software Mode");
    state.audioProcessing.canSwitchToSoftware = false;
    EXPECT_EQ(SetupGuideSnapshot(state).audioCaptureActionTitle, "Open Sound Settings");
}

TEST(SetupGuideSnapshotTest, withoutDeviceAndSwitchedOffItPromisesNothing)
{
    const SetupGuideSnapshot guide{QuenstalState{}};
    EXPECT_EQ(guide.outputSummary, "No output - Disabled");
    EXPECT_EQ(guide.hardwareSummary, normal);
    EXPECT_EQ(guide.softwareSummary, "Software mode is used only for supported HDMI/DisplayPort outputs.");
    EXPECT_EQ(guide.audioCaptureStatus, "Not needed for this output");
}

TEST(SetupGuideSnapshotTest, aMonitorDrivenByHardwareMayTrySoftwareMode)
{
    QuenstalState state = monitorState();
    state.audioProcessing.canSwitchToSoftware = true;
    const SetupGuideSnapshot guide(state);
    EXPECT_TRUE(guide.outputSummary.ends_with(" - Monitor hardware"));
    EXPECT_EQ(guide.hardwareSummary, exposes);
    EXPECT_EQ(guide.softwareSummary, "EQ needs software mode; hardware volume can still be used without EQ.");
    EXPECT_EQ(guide.audioCaptureStatus, "Ready when software mode starts");
    EXPECT_EQ(guide.audioCaptureActionTitle, "Try Software Mode");
}

TEST(SetupGuideSnapshotTest, aMonitorWithoutDDCAndCaptureAsksForThePermission)
{
    QuenstalState state = monitorState();
    state.displayTarget.reset();
    state.permissions.systemAudioCapture = denied;
    state.audioProcessing.diagnostic = permissionDenied;
    const SetupGuideSnapshot guide(state);
    EXPECT_EQ(guide.hardwareSummary, mayNot);
    EXPECT_EQ(guide.softwareSummary, "Software mode needs System Audio Capture permission.");
    EXPECT_EQ(guide.audioCaptureStatus, "Needed for software mode");
}

TEST(SetupGuideSnapshotTest, builtInSpeakersNeedNoCaptureWhateverThePermission)
{
    for (const PermissionStatus capture : allCases<PermissionStatus>()) {
        QuenstalState state = monitorState();
        state.outputDevice = outputOver(builtIn);
        state.permissions.systemAudioCapture = capture;
        EXPECT_EQ(SetupGuideSnapshot(state).audioCaptureStatus, "Not needed for this output");
    }
}

TEST(SetupGuideSnapshotTest, comparesEveryField)
{
    static_assert(!std::is_default_constructible_v<SetupGuideSnapshot>);
    using Guide = SetupGuideSnapshot;
    const Guide guide(monitorState());
    EXPECT_TRUE(guide == Guide(monitorState()));
    for (std::string Guide::*field :
        {&Guide::outputSummary, &Guide::hardwareSummary, &Guide::softwareSummary, &Guide::accessibilityStatus,
            &Guide::accessibilityActionTitle, &Guide::audioCaptureStatus, &Guide::audioCaptureActionTitle}) {
        Guide other = guide;
        other.*field = "?";
        EXPECT_FALSE(guide == other);
    }
}

TEST(SetupGuideSnapshotDeathTest, aDiagnosticThatIsNoneOfItsCasesStopsTheProcess)
{
    QuenstalState state = monitorState();
    state.audioProcessing.diagnostic = static_cast<AudioProcessingDiagnostic>(99);
    EXPECT_DEATH(SetupGuideSnapshot{state}, "programming error: The diagnostic is none of its cases");
}

} // namespace
} // namespace quenstal
