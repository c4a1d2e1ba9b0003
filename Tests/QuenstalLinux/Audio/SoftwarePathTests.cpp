#include "AudioSessionTest.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t second = 48000;

struct SoftwarePathTest : AudioSessionTest {
    /// Frames of the counted signal at a gain that is a power of two, without a gap and without a foreign bit.
    static testing::AssertionResult isCountedSignal(const std::vector<float>& heard, float gain)
    {
        if (heard.size() < 2)
            return testing::AssertionFailure() << "nothing was heard";
        auto expected = countOf(heard.front() / gain);
        for (std::size_t i = 0; i < heard.size(); ++i) {
            const auto count = countOf(heard[i] / gain);
            if (!count || count != expected)
                return testing::AssertionFailure() << "frame " << i << " is " << heard[i];
            expected = (*count + 1) % 65536;
        }
        return testing::AssertionSuccess();
    }
    static bool isSilent(const std::vector<float>& heard)
    {
        return !heard.empty() && std::ranges::all_of(heard, [](float sample) { return sample == 0; });
    }
    static bool isSound(float sample) { return sample != 0; }
    /// Waits until the counted signal is heard at that gain, for that many frames without a gap. On a busy machine
    /// without real-time priority a cycle may be missed; a wrong sample stays wrong.
    bool waitForGain(ProbeRecorder& recorder, float gain, std::size_t frames = 2000)
    {
        return loop.runUntil([&] {
            const auto heard = recorder.take(frames);
            return std::ranges::all_of(
                heard, [&](const auto& channel) { return bool(isCountedSignal(channel, gain)); });
        });
    }
};

TEST_F(SoftwarePathTest, aGainOfOneKeepsEveryBitAndAHalfHalvesEverySample)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForGain(recorder, 1)) << "the direct path";
    for (const float gain : {1.0F, 0.5F, 0.25F}) {
        parts->software.setVolume({gain, false}, device);
        ASSERT_TRUE(waitForCycles());
        EXPECT_TRUE(waitForGain(recorder, gain, second / 2)) << gain;
    }
}

TEST_F(SoftwarePathTest, muteLeavesNothingOfTheDirectPath)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForGain(recorder, 1));
    parts->software.setVolume({0.7, true}, device);
    ASSERT_TRUE(waitForCycles());
    ASSERT_TRUE(loop.runUntil([&] { return isSilent(recorder.take(4000)[0]); }));
    EXPECT_TRUE(isSilent(recorder.take(second / 2)[0]));
    EXPECT_GT(player.framesPlayed(), second / 2) << "the program keeps playing";
}

TEST_F(SoftwarePathTest, aNewStreamNeverPassesBeside)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer first(loop, countedSample);
    ASSERT_TRUE(waitForGain(recorder, 1));
    parts->software.setVolume({0, true}, device);
    ASSERT_TRUE(loop.runUntil([&] { return isSilent(recorder.take(4000)[0]); }));
    recorder.clear();
    for (int i = 0; i < 5; ++i) {
        ProbePlayer another(loop, countedSample);
        ASSERT_TRUE(loop.runUntil([&] { return another.framesPlayed() > 4000; }));
    }
    ProbePlayer named(loop, countedSample, monitorUID);
    ASSERT_TRUE(loop.runUntil([&] { return named.framesPlayed() > 4000; }));
    const std::size_t leaked = [&] {
        const auto heard = recorder.take(100);
        return static_cast<std::size_t>(std::ranges::count_if(heard[0], isSound));
    }();
    EXPECT_EQ(leaked, 0u);
}

TEST_F(SoftwarePathTest, streamsOfAnotherOutputStayThere)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    session("plug monitor2");
    ProbePlayer elsewhere(loop, countedSample, secondMonitorUID);
    ProbeRecorder there(loop, secondMonitorUID);
    ASSERT_TRUE(waitForGain(there, 1));
    ProbePlayer player(loop, countedSample);
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForCycles());
    EXPECT_TRUE(waitForGain(there, 1, second / 4));
}

TEST_F(SoftwarePathTest, anOutputThatIsNotTheDefaultIsTappedToo)
{
    plugInDefault("monitor", monitorUID);
    session("plug monitor2");
    const AudioOutputDevice other{"1", "", AudioTransport::hdmi, false, secondMonitorUID};
    ProbePlayer player(loop, countedSample, secondMonitorUID);
    ProbeRecorder recorder(loop, secondMonitorUID);
    ASSERT_TRUE(waitForGain(recorder, 1));
    parts->software.setVolume({0.5, false}, other);
    EXPECT_TRUE(waitForGain(recorder, 0.5F));
}

