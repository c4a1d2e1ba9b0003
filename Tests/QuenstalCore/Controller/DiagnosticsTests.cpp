#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <utility>
#include <vector>

namespace quenstal {
namespace {

using ControllerDiagnosticsTest = ControllerTest;

TEST_F(ControllerDiagnosticsTest, theFirstMatchingRowClassifiesTheOutput)
{
    struct Row {
        const char* name;
        std::optional<AudioOutputDevice> device;
        std::optional<DisplayControlTarget> display;
        PermissionStatus capture;
        bool softwareAvailable;
        bool prefersSoftware;
        bool isEnabled;
        AudioProcessingDiagnostic diagnostic;
        bool canSwitch;
    };
    using enum PermissionStatus;
    using enum AudioProcessingDiagnostic;
    const AudioOutputDevice native{"monitor", "Monitor", AudioTransport::displayPort, true, "monitor-uid"};
    const auto none = std::nullopt;
    const std::vector<Row> rows{
        {"nothing", none, none, granted, true, false, true, outputUnsupported, false},
        {"nothing, no capture", none, none, denied, true, false, true, outputUnsupported, false},
        {"nothing, disabled", none, none, granted, true, false, false, outputUnsupported, false},
        {"monitor, undetermined", monitor(), panel(), notDetermined, true, false, true, permissionDenied, true},
        {"monitor, denied", monitor(), panel(), denied, true, false, true, permissionDenied, true},
        {"monitor, denied, no software", monitor(), panel(), denied, false, false, true, permissionDenied, false},
        {"native monitor, denied", native, none, denied, true, false, true, permissionDenied, true},
        {"monitor, denied, disabled", monitor(), panel(), denied, true, false, false, permissionDenied, true},
        {"silent monitor, denied", monitor(), none, denied, true, false, true, permissionDenied, true},
        {"chosen, denied", monitor(), panel(), denied, true, true, true, permissionDenied, true},
        {"speakers", speakers(), none, granted, true, false, true, systemVolumeMode, false},
        {"speakers, denied", speakers(), none, denied, true, false, true, systemVolumeMode, false},
        {"native monitor", native, none, granted, true, false, true, systemVolumeMode, true},
        {"native monitor, no software", native, none, granted, false, false, true, systemVolumeMode, false},
        {"monitor", monitor(), panel(), granted, true, false, true, ddcHardwareMode, true},
        {"monitor, no software", monitor(), panel(), granted, false, false, true, ddcHardwareMode, false},
        {"silent monitor", monitor(), none, granted, true, false, true, softwareAvailable, false},
        {"chosen", monitor(), panel(), granted, true, true, true, softwareAvailable, false},
        {"silent monitor, no software", monitor(), none, granted, false, false, true, outputUnsupported, false},
        {"dock", dock(), none, granted, true, false, true, outputUnsupported, false},
        {"dock, denied", dock(), none, denied, true, false, true, outputUnsupported, false},
        {"monitor, disabled", monitor(), panel(), granted, true, false, false, outputUnsupported, true},
        {"speakers, disabled", speakers(), none, granted, true, false, false, outputUnsupported, false},
    };
    for (const Row& row : rows) {
        ports.device = row.device;
        ports.display = row.display;
        ports.permissions.systemAudioCapture = row.capture;
        ports.softwareAvailable = row.softwareAvailable;
        ports.store->setSoftwareProcessingPreferred(row.prefersSoftware, "monitor-uid");
        const AudioProcessingState processing = start().setEnabled(row.isEnabled).audioProcessing;
        EXPECT_EQ(processing.diagnostic, row.diagnostic) << row.name;
        EXPECT_EQ(processing.canSwitchToSoftware, row.canSwitch) << row.name;
    }
}

TEST_F(ControllerDiagnosticsTest, theSummaryOfThePipelineIsTheLastLine)
{
    struct Row {
        const char* name;
        void (ControllerDiagnosticsTest::*play)();
        PermissionStatus capture;
        bool softwareAvailable;
        std::string line;
    };
    using enum PermissionStatus;
    const std::string offer = " Suggestion: Switch this HDMI or DisplayPort output to software processing to use EQ.";
    const std::vector<Row> rows{
        {"nothing", &ControllerDiagnosticsTest::playOnNothing, granted, true,
            "[info] eqUnavailable: EQ is unavailable in the current output does not support software processing."},
        {"speakers", &ControllerDiagnosticsTest::playOnSpeakers, granted, true,
            "[info] eqUnavailable: EQ is unavailable in system volume mode."},
        {"monitor", &ControllerDiagnosticsTest::playOnMonitor, granted, true,
            "[info] eqUnavailable: EQ is unavailable in DDC/CI hardware mode." + offer},
        {"monitor, no software", &ControllerDiagnosticsTest::playOnMonitor, granted, false,
            "[info] eqUnavailable: EQ is unavailable in DDC/CI hardware mode."},
        {"monitor, no capture", &ControllerDiagnosticsTest::playOnMonitor, denied, true,
            "[info] eqUnavailable: EQ is unavailable in audio capture permission." + offer},
        {"silent monitor", &ControllerDiagnosticsTest::playOnSilentMonitor, granted, true,
            "[info] audioProcessingActive: Audio processing is available with Flat EQ. Suggestion: Enable EQ to apply "
            "the saved profile."},
    };
    for (const Row& row : rows) {
        (this->*row.play)();
        ports.permissions.systemAudioCapture = row.capture;
        ports.softwareAvailable = row.softwareAvailable;
        const std::string report = start().exportedDiagnostics();
        EXPECT_EQ(report.substr(report.rfind('\n') + 1), row.line) << row.name;
    }
}

TEST_F(ControllerDiagnosticsTest, theSummaryNamesThePresetAndWhetherTheEqualizerIsOn)
{
    struct Row {
        EQPresetName preset;
        bool enabled;
        const char* line;
    };
    const std::vector<Row> rows{
        {EQPresetName::flat, false,
            "[info] audioProcessingActive: Audio processing is available with Flat EQ. Suggestion: Enable EQ to apply "
            "the saved profile."},
        {EQPresetName::custom, false,
            "[info] audioProcessingActive: Audio processing is available with Custom EQ. Suggestion: Enable EQ to "
            "apply the saved profile."},
        {EQPresetName::voice, true,
            "[info] audioProcessingActive: Audio processing is enabled with Voice EQ. Suggestion: Quenstal is applying "
            "EQ in the software audio pipeline."},
        {EQPresetName::movie, true,
            "[info] audioProcessingActive: Audio processing is enabled with Movie EQ. Suggestion: Quenstal is applying "
            "EQ in the software audio pipeline."},
        {EQPresetName::music, true,
            "[info] audioProcessingActive: Audio processing is enabled with Music EQ. Suggestion: Quenstal is applying "
            "EQ in the software audio pipeline."},
        {EQPresetName::night, true,
            "[info] audioProcessingActive: Audio processing is enabled with Night EQ. Suggestion: Quenstal is applying "
            "EQ in the software audio pipeline."},
    };
    playOnSilentMonitor();
    for (const Row& row : rows) {
        ports.store->saveProfile(EQProfile(row.enabled, row.preset, 0), "monitor-uid");
        const std::string report = start().exportedDiagnostics();
        EXPECT_EQ(report.substr(report.rfind('\n') + 1), row.line);
    }
}

TEST_F(ControllerDiagnosticsTest, aStateWithoutIssuesExportsExactlyOneLine)
{
    playOnSpeakers();
    EXPECT_EQ(start().exportedDiagnostics(), "[info] eqUnavailable: EQ is unavailable in system volume mode.");
}

TEST_F(ControllerDiagnosticsTest, aReportAfterAFallbackReadsLetterByLetter)
{
    playOnMonitor();
    auto& controller = start();
    ports.failWith(Call::ddcSetVolume, QuenstalError::commandFailed("The bus is silent."));
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.exportedDiagnostics(),
        "[warning] ddcCommandFailed: Monitor hardware volume failed, so Quenstal switched to software volume. "
        "Suggestion: Check whether the monitor supports DDC/CI volume over this cable.\n"
        "[info] audioProcessingActive: Audio processing is available with Flat EQ. Suggestion: Enable EQ to apply the "
        "saved profile.");
}

TEST_F(ControllerDiagnosticsTest, aReportWithIssuesOfEverySeverityReadsLetterByLetter)
{
    ports.permissions = {PermissionStatus::denied, PermissionStatus::denied};
    playOnMonitor();
    ports.display->supportsVolumeCommand = false;
    auto& controller = start();
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.exportedDiagnostics(),
        "[warning] accessibilityPermissionMissing: Keyboard volume keys cannot be captured yet. Suggestion: Grant "
        "Accessibility access to Quenstal.\n"
        "[info] ddcUnavailable: This display does not expose DDC/CI volume control. Suggestion: Quenstal will try "
        "software volume if system audio capture is allowed.\n"
        "[warning] systemAudioCapturePermissionMissing: Software volume needs system audio capture permission. "
        "Suggestion: Grant system audio recording access to Quenstal.\n"
        "[warning] commandIgnored: Volume command ignored because this output is not controllable.\n"
        "[info] eqUnavailable: EQ is unavailable in audio capture permission. Suggestion: Switch this HDMI or "
        "DisplayPort output to software processing to use EQ.");
}

