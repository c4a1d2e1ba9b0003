#include "QuenstalCore/Printing.hpp"
#include "QuenstalCore/VolumeReducer.hpp"
#include "Support/Neighbours.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using Result = VolumeReducer::Result;

constexpr double step = 0.0625;

const VolumeCommand stepUp = VolumeCommand::stepUp();
const VolumeCommand stepDown = VolumeCommand::stepDown();
const VolumeCommand toggleMute = VolumeCommand::toggleMute();
const VolumeCommand mute = VolumeCommand::setMuted(true);
const VolumeCommand unmute = VolumeCommand::setMuted(false);

VolumeCommand setLevel(double level)
{
    return VolumeCommand::setLevel(level);
}

Result reduce(const VolumeSnapshot& current, const VolumeCommand& command, double last)
{
    return VolumeReducer(step).reduce(current, command, last);
}

/// A snapshot as a port may report it: not clamped.
VolumeSnapshot rawSnapshot(double level, bool isMuted)
{
    VolumeSnapshot snapshot(0, isMuted);
    snapshot.level = level;
    return snapshot;
}

TEST(VolumeReducerTest, workedValues)
{
    struct Row {
        VolumeSnapshot current;
        double last;
        VolumeCommand command;
        Result expected;
    };
    const std::vector<Row> rows{
        {{0.5, false}, 0.5, stepUp, {{0.5625, false}, 0.5625}},
        {{0.5, false}, 0.5, stepDown, {{0.4375, false}, 0.4375}},
        {{0.0625, false}, 0.0625, stepDown, {{0, true}, 0.0625}},
        {{0.98, false}, 0.3, stepUp, {{1, false}, 1}},
        {{0.5, true}, 0.5, stepUp, {{0.5625, false}, 0.5625}},
        {{0.5, true}, 0.5, stepDown, {{0.4375, false}, 0.4375}},
        {{0.7, false}, 0.4, toggleMute, {{0.7, true}, 0.7}},
        {{0.7, true}, 0.4, toggleMute, {{0.4, false}, 0.4}},
        {{0, true}, 0, unmute, {{0.0625, false}, 0.0625}},
        {{0.7, false}, 0.4, setLevel(0), {{0, true}, 0.4}},
        {{0.7, true}, 0, setLevel(0), {{0, true}, 0.0625}},
        {{0.7, true}, 0.4, setLevel(1.7), {{1, false}, 1}},
        {{0.7, false}, 0.4, setLevel(-0.2), {{0, true}, 0.4}},
        {{0.7, false}, 0.4, setLevel(notANumber), {{0, true}, 0.4}},
        {{0.7, false}, 0.4, setLevel(infinity), {{0, true}, 0.4}},
        {{0.7, true}, 0.4, setLevel(0.2), {{0.2, false}, 0.2}},
        {{0.7, false}, 0.4, mute, {{0.7, true}, 0.7}},
        {{0.7, true}, 0.4, mute, {{0.7, true}, 0.7}},
        {{0, false}, 0.4, mute, {{0, true}, 0.4}},
        {{0.7, false}, 0.4, unmute, {{0.4, false}, 0.4}},
    };
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(reduce(rows[i].current, rows[i].command, rows[i].last), rows[i].expected) << "row " << i;
}

TEST(VolumeReducerTest, togglingTwiceFromBelowOneStepComesBackAtOneStep)
{
    const Result muted = reduce({0.01, false}, toggleMute, 0.01);
    EXPECT_EQ(muted, (Result{{0.01, true}, 0.01}));
    EXPECT_EQ(reduce(muted.next, toggleMute, muted.lastAudibleLevel), (Result{{0.0625, false}, 0.0625}));
}

TEST(VolumeReducerTest, sixteenStepsLeadFromSilenceToFullScaleAndBack)
{
    Result result{{0, true}, 0};
    // The first step up from a mute starts at the restore level, one step above silence.
    for (int press = 0; press < 15; ++press)
        result = reduce(result.next, stepUp, result.lastAudibleLevel);
    EXPECT_EQ(result, (Result{{1, false}, 1}));
    for (int press = 0; press < 15; ++press)
        result = reduce(result.next, stepDown, result.lastAudibleLevel);
    EXPECT_EQ(result, (Result{{0.0625, false}, 0.0625}));
    EXPECT_EQ(reduce(result.next, stepDown, result.lastAudibleLevel), (Result{{0, true}, 0.0625}));

    result = {{0, false}, 0};
    for (int press = 0; press < 16; ++press)
        result = reduce(result.next, stepUp, result.lastAudibleLevel);
    EXPECT_EQ(result, (Result{{1, false}, 1}));
}