TEST_F(SoftwarePathTest, nothingIsDelayed)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    // Frames between a sample's being played and its being heard, on the server's clock.
    const auto delay = [&](float gain) {
        const auto heard = recorder.take(4096);
        const ProbePoint played = player.lastCycle();
        const ProbePoint recorded = recorder.lastCycle();
        const auto place = countOf(heard[0].at(recorded.frame < heard[0].size() ? recorded.frame : 0) / gain);
        const auto playedPlace = (played.frame + recorded.position - played.position) % 65536;
        return place && recorded.frame < heard[0].size() ? static_cast<int>((playedPlace - *place) % 65536) : -1;
    };
    ASSERT_TRUE(waitForGain(recorder, 1));
    int direct = -1;
    ASSERT_TRUE(loop.runUntil([&] { return (direct = delay(1)) >= 0; }));
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForGain(recorder, 0.5F));
    int through = -1;
    ASSERT_TRUE(loop.runUntil([&] { return (through = delay(0.5F)) >= 0; }));
    EXPECT_EQ(through, direct);
}

/// What the five bands do to a sine, by their definition in double precision.
double responseDB(const EQProfile& profile, double frequency, double rate)
{
    std::complex<double> response = std::pow(10, profile.preampDB / 20);
    const std::complex<double> z1 = std::polar(1.0, -2 * std::numbers::pi * frequency / rate);
    for (const EQBand& band : profile.bands) {
        const double a = std::pow(10, band.gainDB / 40);
        const double w = 2 * std::numbers::pi * band.frequencyHz / rate;
        const double alpha = std::sin(w) / 2;
        response *= (1 + alpha * a - 2 * std::cos(w) * z1 + (1 - alpha * a) * z1 * z1)
            / (1 + alpha / a - 2 * std::cos(w) * z1 + (1 - alpha / a) * z1 * z1);
    }
    return 20 * std::log10(std::abs(response));
}

double amplitude(const std::vector<float>& heard, double frequency, double rate)
{
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < heard.size(); ++i)
        sum += static_cast<double>(heard[i])
            * std::polar(1.0, -2 * std::numbers::pi * frequency * static_cast<double>(i) / rate);
    return 2 * std::abs(sum) / static_cast<double>(heard.size());
}

/// The sine and nothing else: no gap, no jump of its phase. A busy machine loses a cycle now and then, which says
/// nothing about the equalizer.
bool isUninterrupted(const std::vector<float>& heard, double sineAmplitude)
{
    double power = 0;
    for (const float sample : heard)
        power += static_cast<double>(sample) * static_cast<double>(sample);
    const double sinePower = sineAmplitude * sineAmplitude / 2 * static_cast<double>(heard.size());
    return std::abs(power - sinePower) < 1e-4 * sinePower;
}

/// The amplitude of a sine that comes without interruption; 0 when none does.
double settledAmplitude(ProbeRecorder& recorder, double frequency)
{
    constexpr int attempts = 20;
    for (int i = 0; i < attempts; ++i) {
        const auto heard = recorder.take(second / 5);
        const double found = amplitude(heard[0], frequency, 48000);
        if (isUninterrupted(heard[0], found))
            return found;
    }
    return 0;
}

TEST_F(SoftwarePathTest, theEqualizerIsHeardWithinATenthOfADecibel)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    const EQProfile profile = EQProfile(true, EQPresetName::movie, -3);
    parts->software.setEQProfile(profile, device);
    ProbeRecorder recorder(loop, monitorUID);
    for (const double frequency : {60.0, 250.0, 1000.0, 4000.0, 12000.0}) {
        ProbePlayer player(loop, [&](std::uint64_t frame) {
            return static_cast<float>(
                0.1 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(frame) / 48000));
        });
        ASSERT_TRUE(recorder.waitFor(isSound));
        recorder.take(second / 4); // until the filters have settled
        const double decibels = 20 * std::log10(settledAmplitude(recorder, frequency) / 0.1);
        EXPECT_NEAR(decibels, responseDB(profile, frequency, 48000), 0.1) << frequency;
    }
}

TEST_F(SoftwarePathTest, theMetersFollowWhatIsPlayed)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    parts->software.setVolume({0.5, false}, device);
    ProbePlayer player(loop, [](std::uint64_t frame) { return frame % 2 == 0 ? 0.5F : -0.5F; });
    EXPECT_TRUE(loop.runUntil([&] { return parts->software.readLevels(device).levelL == 0.25; }));
    EXPECT_EQ(parts->software.readLevels(device).levelR, 0.25);
}

