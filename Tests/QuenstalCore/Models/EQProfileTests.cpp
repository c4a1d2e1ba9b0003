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
