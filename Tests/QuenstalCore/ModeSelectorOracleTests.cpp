// The mode selector over the full cross product of its inputs, against the overview of its results: a table whose
// rows exclude one another, written down independently of the order in which the selector asks its questions.

#include "QuenstalCore/ModeSelector.hpp"
#include "QuenstalCore/Printing.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

struct Input {
    std::optional<AudioOutputDevice> device;
    std::optional<DisplayControlTarget> display;
    PermissionState permissions;
    bool fallbackAvailable = false;
    bool prefersSoftware = false;
};

enum class Kind { absent, other, monitor };
enum class Answer { yes, no, any };

Kind kindOf(const Input& input)
{
    if (!input.device)
        return Kind::absent;
    const std::string_view transport = rawValue(input.device->transport);
    return transport == "hdmi" || transport == "displayPort" ? Kind::monitor : Kind::other;
}

bool hasDDC(const Input& input)
{
    return input.display.has_value() && input.display->supportsDDC && input.display->supportsVolumeCommand;
}

bool fits(Answer answer, bool value)
{
    return answer == Answer::any || (answer == Answer::yes) == value;
}

struct Row {
    Kind device;
    Answer prefersSoftware;
    Answer nativeVolume;
    Answer hardware;
    Answer fallbackAvailable;
    Answer captureGranted;
    /// The mode's JSON, D standing for the device's identifier and X for the display's.
    std::string mode;
    /// Code and first words of each issue after the one about accessibility.
    std::vector<std::string> issues;

    bool matches(const Input& input) const
    {
        return device == kindOf(input) && fits(prefersSoftware, input.prefersSoftware)
            && fits(nativeVolume, input.device && input.device->supportsNativeVolume) && fits(hardware, hasDDC(input))
            && fits(fallbackAvailable, input.fallbackAvailable)
            && fits(captureGranted, rawValue(input.permissions.systemAudioCapture) == "granted");
    }
};

const std::vector<Row>& overview()
{
    constexpr auto absent = Kind::absent;
    constexpr auto other = Kind::other;
    constexpr auto monitor = Kind::monitor;
    constexpr auto yes = Answer::yes;
    constexpr auto no = Answer::no;
    constexpr auto any = Answer::any;
    const std::string noOutput = R"({"unavailable":{"_0":"noOutputDevice"}})";
    const std::string unsupported = R"({"unavailable":{"_0":"fixedVolumeDeviceUnsupported"}})";
    const std::string noFallback = R"({"unavailable":{"_0":"softwareFallbackUnavailable"}})";
    const std::string noCapture = R"({"unavailable":{"_0":"systemAudioCapturePermissionMissing"}})";
    const std::string system = R"({"systemVolume":{"deviceID":"D"}})";
    const std::string hardware = R"({"hardwareDDC":{"displayID":"X"}})";
    const std::string software = R"({"softwareTap":{"deviceID":"D"}})";
    static const std::vector<Row> rows{
        {absent, any, any, any, any, any, noOutput, {"noOutputDevice error No output"}},
        {other, any, yes, any, any, any, system, {}},
        {other, any, no, any, any, any, unsupported, {"commandIgnored error This fixed-volume"}},
        {monitor, yes, any, any, no, any, noFallback,
            {"softwareFallbackUnavailable error Software volume fallback is not"}},
        {monitor, yes, any, any, yes, yes, software, {"softwareFallbackActive info Software processing"}},
        {monitor, yes, any, any, yes, no, noCapture,
            {"systemAudioCapturePermissionMissing warning Software volume needs"}},
        {monitor, no, yes, any, any, any, system, {}},
        {monitor, no, no, yes, any, any, hardware, {}},
        {monitor, no, no, no, no, any, noFallback,
            {"ddcUnavailable info This display", "softwareFallbackUnavailable error Software volume fallback is not"}},
        {monitor, no, no, no, yes, yes, software,
            {"ddcUnavailable info This display", "softwareFallbackActive info Software volume fallback is active"}},
        {monitor, no, no, no, yes, no, noCapture,
            {"ddcUnavailable info This display", "systemAudioCapturePermissionMissing warning Software volume needs"}},
    };
    return rows;
}