TEST_F(SoftwarePathTest, garbageFromAProgramIsRepairedAndCounted)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    parts->software.setEQProfile(EQProfile(true, EQPresetName::music, 0), device);
    ProbeRecorder recorder(loop, monitorUID);
    ASSERT_TRUE(recorder.isReady());
    {
        ProbePlayer player(loop, [](std::uint64_t frame) {
            return frame % 3 == 0 ? std::numeric_limits<float>::quiet_NaN() : frame % 3 == 1 ? 1e30F : 0.1F;
        });
        ASSERT_TRUE(recorder.waitFor(isSound));
        const auto heard = recorder.take(second / 4);
        EXPECT_TRUE(std::ranges::all_of(heard[0], [](float sample) { return std::abs(sample) <= 1; }));
        EXPECT_GT(parts->taps.repairedSamples(), 1000u);
    }
    ProbePlayer player(loop, [](std::uint64_t) { return 0.25F; });
    EXPECT_TRUE(recorder.waitFor([](float sample) { return std::abs(sample - 0.25F) < 1e-3F; }))
        << "the equalizer works on";
}

TEST_F(SoftwarePathTest, sixChannelsPassEachOnItsOwn)
{
    const AudioOutputDevice device = plugInDefault("surround", surroundUID);
    ProbeRecorder recorder(loop, surroundUID, 6);
    ProbePlayer player(loop, countedSample, {}, 6);
    parts->software.setVolume({0.5, false}, device);
    EXPECT_TRUE(waitForGain(recorder, 0.5F, second / 4));
}

TEST_F(SoftwarePathTest, endingTheSessionGivesTheDirectPathBack)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForGain(recorder, 1));
    const std::string metadata = outputOf("pw-metadata -n default | grep configured || true");
    const std::string sinks = outputOf("pactl list short sinks | cut -f2");
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForGain(recorder, 0.5F));
    EXPECT_EQ(outputOf("pactl list short sinks | cut -f2"), sinks) << "no other output is shown";
    EXPECT_EQ(defaultOutput()->coreAudioUID, monitorUID);

    recorder.clear();
    parts->software.stopAll();
    EXPECT_TRUE(waitForGain(recorder, 1, second / 4));
    EXPECT_EQ(outputOf("pw-metadata -n default | grep configured || true"), metadata);
    EXPECT_EQ(outputOf("pw-metadata -n default | grep target.object || true"), "");
    EXPECT_TRUE(loop.runUntil([this] { return outputOf("pw-cli ls Node | grep quenstal || true").empty(); }));
}

TEST_F(SoftwarePathTest, quantumAndRateMayChangeWhileItRuns)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForGain(recorder, 0.5F));
    outputOf("pw-metadata -n settings 0 clock.force-quantum 128");
    EXPECT_TRUE(waitForGain(recorder, 0.5F));

    std::vector<double> rates;
    const auto watch = parts->taps.onTapChanged([&](AudioObjectID tap, TapChange) {
        AudioStreamBasicDescription format;
        if (parts->taps.tapFormat(tap, format) == 0)
            rates.push_back(format.sampleRate);
    });
    outputOf("pw-metadata -n settings 0 clock.force-rate 44100");
    EXPECT_TRUE(loop.runUntil([&] { return !rates.empty() && rates.back() == 44100; }));
    EXPECT_TRUE(recorder.waitFor(isSound));
    outputOf("pw-metadata -n settings 0 clock.force-rate 48000");
    EXPECT_TRUE(loop.runUntil([&] { return rates.back() == 48000; }));
    outputOf("pw-metadata -n settings 0 clock.force-rate 0");
    outputOf("pw-metadata -n settings 0 clock.force-quantum 0");
}

TEST_F(SoftwarePathTest, aRunningSessionDoesNotWakeTheMainThread)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbePlayer player(loop, countedSample);
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForCycles());
    // What the start of a program leads to comes to an end first.
    auto before = loop.wakeUps();
    auto lastWakeUp = loop.steadyNow();
    ASSERT_TRUE(loop.runUntil([&] {
        if (std::exchange(before, loop.wakeUps()) != loop.wakeUps())
            lastWakeUp = loop.steadyNow();
        return loop.steadyNow() - lastWakeUp > 1s;
    }));
    loop.runFor(3s);
    EXPECT_EQ(loop.wakeUps(), before);
}

} // namespace
} // namespace quenstal
