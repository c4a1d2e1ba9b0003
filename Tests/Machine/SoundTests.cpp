// Sound cards of an emulated machine, recorded at the far end of the cable: a built-in output with a volume of its own,
// and an HDMI socket into which monitors are plugged while a program plays.

#include "Machine/HdmiSocket.hpp"
#include "Machine/MachineLoop.hpp"
#include "Machine/Recording.hpp"
#include "QuenstalLinux/Audio/AudioSessionTest.hpp"

#include <cmath>
#include <cstdlib>
#include <memory>

namespace quenstal {
namespace {

constexpr const char* builtIn = "analog";
constexpr const char* socket = "hdmi";
constexpr const char* monitorOutput = "alsa_output.pci-0000_00_11.0.hdmi-stereo";
/// Half of full scale, as the cards play it.
constexpr int half = 16384;
/// The same with a slider at its half, 18 dB down. The emulated amplifier is linear in its 74 steps, which it calls
/// decibels.
constexpr int atHalf = half * (255 * (74 - 18) / 74) / 255;

/// A square wave at half of full scale.
float square(std::uint64_t frame)
{
    constexpr std::uint64_t halfPeriod = 24;
    return frame / halfPeriod % 2 == 0 ? 0.5F : -0.5F;
}

struct MachineSoundTest : testing::Test {
    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        if (!std::getenv("QUENSTAL_AUDIO_SESSION"))
            GTEST_SKIP() << "no private audio session";
        const std::string choice
            = std::string("pw-metadata 0 default.configured.audio.sink '{\"name\": \"") + monitorOutput;
        ASSERT_EQ(std::system((choice + "\"}' Spa:String:JSON >/dev/null").c_str()), 0);
        parts = std::make_unique<AudioSessionTest::Parts>(loop);
        ASSERT_TRUE(becomesDefault(AudioTransport::builtIn));
    }

    void TearDown() override
    {
        if (!parts)
            return;
        hdmi().pullOut();
        EXPECT_TRUE(becomesDefault(AudioTransport::builtIn));
    }

    static Emulator& machine()
    {
        static Emulator emulator;
        return emulator;
    }
    static HdmiSocket& hdmi()
    {
        static HdmiSocket socket;
        return socket;
    }

    std::optional<AudioOutputDevice> defaultOutput()
    {
        return CoreAudioDeviceProvider(parts->objects).defaultOutputDevice();
    }
    testing::AssertionResult becomesDefault(AudioTransport transport)
    {
        return loop.runUntil([this, transport] {
            const auto output = defaultOutput();
            return output && output->transport == transport;
        });
    }
    /// The monitor as the default output, at full volume of the desktop's own.
    AudioOutputDevice plugIn(const std::string& name, bool isDisplayPort = false)
    {
        hdmi().plugIn(name, isDisplayPort);
        EXPECT_TRUE(becomesDefault(isDisplayPort ? AudioTransport::displayPort : AudioTransport::hdmi));
        EXPECT_EQ(std::system("wpctl set-volume @DEFAULT_AUDIO_SINK@ 1.0"), 0);
        return defaultOutput().value_or(AudioOutputDevice{});
    }

    MachineLoop loop;
    std::unique_ptr<AudioSessionTest::Parts> parts;
};

TEST_F(MachineSoundTest, aBuiltInOutputHasAVolumeOfItsOwn)
{
    const AudioOutputDevice device = defaultOutput().value();
    EXPECT_TRUE(device.supportsNativeVolume);
    const ProbePlayer player(loop, square);
    Recording recording(machine(), builtIn);
    parts->system.setVolume({1, false}, device);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(half); }));
    parts->system.setVolume({0.5, false}, device);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(atHalf); }));
    parts->system.setVolume({0.5, true}, device);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(0); }));
    parts->system.setVolume({1, false}, device);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(half); }));
}

TEST_F(MachineSoundTest, whatTheMonitorSaysOfItselfTellsHdmiFromDisplayPort)
{
    const AudioOutputDevice overHdmi = plugIn("Machine 27");
    EXPECT_EQ(overHdmi.name, "Machine 27");
    EXPECT_FALSE(overHdmi.supportsNativeVolume);
    hdmi().pullOut();
    EXPECT_TRUE(becomesDefault(AudioTransport::builtIn));
    const AudioOutputDevice overDisplayPort = plugIn("Machine 32", true);
    EXPECT_EQ(overDisplayPort.name, "Machine 32");
    EXPECT_FALSE(overDisplayPort.supportsNativeVolume);
}

TEST_F(MachineSoundTest, theSoftwarePathHalvesWhatTheMonitorGets)
{
    const AudioOutputDevice device = plugIn("Machine 27");
    const ProbePlayer player(loop, square);
    Recording recording(machine(), socket);
    ASSERT_TRUE(loop.runUntil([&] { return recording.isHeard(half); })) << "the direct path";
    for (const double gain : {0.5, 0.25, 1.0}) {
        parts->software.setVolume({gain, false}, device);
        EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(static_cast<int>(half * gain)); })) << gain;
    }
    parts->software.setVolume({1, true}, device);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(0); })) << "mute";
}

TEST_F(MachineSoundTest, aMonitorPulledOutGivesTheSoundToTheBuiltInOutputAtItsOwnVolume)
{
    const AudioOutputDevice before = defaultOutput().value();
    parts->system.setVolume({1, false}, before);
    const AudioOutputDevice device = plugIn("Machine 27");
    const ProbePlayer player(loop, square);
    parts->software.setVolume({0.25, false}, device);
    {
        Recording recording(machine(), socket);
        ASSERT_TRUE(loop.runUntil([&] { return recording.isHeard(half / 4); }));
    }
    hdmi().pullOut();
    ASSERT_TRUE(becomesDefault(AudioTransport::builtIn));
    {
        Recording recording(machine(), builtIn);
        EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(half); }));
    }
    const AudioOutputDevice again = plugIn("Machine 27");
    parts->software.setVolume({0.5, false}, again);
    Recording recording(machine(), socket);
    EXPECT_TRUE(loop.runUntil([&] { return recording.isHeard(half / 2); }));
}

} // namespace
} // namespace quenstal
