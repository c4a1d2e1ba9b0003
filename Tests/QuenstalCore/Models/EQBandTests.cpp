#include "QuenstalCore/EnumerationChecks.hpp"
#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;

TEST(EQPresetNameTest, everyCaseHasItsNameAndGainsInDeclarationOrder)
{
    struct Row {
        EQPresetName value;
        std::string_view rawValue;
        std::string_view displayName;
        std::optional<EQPresetGains> gains;
    };
    const std::vector<Row> rows{
        {EQPresetName::flat, "flat", "Flat", EQPresetGains{0, 0, 0, 0, 0}},
        {EQPresetName::voice, "voice", "Voice", EQPresetGains{-3, -1, 4, 3, 0}},
        {EQPresetName::movie, "movie", "Movie", EQPresetGains{4, 2, -1, 1, 3}},
        {EQPresetName::music, "music", "Music", EQPresetGains{3, 1, 0, 2, 4}},
        {EQPresetName::night, "night", "Night", EQPresetGains{2, 0, 0, -1, -3}},
        {EQPresetName::custom, "custom", "Custom", std::nullopt},
    };
    expectCases(rows);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rawValue);
        EXPECT_EQ(displayName(row.value), row.displayName);
        EXPECT_EQ(presetGains(row.value), row.gains);
        const EQPresetGains gains = row.gains.value_or(EQPresetGains{});
        const std::vector<EQBand> bands = EQProfile::bandsFor(row.value);
        for (std::size_t i = 0; i < gains.size(); ++i)
            EXPECT_EQ(bands.at(i), EQBand::defaults()[i].settingGain(gains[i]));
    }
}

TEST(EQPresetNameTest, decodingATextThatIsNoRawValueFails)
{
    expectOnlyRawValuesDecode<EQPresetName>();
}

TEST(EQBandTest, theStandardBandsAreFlatAndInOrder)
{
    struct Row {
        std::int64_t id;
        double frequencyHz;
        std::string label;
        std::string hzLabel;
    };
    const std::vector<Row> rows{
        {0, 60, "LOW", "60"},
        {1, 250, "L-MID", "250"},
        {2, 1000, "MID", "1k"},
        {3, 4000, "H-MID", "4k"},
        {4, 12000, "HIGH", "12k"},
    };
    ASSERT_EQ(EQBand::defaults().size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].label);
        const EQBand& band = EQBand::defaults()[i];
        EXPECT_EQ(band.id, rows[i].id);
        EXPECT_EQ(band.frequencyHz, rows[i].frequencyHz);
        EXPECT_EQ(band.label, rows[i].label);
        EXPECT_EQ(band.gainDB, 0);
        EXPECT_EQ(band.hzLabel(), rows[i].hzLabel);
    }
}

TEST(EQBandTest, theFrequencyLabelCutsFractionsOff)
{
    struct Row {
        double frequencyHz;
        std::string hzLabel;
    };
    const std::vector<Row> rows{
        {0, "0"},
        {0.9, "0"},
        {-0.9, "0"},
        {-1500.5, "-1500"},
        {60.9, "60"},
        {justBelow(1000), "999"},
        {1000, "1k"},
        {justAbove(1000), "1k"},
        {1999.9, "1k"},
        {justBelow(2000), "1k"},
        {2000, "2k"},
        {16000, "16k"},
        {999999, "999k"},
    };
    for (const Row& row : rows)
        EXPECT_EQ((EQBand{0, row.frequencyHz, "", 0}.hzLabel()), row.hzLabel) << row.frequencyHz;
}

TEST(EQBandTest, aFrequencyBeyondEveryIntegerStillHasALabel)
{
    for (const double frequency : {notANumber, infinity, -infinity, largestDouble, -largestDouble})
        EXPECT_FALSE((EQBand{0, frequency, "", 0}.hzLabel().empty())) << frequency;
    EXPECT_EQ((EQBand{0, notANumber, "", 0}.hzLabel()), "0");
}

