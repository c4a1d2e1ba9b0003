// One cycle, seen from outside: samples in, samples and meters out.

#include "QuenstalDDC/SoftwareVolumeTap.hpp"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

struct ProcedureTest : testing::Test {
    ProcedureTest() { QSSoftwareVolumeSessionPrepare(session, 1); }

    PlatformStatus cycle(std::vector<AudioBuffer> in, std::vector<AudioBuffer> out)
    {
        const AudioBufferList input{static_cast<std::uint32_t>(in.size()), in.data()};
        AudioBufferList output{static_cast<std::uint32_t>(out.size()), out.data()};
        return QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
    }

    template <class Sample>
    static AudioBuffer buffer(std::vector<Sample>& samples, std::uint32_t channels)
    {
        return {channels, static_cast<std::uint32_t>(samples.size() * sizeof(Sample)), samples.data()};
    }

    /// One buffer through a cycle.
    template <class Sample>
    std::vector<Sample> through(std::vector<Sample> samples, std::uint32_t channels = 2)
    {
        std::vector<Sample> result(samples.size());
        EXPECT_EQ(cycle({buffer(samples, channels)}, {buffer(result, channels)}), 0);
        return result;
    }

    void setFormat(QSSampleFormat format) { session.sampleFormat = static_cast<std::uint32_t>(format); }

    void setFlatEQ(float preampDB)
    {
        const QSSoftwareEQProfile profile{.enabled = true, .preampDB = preampDB, .bandCount = 5};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
    }

    QSSoftwareVolumeSession session;
};

using Floats = std::vector<float>;

TEST_F(ProcedureTest, theGainMultiplies)
{
    session.gain = 0.5f;
    EXPECT_EQ(through<float>({0.8f, -0.2f}), (Floats{0.4f, -0.1f}));
}

TEST_F(ProcedureTest, thePreampActsOnlyWithTheEqualizerOn)
{
    session.gain = 0.5f;
    session.preampGain = 1.9952623f;
    EXPECT_EQ(through<float>({0.8f, 0.8f}), (Floats{0.4f, 0.4f}));
    setFlatEQ(6);
    EXPECT_EQ(through<float>({0.8f, 0.8f}), (Floats(2, 0.8f * 0.5f * 1.9952623f)));
}

TEST_F(ProcedureTest, theLimiterIsHardAndNumbersThatAreNoneBecomeSilence)
{
    struct Row {
        float in;
        float out;
        bool clips;
    };
    constexpr Row rows[] = {
        {1, 1, false},
        {-1, -1, false},
        {1.2f, 1, true},
        {-1.2f, -1, true},
        {infinity, 0, true},
        {-infinity, 0, true},
        {nan, 0, false},
        {1e-40f, 1e-40f, false},
        {3e38f, 1, true},
    };
    for (const Row& row : rows) {
        session.clipHoldFrames = 0;
        EXPECT_EQ(through<float>({row.in, 0}).front(), row.out) << row.in;
        EXPECT_EQ(session.clipHoldFrames > 0, row.clips) << row.in;
    }
}

TEST_F(ProcedureTest, doublesAreNarrowedAndWidened)
{
    setFormat(QSSampleFormat::float64);
    session.gain = 0.5f;
    const double third = 1.0 / 3;
    EXPECT_EQ(through<double>({third, 4.0}), (std::vector<double>{static_cast<float>(third) * 0.5f, 1.0}));
}

TEST_F(ProcedureTest, sixteenBitIntegersAreScaledByTheirLargestValue)
{
    setFormat(QSSampleFormat::int16);
    using Shorts = std::vector<std::int16_t>;
    EXPECT_EQ(through<std::int16_t>({32767, -32767, 1, -1}), (Shorts{32767, -32767, 1, -1}));
    EXPECT_EQ(session.clipHoldFrames, 0);
    EXPECT_EQ(through<std::int16_t>({-32768, 0}), (Shorts{-32767, 0})) << "it enters below -1";
    EXPECT_EQ(session.clipHoldFrames, 28800);
    session.gain = 0.5f;
    EXPECT_EQ(through<std::int16_t>({1, 3, 5, -1}), (Shorts{0, 2, 2, 0})) << "halves go to the even neighbour";
}

TEST_F(ProcedureTest, thirtyTwoBitIntegersAreScaledByTheirLargestValue)
{
    setFormat(QSSampleFormat::int32);
    using Ints = std::vector<std::int32_t>;
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(through<std::int32_t>({largest, -largest, 1 << 30, 1}), (Ints{largest, -largest, 1 << 30, 1}));
    EXPECT_EQ(through<std::int32_t>({-largest - 1, 0}), (Ints{-largest, 0}));
    session.gain = 0.5f;
    EXPECT_EQ(through<std::int32_t>({largest, -largest, 4, 1}), (Ints{1 << 30, -(1 << 30), 2, 0})) << "rounded";
}