TEST(VolumeReducerTest, aRememberedLevelOfZeroOrLessOrNotANumberUnmutesToExactlyOneStep)
{
    for (const double last : {0.0, -0.0, -3.0, notANumber, infinity, -infinity, justBelow(step), step}) {
        EXPECT_EQ(reduce({0.7, true}, unmute, last), (Result{{step, false}, step})) << last;
        EXPECT_EQ(reduce({0.7, true}, toggleMute, last), (Result{{step, false}, step})) << last;
    }
    EXPECT_EQ(reduce({0.7, true}, unmute, justAbove(step)).next.level, justAbove(step));
    EXPECT_EQ(reduce({0.7, true}, unmute, 7).next.level, 1);
}

TEST(VolumeReducerTest, settingLevelZeroMutesAndKeepsTheRestoreLevel)
{
    EXPECT_EQ(reduce({0.7, false}, setLevel(0), 0.3), (Result{{0, true}, 0.3}));
}

TEST(VolumeReducerTest, settingAnyPositiveLevelUnmutes)
{
    for (const double level : {smallestDouble, 0.01, 0.5, 1.0, 7.0}) {
        const double clamped = std::min(level, 1.0);
        EXPECT_EQ(reduce({0.7, true}, setLevel(level), 0.3), (Result{{clamped, false}, clamped}));
    }
}

TEST(VolumeReducerTest, steppingDownExactlyToZeroMutes)
{
    EXPECT_EQ(reduce({step, false}, stepDown, 0.8), (Result{{0, true}, 0.8}));
    EXPECT_EQ(reduce({justBelow(step), false}, stepDown, 0.8), (Result{{0, true}, 0.8}));
    EXPECT_FALSE(reduce({justAbove(step), false}, stepDown, 0.8).next.isMuted);
}

TEST(VolumeReducerTest, steppingUpNeverMutesNotEvenWithAStepOfZeroFromSilence)
{
    EXPECT_EQ(VolumeReducer(0).reduce({0, false}, stepUp, 0), (Result{{0, false}, 0}));
    EXPECT_EQ(VolumeReducer(0).reduce({0, false}, stepDown, 0), (Result{{0, true}, 0}));
}

TEST(VolumeReducerTest, unmutingIgnoresTheCurrentLevel)
{
    for (const double level : {0.0, 0.2, 1.0})
        EXPECT_EQ(reduce({level, true}, unmute, 0.4), (Result{{0.4, false}, 0.4}));
}

TEST(VolumeReducerTest, steppingWhileMutedStartsAtTheRestoreLevelAndUnmutes)
{
    EXPECT_EQ(reduce({0.9, true}, stepDown, 0.5), (Result{{0.4375, false}, 0.4375}));
    EXPECT_EQ(reduce({0.9, true}, stepUp, 0.5), (Result{{0.5625, false}, 0.5625}));
    EXPECT_EQ(reduce({0.9, true}, stepDown, 0), (Result{{0, true}, step}));
}

