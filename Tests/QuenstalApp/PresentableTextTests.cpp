// What becomes of text that others wrote before it is shown.

#include "QuenstalApp/PresentableText.hpp"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::string_literals;

struct TextRow {
    const char* name;
    std::string outside;
    std::string shown;
};

std::ostream& operator<<(std::ostream& stream, const TextRow& row)
{
    return stream << row.name;
}

struct PresentableText : testing::TestWithParam<TextRow> { };

TEST_P(PresentableText, isOneLineThatShowsNothingButItself)
{
    EXPECT_EQ(presentable(GetParam().outside), GetParam().shown);
}

TEST_P(PresentableText, isPresentableAsItIs)
{
    EXPECT_EQ(presentable(GetParam().shown), GetParam().shown);
}

const std::vector<TextRow> rows{
    {"nothing", "", ""},
    {"plain", "Desk Monitor 27", "Desk Monitor 27"},
    {"markupIsText", "B&O <b>Beosound</b>", "B&O <b>Beosound</b>"},
    {"umlautEuroHeadphones", "\u00E4\u20AC\U0001F3A7", "\u00E4\u20AC\U0001F3A7"},
    {"rightToLeft", "\u05E8\u05DE\u05E7\u05D5\u05DC", "\u05E8\u05DE\u05E7\u05D5\u05DC"},
    {"persianWithANonJoiner", "\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645",
        "\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645"},
    {"joinedPicture", "\U0001F468\u200D\U0001F469\u200D\U0001F467", "\U0001F468\u200D\U0001F469\u200D\U0001F467"},
    {"endsOfLines", "Desk\nKeys:     captured\r\n.", "Desk Keys:     captured  ."},
    {"separatorsOfLinesAndParagraphs", "a\u2028b\u2029c\u0085d\ve\ff", "a b c d e f"},
    {"escapeSequence", "\x1B[2J\x1B]0;title\aDesk", "[2J ]0;title Desk"},
    {"controlsOfEightBits", "a\u009B31mb\u0090c", "a 31mb c"},
    {"backspaceAndDelete", "ab\b\x7F\x63", "ab  c"},
    {"zero", "a\0b"s, "a b"},
    {"onlyBlanksAndControls", " \t\n\x1B ", ""},
    {"blanksAtTheEnds", "  Desk \n", "Desk"},
    {"marksOfDirection", "a\u200Eb\u200Fc\u061Cd", "abcd"},
    {"embeddingsAndOverrides", "\u202Aa\u202Bb\u202Cc\u202Dd\u202Ee", "abcde"},
    {"isolates", "\u2066a\u2067b\u2068c\u2069", "abc"},
    {"charactersThatCannotBeSeen", "a\u00AD\u200B\u2060\uFEFF\U000E0041z", "az"},
    {"noCharacters", "a\uFDD0b\uFFFEc\U0010FFFFd", "a\uFFFDb\uFFFDc\uFFFDd"},
    {"strayContinuation", "a\x80z", "a\uFFFDz"},
    {"cutOffAtTheEnd", "a\xE2\x82", "a\uFFFD"},
    {"cutOffInTheMiddle", "\xC3z", "\uFFFDz"},
    {"overlong", "\xC0\xAF", "\uFFFD\uFFFD"},
    {"surrogate", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
    {"beyondTheLast", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"latin1", "M\xFCller", "M\uFFFDller"},
};

INSTANTIATE_TEST_SUITE_P(
    Texts, PresentableText, testing::ValuesIn(rows), [](const auto& row) { return row.param.name; });

TEST(PresentableTextLength, isCountedInCharacters)
{
    EXPECT_EQ(presentable("\u00E4\u00F6\u00FC\u00DF", 4), "\u00E4\u00F6\u00FC\u00DF");
    EXPECT_EQ(presentable("\u00E4\u00F6\u00FC\u00DFx", 4), "\u00E4\u00F6\u00FC\u2026");
}

TEST(PresentableTextLength, aCharacterStaysWholeWithItsAccents)
{
    EXPECT_EQ(presentable("abe\u0301\u0323xyz", 4), "ab\u2026");
    EXPECT_EQ(presentable("ab\U0001F44D\U0001F3FDxyz", 4), "ab\u2026");
    EXPECT_EQ(presentable("ab\U0001F1E9\U0001F1EAxyz", 4), "ab\u2026");
    EXPECT_EQ(presentable("a\U0001F468\u200D\U0001F469xyz", 4), "a\u2026");
}

TEST(PresentableTextLength, accentsWithoutEndAreCutAllTheSame)
{
    std::string tower = "a";
    for (int accent = 0; accent < 1000; ++accent)
        tower += "\u0301";
    EXPECT_EQ(presentable(tower, 3), "a\u0301\u2026");
}

TEST(PresentableTextLength, aNameIsCutAtAHundred)
{
    EXPECT_EQ(presentable(std::string(60'000, 'x')), std::string(longestName - 1, 'x') + "\u2026");
}

TEST(PresentableLines, keepTheirEndsAndIndentsAndNothingElse)
{
    EXPECT_EQ(presentableLines("Problems: a\x1B[m\n            b\tc\r\n", 100), "Problems: a [m\n            b c \n");
    EXPECT_EQ(presentableLines("a\nb\nc\nd", 4), "a\nb\u2026");
}

} // namespace
} // namespace quenstal
