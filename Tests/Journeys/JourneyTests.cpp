// The roads of the program from end to end, on a machine in memory.

#include "Journeys/JourneyTest.hpp"

#include <chrono>
#include <string>

#include <span>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Not;

constexpr auto up = AuxiliaryButton::soundUp;
constexpr auto down = AuxiliaryButton::soundDown;
constexpr auto mute = AuxiliaryButton::mute;

// --- A key press on each path ---

TEST_F(JourneyTest, onSpeakersTheKeysMoveTheirOwnVolume)
{
    const AudioObjectID speakers = machine.plugInSpeakers();
    machine.launch();
    machine.press(up);
    EXPECT_FLOAT_EQ(machine.audio.output(speakers)->volumes.at(0).value, 0.5625F);
    machine.press(mute);
    EXPECT_EQ(machine.audio.output(speakers)->mute->value, 1);
    EXPECT_EQ(machine.desktop.statusButton()->title, " Muted");
    machine.press(down);
    EXPECT_EQ(machine.audio.output(speakers)->mute->value, 0);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 50%");
    EXPECT_EQ(machine.desktop.keyFeedback().size(), 3u);
}

TEST_F(JourneyTest, onAMonitorTheKeysMoveItsSpeakersOverDDC)
{
    machine.plugInMonitorOutput();
    // One that answers right after a change: pacing is the buses' matter, and these have none.
    const auto monitor = machine.plugInMonitor({.volume = 50, .quirks = {.busyAfterSet = 0ms}});
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
    machine.press(up);
    EXPECT_EQ(monitor->volume(), 56);
    machine.press(mute);
    EXPECT_EQ(monitor->volume(), 0);
    machine.press(mute);
    EXPECT_EQ(monitor->volume(), 56);
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
}

TEST_F(JourneyTest, whatWasFoundIsToldAsItChanges)
{
    machine.plugInSpeakers();
    machine.permission.setTrusted(false);
    machine.launch();
    std::vector<bool> captured;
    machine.delegate->onReportChanged = [&] { captured.push_back(machine.delegate->machineReport().areKeysCaptured); };
    EXPECT_FALSE(machine.delegate->machineReport().areKeysCaptured);
    EXPECT_EQ(machine.delegate->machineReport().state.outputDevice->name, "Speakers");

    machine.permission.setTrusted(true);
    machine.permission.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_THAT(captured, ElementsAre(true));
    machine.monitorWatch.setProblems({{DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5", "Left", ""}});
    machine.loop.runUntilIdle();
    EXPECT_EQ(captured.size(), 2u);
    EXPECT_EQ(machine.delegate->machineReport().monitorProblems.size(), 1u);
}

TEST_F(JourneyTest, aKeyThatTheMonitorLosesMovesTheSoftwareGain)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 50, .quirks = {.busyAfterSet = 0ms}});
    machine.launch();
    machine.taps.play([](std::uint32_t, std::uint64_t) { return 1.0F; });
    machine.press(down);
    monitor->setQuirks({.isDeaf = true});
    machine.monitorWatch.loseWrite();
    machine.monitorWatch.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.state().mode.is<ControlMode::SoftwareTap>());
    EXPECT_EQ(loudest(machine.taps.runCycles(4)), 0.4375F);
}

/// A monitor that took a key and lost it. Nobody has heard of that yet.
struct LostWriteTest : JourneyTest {
    void launchOnMonitorAt(std::uint16_t volume)
    {
        machine.plugInMonitorOutput();
        monitor = machine.plugInMonitor({.volume = volume, .quirks = {.busyAfterSet = 0ms}});
        machine.launch();
    }
    void loseKey(std::int64_t key)
    {
        const std::uint16_t before = monitor->volume();
        machine.press(key);
        monitor->setVolume(before);
    }
    void tellOfLoss()
    {
        machine.monitorWatch.loseWrite();
        machine.monitorWatch.tellOfChange();
        machine.loop.runUntilIdle();
    }
    static std::uint16_t loudestSince(std::size_t beginning, const SimulatedMonitor& monitor)
    {
        const std::vector<MonitorTransaction> journal = monitor.journal();
        std::uint16_t loudest = 0;
        for (const MonitorTransaction& transaction : std::span(journal).subspan(beginning))
            loudest = std::max(loudest, transaction.value);
        return loudest;
    }
    void setAnswering(bool answers) { monitor->setQuirks({.busyAfterSet = 0ms, .isDeaf = !answers}); }

    std::shared_ptr<SimulatedMonitor> monitor;
};

