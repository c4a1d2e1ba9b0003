// What the program says about itself at a terminal, and when.

#include "QuenstalApp/MachineReport.hpp"
#include "QuenstalApp/ReportPrinter.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const MendingCommands commands{"start the sound", "give access"};

/// A monitor on HDMI that takes its own volume, and captured keys.
MachineReport monitorReport()
{
    MachineReport report;
    report.state.outputDevice = AudioOutputDevice{"42", "Desk Monitor", AudioTransport::hdmi, false, "uid"};
    report.state.displayTarget = DisplayControlTarget{"7", "DESK 27", true, true};
    report.state.permissions = PermissionState::allGranted();
    report.state.mode = ControlMode::hardwareDDC("7");
    report.areKeysCaptured = true;
    report.wayOfCapture = "through the X server";
    return report;
}

DiagnosticIssue issue(DiagnosticCode code)
{
    return {code, DiagnosticSeverity::info, "Never shown.", std::nullopt};
}

TEST(MachineReportTest, aMonitorThatTakesItsOwnVolume)
{
    EXPECT_EQ(inPlainWords(monitorReport(), commands),
        "Output:   Desk Monitor, over HDMI\n"
        "Volume:   Monitor hardware: the output has a fixed volume, and the monitor offers volume control over "
        "DDC/CI.\n"
        "Keys:     captured through the X server: mute, volume down and volume up.\n"
        "Problems: none.\n");
}

TEST(MachineReportTest, noKeyPressChangesTheWords)
{
    MachineReport report = monitorReport();
    const std::string before = inPlainWords(report, commands);
    report.state.volume = {0.1, true};
    EXPECT_EQ(inPlainWords(report, commands), before);
}

TEST(MachineReportTest, aMissingOutputIsAProblemWithItsCommand)
{
    MachineReport report;
    report.state.mode = ControlMode::unavailable(UnavailableReason::noOutputDevice);
    report.areKeysCaptured = true;
    EXPECT_EQ(inPlainWords(report, commands),
        "Output:   none\n"
        "Volume:   Unavailable: there is no output.\n"
        "Keys:     captured: mute, volume down and volume up.\n"
        "Problems: No sound server with an output was found.\n"
        "            start the sound\n");
}

struct PathRow {
    std::string name;
    ControlMode mode;
    std::vector<DiagnosticCode> codes;
    std::string words;
};

struct MachineReportPathTest : testing::TestWithParam<PathRow> { };

TEST_P(MachineReportPathTest, isExplained)
{
    MachineReport report = monitorReport();
    report.state.mode = GetParam().mode;
    for (const DiagnosticCode code : GetParam().codes)
        report.state.diagnostics.push_back(issue(code));
    EXPECT_THAT(inPlainWords(report, commands), HasSubstr("\nVolume:   " + GetParam().words + "\n"));
}

using enum UnavailableReason;
const std::vector<PathRow> paths{
    {"system", ControlMode::systemVolume("42"), {}, "System volume: the output has its own volume control."},
    {"softwareForWantOfDDC", ControlMode::softwareTap("42"), {DiagnosticCode::ddcUnavailable},
        "Software volume: the output has a fixed volume, and the monitor does not offer volume control over DDC/CI."},
    {"softwareAfterAFailure", ControlMode::softwareTap("42"), {DiagnosticCode::ddcCommandFailed},
        "Software volume: the monitor did not accept a command over DDC/CI."},
    {"softwareByChoice", ControlMode::softwareTap("42"), {DiagnosticCode::softwareFallbackActive},
        "Software volume: you chose it for this output in the panel."},
    {"fixed", ControlMode::unavailable(fixedVolumeDeviceUnsupported), {},
        "Unavailable: the output has a fixed volume and is not a monitor."},
    {"capture", ControlMode::unavailable(systemAudioCapturePermissionMissing), {},
        "Unavailable: the monitor does not offer volume control, and the sound server does not let Quenstal provide "
        "it."},
    {"noFallback", ControlMode::unavailable(softwareFallbackUnavailable), {},
        "Unavailable: the monitor does not offer volume control, and software volume is not available for this "
        "output."},
    {"disabled", ControlMode::disabled(), {}, "Disabled: Quenstal is switched off in its panel."},
};

INSTANTIATE_TEST_SUITE_P(
    Paths, MachineReportPathTest, testing::ValuesIn(paths), [](const auto& row) { return row.param.name; });

TEST(MachineReportTest, everyTransportHasItsWords)
{
    for (const auto& row : EnumerationTable<AudioTransport>::rows) {
        MachineReport report = monitorReport();
        report.state.outputDevice->transport = row.value;
        EXPECT_THAT(inPlainWords(report, commands), Not(HasSubstr("Desk Monitor, \n"))) << row.rawValue;
    }
}

