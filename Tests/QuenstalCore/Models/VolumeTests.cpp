#include "QuenstalCore/Models/Volume.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;

TEST(ControlModeTest, everyCaseHasItsNameAndTellsWhetherItIsControllable)
{
    struct Row {
        ControlMode mode;
        bool isControllable;
        std::string_view userFacingName;
    };
    const std::vector<Row> rows{
        {ControlMode::systemVolume("42"), true, "System volume"},
        {ControlMode::hardwareDDC("7"), true, "Monitor hardware"},
        {ControlMode::softwareTap("42"), true, "Software volume"},
        {ControlMode::unavailable(UnavailableReason::noOutputDevice), false, "Unavailable"},
        {ControlMode::disabled(), false, "Disabled"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.userFacingName);
        EXPECT_EQ(row.mode.isControllable(), row.isControllable);
        EXPECT_EQ(row.mode.userFacingName(), row.userFacingName);
    }
}

TEST(ControlModeTest, payloadIdentifiersDoNotTakePartInTheUserFacingName)
{
    EXPECT_EQ(ControlMode::systemVolume("").userFacingName(), ControlMode::systemVolume("x").userFacingName());
    EXPECT_EQ(ControlMode::hardwareDDC("").userFacingName(), ControlMode::hardwareDDC("x").userFacingName());
    EXPECT_EQ(ControlMode::softwareTap("").userFacingName(), ControlMode::softwareTap("x").userFacingName());
    for (const UnavailableReason reason : allCases<UnavailableReason>())
        EXPECT_EQ(ControlMode::unavailable(reason).userFacingName(), "Unavailable");
}

TEST(ControlModeTest, isEqualForTheSameCaseAndPayloadOnly)
{
    const std::vector<ControlMode> distinct{
        ControlMode::systemVolume("42"),
        ControlMode::systemVolume("43"),
        ControlMode::hardwareDDC("42"),
        ControlMode::softwareTap("42"),
        ControlMode::unavailable(UnavailableReason::noOutputDevice),
        ControlMode::unavailable(UnavailableReason::quenstalDisabled),
        ControlMode::disabled(),
    };
    for (std::size_t i = 0; i < distinct.size(); ++i) {
        for (std::size_t k = 0; k < distinct.size(); ++k)
            EXPECT_EQ(distinct[i] == distinct[k], i == k) << i << " and " << k;
    }
}

TEST(ControlModeTest, carriesItsPayloadUnderItsLabel)
{
    struct Payload {
        std::string operator()(const ControlMode::SystemVolume& mode) const { return mode.deviceID; }
        std::string operator()(const ControlMode::HardwareDDC& mode) const { return mode.displayID; }
        std::string operator()(const ControlMode::SoftwareTap& mode) const { return mode.deviceID; }
        std::string operator()(const ControlMode::Unavailable& mode) const
        {
            return std::string(rawValue(mode.reason));
        }
        std::string operator()(const ControlMode::Disabled&) const { return "none"; }
    };
    EXPECT_EQ(ControlMode::systemVolume("a").match(Payload{}), "a");
    EXPECT_EQ(ControlMode::hardwareDDC("b").match(Payload{}), "b");
    EXPECT_EQ(ControlMode::softwareTap("c").match(Payload{}), "c");
    EXPECT_EQ(ControlMode::unavailable(UnavailableReason::noOutputDevice).match(Payload{}), "noOutputDevice");
    EXPECT_EQ(ControlMode::disabled().match(Payload{}), "none");
}

TEST(VolumeCommandTest, isEqualForTheSameCaseAndPayloadOnly)
{
    const std::vector<VolumeCommand> distinct{
        VolumeCommand::setLevel(0.5),
        VolumeCommand::setLevel(justAbove(0.5)),
        VolumeCommand::setMuted(true),
        VolumeCommand::setMuted(false),
        VolumeCommand::stepUp(),
        VolumeCommand::stepDown(),
        VolumeCommand::toggleMute(),
    };
    for (std::size_t i = 0; i < distinct.size(); ++i) {
        for (std::size_t k = 0; k < distinct.size(); ++k)
            EXPECT_EQ(distinct[i] == distinct[k], i == k) << i << " and " << k;
    }
}

TEST(VolumeCommandTest, aLevelThatIsNotANumberNeverEqualsItself)
{
    const VolumeCommand command = VolumeCommand::setLevel(notANumber);
    EXPECT_FALSE(command == VolumeCommand(command));
    EXPECT_EQ(VolumeCommand::setLevel(0.0), VolumeCommand::setLevel(-0.0));
}

TEST(VolumeSnapshotTest, clampLimitsToZeroAndOneAndTakesWhatIsNotFiniteForSilence)
{
    struct Row {
        double given;
        double clamped;
    };
    const std::vector<Row> rows{
        {notANumber, 0},
        {-notANumber, 0},
        {infinity, 0},
        {-infinity, 0},
        {-largestDouble, 0},
        {-1, 0},
        {-smallestDouble, 0},
        {-0.0, 0},
        {0, 0},
        {smallestDouble, smallestDouble},
        {0.5, 0.5},
        {justBelow(1), justBelow(1)},
        {1, 1},
        {justAbove(1), 1},
        {1.5, 1},
        {largestDouble, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(VolumeSnapshot::clamp(row.given), row.clamped);
        EXPECT_FALSE(std::signbit(VolumeSnapshot::clamp(row.given)));
        EXPECT_EQ(VolumeSnapshot(row.given, true).level, row.clamped);
        EXPECT_TRUE(VolumeSnapshot(row.given, true).isMuted);
        EXPECT_FALSE(VolumeSnapshot(row.given, false).isMuted);
    }
}

TEST(VolumeSnapshotTest, positiveInfinityIsSilenceAndNotFullScale)
{
    EXPECT_EQ(VolumeSnapshot(infinity, false), VolumeSnapshot(0, false));
}

TEST(VolumeSnapshotTest, aLevelAboveOneIsHeldAsOneAndStaysMuted)
{
    const VolumeSnapshot snapshot(1.5, true);
    EXPECT_EQ(snapshot.level, 1);
    EXPECT_TRUE(snapshot.isMuted);
}

TEST(VolumeSnapshotTest, clampsAndComparesAtCompileTime)
{
    static_assert(VolumeSnapshot::clamp(notANumber) == 0);
    static_assert(VolumeSnapshot::clamp(infinity) == 0);
    static_assert(VolumeSnapshot::clamp(-1) == 0);
    static_assert(VolumeSnapshot::clamp(2) == 1);
    static_assert(VolumeSnapshot::clamp(0.25) == 0.25);
    static_assert(VolumeSnapshot::defaultAudible() == VolumeSnapshot(0.5, false));
    static_assert(VolumeSnapshot::fullScale() == VolumeSnapshot(1, false));
    static_assert(VolumeSnapshot(0.5, true) != VolumeSnapshot(0.5, false));
    static_assert(VolumeSnapshot(0.5, true) != VolumeSnapshot(0.25, true));
    static_assert(std::is_trivially_copyable_v<VolumeSnapshot>);
}

TEST(VolumeSnapshotTest, assignmentLeavesTheLevelAsItIs)
{
    VolumeSnapshot snapshot = VolumeSnapshot::defaultAudible();
    snapshot.level = 1.5;
    EXPECT_EQ(snapshot.level, 1.5);
}

} // namespace
} // namespace quenstal