TEST_F(LostWriteTest, isNotCarriedOutOnAnOutputThatCameMeanwhile)
{
    launchOnMonitorAt(90);
    const AudioObjectID speakers = machine.plugInSpeakers();
    machine.audio.changeVolumeElsewhere(speakers, audioElementMain, 0.2F);
    loseKey(up);
    machine.audio.setDefaultOutput(speakers);
    tellOfLoss();
    EXPECT_FLOAT_EQ(machine.audio.output(speakers)->volumes.at(0).value, 0.2F);
    EXPECT_EQ(monitor->volume(), 90);
}

TEST_F(LostWriteTest, isCarriedOutAsItWasMeantWhenTheStateIsAnotherByThen)
{
    launchOnMonitorAt(30);
    loseKey(down);
    setAnswering(false);
    machine.view().refreshOutput();
    EXPECT_EQ(machine.state().volume.level, 1) << "the software path has a volume of its own";
    setAnswering(true);
    tellOfLoss();
    EXPECT_EQ(monitor->volume(), 24);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 24%");
}

TEST_F(LostWriteTest, isNotCarriedOutOnAnotherMonitor)
{
    launchOnMonitorAt(50);
    loseKey(up);
    monitor->setVolume(10);
    machine.displays.displays = {{2, false}};
    tellOfLoss();
    EXPECT_EQ(monitor->volume(), 10);
}

TEST_F(LostWriteTest, makesNothingLouderThanWasAskedFor)
{
    struct Row {
        const char* what;
        std::uint16_t volume;
        std::int64_t key;
        std::uint16_t knob;
        std::uint16_t after;
    };
    // clang-format off
    const std::vector<Row> rows{
        {"up, and the knob was not touched",      50, up,   50, 56},
        {"up, and the knob was turned up",        50, up,   80, 56},
        {"down, and the knob was turned up",      50, down, 80, 44},
        {"down, and the knob was turned down",    50, down, 20, 20},
        {"mute, and the knob was turned down",    50, mute, 20, 0},
        {"mute off, and the knob was not touched", 0, mute, 0,  50},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        SimulatedMachine one;
        one.plugInMonitorOutput();
        const auto only = one.plugInMonitor({.volume = row.volume, .quirks = {.busyAfterSet = 0ms}});
        one.launch();
        one.press(row.key);
        only->setVolume(row.knob);
        const std::size_t before = only->journal().size();
        one.monitorWatch.loseWrite();
        one.monitorWatch.tellOfChange();
        one.loop.runUntilIdle();
        EXPECT_EQ(only->volume(), row.after);
        EXPECT_LE(loudestSince(before, *only), std::max(row.knob, row.after)) << "not even for a moment";
    }
}

TEST_F(LostWriteTest, aMuteThatIsCarriedOutInSoftwareLeadsBackToTheLevelBefore)
{
    launchOnMonitorAt(80);
    loseKey(mute);
    setAnswering(false);
    tellOfLoss();
    EXPECT_EQ(machine.desktop.statusButton()->title, " Muted");
    machine.press(mute);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 80%");
}

TEST_F(LostWriteTest, theNextKeyStartsFromItEvenBeforeItIsTold)
{
    launchOnMonitorAt(50);
    loseKey(down);
    setAnswering(false);
    machine.monitorWatch.loseWrite();
    machine.press(down);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 38%");
}

TEST_F(LostWriteTest, isCarriedOutOnce)
{
    launchOnMonitorAt(50);
    loseKey(down);
    tellOfLoss();
    EXPECT_EQ(monitor->volume(), 44);
    monitor->setVolume(90);
    machine.monitorWatch.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(monitor->volume(), 90);
}

TEST_F(JourneyTest, onAMonitorWithoutDDCTheKeysMoveTheSoftwareGain)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.taps.play([](std::uint32_t, std::uint64_t) { return 1.0F; });
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    for (int i = 0; i < 8; ++i)
        machine.press(down);
    EXPECT_EQ(machine.desktop.statusButton()->title, " 50%");
    EXPECT_FALSE(machine.taps.directPathIsAudible("monitor-uid"));
    EXPECT_FLOAT_EQ(loudest(machine.taps.runCycles(4)), 0.5F);
    machine.press(mute);
    EXPECT_EQ(loudest(machine.taps.runCycles(4)), 0);
    machine.quit();
    EXPECT_TRUE(machine.taps.directPathIsAudible("monitor-uid"));
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
}