TEST(EQBandTest, constructionAndSettingGainApplyTheGainRule)
{
    struct Row {
        double given;
        double stored;
    };
    const std::vector<Row> rows{
        {0, 0},
        {2.2, 2},
        {2.25, 2.5},
        {-2.25, -2.5},
        {-0.25, -0.5},
        {0.24, 0},
        {11.75, 12},
        {12, 12},
        {12.3, 12},
        {12.25, 12},
        {-12.25, -12},
        {-12.3, -12},
        {100, 12},
        {-100, -12},
        {largestDouble, 12},
        {-largestDouble, -12},
        {infinity, 0},
        {-infinity, 0},
        {notANumber, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(EQBand::clampGain(row.given), row.stored);
        EXPECT_EQ((EQBand{2, 1000, "MID", row.given}.gainDB), row.stored);
        EXPECT_EQ(EQBand::defaults()[2].settingGain(row.given), (EQBand{2, 1000, "MID", row.stored}));
    }
}

TEST(EQBandTest, theGridComesBeforeTheBounds)
{
    EXPECT_EQ(EQBand::clampGain(12.3), 12.0);
    EXPECT_EQ(EQBand::clampGain(12.25), 12.0);
    // Clamping first would leave 2.3 and snap it off the bound.
    EXPECT_EQ(EQBand::snap(5, 0, 2.3), 2.3);
    EXPECT_EQ(EQBand::snap(-5, -2.3, 0), -2.3);
}

TEST(EQBandTest, minusAQuarterSnapsToMinusAHalf)
{
    EXPECT_EQ(EQBand::clampGain(-0.25), -0.5);
}

TEST(EQBandTest, snapTakesWhatIsNotFiniteForZeroBeforeItsBounds)
{
    for (const double value : {notANumber, infinity, -infinity}) {
        EXPECT_EQ(EQBand::snap(value, -1, 1), 0);
        EXPECT_EQ(EQBand::snap(value, 3, 9), 3);
        EXPECT_EQ(EQBand::snap(value, -9, -3), -3);
    }
}

TEST(EQBandTest, snapAppliesTheLowerBoundFirstSoThatTheUpperOneWins)
{
    EXPECT_EQ(EQBand::snap(0, 5, -5), -5);
    EXPECT_EQ(EQBand::snap(9, 5, -5), -5);
}

TEST(EQBandTest, halvesOfTheGridGoAwayFromZeroAtTheVeryDouble)
{
    for (int half = 0; half < 24; ++half) {
        const double lower = half * 0.5;
        const double middle = lower + 0.25;
        SCOPED_TRACE(middle);
        EXPECT_EQ(EQBand::clampGain(justBelow(middle)), lower);
        EXPECT_EQ(EQBand::clampGain(middle), lower + 0.5);
        EXPECT_EQ(EQBand::clampGain(justAbove(middle)), lower + 0.5);
        EXPECT_EQ(EQBand::clampGain(-justBelow(middle)), -lower);
        EXPECT_EQ(EQBand::clampGain(-middle), -lower - 0.5);
        EXPECT_EQ(EQBand::clampGain(-justAbove(middle)), -lower - 0.5);
    }
}

TEST(EQBandTest, aGainOfZeroNeverHasASign)
{
    for (const double gain : {-0.0, -0.1, justAbove(-0.25), -smallestDouble})
        EXPECT_FALSE(std::signbit(EQBand::clampGain(gain))) << gain;
}

TEST(EQBandTest, isEqualOnlyWhenEveryFieldIs)
{
    const EQBand band{1, 250, "L-MID", 3};
    EXPECT_EQ(band, (EQBand{1, 250, "L-MID", 3}));
    EXPECT_NE(band, (EQBand{2, 250, "L-MID", 3}));
    EXPECT_NE(band, (EQBand{1, 251, "L-MID", 3}));
    EXPECT_NE(band, (EQBand{1, 250, "MID", 3}));
    EXPECT_NE(band, (EQBand{1, 250, "L-MID", 3.5}));
}

} // namespace
} // namespace quenstal
