#pragma once

// How the models read their fields: strictly, and naming the place of every fault. nlohmann's own conversions would
// take a boolean for a number and cut off fractions. Only the codings of the models include this.

#include "QuenstalCore/Models/Json.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal::json {

/// Below this magnitude a double keeps every digit of a whole number.
inline constexpr double largestExactInteger = 9007199254740992;

DecodingError typeMismatch(std::string_view expected, const ParsedJson& found);

void read(const ParsedJson& json, std::string& value);
void read(const ParsedJson& json, bool& value);
void read(const ParsedJson& json, double& value);
void read(const ParsedJson& json, std::int64_t& value);

template <typename T>
requires requires(const ParsedJson& json, T& value)
{
    from_json(json, value);
}
void read(const ParsedJson& json, T& value)
{
    from_json(json, value);
}

/// Puts the step in front of the path of an error that leaves `reading`.
template <typename Reading>
void within(std::string_view step, const Reading& reading)
try {
    reading();
} catch (DecodingError& error) {
    error.enclose(step);
    throw;
}

template <typename T>
void read(const ParsedJson& json, std::vector<T>& values)
{
    if (!json.is_array())
        throw typeMismatch("array", json);
    values.clear();
    for (const ParsedJson& element : json)
        within("[" + std::to_string(values.size()) + "]", [&] { read(element, values.emplace_back()); });
}

/// The members of one JSON object.
class ObjectReader {
public:
    explicit ObjectReader(const ParsedJson& json)
        : json_(json)
    {
        if (!json.is_object())
            throw typeMismatch("object", json);
    }

    template <typename T>
    const ObjectReader& field(const char* key, T& value) const
    {
        within(key, [&] {
            const auto member = json_.find(key);
            if (member == json_.end())
                throw DecodingError(DecodingError::Kind::missingKey, "The key is missing.");
            read(*member, value);
        });
        return *this;
    }

    template <typename T>
    const ObjectReader& field(const char* key, std::optional<T>& value) const
    {
        value.reset();
        const auto member = json_.find(key);
        if (member != json_.end() && !member->is_null())
            within(key, [&] { read(*member, value.emplace()); });
        return *this;
    }

private:
    const ParsedJson& json_;
};

} // namespace quenstal::json