TEST(VolumeReducerTest, theStepSizeIsClamped)
{
    struct Row {
        double given;
        double stored;
    };
    const std::vector<Row> rows{
        {0.0625, 0.0625},
        {0, 0},
        {1, 1},
        {2, 1},
        {-0.1, 0},
        {notANumber, 0},
        {infinity, 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VolumeReducer(row.given).stepSize(), row.stored) << row.given;
}

TEST(VolumeReducerTest, aStepOfZeroLeavesAudibleLevelsAndTheRememberedLevelAlone)
{
    const VolumeReducer reducer(-0.1);
    EXPECT_EQ(reducer.reduce({0.3, false}, stepUp, 0.2), (Result{{0.3, false}, 0.3}));
    EXPECT_EQ(reducer.reduce({0.3, false}, stepDown, 0.2), (Result{{0.3, false}, 0.3}));
    EXPECT_EQ(reducer.reduce({0.3, true}, unmute, 0.2), (Result{{0.2, false}, 0.2}));
    EXPECT_EQ(reducer.reduce({0.3, true}, unmute, 0), (Result{{0, false}, 0}));
}

TEST(VolumeReducerTest, levelsAreNotSnappedToMultiplesOfTheStep)
{
    EXPECT_EQ(reduce({0.3, false}, stepUp, 0.3).next.level, 0.3625);
}

TEST(VolumeReducerTest, mutingRemembersTheRawLevelOfAPortWhenItIsAboveZero)
{
    EXPECT_EQ(reduce(rawSnapshot(1.5, false), mute, 0.4), (Result{{1, true}, 1.5}));
    EXPECT_EQ(reduce(rawSnapshot(-1.5, false), mute, 0.4), (Result{{0, true}, 0.4}));
    EXPECT_EQ(reduce(rawSnapshot(notANumber, false), mute, 0.4), (Result{{0, true}, 0.4}));
    EXPECT_EQ(reduce(rawSnapshot(infinity, false), mute, 0.4), (Result{{0, true}, infinity}));
}

TEST(VolumeReducerTest, steppingStartsAtTheRawLevelOfAPort)
{
    EXPECT_EQ(reduce(rawSnapshot(1.03125, false), stepDown, 0.4), (Result{{0.96875, false}, 0.96875}));
    EXPECT_EQ(reduce(rawSnapshot(-0.03125, false), stepUp, 0.4), (Result{{0.03125, false}, 0.03125}));
    EXPECT_EQ(reduce(rawSnapshot(notANumber, false), stepUp, 0.4), (Result{{0, false}, 0}));
    EXPECT_EQ(reduce(rawSnapshot(infinity, false), stepDown, 0.4), (Result{{0, true}, 0.4}));
}

constexpr std::array<double, 20> extremeLevels{0, -0.0, smallestDouble, -smallestDouble, 0.01, step, 0.3, 0.5, 0.99, 1,
    1.0000000000000002, 0.9999999999999999, 1.5, -1.5, 1e300, -1e300, largestDouble, notANumber, infinity, -infinity};

std::vector<VolumeCommand> everyCommand()
{
    std::vector<VolumeCommand> commands{stepUp, stepDown, toggleMute, mute, unmute};
    for (const double level : extremeLevels)
        commands.push_back(setLevel(level));
    return commands;
}

template <typename Check>
void forEveryInput(const Check& check)
{
    const std::vector<VolumeCommand> commands = everyCommand();
    for (const double size : extremeLevels) {
        const VolumeReducer reducer(size);
        for (const double last : extremeLevels) {
            for (const double level : extremeLevels) {
                for (const bool isMuted : {false, true}) {
                    const VolumeSnapshot current = rawSnapshot(level, isMuted);
                    for (const VolumeCommand& command : commands)
                        check(reducer, current, command, last);
                }
            }
        }
    }
}

TEST(VolumeReducerPropertyTest, everyCommandOnEveryLevelYieldsAValidSnapshot)
{
    forEveryInput([](const VolumeReducer& reducer, const VolumeSnapshot& current, const VolumeCommand& command,
                      double last) {
        const Result result = reducer.reduce(current, command, last);
        const bool isValid = result.next.level >= 0 && result.next.level <= 1 && !std::signbit(result.next.level);
        if (!isValid)
            ADD_FAILURE() << testing::PrintToString(current) << " " << testing::PrintToString(command) << " " << last;
    });
}

TEST(VolumeReducerPropertyTest, theRememberedLevelIsNeverBelowZeroAndAudibleWheneverThereIsAStep)
{
    forEveryInput(
        [](const VolumeReducer& reducer, const VolumeSnapshot& current, const VolumeCommand& command, double last) {
            const Result result = reducer.reduce(current, command, last);
            const bool isRemembered = result.lastAudibleLevel > 0 || reducer.stepSize() == 0 || result.next.level == 0;
            const bool isOutOfRange = !(result.lastAudibleLevel >= 0)
                || (result.lastAudibleLevel > 1 && result.lastAudibleLevel != current.level);
            if (!isRemembered || isOutOfRange)
                ADD_FAILURE() << testing::PrintToString(current) << " " << testing::PrintToString(command) << " "
                              << last << " gives " << testing::PrintToString(result);
        });
}

TEST(VolumeReducerPropertyTest, togglingIsMutingOrUnmuting)
{
    forEveryInput([](const VolumeReducer& reducer, const VolumeSnapshot& current, const VolumeCommand&, double last) {
        const Result toggled = reducer.reduce(current, toggleMute, last);
        if (!(toggled == reducer.reduce(current, VolumeCommand::setMuted(!current.isMuted), last)))
            ADD_FAILURE() << testing::PrintToString(current) << " " << last;
    });
}

TEST(VolumeReducerPropertyTest, anAudibleResultIsWhatIsRemembered)
{
    forEveryInput([](const VolumeReducer& reducer, const VolumeSnapshot& current, const VolumeCommand& command,
                      double last) {
        const Result result = reducer.reduce(current, command, last);
        if (!result.next.isMuted && result.next.level != result.lastAudibleLevel)
            ADD_FAILURE() << testing::PrintToString(current) << " " << testing::PrintToString(command) << " " << last;
    });
}

} // namespace
} // namespace quenstal