TEST_F(ControllerDiagnosticsTest, aFailedCommandIsReportedWithTheErrorAsSuggestion)
{
    playOnSpeakers();
    auto& controller = start();
    ports.failWith(Call::systemSetVolume, QuenstalError::commandFailed("The device said no."));
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.exportedDiagnostics(),
        "[error] commandIgnored: Volume command failed. Suggestion: The device said no.\n"
        "[info] eqUnavailable: EQ is unavailable in system volume mode.");
}

TEST_F(ControllerDiagnosticsTest, twoIdenticalIssuesAreBothExported)
{
    // Every command starts with a fresh list, so only one inside another can leave two issues behind.
    playOnSpeakers();
    auto& controller = start();
    bool isInner = false;
    ports.on(Call::systemSetVolume, [&] {
        if (!std::exchange(isInner, true))
            controller.handle(VolumeCommand::stepUp());
        throw QuenstalError::commandFailed("no");
    });
    controller.handle(VolumeCommand::stepUp());
    EXPECT_EQ(controller.exportedDiagnostics(),
        "[error] commandIgnored: Volume command failed. Suggestion: no\n"
        "[error] commandIgnored: Volume command failed. Suggestion: no\n"
        "[info] eqUnavailable: EQ is unavailable in system volume mode.");
}

TEST_F(ControllerDiagnosticsTest, theExportAsksNoPortAndChangesNothing)
{
    playOnSilentMonitor();
    auto& controller = start();
    const QuenstalState before = controller.state();
    ports.device.reset();
    const std::string report = controller.exportedDiagnostics();
    EXPECT_EQ(controller.exportedDiagnostics(), report);
    EXPECT_EQ(ports.takeCalls(), Calls());
    EXPECT_EQ(controller.state(), before);
    EXPECT_FALSE(report.ends_with('\n'));
}

} // namespace
} // namespace quenstal