std::vector<Input> everyInput()
{
    std::vector<std::optional<AudioOutputDevice>> devices{std::nullopt};
    for (const AudioTransport transport : allCases<AudioTransport>()) {
        for (const bool native : {false, true})
            devices.push_back(AudioOutputDevice{"D", "Output", transport, native, std::nullopt});
    }
    std::vector<std::optional<DisplayControlTarget>> displays{std::nullopt};
    for (const bool ddc : {false, true}) {
        for (const bool volume : {false, true})
            displays.push_back(DisplayControlTarget{"X", "Display", ddc, volume});
    }
    std::vector<PermissionState> permissions;
    for (const PermissionStatus accessibility : allCases<PermissionStatus>()) {
        for (const PermissionStatus capture : allCases<PermissionStatus>())
            permissions.push_back({accessibility, capture});
    }
    std::vector<Input> inputs;
    for (const auto& device : devices) {
        for (const auto& display : displays) {
            for (const auto& permission : permissions) {
                for (const bool fallback : {false, true}) {
                    for (const bool prefers : {false, true})
                        inputs.push_back({device, display, permission, fallback, prefers});
                }
            }
        }
    }
    return inputs;
}

std::string describe(const DiagnosticIssue& issue)
{
    return std::string(rawValue(issue.code)) + " " + std::string(rawValue(issue.severity)) + " " + issue.message;
}

void expectIssues(const Row& row, const Input& input, const std::vector<DiagnosticIssue>& issues)
{
    std::vector<std::string> expected = row.issues;
    if (input.device && rawValue(input.permissions.accessibility) != "granted")
        expected.insert(expected.begin(), "accessibilityPermissionMissing warning Keyboard volume keys");
    ASSERT_EQ(issues.size(), expected.size());
    for (std::size_t i = 0; i < issues.size(); ++i) {
        EXPECT_TRUE(describe(issues[i]).starts_with(expected[i])) << describe(issues[i]);
        EXPECT_TRUE(issues[i].recoverySuggestion.has_value());
    }
}

std::string describe(const Input& input)
{
    return (input.device ? encodeJSON(*input.device) : "no device") + " "
        + (input.display ? encodeJSON(*input.display) : "no display") + " " + encodeJSON(input.permissions)
        + (input.fallbackAvailable ? " fallback" : "") + (input.prefersSoftware ? " prefers" : "");
}

TEST(ModeSelectorOracleTest, everyCombinationOfInputsYieldsTheResultOfItsOneRow)
{
    const std::vector<Input> inputs = everyInput();
    ASSERT_EQ(inputs.size(), 17U * 5 * 9 * 2 * 2);
    for (const Input& input : inputs) {
        SCOPED_TRACE(describe(input));
        const auto matches = [&](const Row& row) { return row.matches(input); };
        ASSERT_EQ(std::ranges::count_if(overview(), matches), 1);
        const Row& row = *std::ranges::find_if(overview(), matches);
        const ModeSelection selection = ModeSelector{}.selectMode(
            input.device, input.display, input.permissions, input.fallbackAvailable, input.prefersSoftware);
        EXPECT_EQ(encodeJSON(selection.mode), row.mode);
        expectIssues(row, input, selection.diagnostics);
    }
}

TEST(ModeSelectorOracleTest, noInputYieldsTheModesThatBelongToTheSwitch)
{
    for (const Input& input : everyInput()) {
        const ModeSelection selection = ModeSelector{}.selectMode(
            input.device, input.display, input.permissions, input.fallbackAvailable, input.prefersSoftware);
        EXPECT_NE(selection.mode, ControlMode::disabled());
        EXPECT_NE(selection.mode, ControlMode::unavailable(UnavailableReason::quenstalDisabled));
    }
}

TEST(ModeSelectorOracleTest, everyRowOfTheOverviewIsReached)
{
    const std::vector<Input> inputs = everyInput();
    for (const Row& row : overview())
        EXPECT_TRUE(std::ranges::any_of(inputs, [&](const Input& input) { return row.matches(input); })) << row.mode;
}

} // namespace
} // namespace quenstal
