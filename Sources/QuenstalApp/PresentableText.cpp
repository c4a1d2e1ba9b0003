#include "QuenstalApp/PresentableText.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include <glib.h>

namespace quenstal {

namespace {

constexpr gunichar blank = U' ';
constexpr gunichar replacement = U'\uFFFD';
constexpr gunichar ellipsis = U'\u2026';
constexpr gunichar nonJoiner = U'\u200C';
constexpr gunichar joiner = U'\u200D';

bool isBetween(gunichar character, gunichar first, gunichar last)
{
    return character >= first && character <= last;
}

/// Takes the first character off the bytes.
gunichar takeCharacter(std::string_view& bytes)
{
    // A zero is no end here, though it is to the library.
    const auto length = static_cast<gssize>(bytes.size());
    gunichar character = bytes.front() == 0 ? 0 : g_utf8_get_char_validated(bytes.data(), length);
    constexpr auto invalid = static_cast<gunichar>(-1);
    constexpr auto cutOff = static_cast<gunichar>(-2);
    if (character == cutOff) {
        bytes = {};
        return replacement;
    }
    const bool isValid = character != invalid;
    bytes.remove_prefix(isValid ? static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr)) : 1);
    return isValid ? character : replacement;
}

/// Set aside for good: message buses refuse them.
bool isNoCharacter(gunichar character)
{
    return (character & 0xFFFE) == 0xFFFE || isBetween(character, 0xFDD0, 0xFDEF);
}

/// What stands for a character; nothing for one that cannot be seen.
std::optional<gunichar> shownFor(gunichar character)
{
    if (isNoCharacter(character))
        return replacement;
    switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
        return blank;
    case G_UNICODE_FORMAT:
        // Some scripts are written with these two, and some pictures made.
        return character == joiner || character == nonJoiner ? std::optional(character) : std::nullopt;
    default:
        return character;
    }
}

bool isFlagLetter(gunichar character)
{
    return isBetween(character, 0x1F1E6, 0x1F1FF);
}

/// The two are seen as one, so that nothing is cut between them.
bool isJoined(gunichar before, gunichar character)
{
    const bool isSkinTone = isBetween(character, 0x1F3FB, 0x1F3FF);
    return g_unichar_ismark(character) || isSkinTone || character == joiner || character == nonJoiner
        || before == joiner || (isFlagLetter(before) && isFlagLetter(character));
}

/// Leaves room for the ellipsis.
void cut(std::u32string& text, std::size_t longest)
{
    std::size_t end = longest - 1;
    while (end > 0 && isJoined(text[end - 1], text[end]))
        --end;
    // One character with more accents than there is room for.
    text.resize(end > 0 ? end : longest - 1);
    text.push_back(ellipsis);
}

/// What becomes of the ends of lines.
enum class Ends { areBlanks, areKept };

std::u32string shown(std::string_view outside, std::size_t longest, Ends ends)
{
    std::u32string text;
    while (!outside.empty() && text.size() <= longest) {
        const gunichar character = takeCharacter(outside);
        if (ends == Ends::areKept && character == U'\n')
            text.push_back(character);
        else if (const auto instead = shownFor(character))
            text.push_back(*instead);
    }
    if (text.size() > longest)
        cut(text, longest);
    return text;
}

std::u32string trimmed(const std::u32string& text)
{
    const std::size_t first = text.find_first_not_of(blank);
    return first == std::u32string::npos ? std::u32string()
                                         : text.substr(first, text.find_last_not_of(blank) - first + 1);
}

std::string encoded(const std::u32string& text)
{
    std::string bytes;
    for (const gunichar character : text) {
        std::array<char, 6> encoding{};
        bytes.append(encoding.data(), static_cast<std::size_t>(g_unichar_to_utf8(character, encoding.data())));
    }
    return bytes;
}

} // namespace

std::string presentable(std::string_view outside, std::size_t longest)
{
    return encoded(trimmed(shown(outside, longest, Ends::areBlanks)));
}

std::string presentableLines(std::string_view outside, std::size_t longest)
{
    return encoded(shown(outside, longest, Ends::areKept));
}

} // namespace quenstal
