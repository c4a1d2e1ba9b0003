// What the menu and the dial say alike: percent, title, mode and the one issue that is shown.

#include "QuenstalCore/MenuPresenter/GlassDialSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/MenuSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/States.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using enum DiagnosticSeverity;

QuenstalState stateAtLevel(double level)
{
    QuenstalState state = monitorState();
    state.volume.level = level;
    return state;
}

void expectPercent(double level, std::int64_t percent)
{
    const QuenstalState state = stateAtLevel(level);
    const std::string title = std::to_string(percent) + "%";
    EXPECT_EQ(MenuSnapshot(state).levelPercent, percent) << level;
    EXPECT_EQ(GlassDialSnapshot(state).levelPercent, percent) << level;
    EXPECT_EQ(MenuSnapshot(state).title, title) << level;
    EXPECT_EQ(GlassDialSnapshot(state).statusTitle, title) << level;
}

TEST(LevelPercentTest, isRoundedWithHalvesAwayFromZeroAndNotClamped)
{
    struct Row {
        double level;
        std::int64_t percent;
    };
    const std::vector<Row> rows{
        {0, 0},
        {-0.0, 0},
        {smallestDouble, 0},
        {0.004, 0},
        {0.005, 1},
        {0.015, 2},
        {0.0625, 6},
        {0.42, 42},
        {0.425, 43},
        {0.995, 100},
        {1, 100},
        {1.5, 150},
        {-0.005, -1},
        {-0.425, -43},
        {-3, -300},
    };
    for (const Row& row : rows)
        expectPercent(row.level, row.percent);
}

TEST(LevelPercentTest, turnsAtTheVeryDoubleWhoseHundredfoldIsAHalf)
{
    struct Row {
        double level;
        std::int64_t below;
        std::int64_t from;
    };
    const std::vector<Row> rows{
        {0.005, 0, 1},
        {0.015, 1, 2},
        {0.125, 12, 13},
        {0.425, 42, 43},
        {0.625, 62, 63},
        {0.875, 87, 88},
        {0.995, 99, 100},
    };
    for (const Row& row : rows) {
        expectPercent(justBelow(row.level), row.below);
        expectPercent(row.level, row.from);
        expectPercent(justAbove(row.level), row.from);
        expectPercent(-justBelow(row.level), -row.below);
        expectPercent(-row.level, -row.from);
    }
}

TEST(LevelPercentTest, isTheNearestWholeNumberAroundEveryHalf)
{
    for (int half = 0; half < 100; ++half) {
        double level = (half + 0.5) / 100;
        level = justBelow(justBelow(level));
        for (int neighbour = 0; neighbour < 5; ++neighbour, level = justAbove(level)) {
            const double exact = level * 100;
            const auto percent = static_cast<double>(MenuSnapshot(stateAtLevel(level)).levelPercent);
            EXPECT_LE(percent - 0.5, exact);
            EXPECT_LT(exact, percent + 0.5);
        }
    }
}

TEST(LevelPercentTest, reachesTheEndsOfSixtyFourBits)
{
    // The greatest and the least double below and at the ends of the range, divided by 100 and back.
    expectPercent(-92233720368547758.08, INT64_MIN);
    EXPECT_EQ(MenuSnapshot(stateAtLevel(92233720368547744.0)).levelPercent, 9223372036854774784);
}

using LevelPercentDeathTest = testing::TestWithParam<double>;

TEST_P(LevelPercentDeathTest, aLevelWithoutPercentageStopsTheProcess)
{
    const QuenstalState state = stateAtLevel(GetParam());
    EXPECT_DEATH(MenuSnapshot{state}, "programming error: The volume level has no percentage");
    EXPECT_DEATH(GlassDialSnapshot{state}, "programming error: The volume level has no percentage");
}

INSTANTIATE_TEST_SUITE_P(Levels, LevelPercentDeathTest,
    testing::Values(notANumber, infinity, -infinity, largestDouble, -largestDouble, 92233720368547758.08,
        justBelow(-92233720368547758.08)));

TEST(LevelPercentDeathTest, aDisabledOrMutedStateIsNoExcuse)
{
    QuenstalState state = stateAtLevel(notANumber);
    state.isEnabled = false;
    state.volume.isMuted = true;
    EXPECT_DEATH(MenuSnapshot{state}, "programming error");
}