TEST_F(JourneyTest, aMonitorThatRefusesToBeSetFallsBackAndComesBack)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 50});
    machine.launch();
    monitor->setQuirks({.refusesSets = true});
    machine.keys.press(up);
    // The press itself, before the panel's own refresh looks again.
    machine.loop.runOneTurn();
    EXPECT_TRUE(machine.state().mode.is<ControlMode::SoftwareTap>());
    EXPECT_EQ(machine.state().diagnostics.back().code, DiagnosticCode::ddcCommandFailed);
    EXPECT_NE(machine.taps.liveObjects(), 0u);
    monitor->setQuirks({});
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
    EXPECT_EQ(machine.taps.liveObjects(), 0u);
    machine.press(up);
    EXPECT_EQ(monitor->volume(), 56);
}

TEST_F(JourneyTest, softwareVolumeThatWasRefusedForATimeComesBackWithoutAKey)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.taps.play([](std::uint32_t, std::uint64_t) { return 1.0F; });
    machine.press(down);
    ASSERT_FALSE(machine.taps.directPathIsAudible("monitor-uid"));
    machine.taps.journal().failWith("createTap", -28);
    machine.taps.endTap(900);
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.taps.directPathIsAudible("monitor-uid"));
    machine.taps.journal().failWith("createTap", 0);
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.taps.directPathIsAudible("monitor-uid"));
    machine.taps.endRefusal();
    machine.loop.runUntilIdle();
    EXPECT_FALSE(machine.taps.directPathIsAudible("monitor-uid"));
    EXPECT_NEAR(loudest(machine.taps.runCycles(4)), machine.state().volume.level, 1e-6);
    EXPECT_LT(machine.state().volume.level, 1);
}

TEST_F(JourneyTest, aMonitorThatAnswersAgainIsNoLouderThanWhatWasChosenMeanwhile)
{
    struct Row {
        const char* what;
        std::vector<std::uint32_t> keys;
        int volumeAfter;
    };
    // clang-format off
    const std::vector<Row> rows{
        {"turned down",                           {down, down, down, down}, 75},
        {"turned down below the monitor's own",   {down, down, down, down, down, down, down, down, down}, 44},
        {"turned down, and up to where it was",   {down, down, up, up},     80},
        {"not touched: the monitor's own holds",  {},                       80},
        {"muted",                                 {mute},                   0},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        SimulatedMachine one;
        one.plugInMonitorOutput();
        const auto monitor = one.plugInMonitor({.volume = 80, .quirks = {.busyAfterSet = 0ms, .isDeaf = true}});
        one.launch();
        for (const std::uint32_t key : row.keys)
            one.press(key);
        monitor->setQuirks({.busyAfterSet = 0ms});
        one.monitorWatch.tellOfChange();
        one.loop.runUntilIdle();
        EXPECT_EQ(one.view().snapshot().modeKind, GlassDialModeKind::hardware);
        EXPECT_EQ(monitor->volume(), row.volumeAfter);
        EXPECT_EQ(one.desktop.statusButton()->title,
            row.volumeAfter == 0 ? " Muted" : " " + std::to_string(row.volumeAfter) + "%");
        EXPECT_EQ(one.taps.liveObjects(), 0u) << "the software gain ended";
    }
}

TEST_F(JourneyTest, aVolumeChosenWhenTheMonitorFailedBeforeIsCarriedOverOnlyWhenItIsMovedAgain)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 80, .quirks = {.busyAfterSet = 0ms, .isDeaf = true}});
    machine.launch();
    const auto answers = [&](bool doesAnswer) {
        monitor->setQuirks({.busyAfterSet = 0ms, .isDeaf = !doesAnswer});
        machine.monitorWatch.tellOfChange();
        machine.loop.runUntilIdle();
    };
    for (int i = 0; i < 8; ++i)
        machine.press(down);
    answers(true);
    monitor->setVolume(70);
    answers(false);
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    answers(true);
    EXPECT_EQ(monitor->volume(), 70);
    answers(false);
    machine.press(down);
    machine.press(up);
    answers(true);
    EXPECT_EQ(monitor->volume(), 50) << "moved, and back to where it was";
}

TEST_F(JourneyTest, theKeyThatFindsTheMonitorFailingCountsAsChosen)
{
    struct Row {
        std::int64_t key;
        int volumeAfter;
    };
    for (const Row& row : {Row{down, 74}, Row{mute, 0}, Row{up, 80}}) {
        SimulatedMachine one;
        one.plugInMonitorOutput();
        const auto monitor = one.plugInMonitor({.volume = 80, .quirks = {.busyAfterSet = 0ms}});
        one.launch();
        monitor->setQuirks({.busyAfterSet = 0ms, .refusesSets = true});
        one.press(row.key);
        monitor->setQuirks({.busyAfterSet = 0ms});
        one.monitorWatch.tellOfChange();
        one.loop.runUntilIdle();
        EXPECT_EQ(monitor->volume(), row.volumeAfter);
    }
}