TEST_F(ProcedureTest, anUnknownFormatGivesSilenceOfTheOutputsLength)
{
    session.sampleFormat = 9;
    std::vector<float> in{0.5f, 0.5f};
    std::vector<float> out(4, 0.7f);
    cycle({buffer(in, 2)}, {buffer(out, 2)});
    EXPECT_EQ(out, Floats(4, 0));
    EXPECT_EQ(session.levelL, 0);
}

TEST_F(ProcedureTest, theFirstTwoChannelsAreMeteredAndTheThirdIsNot)
{
    EXPECT_EQ(
        through<float>({0.1f, -0.2f, 0.9f, -0.3f, 0.1f, 0.9f}, 3), (Floats{0.1f, -0.2f, 0.9f, -0.3f, 0.1f, 0.9f}));
    EXPECT_EQ(session.levelL, 0.3f);
    EXPECT_EQ(session.levelR, 0.2f);
}

TEST_F(ProcedureTest, levelsAreThoseOfTheLastCycleAndPeaksDecayByCycle)
{
    through<float>({0.5f, 0.25f});
    through<float>({0.1f, 0.2f});
    EXPECT_EQ(session.levelL, 0.1f);
    EXPECT_EQ(session.levelR, 0.2f);
    EXPECT_EQ(session.peakL, 0.5f * 0.94f);
    EXPECT_EQ(session.peakR, 0.25f * 0.94f);
    cycle({}, {});
    EXPECT_EQ(session.levelL, 0);
    EXPECT_EQ(session.peakL, 0.5f * 0.94f * 0.94f);
}

TEST_F(ProcedureTest, aPeakThatIsNoNumberYieldsToTheBlockPeak)
{
    session.peakL = nan;
    through<float>({0.5f, 0});
    EXPECT_EQ(session.peakL, 0.5f);
}

TEST_F(ProcedureTest, clippingIsHeldForSixTenthsOfASecond)
{
    through<float>({1.2f, 0});
    EXPECT_EQ(session.clipHoldFrames, 28800);
    through<float>(Floats(2 * 1000, 0));
    EXPECT_EQ(session.clipHoldFrames, 27800);
    through<float>(Floats(2 * 27799, 0));
    EXPECT_EQ(session.clipHoldFrames, 1);
    through<float>(Floats(2 * 512, 0));
    EXPECT_EQ(session.clipHoldFrames, 0);
    session.sampleRate = 44101;
    through<float>({0, -1.01f});
    EXPECT_EQ(session.clipHoldFrames, 26460) << "the fraction is cut off";
}

TEST_F(ProcedureTest, aSampleRateThatIsNoneHoldsNoClipping)
{
    struct Row {
        double rate;
        std::int32_t held;
    };
    for (const Row& row : {Row{0, 0}, {-1, 0}, {std::nan(""), 0}, {1e300, std::numeric_limits<std::int32_t>::max()}}) {
        session.sampleRate = row.rate;
        through<float>({2, 2});
        EXPECT_EQ(session.clipHoldFrames, row.held) << row.rate;
    }
}

TEST_F(ProcedureTest, theHoldFallsByTheLargestBufferThatWasProcessed)
{
    session.nonInterleaved = true;
    session.clipHoldFrames = 1000;
    Floats ten(10), twenty(20), thirty(30);
    cycle(
        {buffer(ten, 1), buffer(twenty, 1), {1, 120, nullptr}}, {buffer(ten, 1), buffer(twenty, 1), buffer(thirty, 1)});
    EXPECT_EQ(session.clipHoldFrames, 980);
    cycle({buffer(ten, 2)}, {buffer(ten, 2)});
    EXPECT_EQ(session.clipHoldFrames, 975) << "frames of two channels";
}

TEST_F(ProcedureTest, separateBuffersAreSeparateChannels)
{
    session.nonInterleaved = true;
    session.eqEnabled = true;
    Floats left{0.5f}, right{0.25f}, third{0.9f}, out1(1), out2(1), out3(1);
    cycle({buffer(left, 1), buffer(right, 1), buffer(third, 1)}, {buffer(out1, 1), buffer(out2, 0), buffer(out3, 1)});
    EXPECT_EQ(session.levelL, 0.5f);
    EXPECT_EQ(session.levelR, 0.25f);
    EXPECT_EQ(session.filterState[0][4].y1, 0.5f);
    EXPECT_EQ(session.filterState[1][4].y1, 0.25f);
    EXPECT_EQ(session.filterState[2][4].y1, 0.9f);
}

