#include "QuenstalLinux/Audio/ChannelVolumes.hpp"
#include "QuenstalLinux/Audio/OutputTransport.hpp"

#include <gtest/gtest.h>

namespace quenstal {
namespace {

TEST(OutputTransport, theFirstTestThatFitsDecides)
{
    const struct {
        const char* text;
        AudioProperties node;
        AudioProperties card;
        const char* portType;
        FourCharCode code;
    } rows[] = {
        {"bluetooth by its interface", {{"device.api", "bluez5"}}, {}, "", AudioTransportCode::bluetooth},
        {"bluetooth by a key", {{"api.bluez5.address", "x"}}, {}, "", AudioTransportCode::bluetooth},
        {"bluetooth by its name", {{"node.name", "bluez_output.00_11.1"}}, {}, "", AudioTransportCode::bluetooth},
        {"network by its name", {{"node.name", "raop_sink.Kitchen"}}, {}, "", AudioTransportCode::airPlay},
        {"network by a key", {{"raop.ip", "10.0.0.2"}}, {}, "", AudioTransportCode::airPlay},
        {"network by its media", {{"sess.media", "raop"}}, {}, "", AudioTransportCode::airPlay},
        {"several in one", {{"node.link-group", "combine-sink-1"}}, {}, "", AudioTransportCode::aggregate},
        {"HDMI by its jack", {{"device.api", "alsa"}}, {}, "hdmi", AudioTransportCode::hdmi},
        {"HDMI by its profile", {{"device.api", "alsa"}, {"device.profile.name", "hdmi-stereo-extra1"}}, {}, "",
            AudioTransportCode::hdmi},
        {"HDMI by a verb", {{"device.api", "alsa"}, {"device.profile.name", "HiFi: HDMI1: sink"}}, {}, "",
            AudioTransportCode::hdmi},
        {"HDMI by its path", {{"device.api", "alsa"}, {"api.alsa.path", "hdmi:0,3"}}, {}, "", AudioTransportCode::hdmi},
        {"HDMI before the form factor", {{"api.alsa.path", "hdmi:0"}},
            {{"device.api", "alsa"}, {"device.bus", "pci"}, {"device.form-factor", "internal"}}, "",
            AudioTransportCode::hdmi},
        {"HDMI of a USB dock", {{"node.name", "alsa_output.usb-Dock"}, {"device.api", "alsa"}}, {}, "hdmi",
            AudioTransportCode::hdmi},
        {"USB by its card", {}, {{"device.api", "alsa"}, {"device.bus", "usb"}}, "", AudioTransportCode::usb},
        {"USB by its name", {{"node.name", "alsa_output.usb-DAC"}}, {}, "", AudioTransportCode::usb},
        {"built in by its bus", {}, {{"device.api", "alsa"}, {"device.bus", "pci"}}, "speaker",
            AudioTransportCode::builtIn},
        {"built in by its form", {{"device.form-factor", "internal"}, {"device.api", "alsa"}}, {}, "",
            AudioTransportCode::builtIn},
        {"the node's word before its card's", {{"device.bus", "usb"}}, {{"device.api", "alsa"}, {"device.bus", "pci"}},
            "", AudioTransportCode::usb},
        {"a null sink", {{"node.name", "null"}, {"factory.name", "support.null-audio-sink"}}, {}, "",
            AudioTransportCode::unknown},
        {"a hdmi jack that is not a sound card's", {}, {}, "hdmi", AudioTransportCode::unknown},
    };
    for (const auto& row : rows) {
        SinkNode sink;
        sink.properties = row.node;
        CardDevice card;
        card.properties = row.card;
        OutputRoute route;
        route.portType = row.portType;
        EXPECT_EQ(outputTransport(sink, row.card.empty() ? nullptr : &card, &route), row.code) << row.text;
    }
}

TEST(OutputTransport, theMonitorItselfTellsHDMIFromDisplayPort)
{
    SinkNode sink;
    sink.properties = {{"device.api", "alsa"}, {"api.alsa.path", "hdmi:0"}};
    EXPECT_EQ(outputTransport(sink, nullptr, nullptr), AudioTransportCode::hdmi);
    sink.eld = Eld{"DELL", false, 0, 0};
    EXPECT_EQ(outputTransport(sink, nullptr, nullptr), AudioTransportCode::hdmi);
    sink.eld->isDisplayPort = true;
    EXPECT_EQ(outputTransport(sink, nullptr, nullptr), AudioTransportCode::displayPort);
}

TEST(OutputTransport, ownNodesAndTheStandInAreNoOutputs)
{
    EXPECT_TRUE(isOutput({{"node.name", "alsa_output.usb-DAC"}}));
    EXPECT_FALSE(isOutput({{"node.name", "auto_null"}}));
    EXPECT_FALSE(isOutput({{"node.name", "quenstal.software.1234"}}));
    EXPECT_FALSE(isOutput({}));
}

TEST(ChannelVolumes, theScalarIsTheCubeRoot)
{
    EXPECT_FLOAT_EQ(scalarOf(0.125F), 0.5F);
    EXPECT_FLOAT_EQ(factorOf(0.5F), 0.125F);
    EXPECT_EQ(scalarOf(0), 0);
    EXPECT_EQ(scalarOf(1), 1);
    EXPECT_EQ(scalarOf(1.5F), 1) << "louder than full is shown as full";
    for (int i = 0; i <= 100; ++i) {
        const float scalar = static_cast<float>(i) / 100;
        EXPECT_NEAR(scalarOf(factorOf(scalar)), scalar, 1e-6F);
    }
}

AudioVolume withBothScalars(const AudioVolume& volume, float scalar, const std::vector<float>& balance)
{
    return withScalar(withScalar(volume, 0, scalar, balance), 1, scalar, balance);
}

TEST(ChannelVolumes, otherLoudspeakersFollowTheFrontPair)
{
    const AudioVolume six{{0.125F, 0.125F, 0.0625F, 0.125F, 0.25F, 0}, {}, false, false};
    const auto balance = balanceOf(six);
    EXPECT_EQ(balance, (std::vector<float>{0.5F, 1, 2, 0}));
    const AudioVolume louder = withBothScalars(six, 0.75F, balance);
    const float front = 0.421875F;
    EXPECT_EQ(louder.channels, (std::vector<float>{front, front, front / 2, front, front * 2, 0}));
    const AudioVolume mono{{0.125F}, {}, false, false};
    EXPECT_EQ(withScalar(mono, 0, 1, balanceOf(mono)).channels, std::vector<float>{1});
}

TEST(ChannelVolumes, theirBalanceOutlivesAVolumeOfZero)
{
    const AudioVolume six{{0.125F, 0.125F, 0.0625F, 0.125F, 0.25F, 0}, {}, false, false};
    const auto balance = balanceOf(six);
    const AudioVolume silent = withBothScalars(six, 0, balance);
    EXPECT_EQ(silent.channels, std::vector<float>(6, 0));
    EXPECT_EQ(balanceOf(silent), std::vector<float>()) << "unknown";
    EXPECT_EQ(withBothScalars(silent, 0.5F, balance).channels, six.channels);
    EXPECT_EQ(withBothScalars(silent, 0.5F, {}).channels, std::vector<float>(6, 0.125F)) << "was silent from the start";
}

TEST(ChannelVolumes, aLoudspeakerThatIsFarLouderThanTheFrontIsNotAmplifiedWithIt)
{
    const AudioVolume uneven{{1e-5F, 1e-5F, 1, 0.5F}, {}, false, false};
    const auto balance = balanceOf(uneven);
    EXPECT_EQ(withBothScalars(uneven, 1, balance).channels, (std::vector<float>{1, 1, 1, 1}));
    EXPECT_FLOAT_EQ(withBothScalars(withBothScalars(uneven, 1, balance), 0.01F, balance).channels[2], 0.1F);
    const AudioVolume tiny{{1e-45F, 0, 1}, {}, false, false};
    EXPECT_EQ(withBothScalars(tiny, 0, balanceOf(tiny)).channels, std::vector<float>(3, 0)) << "no number runs over";
}

TEST(ChannelVolumes, aServersRoundingIsNoChange)
{
    const AudioVolume volume{{0.125F, 0.125F}, {}, false, true};
    AudioVolume other = volume;
    other.channels[1] = 0.12501F;
    EXPECT_TRUE(isSameVolume(volume, other));
    other.channels[1] = 0.13F;
    EXPECT_FALSE(isSameVolume(volume, other));
    other = volume;
    other.muted = true;
    EXPECT_FALSE(isSameVolume(volume, other));
    other = volume;
    other.channels.pop_back();
    EXPECT_FALSE(isSameVolume(volume, other));
}

} // namespace
} // namespace quenstal
