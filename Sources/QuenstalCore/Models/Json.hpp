#pragma once

// The JSON forms of the models. An object's keys are the field names, in field order; an enumeration is its raw
// value; an optional field that is absent is left out, and reads as absent when missing or null. Unknown keys are
// ignored; of a key that stands twice the last one counts. Values are decoded as they stand, without clamping or
// normalising.

#include "QuenstalCore/Models.hpp"
#include "QuenstalCore/Models/DecodingError.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace quenstal {

/// What is written: keeps the keys in the order in which they were added.
using Json = nlohmann::ordered_json;

/// What was read: looks keys up in logarithmic time. The ordered form copies its members when it grows, which a
/// deeply nested text from outside turns into a stack overflow.
using ParsedJson = nlohmann::json;

/// Compact JSON text. Whole numbers have no fraction, and negative zero no sign. Throws EncodingError.
template <typename T>
std::string encodeJSON(const T& value);

/// Reads one value from the whole text. Throws DecodingError, and nothing else whatever the text is.
template <typename T>
T decodeJSON(std::string_view text);

// nlohmann's customisation points. They throw EncodingError and DecodingError.

void to_json(Json& json, const AudioOutputDevice& device);
void from_json(const ParsedJson& json, AudioOutputDevice& device);

void to_json(Json& json, const DisplayControlTarget& display);
void from_json(const ParsedJson& json, DisplayControlTarget& display);

void to_json(Json& json, const PermissionState& permissions);
void from_json(const ParsedJson& json, PermissionState& permissions);

void to_json(Json& json, const ControlMode& mode);
void from_json(const ParsedJson& json, ControlMode& mode);

void to_json(Json& json, const VolumeSnapshot& volume);
void from_json(const ParsedJson& json, VolumeSnapshot& volume);

void to_json(Json& json, const EQBand& band);
void from_json(const ParsedJson& json, EQBand& band);

void to_json(Json& json, const EQProfile& profile);
void from_json(const ParsedJson& json, EQProfile& profile);

void to_json(Json& json, const SoundLevelSnapshot& levels);
void from_json(const ParsedJson& json, SoundLevelSnapshot& levels);

void to_json(Json& json, const DiagnosticIssue& issue);
void from_json(const ParsedJson& json, DiagnosticIssue& issue);

void to_json(Json& json, const AudioProcessingState& state);
void from_json(const ParsedJson& json, AudioProcessingState& state);

namespace json {

/// The text of a string value. Throws DecodingError.
std::string text(const ParsedJson& json);
/// Parses the whole text. Throws DecodingError.
ParsedJson parse(std::string_view text);
/// Compact text. Throws EncodingError.
std::string dump(const Json& json);

} // namespace json

template <Enumeration E>
void to_json(Json& json, E value)
{
    json = std::string(rawValue(value));
}

template <Enumeration E>
void from_json(const ParsedJson& json, E& value)
{
    const std::string text = json::text(json);
    const auto known = fromRawValue<E>(text);
    if (!known)
        throw DecodingError(DecodingError::Kind::unknownRawValue, "Unknown raw value \"" + text + "\".");
    value = *known;
}

template <typename T>
std::string encodeJSON(const T& value)
{
    return json::dump(Json(value));
}

template <typename T>
T decodeJSON(std::string_view text)
{
    const ParsedJson json = json::parse(text);
    T value{};
    from_json(json, value);
    return value;
}

} // namespace quenstal