TEST_F(ProcedureTest, channelsFromTheEighthOnShareOneRowOfState)
{
    session.eqEnabled = true;
    Floats frame{0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 0.95f};
    through<float>(frame, 10);
    EXPECT_EQ(session.filterState[6][0].x1, 0.7f);
    EXPECT_EQ(session.filterState[7][0].x1, 0.95f);
    EXPECT_EQ(session.filterState[7][0].x2, 0.9f);
}

TEST_F(ProcedureTest, aBufferWithoutAChannelCountTakesTheSessions)
{
    struct Row {
        std::uint32_t ofTheSession;
        float right;
    };
    for (const Row& row : {Row{2, 0.2f}, {1, 0}, {0, 0}}) {
        session.channelCount = row.ofTheSession;
        through<float>({0.1f, 0.2f}, 0);
        EXPECT_EQ(session.levelR, row.right) << row.ofTheSession;
    }
}

TEST_F(ProcedureTest, theRestOfALongerOutputIsProcessedAsItStands)
{
    session.gain = 0.5f;
    Floats in{0.4f, 0.4f}, out{9, 9, 0.6f, 0.2f};
    cycle({buffer(in, 2)}, {buffer(out, 2)});
    EXPECT_EQ(out, (Floats{0.2f, 0.2f, 0.3f, 0.1f}));
}

TEST_F(ProcedureTest, aShorterOutputIsFilledAndNotOverrun)
{
    Floats in{0.1f, 0.2f, 0.3f, 0.4f}, out{0, 0, 7};
    AudioBuffer shorter = buffer(out, 2);
    shorter.dataByteSize = 8;
    cycle({buffer(in, 2)}, {shorter});
    EXPECT_EQ(out, (Floats{0.1f, 0.2f, 7}));
}

TEST_F(ProcedureTest, looseBytesAreCopiedAndNotProcessed)
{
    session.gain = 0;
    Floats in{0.5f, 0.5f}, out(2, 1);
    AudioBuffer source = buffer(in, 1), sink = buffer(out, 1);
    source.dataByteSize = sink.dataByteSize = 6;
    cycle({source}, {sink});
    EXPECT_EQ(out[0], 0);
    const auto* wanted = reinterpret_cast<const unsigned char*>(in.data());
    const auto* got = reinterpret_cast<const unsigned char*>(out.data());
    EXPECT_EQ(got[4], wanted[4]);
    EXPECT_EQ(got[5], wanted[5]);
}

TEST_F(ProcedureTest, anIncompleteLastFrameIsProcessed)
{
    EXPECT_EQ(through<float>({2, 2, 2}, 2), Floats(3, 1));
}

TEST_F(ProcedureTest, buffersWithNothingToDoAreSkipped)
{
    Floats in{0.5f, 0.5f}, out{7, 7};
    cycle({{2, 8, nullptr}}, {buffer(out, 2)});
    cycle({buffer(in, 2)}, {{2, 8, nullptr}});
    cycle({{2, 0, in.data()}}, {buffer(out, 2)});
    cycle({buffer(in, 2)}, {{2, 0, out.data()}});
    cycle({buffer(in, 2)}, {});
    cycle({}, {buffer(out, 2)});
    EXPECT_EQ(out, Floats(2, 7));
    EXPECT_EQ(session.levelL, 0);
}

TEST_F(ProcedureTest, nothingHappensWithoutSessionOrLists)
{
    session.levelL = 0.5f;
    Floats samples{0.1f, 0.1f};
    AudioBuffer one = buffer(samples, 2);
    const AudioBufferList input{1, &one};
    AudioBufferList output{1, &one};
    EXPECT_EQ(QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, nullptr), 0);
    EXPECT_EQ(QSSoftwareVolumeIOProc(0, nullptr, nullptr, nullptr, &output, nullptr, &session), 0);
    EXPECT_EQ(QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, nullptr, nullptr, &session), 0);
    EXPECT_EQ(session.levelL, 0.5f) << "not even the meters";
}

TEST_F(ProcedureTest, aListWithoutBuffersCountsAsEmpty)
{
    session.levelL = 0.5f;
    const AudioBufferList input{3, nullptr};
    AudioBufferList output{3, nullptr};
    EXPECT_EQ(QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session), 0);
    EXPECT_EQ(session.levelL, 0);
}

TEST_F(ProcedureTest, aZeroFilledRecordWorksToo)
{
    session = QSSoftwareVolumeSession{};
    session.gain = 0.5f;
    session.sampleFormat = 1;
    EXPECT_EQ(through<float>({0.8f, 0.8f}), (Floats{0.4f, 0.4f}));
}

} // namespace
} // namespace quenstal
