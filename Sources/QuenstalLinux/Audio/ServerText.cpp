#include "QuenstalLinux/Audio/ServerText.hpp"

#include "QuenstalLinux/Audio/ServerLimits.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include <spa/utils/dict.h>
#include <spa/utils/json.h>

namespace quenstal {

namespace {

constexpr std::string_view ellipsis = "…";

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Not within a character.
std::string cut(std::string_view text)
{
    std::size_t length = ServerLimits::description - ellipsis.size();
    while (length > 0 && isContinuation(text[length]))
        --length;
    return std::string(text.substr(0, length)).append(ellipsis);
}

} // namespace

TakenProperties takenProperties(const spa_dict* dictionary)
{
    TakenProperties taken;
    const std::size_t told = dictionary ? dictionary->n_items : 0;
    const std::size_t count = std::min(told, ServerLimits::properties);
    taken.areWhole = count == told;
    for (std::size_t i = 0; i < count; ++i) {
        const spa_dict_item& item = dictionary->items[i];
        const std::string_view key = item.key ? item.key : "";
        const std::string_view value = item.value ? item.value : "";
        const bool isDescription = key == "node.description";
        const bool isTooLong = value.size() > (isDescription ? ServerLimits::description : ServerLimits::value);
        if (key.size() <= ServerLimits::key && (isDescription || !isTooLong))
            taken.properties.insert_or_assign(std::string(key), isTooLong ? cut(value) : std::string(value));
        taken.areWhole = taken.areWhole && key.size() <= ServerLimits::key && !isTooLong;
    }
    return taken;
}

std::string nameIn(const char* json)
{
    const std::string_view text = json ? json : "";
    if (text.size() > ServerLimits::metadata)
        return {};
    spa_json outer{};
    spa_json object{};
    spa_json_init(&outer, text.data(), text.size());
    if (spa_json_enter_object(&outer, &object) <= 0)
        return {};
    std::array<char, ServerLimits::metadata + 1> key{};
    std::array<char, ServerLimits::metadata + 1> value{};
    while (spa_json_get_string(&object, key.data(), key.size()) > 0) {
        if (spa_json_get_string(&object, value.data(), value.size()) <= 0)
            return {};
        const std::string_view name = value.data();
        if (std::string_view(key.data()) == "name")
            return name.size() <= ServerLimits::value ? std::string(name) : std::string();
    }
    return {};
}

std::string quotedForJson(const std::string& text)
{
    // Six characters for one at most, two quotation marks, and the end.
    std::string json(text.size() * 6 + 3, '\0');
    const int length = spa_json_encode_string(json.data(), static_cast<int>(json.size()), text.c_str());
    json.resize(static_cast<std::size_t>(length));
    return json;
}

} // namespace quenstal
