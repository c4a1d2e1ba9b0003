#include "QuenstalApp/NativeAdapters/CoreAudioSystemVolumeController.hpp"
#include "QuenstalSimulation/SimulatedAudioObjects.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Calls = std::vector<std::string>;
using Volumes = std::map<std::uint32_t, SimulatedAudioControl>;

template <typename Operation>
std::optional<QuenstalError> errorOf(Operation operation)
{
    try {
        operation();
    } catch (const QuenstalError& error) {
        return error;
    }
    return std::nullopt;
}

struct CoreAudioSystemVolumeControllerTest : testing::Test {
    AudioOutputDevice plugIn(Volumes volumes, std::optional<SimulatedAudioControl> mute = std::nullopt)
    {
        id = objects.addOutput({.volumes = std::move(volumes), .mute = mute});
        return named(std::to_string(id));
    }
    static AudioOutputDevice named(std::string id)
    {
        AudioOutputDevice device;
        device.id = std::move(id);
        return device;
    }
    float volume(std::uint32_t element) { return objects.output(id)->volumes.at(element).value; }

    SimulatedRunLoop loop;
    SimulatedAudioObjects objects{loop};
    CoreAudioSystemVolumeController controller{objects};
    AudioObjectID id = 0;
};

TEST_F(CoreAudioSystemVolumeControllerTest, theLevelIsTheMeanOfTheReadableElements)
{
    const struct {
        Volumes volumes;
        double level;
    } rows[] = {
        {{{0, {0.3F}}}, static_cast<double>(0.3F)},
        {{{1, {0.2F}}, {2, {0.6F}}}, static_cast<double>((0.2F + 0.6F) / 2)},
        {{{0, {0.3F}}, {1, {0.6F}}, {2, {0.9F}}}, static_cast<double>((0.3F + 0.6F + 0.9F) / 3)},
        {{{1, {0.2F}}, {3, {1.0F}}}, static_cast<double>(0.2F)},
        {{{0, {1.5F}}}, 1.0},
        {{{0, {-0.5F}}}, 0.0},
        {{{0, {std::numeric_limits<float>::quiet_NaN()}}}, 0.0},
        {{{0, {std::numeric_limits<float>::infinity()}}}, 0.0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(controller.readVolume(plugIn(row.volumes)).level, row.level);
}

TEST_F(CoreAudioSystemVolumeControllerTest, anElementThatCannotBeReadIsLeftOut)
{
    const auto device = plugIn({{1, {0.2F}}, {2, {0.6F}}});
    objects.journal().failWith("get 40 volm outp 1", -50);
    EXPECT_EQ(controller.readVolume(device).level, static_cast<double>(0.6F));
}

TEST_F(CoreAudioSystemVolumeControllerTest, readingAsksForEachElementInOrderThenForTheMute)
{
    controller.readVolume(plugIn({{1, {0.2F}}, {2, {0.6F}}}, SimulatedAudioControl{1}));
    EXPECT_EQ(objects.journal().calls(),
        (Calls{
            "has 40 volm outp 0",
            "has 40 volm outp 1",
            "get 40 volm outp 1",
            "has 40 volm outp 2",
            "get 40 volm outp 2",
            "has 40 mute outp 0",
            "get 40 mute outp 0",
        }));
}

TEST_F(CoreAudioSystemVolumeControllerTest, muteIsReadFromTheMainElement)
{
    EXPECT_TRUE(controller.readVolume(plugIn({{0, {0.5F}}}, SimulatedAudioControl{1})).isMuted);
    EXPECT_FALSE(controller.readVolume(plugIn({{0, {0.5F}}}, SimulatedAudioControl{0})).isMuted);
    EXPECT_FALSE(controller.readVolume(plugIn({{0, {0.5F}}})).isMuted);
    const auto unreadable = plugIn({{0, {0.5F}}}, SimulatedAudioControl{1});
    objects.journal().failWith("get " + unreadable.id + " mute", -50);
    EXPECT_FALSE(controller.readVolume(unreadable).isMuted);
}

TEST_F(CoreAudioSystemVolumeControllerTest, aDeviceWithoutAVolumeIsUnsupported)
{
    const auto device = plugIn({}, SimulatedAudioControl{});
    EXPECT_EQ(errorOf([&] { controller.readVolume(device); }), QuenstalError::unsupportedDevice());
    EXPECT_EQ(errorOf([&] { controller.setVolume({0.5, true}, device); }), QuenstalError::unsupportedDevice());
    EXPECT_EQ(objects.journal().callsBeginning("set "), Calls{});
}

TEST_F(CoreAudioSystemVolumeControllerTest, aDeviceThatHasGoneIsUnsupported)
{
    const auto device = plugIn({{0, {0.5F}}});
    objects.removeOutput(id);
    EXPECT_EQ(errorOf([&] { controller.readVolume(device); }), QuenstalError::unsupportedDevice());
    EXPECT_EQ(errorOf([&] { controller.setVolume({0.5, false}, device); }), QuenstalError::unsupportedDevice());
}

TEST_F(CoreAudioSystemVolumeControllerTest, theIdentifierIsADecimalNumberOf32Bits)
{
    plugIn({{0, {0.5F}}});
    const struct {
        const char* id;
        bool valid;
    } rows[] = {
        {"40", true},
        {"+40", true},
        {"0040", true},
        {"", false},
        {"+", false},
        {"-", false},
        {"-40", false},
        {"40 ", false},
        {" 40", false},
        {"0x28", false},
        {"4O", false},
        {"++40", false},
        {"+-40", false},
        {"4294967336", false},
    };
    for (const auto& row : rows) {
        const auto error = errorOf([&] { controller.readVolume(named(row.id)); });
        EXPECT_EQ(!error, row.valid) << '"' << row.id << '"';
    }
}

TEST_F(CoreAudioSystemVolumeControllerTest, minusZeroIsTheNumberZero)
{
    for (const char* text : {"-0", "0", "-000"}) {
        objects.journal().clear();
        EXPECT_TRUE(errorOf([&] { controller.readVolume(named(text)); }));
        EXPECT_EQ(objects.journal().calls().front(), "has 0 volm outp 0") << text;
    }
}

TEST_F(CoreAudioSystemVolumeControllerTest, theNormalisedLevelIsWrittenToEverySettableElement)
{
    const struct {
        double level;
        float written;
    } rows[] = {
        {0.5, 0.5F},
        {1.5, 1.0F},
        {-0.5, 0.0F},
        {std::numeric_limits<double>::quiet_NaN(), 0.0F},
        {std::numeric_limits<double>::infinity(), 0.0F},
    };
    for (const auto& row : rows) {
        const auto device = plugIn({{0, {0.3F, false}}, {1, {0.3F}}, {2, {0.3F}}, {3, {0.3F}}});
        VolumeSnapshot snapshot;
        snapshot.level = row.level;
        controller.setVolume(snapshot, device);
        EXPECT_EQ(volume(0), 0.3F);
        EXPECT_EQ(volume(1), row.written);
        EXPECT_EQ(volume(2), row.written);
        EXPECT_EQ(volume(3), 0.3F);
    }
}

TEST_F(CoreAudioSystemVolumeControllerTest, everySettabilityIsAskedBeforeTheFirstWriteAndTheMuteComesLast)
{
    controller.setVolume({0.5, true}, plugIn({{0, {0.3F}}, {2, {0.3F}}}, SimulatedAudioControl{}));
    EXPECT_EQ(objects.journal().calls(),
        (Calls{
            "settable 40 volm outp 0",
            "settable 40 volm outp 1",
            "settable 40 volm outp 2",
            "set 40 volm outp 0 = 0.500000",
            "set 40 volm outp 2 = 0.500000",
            "settable 40 mute outp 0",
            "set 40 mute outp 0 = 1",
        }));
}

TEST_F(CoreAudioSystemVolumeControllerTest, aFailedWriteStopsAndLeavesEarlierElementsAndTheMute)
{
    const auto device = plugIn({{0, {0.3F}}, {1, {0.3F}}, {2, {0.3F}}}, SimulatedAudioControl{});
    objects.journal().failWith("set 40 volm outp 1", -50);
    EXPECT_EQ(errorOf([&] {
        controller.setVolume({0.5, true}, device);
    }),
        QuenstalError::commandFailed("Core Audio volume set failed with status -50."));
    EXPECT_EQ(volume(0), 0.5F);
    EXPECT_EQ(volume(1), 0.3F);
    EXPECT_EQ(volume(2), 0.3F);
    EXPECT_EQ(objects.journal().callsBeginning("set 40 mute"), Calls{});
}

TEST_F(CoreAudioSystemVolumeControllerTest, settabilityThatCannotBeAskedIsNone)
{
    const auto device = plugIn({{0, {0.3F}}});
    objects.journal().failWith("settable 40 volm outp 0", -50);
    EXPECT_EQ(errorOf([&] { controller.setVolume({0.5, false}, device); }), QuenstalError::unsupportedDevice());
}

TEST_F(CoreAudioSystemVolumeControllerTest, aMuteThatCannotBeSetIsDroppedSilently)
{
    const struct {
        std::optional<SimulatedAudioControl> mute;
        PlatformStatus forced;
    } rows[] = {
        {std::nullopt, 0},
        {SimulatedAudioControl{0, false}, 0},
        {SimulatedAudioControl{0, true}, -50},
    };
    for (const auto& row : rows) {
        const auto device = plugIn({{0, {0.3F}}}, row.mute);
        objects.journal().failWith("set " + device.id + " mute", row.forced);
        EXPECT_EQ(errorOf([&] { controller.setVolume({0.5, true}, device); }), std::nullopt);
        EXPECT_EQ(volume(0), 0.5F);
    }
}

TEST_F(CoreAudioSystemVolumeControllerTest, changesByOthersAndNewOutputsAreReportedOnALaterTurn)
{
    const auto device = plugIn({{0, {0.3F}}});
    loop.runUntilIdle();
    int outputs = 0;
    std::vector<AudioObjectID> volumes;
    const auto outputWatch = objects.onOutputsChanged([&] { ++outputs; });
    auto volumeWatch = objects.onVolumeChangedElsewhere([&](AudioObjectID changed) { volumes.push_back(changed); });
    controller.setVolume({0.5, false}, device);
    objects.changeVolumeElsewhere(id, 0, 0.9F);
    EXPECT_TRUE(volumes.empty());
    loop.runUntilIdle();
    EXPECT_EQ(volumes, std::vector<AudioObjectID>{id});
    objects.removeOutput(id);
    volumeWatch.reset();
    loop.runUntilIdle();
    EXPECT_EQ(outputs, 1);
}

} // namespace
} // namespace quenstal