TEST(MachineReportTest, keysThatAreNotCapturedComeWithWhatToDo)
{
    MachineReport report = monitorReport();
    report.areKeysCaptured = false;
    report.captureAdvice = "Free the keys.";
    EXPECT_THAT(inPlainWords(report, commands),
        EndsWith("Keys:     not captured.\n"
                 "Problems: Free the keys.\n"));
}

TEST(MachineReportTest, switchedOffItHasNoProblems)
{
    MachineReport report = monitorReport();
    report.areKeysCaptured = false;
    report.state.isEnabled = false;
    EXPECT_THAT(inPlainWords(report, commands),
        EndsWith("Keys:     left to the desktop while Quenstal is switched off.\n"
                 "Problems: none.\n"));
}

TEST(MachineReportTest, oneCommandGivesAccessToAllMonitors)
{
    using Kind = DisplayBusProblem::Kind;
    MachineReport report = monitorReport();
    report.monitorProblems = {{Kind::accessDenied, "/dev/i2c-5", "Left", "Install the rule."},
        {Kind::notAnswering, "", "Right", "Load the module."}};
    EXPECT_THAT(inPlainWords(report, commands),
        EndsWith("Problems: Left: no access to /dev/i2c-5.\n"
                 "          Right cannot be reached over DDC/CI.\n"
                 "            give access\n"));
}

TEST(MachineReportTest, withoutTheCommandItsRemedyIsTold)
{
    MachineReport report = monitorReport();
    report.monitorProblems = {{DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5", "Left", "Log in again."}};
    EXPECT_THAT(inPlainWords(report, {}), EndsWith("Problems: Left: no access to /dev/i2c-5. Log in again.\n"));
}

TEST(MachineReportTest, aMonitorThatIsOddComesWithItsOwnRemedyAndNoCommand)
{
    using Kind = DisplayBusProblem::Kind;
    MachineReport report = monitorReport();
    report.monitorProblems = {{Kind::notAnswering, "/dev/i2c-5", "Left", "Switch it on."},
        {Kind::writesRefused, "/dev/i2c-6", "Right", ""}, {Kind::stuck, "/dev/i2c-7", "Third", "Unplug it."},
        {Kind::notAnswering, "", "Fourth", ""}, {Kind::unknownBuses, "/dev/i2c-8 (some bus)", "Fifth", ""}};
    EXPECT_THAT(inPlainWords(report, commands),
        EndsWith("Problems: Left does not report its volume on /dev/i2c-5. Switch it on.\n"
                 "          Right does not accept volume changes on /dev/i2c-6.\n"
                 "          Third: the driver for /dev/i2c-7 is not responding. Unplug it.\n"
                 "          Fourth cannot be reached over DDC/CI.\n"
                 "          Fifth cannot be reached over DDC/CI. Left alone because not known to lead to a display: "
                 "/dev/i2c-8 (some bus).\n"));
}

TEST(MachineReportTest, aMonitorIsCalledWhatItIsCalled)
{
    using Kind = DisplayBusProblem::Kind;
    MachineReport report = monitorReport();
    report.monitorProblems = {{Kind::stuck, "/dev/i2c-5", "100 %2%1%", ""}};
    EXPECT_THAT(inPlainWords(report, commands), HasSubstr("100 %2%1%: the driver for /dev/i2c-5 is not responding.\n"));
}

TEST(MachineReportTest, preferencesThatAreNotKeptAreAProblem)
{
    using Kind = PreferencesProblem::Kind;
    struct Row {
        Kind kind;
        const char* words;
    };
    const Row rows[]{
        {Kind::notValid, "Your preferences file was not valid and has been renamed to /a/file."},
        {Kind::notReadable, "Your preferences file /a/file cannot be read. It is left unchanged."},
        {Kind::notSaved, "Your preferences cannot be saved to /a/file."},
    };
    for (const Row& row : rows) {
        MachineReport report = monitorReport();
        report.preferencesProblem = {row.kind, "/a/file"};
        EXPECT_THAT(inPlainWords(report, commands), EndsWith(std::string("Problems: ") + row.words + "\n"));
    }
}

struct ReportPrinterTest : testing::Test {
    SimulatedRunLoop loop;
    std::string words = "one";
    std::vector<std::string> told;
    ReportPrinter teller{loop, [this] { return words; }, [this](const std::string& text) { told.push_back(text); }};
};

TEST_F(ReportPrinterTest, waitsUntilThingsHaveSettled)
{
    teller.mayHaveChanged();
    loop.advance(ReportPrinter::settling / 2);
    EXPECT_THAT(told, IsEmpty());
    words = "two";
    teller.mayHaveChanged();
    loop.advance(ReportPrinter::settling);
    EXPECT_THAT(told, ElementsAre("two"));
}

TEST_F(ReportPrinterTest, tellsOnlyWhatReadsDifferently)
{
    for (const char* next : {"one", "one", "two", "one"}) {
        words = next;
        teller.mayHaveChanged();
        loop.advance(ReportPrinter::settling);
    }
    EXPECT_THAT(told, ElementsAre("one", "two", "one"));
}

} // namespace
} // namespace quenstal
