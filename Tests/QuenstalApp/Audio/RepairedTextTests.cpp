#include "QuenstalApp/NativeAdapters/RepairedText.hpp"

#include <gtest/gtest.h>

namespace quenstal {
namespace {

TEST(RepairedText, validTextIsKeptAndEachBrokenPieceReplaced)
{
    const struct {
        std::string_view bytes;
        std::string_view text;
    } rows[] = {
        {"", ""},
        {"plain", "plain"},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xA7", "\u00E4\u20AC\U0001F3A7"},
        {"a\x80z", "a\uFFFDz"},
        {"\xC3", "\uFFFD"},
        {"\xC3z", "\uFFFDz"},
        {"\xE2\x82", "\uFFFD"},
        {"\xE2\x82z", "\uFFFDz"},
        {"\xF0\x9F\x8E", "\uFFFD"},
        {"\xC0\xAF", "\uFFFD\uFFFD"},
        {"\xE0\x80\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x8F\xBF\xBF", "\U0010FFFF"},
        {"\xEE\x80\x80", "\uE000"},
        {"\xFF", "\uFFFD"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(repairedText(row.bytes), row.text);
}

} // namespace
} // namespace quenstal
