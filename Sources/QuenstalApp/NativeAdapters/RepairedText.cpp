#include "QuenstalApp/NativeAdapters/RepairedText.hpp"

#include <algorithm>
#include <cstddef>

namespace quenstal {

namespace {

/// What the first byte of a character promises: its length, and the range of the second byte that keeps the character
/// short, below U+110000 and outside the surrogates.
struct Lead {
    std::size_t length;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
};

constexpr Lead lead(unsigned char byte)
{
    if (byte < 0x80)
        return {1};
    if (byte < 0xC2 || byte > 0xF4)
        return {0};
    if (byte < 0xE0)
        return {2};
    if (byte < 0xF0)
        return {3, byte == 0xE0 ? static_cast<unsigned char>(0xA0) : static_cast<unsigned char>(0x80),
            byte == 0xED ? static_cast<unsigned char>(0x9F) : static_cast<unsigned char>(0xBF)};
    return {4, byte == 0xF0 ? static_cast<unsigned char>(0x90) : static_cast<unsigned char>(0x80),
        byte == 0xF4 ? static_cast<unsigned char>(0x8F) : static_cast<unsigned char>(0xBF)};
}

/// How many bytes at the beginning belong together, at least one.
std::size_t matchingBytes(std::string_view bytes, const Lead& first)
{
    std::size_t matching = 1;
    while (matching < std::min(first.length, bytes.size())) {
        const auto byte = static_cast<unsigned char>(bytes[matching]);
        const bool fits = matching == 1 ? byte >= first.lowest && byte <= first.highest : (byte & 0xC0) == 0x80;
        if (!fits)
            break;
        ++matching;
    }
    return matching;
}

} // namespace

std::string repairedText(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const Lead first = lead(static_cast<unsigned char>(bytes.front()));
        const std::size_t matching = matchingBytes(bytes, first);
        if (matching == first.length)
            text.append(bytes.substr(0, matching));
        else
            text.append("\uFFFD");
        bytes.remove_prefix(matching);
    }
    return text;
}

} // namespace quenstal
