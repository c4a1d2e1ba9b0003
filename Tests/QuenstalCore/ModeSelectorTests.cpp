#include "QuenstalCore/ModeSelector.hpp"
#include "QuenstalCore/Printing.hpp"

#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using enum AudioTransport;
using enum PermissionStatus;
using Display = std::optional<DisplayControlTarget>;
using Issues = std::vector<DiagnosticIssue>;

constexpr PermissionState allGranted = PermissionState::allGranted();
constexpr PermissionState noCapture{granted, denied};
constexpr PermissionState noAccessibility{denied, granted};

const Display noDisplay;
const Display hardwareDisplay = DisplayControlTarget{"7", "LG", true, true};

AudioOutputDevice output(AudioTransport transport, bool supportsNativeVolume)
{
    return {"42", "Output", transport, supportsNativeVolume, "uid"};
}

// What the user reads, written out in full.

DiagnosticIssue noOutput()
{
    return {DiagnosticCode::noOutputDevice, DiagnosticSeverity::error, "No output device is selected.",
        "Choose an audio output device in System Settings."};
}

DiagnosticIssue accessibility()
{
    return {DiagnosticCode::accessibilityPermissionMissing, DiagnosticSeverity::warning,
        "Keyboard volume keys cannot be captured yet.", "Grant Accessibility access to Quenstal."};
}

DiagnosticIssue fixedVolume()
{
    return {DiagnosticCode::commandIgnored, DiagnosticSeverity::error,
        "This fixed-volume output is not an HDMI or DisplayPort monitor.",
        "Choose a built-in, USB, Bluetooth, HDMI, or DisplayPort output."};
}

DiagnosticIssue noDDC()
{
    return {DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info,
        "This display does not expose DDC/CI volume control.",
        "Quenstal will try software volume if system audio capture is allowed."};
}

DiagnosticIssue fallbackUnavailable()
{
    return {DiagnosticCode::softwareFallbackUnavailable, DiagnosticSeverity::error,
        "Software volume fallback is not available for this output.",
        "Reconnect the display or choose another output device."};
}

DiagnosticIssue capturePermission()
{
    return {DiagnosticCode::systemAudioCapturePermissionMissing, DiagnosticSeverity::warning,
        "Software volume needs system audio capture permission.", "Grant system audio recording access to Quenstal."};
}

DiagnosticIssue fallbackActive()
{
    return {DiagnosticCode::softwareFallbackActive, DiagnosticSeverity::info,
        "Software volume fallback is active for this HDMI or DisplayPort output.",
        "Quenstal is routing audio through its software processing pipeline."};
}

DiagnosticIssue processingActive()
{
    return {DiagnosticCode::softwareFallbackActive, DiagnosticSeverity::info,
        "Software processing is active for this HDMI or DisplayPort output.",
        "Quenstal is routing audio through its software processing pipeline."};
}

const ControlMode system = ControlMode::systemVolume("42");
const ControlMode hardware = ControlMode::hardwareDDC("7");
const ControlMode software = ControlMode::softwareTap("42");
const ControlMode noDevice = ControlMode::unavailable(UnavailableReason::noOutputDevice);
const ControlMode unsupported = ControlMode::unavailable(UnavailableReason::fixedVolumeDeviceUnsupported);
const ControlMode notPermitted = ControlMode::unavailable(UnavailableReason::systemAudioCapturePermissionMissing);
const ControlMode noFallback = ControlMode::unavailable(UnavailableReason::softwareFallbackUnavailable);

