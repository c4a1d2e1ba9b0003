#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedDisplays.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct DisplayAdaptersTest : testing::Test {
    std::shared_ptr<SimulatedMonitor> connectMonitor(std::uint16_t volume, std::uint16_t maximum)
    {
        auto monitor = std::make_shared<SimulatedMonitor>(
            MonitorDescription{.volume = volume, .maximum = maximum, .quirks = {.busyAfterSet = {}}});
        buses.framebuffers = {{monitor}};
        return monitor;
    }

    static AudioOutputDevice output(AudioTransport transport)
    {
        return {"1", "Monitor", transport, false, std::nullopt};
    }

    SimulatedRunLoop loop;
    SimulatedDisplayBuses buses{loop};
    SimulatedDisplays displays;
    CoreGraphicsDisplayProvider provider{displays, buses};
    NativeDDCVolumeController volume{buses};
    const DisplayControlTarget anyTarget;
};

TEST_F(DisplayAdaptersTest, theFirstDisplayThatIsNotBuiltInIsTheTarget)
{
    connectMonitor(37, 100);
    displays.displays = {{1, true}, {4280803137, false}, {3, false}};
    EXPECT_EQ(provider.displayTarget(output(AudioTransport::hdmi)),
        (DisplayControlTarget{"4280803137", "External Display", true, true}));
    EXPECT_EQ(buses.requests().size(), 1u) << "one probe";
}

TEST_F(DisplayAdaptersTest, aDisplayThatDoesNotAnswerIsStillATarget)
{
    displays.displays = {{7, false}};
    EXPECT_EQ(provider.displayTarget(output(AudioTransport::displayPort)),
        (DisplayControlTarget{"7", "External Display", false, false}));
}

TEST_F(DisplayAdaptersTest, onlyOutputsThatAreMonitorsHaveATarget)
{
    connectMonitor(37, 100);
    displays.displays = {{7, false}};
    for (const auto& row : EnumerationTable<AudioTransport>::rows) {
        SCOPED_TRACE(row.rawValue);
        EXPECT_EQ(provider.displayTarget(output(row.value)).has_value(), row.isExternalDisplayLike);
    }
    EXPECT_EQ(buses.requests().size(), 2u) << "no bus is asked for any other output";
}

TEST_F(DisplayAdaptersTest, withoutAnExternalDisplayThereIsNoTargetAndNoProbe)
{
    connectMonitor(37, 100);
    for (const auto& online : std::vector<std::vector<SimulatedDisplays::Display>>{{}, {{1, true}, {2, true}}}) {
        displays.displays = online;
        EXPECT_EQ(provider.displayTarget(output(AudioTransport::hdmi)), std::nullopt);
    }
    EXPECT_TRUE(buses.calls().empty());
}

struct ReadRow {
    std::uint16_t current;
    std::uint16_t maximum;
    VolumeSnapshot expected;
};

TEST_F(DisplayAdaptersTest, theVolumeReadIsALevelOfTheMaximum)
{
    const std::vector<ReadRow> rows{
        {37, 100, {0.37, false}},
        {37, 0, {0.37, false}},
        {0, 100, {0, true}},
        {0, 0, {0, true}},
        {100, 100, {1, false}},
        {200, 100, {1, false}},
        {1, 65535, {1.0 / 65535, false}},
        {65535, 0, {1, false}},
    };
    for (const ReadRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.current) + " of " + std::to_string(row.maximum));
        connectMonitor(row.current, row.maximum);
        EXPECT_EQ(volume.readVolume(anyTarget), row.expected);
    }
}

TEST_F(DisplayAdaptersTest, aReadThatNothingAnswersThrowsUnsupportedDevice)
{
    try {
        volume.readVolume(anyTarget);
        FAIL();
    } catch (const QuenstalError& error) {
        EXPECT_EQ(error, QuenstalError::unsupportedDevice());
    }
}

struct WriteRow {
    VolumeSnapshot snapshot;
    std::uint16_t maximum;
    std::uint16_t written;
};

/// Past the constructor's clamp, as decoding and assignment may leave it.
VolumeSnapshot raw(double level)
{
    VolumeSnapshot snapshot;
    snapshot.level = level;
    return snapshot;
}

TEST_F(DisplayAdaptersTest, aLevelIsRoundedToTheMonitorsUnits)
{
    const std::vector<WriteRow> rows{
        {{0.505, false}, 100, 51},
        {{0.125, false}, 100, 13},
        {{0.5, false}, 1, 1},
        {{0.49, false}, 1, 0},
        {{0.3, false}, 50, 15},
        {{0.3, false}, 0, 30},
        {{1, false}, 65535, 65535},
        {{0.8, true}, 100, 0},
        {{0, false}, 100, 0},
        {raw(1.7), 100, 100},
        {raw(-2), 100, 0},
        {raw(notANumber), 100, 0},
        {raw(infinity), 100, 0},
    };
    for (const WriteRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.snapshot.level) + " of " + std::to_string(row.maximum));
        const auto monitor = connectMonitor(37, row.maximum);
        volume.setVolume(row.snapshot, anyTarget);
        EXPECT_EQ(monitor->volume(), row.written);
    }
}

TEST_F(DisplayAdaptersTest, aWriteReadsForItselfReadsAgainAndWrites)
{
    connectMonitor(37, 100);
    volume.setVolume({0.4, false}, anyTarget);
    std::vector<std::uint32_t> lengths;
    for (const I2CRequest& request : buses.requests())
        lengths.push_back(request.sendBytes);
    EXPECT_EQ(lengths, (std::vector<std::uint32_t>{5, 5, 7}));
}

TEST_F(DisplayAdaptersTest, aFailedFirstReadDoesNotStopTheWrite)
{
    const auto monitor = connectMonitor(37, 50);
    monitor->failNext(1, EIO);
    volume.setVolume({0.3, false}, anyTarget);
    EXPECT_EQ(monitor->volume(), 30) << "of 100, since the monitor's maximum was not learnt";
}

TEST_F(DisplayAdaptersTest, aWriteThatNothingTakesThrowsItsMessage)
{
    const auto monitor = connectMonitor(37, 100);
    monitor->setQuirks({.refusesSets = true});
    try {
        volume.setVolume({0.3, false}, anyTarget);
        FAIL();
    } catch (const QuenstalError& error) {
        EXPECT_EQ(error, QuenstalError::commandFailed("DDC/CI VCP 0x62 write failed."));
    }
}

} // namespace
} // namespace quenstal
