#include "QuenstalCore/EnumerationChecks.hpp"
#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <vector>

#include <gmock/gmock.h>

namespace quenstal {
namespace {

using namespace test;
using testing::ElementsAre;

std::vector<double> gainsOf(const std::vector<EQBand>& bands)
{
    std::vector<double> gains;
    for (const EQBand& band : bands)
        gains.push_back(band.gainDB);
    return gains;
}

/// A profile as a hand-edited or older store may hold it: decoding does not normalise.
EQProfile decodedProfile(std::vector<EQBand> bands)
{
    EQProfile profile = EQProfile::defaultProfile();
    profile.bands = std::move(bands);
    return profile;
}

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
        EXPECT_EQ(gainsOf(EQProfile::bandsFor(row.value)), std::vector(gains.begin(), gains.end()));
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

TEST(EQProfileTest, thePreampIsSnappedAndMayCutMoreThanItMayBoost)
{
    struct Row {
        double given;
        double stored;
    };
    const std::vector<Row> rows{
        {0, 0},
        {2.25, 2.5},
        {-2.25, -2.5},
        {justBelow(5.75), 5.5},
        {5.75, 6},
        {6, 6},
        {6.25, 6},
        {7, 6},
        {-11.75, -12},
        {-12, -12},
        {-13, -12},
        {largestDouble, 6},
        {-largestDouble, -12},
        {notANumber, 0},
        {infinity, 0},
        {-infinity, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(EQProfile::clampPreamp(row.given), row.stored);
        EXPECT_EQ(EQProfile(true, EQPresetName::flat, row.given).preampDB, row.stored);
        EXPECT_EQ(EQProfile(true, EQPresetName::flat, {}, row.given).preampDB, row.stored);
        EXPECT_EQ(EQProfile::defaultProfile().settingPreamp(row.given).preampDB, row.stored);
    }
}

TEST(EQProfileTest, theDefaultIsOffFlatAndWithoutPreamp)
{
    const EQProfile profile = EQProfile::defaultProfile();
    EXPECT_FALSE(profile.enabled);
    EXPECT_EQ(profile.preset, EQPresetName::flat);
    EXPECT_EQ(profile.bands, EQBand::defaults());
    EXPECT_EQ(profile.preampDB, 0);
    EXPECT_EQ(profile, EQProfile());
}

TEST(EQProfileTest, constructionWithoutBandsTakesThoseOfThePreset)
{
    for (const EQPresetName preset : allCases<EQPresetName>()) {
        const EQProfile profile(true, preset, -1.5);
        EXPECT_EQ(profile.bands, EQProfile::bandsFor(preset));
        EXPECT_EQ(profile.preset, preset);
        EXPECT_EQ(profile.preampDB, -1.5);
        EXPECT_TRUE(profile.enabled);
    }
}

TEST(EQProfileTest, constructionWithBandsNormalisesThemAndKeepsThePresetsName)
{
    const EQProfile profile(true, EQPresetName::voice, {{4, 1, "x", 7}}, 0);
    EXPECT_EQ(profile.preset, EQPresetName::voice);
    EXPECT_THAT(gainsOf(profile.bands), ElementsAre(0, 0, 0, 0, 7));
}

TEST(EQProfileTest, normalisingBandsFourAndZeroYieldsFiveBandsInOrderWithTheTwoGains)
{
    const std::vector<EQBand> bands = EQProfile::normalizedBands({{4, 1, "x", 3}, {0, 2, "y", -6}});
    EXPECT_EQ(bands,
        (std::vector<EQBand>{{0, 60, "LOW", -6}, {1, 250, "L-MID", 0}, {2, 1000, "MID", 0}, {3, 4000, "H-MID", 0},
            {4, 12000, "HIGH", 3}}));
}

TEST(EQProfileTest, normalisingTakesTheFirstBandOfAnIdAndDropsStrangeIds)
{
    EQBand unclamped;
    unclamped.id = 1;
    unclamped.gainDB = 99.1;
    EXPECT_THAT(
        gainsOf(EQProfile::normalizedBands({{2, 0, "", 1}, {2, 0, "", 5}, {5, 0, "", 9}, {-1, 0, "", 9}, unclamped})),
        ElementsAre(0, 12, 1, 0, 0));
}

TEST(EQProfileTest, normalisingAnEmptyListYieldsTheStandardBands)
{
    EXPECT_EQ(EQProfile::normalizedBands({}), EQBand::defaults());
}

TEST(EQProfileTest, settingEnabledKeepsPresetBandsAndPreamp)
{
    const EQProfile profile(false, EQPresetName::music, -3);
    EXPECT_EQ(profile.settingEnabled(true), EQProfile(true, EQPresetName::music, -3));
    EXPECT_EQ(profile.settingEnabled(true).settingEnabled(false), profile);
}

TEST(EQProfileTest, settingEnabledNormalisesAgainLikeEveryEdit)
{
    EQProfile decoded = decodedProfile({{3, 1, "odd", 2}});
    decoded.preampDB = 40;
    const EQProfile edited = decoded.settingEnabled(true);
    EXPECT_THAT(gainsOf(edited.bands), ElementsAre(0, 0, 0, 2, 0));
    EXPECT_EQ(edited.preampDB, 6);
}

TEST(EQProfileTest, selectingAPresetTakesItsBandsAndKeepsSwitchAndPreamp)
{
    const EQProfile edited = EQProfile(true, EQPresetName::flat, -2).settingBand(0, 5);
    for (const EQPresetName preset :
        {EQPresetName::flat, EQPresetName::voice, EQPresetName::movie, EQPresetName::music, EQPresetName::night})
        EXPECT_EQ(edited.selectingPreset(preset), EQProfile(true, preset, -2)) << displayName(preset);
}

TEST(EQProfileTest, selectingCustomOnAVoiceProfileKeepsTheVoiceGains)
{
    const EQProfile custom = EQProfile(true, EQPresetName::voice, -2).selectingPreset(EQPresetName::custom);
    EXPECT_EQ(custom.preset, EQPresetName::custom);
    EXPECT_THAT(gainsOf(custom.bands), ElementsAre(-3, -1, 4, 3, 0));
    EXPECT_EQ(custom.preampDB, -2);
    EXPECT_TRUE(custom.enabled);
}

TEST(EQProfileTest, settingABandMakesTheProfileCustomAndKeepsTheOtherBands)
{
    const EQProfile edited = EQProfile(true, EQPresetName::voice, -2).settingBand(3, 6.3);
    EXPECT_EQ(edited.preset, EQPresetName::custom);
    EXPECT_THAT(gainsOf(edited.bands), ElementsAre(-3, -1, 4, 6.5, 0));
    EXPECT_EQ(edited.preampDB, -2);
    EXPECT_TRUE(edited.enabled);
}

TEST(EQProfileTest, settingABandThatIsNotThereOnlyMakesTheProfileCustom)
{
    const EQProfile voice(true, EQPresetName::voice, 0);
    for (const std::int64_t id : {std::int64_t{-1}, std::int64_t{5}, INT64_MAX, INT64_MIN})
        EXPECT_EQ(voice.settingBand(id, 6), voice.selectingPreset(EQPresetName::custom)) << id;
}

TEST(EQProfileTest, settingAStandardBandThatADecodedProfileLacksOnlyMakesTheProfileCustom)
{
    const EQProfile edited = decodedProfile({{0, 60, "LOW", 2}}).settingBand(3, 6);
    EXPECT_EQ(edited.preset, EQPresetName::custom);
    EXPECT_THAT(gainsOf(edited.bands), ElementsAre(2, 0, 0, 0, 0));
}

TEST(EQProfileTest, settingThePreampOfAMusicProfileLeavesItMusic)
{
    const EQProfile edited = EQProfile(true, EQPresetName::music, 0).settingPreamp(-4.2);
    EXPECT_EQ(edited, EQProfile(true, EQPresetName::music, -4));
    EXPECT_EQ(edited.preset, EQPresetName::music);
}

TEST(EQProfileTest, resettingKeepsOnlyTheSwitch)
{
    const EQProfile on = EQProfile(true, EQPresetName::night, 3).settingBand(1, 8);
    EXPECT_EQ(on.resettingToFlatPreservingEnabled(), EQProfile(true, EQPresetName::flat, 0));
    EXPECT_EQ(on.settingEnabled(false).resettingToFlatPreservingEnabled(), EQProfile::defaultProfile());
}

TEST(EQProfileTest, editingLeavesTheOriginalAsItWas)
{
    const EQProfile profile(true, EQPresetName::voice, 1);
    (void)profile.settingBand(0, 9);
    (void)profile.settingPreamp(-9);
    (void)profile.settingEnabled(false);
    EXPECT_EQ(profile, EQProfile(true, EQPresetName::voice, 1));
}

TEST(EQProfileTest, isEqualOnlyWhenEveryFieldIs)
{
    const EQProfile profile(true, EQPresetName::voice, 1);
    EXPECT_NE(profile, EQProfile(false, EQPresetName::voice, 1));
    EXPECT_NE(profile, EQProfile(true, EQPresetName::movie, profile.bands, 1));
    EXPECT_NE(profile, EQProfile(true, EQPresetName::voice, std::vector<EQBand>{}, 1));
    EXPECT_NE(profile, EQProfile(true, EQPresetName::voice, 1.5));
}

TEST(SoundLevelSnapshotTest, clampsEachOfItsFourLevels)
{
    struct Row {
        double given;
        double stored;
    };
    const std::vector<Row> rows{
        {1.2, 1},
        {justAbove(1), 1},
        {1, 1},
        {justBelow(1), justBelow(1)},
        {0.3, 0.3},
        {0, 0},
        {-0.1, 0},
        {notANumber, 0},
        {infinity, 0},
        {-infinity, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(
            SoundLevelSnapshot(row.given, 0.1, 0.2, 0.3, true), SoundLevelSnapshot(row.stored, 0.1, 0.2, 0.3, true));
        EXPECT_EQ(SoundLevelSnapshot(row.given, 0, 0, 0, false).levelL, row.stored);
        EXPECT_EQ(SoundLevelSnapshot(0, row.given, 0, 0, false).levelR, row.stored);
        EXPECT_EQ(SoundLevelSnapshot(0, 0, row.given, 0, false).peakL, row.stored);
        EXPECT_EQ(SoundLevelSnapshot(0, 0, 0, row.given, false).peakR, row.stored);
    }
}

TEST(SoundLevelSnapshotTest, keepsClippingAsGiven)
{
    EXPECT_TRUE(SoundLevelSnapshot(0, 0, 0, 0, true).clipping);
    EXPECT_FALSE(SoundLevelSnapshot(1, 1, 1, 1, false).clipping);
}

TEST(SoundLevelSnapshotTest, zeroIsSilenceWithoutClipping)
{
    EXPECT_EQ(SoundLevelSnapshot::zero(), SoundLevelSnapshot(0, 0, 0, 0, false));
}

} // namespace
} // namespace quenstal
