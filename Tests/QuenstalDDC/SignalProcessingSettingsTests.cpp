// Setters, reader and coefficients.

#include "QuenstalDDC/SoftwareVolumeTap.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

struct SettingsTest : testing::Test {
    SettingsTest() { QSSoftwareVolumeSessionPrepare(session, 1); }

    void setBands(std::uint32_t count, QSSoftwareEQBand band)
    {
        QSSoftwareEQProfile profile{.enabled = true, .bandCount = count};
        std::ranges::fill(profile.bands, band);
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
    }

    bool passesThrough(std::size_t band) const
    {
        const QSBiquadCoefficients& c = session.coefficients[band];
        return c.b0 == 1 && c.b1 == 0 && c.b2 == 0 && c.a1 == 0 && c.a2 == 0;
    }

    QSSoftwareVolumeSession session;
};

struct Row {
    float given;
    float limit;
    float expected;
};

TEST_F(SettingsTest, gainIsLimitedToTheUnitRange)
{
    constexpr Row rows[] = {
        {0.5f, 0, 0.5f},
        {0, 0, 0},
        {1, 0, 1},
        {1.5f, 0, 1},
        {-0.1f, 0, 0},
        {nan, 0, 0},
        {infinity, 0, 0},
        {-infinity, 0, 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(QSClampGain(row.given), row.expected) << row.given;
        QSSoftwareVolumeSessionSetGain(&session, row.given);
        EXPECT_EQ(session.gain, row.expected) << row.given;
    }
}

TEST_F(SettingsTest, decibelsAreLimitedAtBothEnds)
{
    constexpr Row rows[] = {
        {3, 6, 3},
        {-12, 6, -12},
        {-20, 12, -12},
        {9, 6, 6},
        {9, 12, 9},
        {nan, 12, 0},
        {infinity, 12, 0},
        {-infinity, 12, 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(QSClampDB(row.given, row.limit), row.expected) << row.given;
}

TEST_F(SettingsTest, aPreparedSessionIsTransparent)
{
    QSSoftwareVolumeSession fresh;
    QSSoftwareVolumeSessionPrepare(fresh, 1.5f);
    EXPECT_EQ(fresh.gain, 1);
    EXPECT_FALSE(fresh.eqEnabled);
    EXPECT_EQ(fresh.preampGain, 1);
    EXPECT_EQ(fresh.sampleRate, 48000);
    EXPECT_EQ(fresh.channelCount, 2u);
    EXPECT_FALSE(fresh.nonInterleaved);
    EXPECT_EQ(fresh.sampleFormat, 1u);
    for (std::size_t k = 0; k < softwareEQBandCount; ++k)
        EXPECT_TRUE(passesThrough(k)) << k;
}

TEST_F(SettingsTest, thePreampIsItsDecibelsAsAFactor)
{
    constexpr Row rows[] = {
        {6, 0, 1.9952623f},
        {9, 0, 1.9952623f},
        {0, 0, 1},
        {-12, 0, 0.25118864f},
        {-13, 0, 0.25118864f},
        {nan, 0, 1},
    };
    for (const Row& row : rows) {
        const QSSoftwareEQProfile profile{.preampDB = row.given};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
        EXPECT_FLOAT_EQ(session.preampGain, row.expected) << row.given;
    }
}

TEST_F(SettingsTest, theProfileSwitchesTheEqualizer)
{
    for (const bool enabled : {true, false}) {
        const QSSoftwareEQProfile profile{.enabled = enabled};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
        EXPECT_EQ(session.eqEnabled, enabled);
    }
}

// Worked out in double precision from the textbook form of the peaking filter.
TEST_F(SettingsTest, aBandIsAPeakingFilterOfQualityOne)
{
    struct Case {
        float frequency;
        float gainDB;
        double rate;
    };
    constexpr Case cases[] = {
        {60, 4, 48000},
        {250, -12, 48000},
        {1000, 12, 44100},
        {4000, 0.5f, 96000},
        {12000, -3.5f, 48000},
    };
    for (const Case& given : cases) {
        QSSoftwareVolumeSessionSetSampleRate(&session, given.rate);
        setBands(5, {given.frequency, given.gainDB});
        const double amplitude = std::pow(10, given.gainDB / 40.0);
        const double w = 2 * std::acos(-1) * given.frequency / given.rate;
        const double alpha = std::sin(w) / 2;
        const double a0 = 1 + alpha / amplitude;
        const QSBiquadCoefficients& band = session.coefficients[4];
        constexpr double singlePrecision = 1e-6;
        EXPECT_NEAR(band.b0, (1 + alpha * amplitude) / a0, singlePrecision) << given.frequency;
        EXPECT_NEAR(band.b1, -2 * std::cos(w) / a0, singlePrecision) << given.frequency;
        EXPECT_NEAR(band.b2, (1 - alpha * amplitude) / a0, singlePrecision) << given.frequency;
        EXPECT_NEAR(band.a1, -2 * std::cos(w) / a0, singlePrecision) << given.frequency;
        EXPECT_NEAR(band.a2, (1 - alpha / amplitude) / a0, singlePrecision) << given.frequency;
    }
}

TEST_F(SettingsTest, aBandAboveHalfTheSampleRateIsComputedOneHertzBelowIt)
{
    QSSoftwareVolumeSessionSetSampleRate(&session, 32000);
    setBands(1, {20000, 6});
    const QSBiquadCoefficients limited = session.coefficients[0];
    setBands(1, {15999, 6});
    EXPECT_EQ(limited.b0, session.coefficients[0].b0);
    EXPECT_EQ(limited.a1, session.coefficients[0].a1);
    setBands(1, {15998, 6});
    EXPECT_NE(limited.b0, session.coefficients[0].b0);
}

TEST_F(SettingsTest, bandsThatCannotBeComputedPassThrough)
{
    struct Case {
        const char* what;
        QSSoftwareEQBand band;
        double rate;
    };
    constexpr Case cases[] = {
        {"a gain too small to matter", {1000, 0.0005f}, 48000},
        {"no gain", {1000, 0}, 48000},
        {"a gain that is no number", {1000, nan}, 48000},
        {"a negative frequency", {-1, 6}, 48000},
        {"no frequency", {0, 6}, 48000},
        {"a frequency that is no number", {nan, 6}, 48000},
        {"an infinite frequency", {infinity, 6}, 48000},
        {"no sample rate", {1000, 6}, 0},
        {"a negative sample rate", {1000, 6}, -48000},
    };
    for (const Case& given : cases) {
        setBands(5, {500, 12});
        ASSERT_FALSE(passesThrough(0));
        session.sampleRate = given.rate;
        setBands(5, given.band);
        EXPECT_TRUE(passesThrough(0)) << given.what;
        session.sampleRate = 48000;
    }
}

TEST_F(SettingsTest, bandsBeyondTheCountPassThrough)
{
    struct Case {
        std::uint32_t count;
        std::size_t computed;
    };
    for (const Case& given : {Case{0, 0}, {2, 2}, {5, 5}, {7, 5}}) {
        setBands(given.count, {1000, 6});
        for (std::size_t k = 0; k < softwareEQBandCount; ++k)
            EXPECT_EQ(passesThrough(k), k >= given.computed) << given.count << " bands, band " << k;
    }
}

TEST_F(SettingsTest, bandGainsAreLimitedToTwelveDecibels)
{
    setBands(2, {1000, -20});
    const float limited = session.coefficients[0].b0;
    setBands(2, {1000, -12});
    EXPECT_EQ(limited, session.coefficients[0].b0);
}

TEST_F(SettingsTest, newCoefficientsLeaveTheFilterStateAlone)
{
    session.filterState[1][2] = {1, 2, 3, 4};
    setBands(5, {1000, 6});
    EXPECT_EQ(session.filterState[1][2].x1, 1);
    EXPECT_EQ(session.filterState[1][2].y2, 4);
}

TEST_F(SettingsTest, aNewSampleRateComputesTheBandsOfTheLastProfile)
{
    setBands(1, {1000, 6});
    const float at48000 = session.coefficients[0].b0;
    QSSoftwareVolumeSessionSetSampleRate(&session, 96000);
    const float at96000 = session.coefficients[0].b0;
    EXPECT_NE(at48000, at96000);
    setBands(1, {1000, 6});
    EXPECT_EQ(session.coefficients[0].b0, at96000);
    QSSoftwareVolumeSessionSetSampleRate(&session, 0);
    EXPECT_EQ(session.sampleRate, 48000);
    EXPECT_EQ(session.coefficients[0].b0, at48000);
}

TEST_F(SettingsTest, aNewSampleRateWithoutAProfileLeavesTheBandsPassingThrough)
{
    QSSoftwareVolumeSessionSetSampleRate(&session, 96000);
    EXPECT_EQ(session.sampleRate, 96000);
    EXPECT_TRUE(passesThrough(0));
}

TEST_F(SettingsTest, readingCopiesTheMetersAndChangesNothing)
{
    session.levelL = 0.1f;
    session.levelR = 0.2f;
    session.peakL = 0.3f;
    session.peakR = 0.4f;
    for (const std::int32_t held : {0, 1, 28800}) {
        session.clipHoldFrames = held;
        QSSoftwareLevels levels;
        QSSoftwareVolumeSessionReadLevels(&session, &levels);
        EXPECT_EQ(levels.levelL, 0.1f);
        EXPECT_EQ(levels.levelR, 0.2f);
        EXPECT_EQ(levels.peakL, 0.3f);
        EXPECT_EQ(levels.peakR, 0.4f);
        EXPECT_EQ(levels.clipping, held > 0);
        EXPECT_EQ(session.clipHoldFrames, held);
    }
}

TEST(SettingsWithoutASession, doNothing)
{
    const QSSoftwareEQProfile profile;
    QSSoftwareVolumeSessionSetGain(nullptr, 1);
    QSSoftwareVolumeSessionSetEQProfile(nullptr, &profile);
    QSSoftwareVolumeSessionSetSampleRate(nullptr, 44100);
    QSSoftwareLevels levels{1, 1, 1, 1, true};
    QSSoftwareVolumeSessionReadLevels(nullptr, &levels);
    EXPECT_EQ(levels.levelL + levels.levelR + levels.peakL + levels.peakR, 0);
    EXPECT_FALSE(levels.clipping);
    QSSoftwareVolumeSessionReadLevels(nullptr, nullptr);
}

TEST_F(SettingsTest, aMissingProfileAndAMissingPlaceForTheMetersDoNothing)
{
    setBands(5, {1000, 6});
    QSSoftwareVolumeSessionSetEQProfile(&session, nullptr);
    EXPECT_TRUE(session.eqEnabled);
    EXPECT_FALSE(passesThrough(0));
    QSSoftwareVolumeSessionReadLevels(&session, nullptr);
}

} // namespace
} // namespace quenstal