TEST_F(JourneyTest, theKeyThatFindsTheMonitorAnsweringStartsFromWhatWasChosen)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 80, .quirks = {.busyAfterSet = 0ms, .isDeaf = true}});
    machine.launch();
    for (int i = 0; i < 8; ++i)
        machine.press(down);
    monitor->setQuirks({.busyAfterSet = 0ms});
    machine.press(up);
    EXPECT_EQ(monitor->volume(), 56);
}

TEST_F(JourneyTest, aMonitorThatAnswersAndTakesNothingLeavesTheSoftwareGain)
{
    machine.plugInMonitorOutput();
    const auto monitor = machine.plugInMonitor({.volume = 80, .quirks = {.isDeaf = true}});
    machine.launch();
    for (int i = 0; i < 8; ++i)
        machine.press(down);
    monitor->setQuirks({.refusesSets = true});
    machine.monitorWatch.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.state().mode.is<ControlMode::SoftwareTap>());
    EXPECT_EQ(machine.desktop.statusButton()->title, " 50%");
    EXPECT_NE(machine.taps.liveObjects(), 0u);
}

TEST_F(JourneyTest, softwareProcessingIsChosenOnceAndKeptAcrossStarts)
{
    machine.plugInMonitorOutput();
    machine.plugInMonitor({.volume = 50});
    machine.launch();
    machine.view().switchToSoftwareProcessing();
    machine.view().setEQEnabled(true);
    machine.view().selectPreset(EQPresetName::voice);
    machine.quit();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    EXPECT_TRUE(machine.view().snapshot().eqEnabled);
    EXPECT_EQ(machine.view().snapshot().eqPresetName, "Voice");
}

// --- What changes by other hands ---

TEST_F(JourneyTest, anotherOutputShowsATurnLater)
{
    machine.plugInSpeakers();
    const AudioObjectID monitor = machine.plugInMonitorOutput();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().outputName, "Speakers");
    machine.audio.setDefaultOutput(monitor);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().outputName, "Monitor");
    machine.audio.removeOutput(monitor);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().outputName, "Speakers");
}

TEST_F(JourneyTest, aSliderMovedElsewhereShowsATurnLater)
{
    const AudioObjectID speakers = machine.plugInSpeakers();
    machine.launch();
    machine.audio.changeVolumeElsewhere(speakers, audioElementMain, 0.25F);
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.desktop.statusButton()->title, " 25%");
}

TEST_F(JourneyTest, aMonitorThatComesShowsATurnLater)
{
    machine.plugInMonitorOutput();
    machine.launch();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    machine.plugInMonitor();
    machine.monitorWatch.tellOfChange();
    machine.loop.runUntilIdle();
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
}

TEST_F(JourneyTest, aDeniedBusIsNamedInTheGuideATurnLaterUntilAccessIsGiven)
{
    using Kind = DisplayBusProblem::Kind;
    machine.plugInMonitorOutput();
    machine.launch();
    machine.monitorWatch.setProblems({{Kind::accessDenied, "/dev/i2c-5", "Left", "Log in again."}});
    EXPECT_TRUE(machine.view().monitorProblems().empty());
    machine.loop.runUntilIdle();
    ASSERT_EQ(machine.view().monitorProblems().size(), 1u);
    EXPECT_EQ(machine.view().monitorProblems()[0].device, "/dev/i2c-5");
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::software);
    machine.plugInMonitor();
    machine.monitorWatch.setProblems({});
    machine.loop.runUntilIdle();
    EXPECT_TRUE(machine.view().monitorProblems().empty());
    EXPECT_EQ(machine.view().snapshot().modeKind, GlassDialModeKind::hardware);
}

// --- The report ---

TEST_F(JourneyTest, theCopiedReportTellsTheWholeStory)
{
    machine.plugInMonitorOutput();
    machine.launch();
    machine.view().copyDiagnosticsFromMore();
    const std::string& report = *machine.desktop.pasteboard();
    EXPECT_EQ(report,
        machine.delegate->controller()->exportedDiagnostics()
            + "\n[info] accessibilityPermission: Running app sees Accessibility permission as granted."
              "\n[info] mediaKeyCapture: F10/F11/F12 listener is active. Last event: No F-key events captured yet."
              "\n[info] mediaKeyTroubleshooting: If F keys do not work, remove stale Quenstal entries from "
              "Accessibility, quit Quenstal, reopen it from Applications, then enable the installed app.");
    machine.press(down);
    machine.view().copyDiagnosticsFromMore();
    EXPECT_THAT(*machine.desktop.pasteboard(), Not(testing::HasSubstr("mediaKeyTroubleshooting")));
}

} // namespace
} // namespace quenstal