TEST(ModeSelectorTest, choosesThePathAndNamesItsReasonsAsTheOverviewSays)
{
    constexpr bool prefers = true;
    constexpr bool fallback = true;
    struct Row {
        const char* name;
        std::optional<AudioOutputDevice> device;
        Display display;
        PermissionState permissions;
        bool fallbackAvailable;
        bool prefersSoftware;
        ModeSelection expected;
    };
    const std::vector<Row> rows{
        {"no output", std::nullopt, hardwareDisplay, allGranted, fallback, !prefers, {noDevice, {noOutput()}}},
        {"own volume", output(builtIn, true), noDisplay, allGranted, fallback, !prefers, {system, {}}},
        {"fixed volume", output(usb, false), hardwareDisplay, allGranted, fallback, prefers,
            {unsupported, {fixedVolume()}}},
        {"preferred, no fallback", output(hdmi, false), hardwareDisplay, allGranted, !fallback, prefers,
            {noFallback, {fallbackUnavailable()}}},
        {"preferred, no fallback, no capture", output(hdmi, true), noDisplay, noCapture, !fallback, prefers,
            {noFallback, {fallbackUnavailable()}}},
        {"preferred", output(hdmi, true), hardwareDisplay, allGranted, fallback, prefers,
            {software, {processingActive()}}},
        {"preferred, no capture", output(displayPort, false), hardwareDisplay, noCapture, fallback, prefers,
            {notPermitted, {capturePermission()}}},
        {"monitor's system volume", output(displayPort, true), hardwareDisplay, noCapture, !fallback, !prefers,
            {system, {}}},
        {"monitor's DDC volume", output(hdmi, false), hardwareDisplay, noCapture, !fallback, !prefers, {hardware, {}}},
        {"nothing left", output(hdmi, false), noDisplay, allGranted, !fallback, !prefers,
            {noFallback, {noDDC(), fallbackUnavailable()}}},
        {"fallback", output(hdmi, false), noDisplay, allGranted, fallback, !prefers,
            {software, {noDDC(), fallbackActive()}}},
        {"fallback, no capture", output(hdmi, false), noDisplay, noCapture, fallback, !prefers,
            {notPermitted, {noDDC(), capturePermission()}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ModeSelector{}.selectMode(
                      row.device, row.display, row.permissions, row.fallbackAvailable, row.prefersSoftware),
            row.expected);
    }
}

TEST(ModeSelectorTest, anAbsentDeviceWithAccessibilityDeniedYieldsExactlyOneIssue)
{
    const ModeSelection selection = ModeSelector{}.selectMode(std::nullopt, noDisplay, {denied, denied}, false, false);
    EXPECT_EQ(selection, (ModeSelection{noDevice, {noOutput()}}));
}

TEST(ModeSelectorTest, anOutputWithItsOwnVolumeIsDrivenByItDespiteThePreferenceAndACapableDisplay)
{
    for (const AudioTransport transport : {builtIn, usb, bluetooth, airPlay, aggregate, unknown}) {
        const auto selection
            = ModeSelector{}.selectMode(output(transport, true), hardwareDisplay, allGranted, true, true);
        EXPECT_EQ(selection, (ModeSelection{system, {}})) << rawValue(transport);
    }
}

TEST(ModeSelectorTest, anHDMIOutputWithItsOwnVolumeUsesItUnlessSoftwareProcessingIsPreferred)
{
    const auto device = output(hdmi, true);
    EXPECT_EQ(ModeSelector{}.selectMode(device, hardwareDisplay, allGranted, true, false).mode, system);
    EXPECT_EQ(ModeSelector{}.selectMode(device, hardwareDisplay, allGranted, true, true).mode, software);
    EXPECT_EQ(ModeSelector{}.selectMode(device, hardwareDisplay, noCapture, true, true).mode, notPermitted);
    EXPECT_EQ(ModeSelector{}.selectMode(device, hardwareDisplay, allGranted, false, true).mode, noFallback);
}

TEST(ModeSelectorTest, hardwareVolumeNeedsBothOfTheDisplaysFlags)
{
    struct Row {
        bool supportsDDC;
        bool supportsVolumeCommand;
        ModeSelection expected;
    };
    const std::vector<Row> rows{
        {true, true, {hardware, {}}},
        {true, false, {software, {noDDC(), fallbackActive()}}},
        {false, true, {software, {noDDC(), fallbackActive()}}},
        {false, false, {software, {noDDC(), fallbackActive()}}},
    };
    for (const Row& row : rows) {
        const DisplayControlTarget display{"7", "LG", row.supportsDDC, row.supportsVolumeCommand};
        EXPECT_EQ(ModeSelector{}.selectMode(output(hdmi, false), display, allGranted, true, false), row.expected);
    }
}

TEST(ModeSelectorTest, captureNotDeterminedBlocksTheSoftwarePathExactlyAsDeniedDoes)
{
    for (const bool prefers : {false, true}) {
        const auto device = output(displayPort, false);
        const auto whenDenied = ModeSelector{}.selectMode(device, noDisplay, {granted, denied}, true, prefers);
        EXPECT_EQ(whenDenied.mode, notPermitted);
        EXPECT_EQ(ModeSelector{}.selectMode(device, noDisplay, {granted, notDetermined}, true, prefers), whenDenied);
    }
}

TEST(ModeSelectorTest, deniedAccessibilityIsListedFirst)
{
    const auto selection = ModeSelector{}.selectMode(output(hdmi, false), noDisplay, noAccessibility, true, false);
    EXPECT_EQ(selection, (ModeSelection{software, {accessibility(), noDDC(), fallbackActive()}}));
}

TEST(ModeSelectorTest, missingAccessibilityChangesTheListButNeverTheMode)
{
    for (const PermissionStatus status : {denied, notDetermined}) {
        const auto selection
            = ModeSelector{}.selectMode(output(builtIn, true), noDisplay, {status, granted}, true, false);
        EXPECT_EQ(selection, (ModeSelection{system, {accessibility()}})) << rawValue(status);
    }
}

TEST(ModeSelectorTest, payloadIdentifiersAreCopiedUnchanged)
{
    const std::string odd("  \xF0\x9F\x94\x8A/\"\n ");
    AudioOutputDevice device = output(hdmi, true);
    device.id = odd;
    DisplayControlTarget display = *hardwareDisplay;
    display.id = odd;
    EXPECT_EQ(ModeSelector{}.selectMode(device, display, allGranted, true, false).mode, ControlMode::systemVolume(odd));
    EXPECT_EQ(ModeSelector{}.selectMode(device, display, allGranted, true, true).mode, ControlMode::softwareTap(odd));
    device.supportsNativeVolume = false;
    EXPECT_EQ(ModeSelector{}.selectMode(device, display, allGranted, true, false).mode, ControlMode::hardwareDDC(odd));
}

TEST(ModeSelectorTest, hasNoConfigurationAndComparesItsResultsFieldByField)
{
    static_assert(std::is_empty_v<ModeSelector>);
    EXPECT_NE((ModeSelection{system, {}}), (ModeSelection{software, {}}));
    EXPECT_NE((ModeSelection{system, {}}), (ModeSelection{system, {accessibility()}}));
    EXPECT_NE((ModeSelection{system, {accessibility(), noDDC()}}), (ModeSelection{system, {noDDC(), accessibility()}}));
}

} // namespace
} // namespace quenstal
