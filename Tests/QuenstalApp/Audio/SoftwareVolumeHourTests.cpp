// The callbacks of one hour, back to back on the simulated machine's own audio thread, while the main thread turns
// every knob. Most of it is the thread sanitizer's to see; without it a minute has to do.
//
// The sound server's library is left out on purpose: it is not built for the sanitizer, which cannot see the order that
// its own loops keep. A cycle is shorter than a server's, so that the hour is over soon: what two threads share is
// shared once a cycle, not once a frame.

#include "QuenstalApp/NativeAdapters/CoreAudioTapSoftwareVolumeController.hpp"
#include "QuenstalSimulation/SimulatedAudioTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Random.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

#ifdef __SANITIZE_THREAD__
constexpr int seconds = 3600;
#else
constexpr int seconds = 60;
#endif
constexpr int framesOfAServersCycle = 1024;
constexpr int cycles = 48000 * seconds / framesOfAServersCycle;
constexpr std::uint32_t framesOfOurCycle = 32;
constexpr int cyclesOfAStretch = 500;

struct SoftwareVolumeHour : testing::Test {
    SoftwareVolumeHour()
    {
        objects.addOutput({.transport = AudioTransportCode::hdmi, .uid = "HDMI-1"});
        taps.setQuantum(framesOfOurCycle);
        taps.play([this](std::uint32_t channel, std::uint64_t frame) {
            if (channel == 0 && frame % framesOfOurCycle == 0)
                begun.fetch_add(1, std::memory_order_relaxed);
            return frame % 100 < 50 ? 0.6F : -0.6F;
        });
        controller.setVolume({0.5, false}, device);
    }

    void turnEveryKnob()
    {
        controller.setVolume({random.between(0.0, 1.0), random.below(10) == 0}, device);
        const EQProfile profile
            = EQProfile(true, EQPresetName::movie, random.between(-12.0, 6.0))
                  .settingBand(static_cast<std::int64_t>(random.below(5)), random.between(-12.0, 12.0))
                  .settingEnabled(random.below(4) != 0);
        controller.setEQProfile(profile, device);
        taps.changeRate("HDMI-1", random.oneOf(std::array{44100.0, 48000.0, 96000.0}));
        loop.runUntilIdle();
        const SoundLevelSnapshot levels = controller.readLevels(device);
        levelsSeen += levels.levelL > 0 ? 1 : 0;
        ++turns;
    }

    SimulatedRunLoop loop;
    SimulatedAudioObjects objects{loop};
    SimulatedAudioTaps taps{objects, loop};
    CoreAudioTapSoftwareVolumeController controller{taps};
    const AudioOutputDevice device{"41", "", AudioTransport::hdmi, false, "HDMI-1"};
    test::Random random{11};
    std::atomic<int> begun = 0;
    int turns = 0;
    int levelsSeen = 0;
};

TEST_F(SoftwareVolumeHour, everyKnobMayBeTurnedDuringAnyCycle)
{
    int wanted = 0;
    while (wanted < cycles) {
        wanted += cyclesOfAStretch;
        taps.requestCycles(cyclesOfAStretch);
        while (begun.load(std::memory_order_relaxed) < wanted)
            turnEveryKnob();
        const auto heard = taps.awaitCycles();
        ASSERT_EQ(heard.size(), 2u);
        for (const auto& channel : heard) {
            ASSERT_EQ(channel.size(), std::size_t{cyclesOfAStretch} * framesOfOurCycle);
            ASSERT_TRUE(std::ranges::all_of(channel, [](float sample) { return std::abs(sample) <= 1; }));
        }
    }
    RecordProperty("turns", turns);
    EXPECT_EQ(begun, wanted);
    EXPECT_GT(levelsSeen, 0);

    // What was set last is heard whole, whatever was under way before.
    controller.setEQProfile(EQProfile::defaultProfile(), device);
    controller.setVolume({0.5, false}, device);
    const auto last = taps.runCycles(2);
    EXPECT_EQ(std::abs(last.at(0).back()), 0.3F);
}

} // namespace
} // namespace quenstal