TEST(StatusTitleTest, isOffBeforeMutedBeforeThePercentage)
{
    struct Row {
        bool isEnabled;
        bool isMuted;
        std::string title;
        std::string symbolName;
    };
    const std::vector<Row> rows{
        {true, false, "42%", "speaker.wave.2.fill"},
        {true, true, "Muted", "speaker.slash.fill"},
        {false, false, "Off", "speaker.fill"},
        {false, true, "Off", "speaker.fill"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.title);
        QuenstalState state = stateAtLevel(0.42);
        state.isEnabled = row.isEnabled;
        state.volume.isMuted = row.isMuted;
        const MenuSnapshot menu(state);
        const GlassDialSnapshot dial(state);
        EXPECT_EQ(menu.title, row.title);
        EXPECT_EQ(dial.statusTitle, row.title);
        EXPECT_EQ(dial.statusSymbolName, row.symbolName);
        EXPECT_EQ(menu.isEnabled, row.isEnabled);
        EXPECT_EQ(dial.isEnabled, row.isEnabled);
        EXPECT_EQ(menu.isMuted, row.isMuted);
        EXPECT_EQ(dial.isMuted, row.isMuted);
        EXPECT_EQ(menu.levelPercent, 42);
    }
}

TEST(ModeTextTest, everyModeHasItsTextAndKindAndIsControllableOnlyWhileEnabled)
{
    struct Row {
        ControlMode mode;
        std::string text;
        GlassDialModeKind kind;
        bool isControllable;
    };
    const std::vector<Row> rows{
        {ControlMode::systemVolume("42"), "System volume", GlassDialModeKind::system, true},
        {ControlMode::hardwareDDC("7"), "Monitor hardware", GlassDialModeKind::hardware, true},
        {ControlMode::softwareTap("42"), "Software volume", GlassDialModeKind::software, true},
        {ControlMode::unavailable(UnavailableReason::noOutputDevice), "Unavailable", GlassDialModeKind::unavailable,
            false},
        {ControlMode::disabled(), "Disabled", GlassDialModeKind::disabled, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        QuenstalState state = monitorState();
        state.mode = row.mode;
        EXPECT_EQ(MenuSnapshot(state).modeName, row.text);
        EXPECT_EQ(GlassDialSnapshot(state).modeLabel, row.text);
        EXPECT_EQ(GlassDialSnapshot(state).modeKind, row.kind);
        EXPECT_EQ(GlassDialSnapshot(state).isControllable, row.isControllable);
        state.isEnabled = false;
        EXPECT_EQ(MenuSnapshot(state).modeName, row.text);
        EXPECT_EQ(GlassDialSnapshot(state).modeKind, row.kind);
        EXPECT_FALSE(GlassDialSnapshot(state).isControllable);
    }
}

TEST(GlassDialModeKindTest, itsCasesStandInOrder)
{
    using enum GlassDialModeKind;
    static_assert(static_cast<int>(software) == 0 && static_cast<int>(hardware) == 1 && static_cast<int>(system) == 2);
    static_assert(static_cast<int>(disabled) == 3 && static_cast<int>(unavailable) == 4);
    EXPECT_NE(std::hash<GlassDialModeKind>{}(software), std::hash<GlassDialModeKind>{}(hardware));
}

TEST(PrimaryDiagnosticTest, isTheFirstErrorElseTheFirstIssueElseNone)
{
    struct Row {
        std::vector<DiagnosticIssue> diagnostics;
        std::optional<std::string> shown;
    };
    const std::vector<Row> rows{
        {{}, std::nullopt},
        {{issue(info, "A")}, "A"},
        {{issue(info, "A"), issue(warning, "B")}, "A"},
        {{issue(warning, "A"), issue(info, "B")}, "A"},
        {{issue(warning, "A"), issue(error, "B"), issue(error, "C")}, "B"},
        {{issue(error, "A"), issue(error, "B")}, "A"},
        {{issue(info, "A"), issue(info, "B"), issue(error, "")}, ""},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.diagnostics = row.diagnostics;
        EXPECT_EQ(MenuSnapshot(state).primaryDiagnostic, row.shown);
        EXPECT_EQ(GlassDialSnapshot(state).primaryDiagnostic, row.shown);
        state.isEnabled = false;
        EXPECT_EQ(MenuSnapshot(state).primaryDiagnostic, std::nullopt);
        EXPECT_EQ(GlassDialSnapshot(state).primaryDiagnostic, std::nullopt);
    }
}

} // namespace
} // namespace quenstal
