// What holds for every value, tried on many: the sequence is the same in every run.

#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalCore/Printing.hpp"
#include "QuenstalCore/RandomModels.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;

constexpr int repetitions = 250;

bool isOnGrid(double value, double lower, double upper)
{
    return value >= lower && value <= upper && std::floor(value * 2) == value * 2
        && !(value == 0 && std::signbit(value));
}

bool isNormalised(const EQProfile& profile)
{
    static const std::vector<std::pair<double, std::string>> standard{
        {60, "LOW"}, {250, "L-MID"}, {1000, "MID"}, {4000, "H-MID"}, {12000, "HIGH"}};
    if (profile.bands.size() != standard.size() || !isOnGrid(profile.preampDB, -12, 6))
        return false;
    for (std::size_t i = 0; i < standard.size(); ++i) {
        const EQBand& band = profile.bands[i];
        if (band.id != static_cast<std::int64_t>(i) || band.frequencyHz != standard[i].first
            || band.label != standard[i].second || !isOnGrid(band.gainDB, -12, 12))
            return false;
    }
    return true;
}

EQProfile anyEdit(Random& random, const EQProfile& profile)
{
    switch (random.below(5)) {
    case 0:
        return profile.settingEnabled(random.coin());
    case 1:
        return profile.selectingPreset(anyCase<EQPresetName>(random));
    case 2:
        return profile.settingBand(static_cast<std::int64_t>(random.below(7)) - 1, anyNumber(random));
    case 3:
        return profile.settingPreamp(anyNumber(random));
    default:
        return profile.resettingToFlatPreservingEnabled();
    }
}

TEST(EQProfilePropertyTest, aProfileEditedInAnySequenceStaysNormalised)
{
    Random random(1);
    for (int run = 0; run < repetitions; ++run) {
        EQProfile profile = anyProfile(random);
        for (int edits = 0; edits < 8; ++edits) {
            const EQProfile before = profile;
            profile = anyEdit(random, before);
            ASSERT_TRUE(isNormalised(profile)) << encodeJSON(before) << "\nbecame\n" << encodeJSON(profile);
        }
    }
}

TEST(EQProfilePropertyTest, constructionNormalisesWhateverItIsGiven)
{
    Random random(2);
    for (int run = 0; run < repetitions; ++run) {
        const EQProfile raw = anyProfile(random);
        EXPECT_TRUE(isNormalised(EQProfile(raw.enabled, raw.preset, raw.bands, anyNumber(random))));
        EXPECT_TRUE(isNormalised(EQProfile(raw.enabled, raw.preset, anyNumber(random))));
    }
}

TEST(EQProfilePropertyTest, normalisingTwiceIsNormalisingOnce)
{
    Random random(3);
    for (int run = 0; run < repetitions; ++run) {
        const std::vector<EQBand> once = EQProfile::normalizedBands(anyProfile(random).bands);
        EXPECT_EQ(EQProfile::normalizedBands(once), once);
    }
}

TEST(EQProfilePropertyTest, theGainRuleKeepsTheOrderOfGainsAndItsOwnResults)
{
    Random random(4);
    for (int run = 0; run < repetitions; ++run) {
        const double lower = random.between(-14, 14);
        const double upper = lower + random.between(0, 1);
        EXPECT_LE(EQBand::clampGain(lower), EQBand::clampGain(upper));
        EXPECT_EQ(EQBand::clampGain(EQBand::clampGain(lower)), EQBand::clampGain(lower));
        EXPECT_EQ(EQBand::clampGain(-lower), -EQBand::clampGain(lower));
    }
}

template <typename Make>
void expectDecodingUndoesEncoding(std::uint64_t seed, const Make& make)
{
    Random random(seed);
    for (int run = 0; run < repetitions; ++run) {
        const auto value = make(random);
        const std::string text = encodeJSON(value);
        ASSERT_EQ(decodeJSON<std::decay_t<decltype(value)>>(text), value) << text;
        ASSERT_EQ(encodeJSON(decodeJSON<std::decay_t<decltype(value)>>(text)), text);
    }
}

TEST(JsonPropertyTest, decodingUndoesEncodingForEveryModel)
{
    expectDecodingUndoesEncoding(10, anyDevice);
    expectDecodingUndoesEncoding(11, anyDisplay);
    expectDecodingUndoesEncoding(12, anyPermissions);
    expectDecodingUndoesEncoding(13, anyMode);
    expectDecodingUndoesEncoding(14, anyVolume);
    expectDecodingUndoesEncoding(15, anyBand);
    expectDecodingUndoesEncoding(16, anyProfile);
    expectDecodingUndoesEncoding(17, anyLevels);
    expectDecodingUndoesEncoding(18, anyIssue);
    expectDecodingUndoesEncoding(19, anyProcessing);
}

/// Decodes, or fails with the one error that decoding may fail with; anything else escapes and fails the test.
template <typename T>
bool decodes(const std::string& text)
{
    try {
        (void)decodeJSON<T>(text);
        return true;
    } catch (const DecodingError&) {
        return false;
    }
}

/// One byte changed, removed, doubled, or the rest cut off.
std::string damaged(Random& random, std::string text)
{
    const std::size_t at = random.below(text.size());
    switch (random.below(4)) {
    case 0:
        text[at] = static_cast<char>(random.bits() & 0xFF);
        return text;
    case 1:
        return text.erase(at, 1);
    case 2:
        return text.insert(at, 1, text[at]);
    default:
        return text.substr(0, at);
    }
}

TEST(JsonPropertyTest, damagedTextsFailWithADecodingErrorOrReadAsSomethingElse)
{
    Random random(20);
    int failures = 0;
    for (int run = 0; run < repetitions; ++run) {
        failures += decodes<ControlMode>(damaged(random, encodeJSON(anyMode(random)))) ? 0 : 1;
        failures += decodes<AudioProcessingState>(damaged(random, encodeJSON(anyProcessing(random)))) ? 0 : 1;
        failures += decodes<DiagnosticIssue>(damaged(random, encodeJSON(anyIssue(random)))) ? 0 : 1;
    }
    EXPECT_GT(failures, repetitions);
}

TEST(JsonPropertyTest, aTextCutOffAnywhereFails)
{
    const std::string text = encodeJSON(EQProfile(true, EQPresetName::voice, -1.5));
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_FALSE(decodes<EQProfile>(text.substr(0, length))) << length;
}

TEST(RandomTest, theSequenceIsTheSameOnEveryMachine)
{
    Random random(1);
    EXPECT_EQ(random.bits(), 0x910A2DEC89025CC1U);
    EXPECT_EQ(random.bits(), 0xBEEB8DA1658EEC67U);
}

} // namespace
} // namespace quenstal
