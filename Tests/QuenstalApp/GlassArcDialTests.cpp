#include "QuenstalApp/StatusMenuController/GlassArcDial.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The panel's dial, over a value that takes what is written.
struct GlassArcDialTest : testing::Test {
    GlassArcDialTest()
    {
        dial.controllable = true;
        dial.volume = {[this] { return value; },
            [this](std::int64_t percent) {
                writes.push_back(percent);
                value = percent;
            }};
    }

    /// A place on the track, by its angle: 0 points right, 90 down.
    static Point at(double degrees, double radius = 80)
    {
        const double radians = degrees * 3.141592653589793 / 180;
        return {83 + radius * std::cos(radians), 83 + radius * std::sin(radians)};
    }

    GlassArcDial dial;
    GlassArcDialGesture gesture;
    std::int64_t value = 40;
    std::vector<std::int64_t> writes;
};

TEST_F(GlassArcDialTest, placesBecomePercents)
{
    struct Row {
        const char* where;
        Point location;
        std::int64_t percent;
    };
    const Row rows[]{
        {"the start of the arc", {83 - 50, 83 + 50}, 0},
        {"the end of the sweep", {83 + 50, 83 + 50}, 100},
        {"straight up", {83, 3}, 50},
        {"left", {3, 83}, 17},
        {"right", {163, 83}, 83},
        {"exactly the middle of the gap", {83, 163}, 0},
        {"just left of straight down", {82.9, 163}, 0},
        {"just right of straight down", {83.1, 163}, 100},
        {"in the gap near the start", at(130), 0},
        {"in the gap near the end", at(50), 100},
        {"the very centre counts as right", {83, 83}, 83},
        {"far outside the square", {-5000, -5000}, 33},
    };
    for (const Row& row : rows) {
        value = -1;
        dial.drag(row.location);
        EXPECT_EQ(value, row.percent) << row.where;
    }
}

TEST_F(GlassArcDialTest, percentsRoundHalvesAwayFromZero)
{
    // 45 degrees of 90 at one percent a 1.8 degrees: 0.9 degrees are exactly half a percent.
    dial.startAngleDeg = 0;
    dial.sweepDeg = 180;
    EXPECT_EQ(dial.percentAt({83 + 10, 83 + 10}), 25);
    EXPECT_EQ(dial.percentAt(at(0.89)), 0);
    EXPECT_EQ(dial.percentAt(at(0.91)), 1);
}

TEST_F(GlassArcDialTest, aDialThatIsNotControllableChangesNothing)
{
    dial.controllable = false;
    dial.drag({83, 3});
    dial.adjust(AccessibilityAdjustment::increment);
    gesture.press(dial, at(200));
    gesture.move(dial, at(300));
    EXPECT_FALSE(gesture.isDragging());
    EXPECT_THAT(writes, IsEmpty());
}

TEST_F(GlassArcDialTest, repeatedDragsAtOnePercentWriteOnce)
{
    dial.drag({83, 3});
    dial.drag({83.2, 3});
    dial.drag({83, 3});
    EXPECT_THAT(writes, ElementsAre(50));
}

TEST_F(GlassArcDialTest, accessibilityAdjustsByTwoWithinTheLimits)
{
    struct Row {
        std::int64_t from;
        AccessibilityAdjustment adjustment;
        std::int64_t to;
    };
    const Row rows[]{
        {40, AccessibilityAdjustment::increment, 42},
        {99, AccessibilityAdjustment::increment, 100},
        {100, AccessibilityAdjustment::increment, 100},
        {40, AccessibilityAdjustment::decrement, 38},
        {1, AccessibilityAdjustment::decrement, 0},
        {0, AccessibilityAdjustment::decrement, 0},
        {40, AccessibilityAdjustment::other, 40},
    };
    for (const Row& row : rows) {
        value = row.from;
        dial.adjust(row.adjustment);
        EXPECT_EQ(value, row.to) << row.from;
    }
}

TEST_F(GlassArcDialTest, aPlaceThatIsNoPlaceStopsTheProgram)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(dial.percentAt({std::numeric_limits<double>::quiet_NaN(), 0}), "no whole number");
}

TEST_F(GlassArcDialTest, aPressOnTheTrackSetsTheVolumeAtOnce)
{
    gesture.press(dial, {83, 3});
    EXPECT_TRUE(gesture.isDragging());
    gesture.move(dial, {163, 83});
    gesture.release();
    gesture.move(dial, {3, 83});
    EXPECT_THAT(writes, ElementsAre(50, 83));
}

TEST_F(GlassArcDialTest, aPressOnTheReadOutDragsOnlyAfterFourPoints)
{
    gesture.press(dial, {83, 60});
    gesture.move(dial, {83, 56.1});
    EXPECT_THAT(writes, IsEmpty());
    gesture.move(dial, {83, 56});
    EXPECT_THAT(writes, ElementsAre(50));
    EXPECT_TRUE(gesture.isDragging());
}

TEST_F(GlassArcDialTest, aDragThatSlipsThroughTheGapHoldsItsEnd)
{
    struct Row {
        const char* what;
        std::vector<double> angles;
        std::vector<std::int64_t> writes;
    };
    const Row rows[]{
        {"from silence into the gap and beyond", {144, 110, 70, 40, 0}, {3, 0}},
        {"from full into the gap and beyond", {36, 70, 110, 140, 180}, {97, 100}},
        {"too fast to be seen in the gap", {144, 36}, {3, 0}},
        {"back on its own side it follows again", {144, 70, 40, 144, 171}, {3, 0, 3, 13}},
        {"over the top it is no slip", {144, 225, 315, 36}, {3, 33, 67, 97}},
        {"pressed in the gap near the start", {100, 70, 40}, {0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        value = 50;
        writes.clear();
        gesture.press(dial, at(row.angles.front()));
        for (std::size_t i = 1; i < row.angles.size(); ++i)
            gesture.move(dial, at(row.angles[i]));
        gesture.release();
        EXPECT_EQ(writes, row.writes);
    }
}

} // namespace
} // namespace quenstal
