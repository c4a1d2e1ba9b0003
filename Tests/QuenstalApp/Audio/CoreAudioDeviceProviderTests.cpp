#include "QuenstalApp/NativeAdapters/CoreAudioDeviceProvider.hpp"
#include "QuenstalSimulation/SimulatedAudioObjects.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

struct CoreAudioDeviceProviderTest : testing::Test {
    AudioOutputDevice described(SimulatedOutput output)
    {
        objects.setDefaultOutput(objects.addOutput(std::move(output)));
        return provider.defaultOutputDevice().value();
    }

    SimulatedRunLoop loop;
    SimulatedAudioObjects objects{loop};
    CoreAudioDeviceProvider provider{objects};
};

TEST_F(CoreAudioDeviceProviderTest, anOutputIsDescribedFieldByField)
{
    const AudioOutputDevice device = described({.name = "DELL U2720Q",
        .transport = AudioTransportCode::hdmi,
        .uid = "alsa_output.pci-0000_01_00.1.hdmi-stereo"});
    EXPECT_EQ(device,
        (AudioOutputDevice{
            "40", "DELL U2720Q", AudioTransport::hdmi, false, "alsa_output.pci-0000_01_00.1.hdmi-stereo"}));
}

TEST_F(CoreAudioDeviceProviderTest, propertiesAreAskedForByTheirCodes)
{
    described({.name = "Speakers", .volumes = {{2, {0.5F}}}});
    EXPECT_EQ(objects.journal().calls(),
        (std::vector<std::string>{
            "get 1 dOut glob 0",
            "get 40 lnam glob 0",
            "get 40 tran glob 0",
            "has 40 volm outp 0",
            "has 40 volm outp 1",
            "has 40 volm outp 2",
            "get 40 uid  glob 0",
        }));
}

TEST_F(CoreAudioDeviceProviderTest, withoutADefaultOutputThereIsNone)
{
    EXPECT_EQ(provider.defaultOutputDevice(), std::nullopt);
}

TEST_F(CoreAudioDeviceProviderTest, anUnreadableDefaultOutputIsNone)
{
    objects.addOutput({.name = "Speakers"});
    objects.journal().failWith("get 1 dOut", -50);
    EXPECT_EQ(provider.defaultOutputDevice(), std::nullopt);
}

TEST_F(CoreAudioDeviceProviderTest, anUnreadableNameIsReplacedAndAnEmptyOneKept)
{
    EXPECT_EQ(described({.name = std::nullopt}).name, "Unknown Output");
    EXPECT_EQ(described({.name = ""}).name, "");
    objects.journal().failWith("get 42 lnam", -50);
    EXPECT_EQ(described({.name = "Speakers"}).name, "Unknown Output");
}

TEST_F(CoreAudioDeviceProviderTest, aNameIsPresentableAndOneOfWhichNothingIsSeenReplaced)
{
    EXPECT_EQ(described({.name = "B&O\n\x1B[2J\u202E"}).name, "B&O  [2J");
    EXPECT_EQ(described({.name = "\x1B\n"}).name, "Unknown Output");
}

TEST_F(CoreAudioDeviceProviderTest, anUnreadableUIDIsNoneAndAnEmptyOneKept)
{
    EXPECT_EQ(described({.uid = std::nullopt}).coreAudioUID, std::nullopt);
    EXPECT_EQ(described({.uid = ""}).coreAudioUID, "");
    objects.journal().failWith("get 42 uid ", -50);
    EXPECT_EQ(described({.uid = "HDMI-1"}).coreAudioUID, std::nullopt);
}

TEST_F(CoreAudioDeviceProviderTest, everyTransportCodeHasItsTransport)
{
    const struct {
        FourCharCode code;
        AudioTransport transport;
    } rows[] = {
        {fourCharCode("bltn"), AudioTransport::builtIn},
        {fourCharCode("blue"), AudioTransport::bluetooth},
        {fourCharCode("blea"), AudioTransport::bluetooth},
        {fourCharCode("usb "), AudioTransport::usb},
        {fourCharCode("hdmi"), AudioTransport::hdmi},
        {fourCharCode("dprt"), AudioTransport::displayPort},
        {fourCharCode("airp"), AudioTransport::airPlay},
        {fourCharCode("grup"), AudioTransport::aggregate},
        {fourCharCode("vrtl"), AudioTransport::unknown},
        {fourCharCode("virt"), AudioTransport::unknown},
        {fourCharCode("pci "), AudioTransport::unknown},
        {0, AudioTransport::unknown},
    };
    for (const auto& row : rows)
        EXPECT_EQ(described({.transport = row.code}).transport, row.transport) << fourCharText(row.code);
}

TEST_F(CoreAudioDeviceProviderTest, anUnreadableTransportIsUnknown)
{
    objects.journal().failWith("get 40 tran", -50);
    EXPECT_EQ(described({.transport = AudioTransportCode::hdmi}).transport, AudioTransport::unknown);
}

TEST_F(CoreAudioDeviceProviderTest, aVolumeOnAnyOfTheThreeElementsIsNativeVolume)
{
    const struct {
        std::map<std::uint32_t, SimulatedAudioControl> volumes;
        bool supported;
        const char* text;
    } rows[] = {
        {{}, false, "none"},
        {{{0, {}}}, true, "main"},
        {{{1, {}}}, true, "left"},
        {{{2, {}}}, true, "right"},
        {{{3, {}}}, false, "a third channel is not looked at"},
        {{{0, {0, false}}}, true, "settability is not asked"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(described({.volumes = row.volumes}).supportsNativeVolume, row.supported) << row.text;
}

TEST_F(CoreAudioDeviceProviderTest, aMuteAloneIsNoNativeVolume)
{
    EXPECT_FALSE(described({.mute = SimulatedAudioControl{}}).supportsNativeVolume);
}

} // namespace
} // namespace quenstal
