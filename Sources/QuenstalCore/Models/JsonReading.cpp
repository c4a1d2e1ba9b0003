#include "QuenstalCore/Models/JsonReading.hpp"

#include <cmath>

namespace quenstal::json {

namespace {

bool isWholeNumber(const ParsedJson& json)
{
    if (json.is_number_unsigned())
        return json.get<std::uint64_t>() <= std::uint64_t{INT64_MAX};
    if (json.is_number_integer())
        return true;
    // Written with a fraction or an exponent, or with more digits than fit: it must not have lost any.
    const auto number = json.get<double>();
    return std::trunc(number) == number && std::abs(number) < largestExactInteger;
}

} // namespace

DecodingError typeMismatch(std::string_view expected, const ParsedJson& found)
{
    return {
        DecodingError::Kind::typeMismatch, "Expected " + std::string(expected) + ", found " + found.type_name() + "."};
}

std::string text(const ParsedJson& json)
{
    if (!json.is_string())
        throw typeMismatch("string", json);
    return json.get<std::string>();
}

void read(const ParsedJson& json, std::string& value)
{
    value = text(json);
}

void read(const ParsedJson& json, bool& value)
{
    if (!json.is_boolean())
        throw typeMismatch("boolean", json);
    value = json.get<bool>();
}

void read(const ParsedJson& json, double& value)
{
    if (!json.is_number())
        throw typeMismatch("number", json);
    value = json.get<double>();
}

void read(const ParsedJson& json, std::int64_t& value)
{
    if (!json.is_number())
        throw typeMismatch("whole number", json);
    if (!isWholeNumber(json)) {
        throw DecodingError(
            DecodingError::Kind::typeMismatch, "Expected whole number of 64 bits, found " + json.dump() + ".");
    }
    value = json.get<std::int64_t>();
}

} // namespace quenstal::json
