#include "QuenstalCore/Models/Json.hpp"

#include <cmath>
#include <utility>

namespace quenstal {

namespace {

using Kind = DecodingError::Kind;

/// Below this magnitude every whole double is an integer that JSON readers keep exactly.
constexpr double largestExactInteger = 9007199254740992;

DecodingError typeMismatch(std::string_view expected, const ParsedJson& found)
{
    return {Kind::typeMismatch, "Expected " + std::string(expected) + ", found " + found.type_name() + "."};
}

/// Bytes are counted from 1.
DecodingError notJSONFrom(std::size_t byte)
{
    return {Kind::corruptedData, "Not JSON from byte " + std::to_string(byte) + " on."};
}

// Reading. nlohmann's own conversions would take a boolean for a number and cut off fractions.

void read(const ParsedJson& json, std::string& value)
{
    value = json::text(json);
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

bool isWholeNumber(const ParsedJson& json)
{
    if (json.is_number_unsigned())
        return json.get<std::uint64_t>() <= std::uint64_t{INT64_MAX};
    if (json.is_number_integer())
        return true;
    // Written with a fraction or an exponent, or with more digits than fit: beyond 2^53 some may have been lost.
    const auto number = json.get<double>();
    return std::trunc(number) == number && std::abs(number) < largestExactInteger;
}

void read(const ParsedJson& json, std::int64_t& value)
{
    if (!json.is_number())
        throw typeMismatch("whole number", json);
    if (!isWholeNumber(json))
        throw DecodingError(Kind::typeMismatch, "Expected whole number of 64 bits, found " + json.dump() + ".");
    value = json.get<std::int64_t>();
}

template <typename T>
requires requires(const ParsedJson& json, T& value)
{
    from_json(json, value);
}
void read(const ParsedJson& json, T& value)
{
    from_json(json, value);
}

template <typename T>
void read(const ParsedJson& json, std::vector<T>& values)
{
    if (!json.is_array())
        throw typeMismatch("array", json);
    values.clear();
    for (const ParsedJson& element : json) {
        try {
            read(element, values.emplace_back());
        } catch (DecodingError& error) {
            error.enclose("[" + std::to_string(values.size() - 1) + "]");
            throw;
        }
    }
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
        const auto member = json_.find(key);
        if (member == json_.end())
            throw missing(key);
        readMember(key, *member, value);
        return *this;
    }

    template <typename T>
    const ObjectReader& field(const char* key, std::optional<T>& value) const
    {
        value.reset();
        const auto member = json_.find(key);
        if (member != json_.end() && !member->is_null())
            readMember(key, *member, value.emplace());
        return *this;
    }

private:
    static DecodingError missing(const char* key)
    {
        DecodingError error(Kind::missingKey, "The key is missing.");
        error.enclose(key);
        return error;
    }

    template <typename T>
    static void readMember(const char* key, const ParsedJson& member, T& value)
    {
        try {
            read(member, value);
        } catch (DecodingError& error) {
            error.enclose(key);
            throw;
        }
    }

    const ParsedJson& json_;
};

// Writing.

Json number(double value)
{
    if (!std::isfinite(value))
        throw EncodingError("A number that is not finite has no JSON form.");
    if (std::trunc(value) == value && std::abs(value) < largestExactInteger)
        return static_cast<std::int64_t>(value);
    return value;
}

} // namespace

namespace json {

std::string text(const ParsedJson& json)
{
    if (!json.is_string())
        throw typeMismatch("string", json);
    return json.get<std::string>();
}

ParsedJson parse(std::string_view text)
{
    // The parser would take a zero byte for the end of the text, whatever follows.
    if (const auto zero = text.find('\0'); zero != std::string_view::npos)
        throw notJSONFrom(zero + 1);
    try {
        return ParsedJson::parse(text);
    } catch (const ParsedJson::parse_error& error) {
        throw notJSONFrom(error.byte);
    } catch (const ParsedJson::out_of_range&) {
        throw DecodingError(Kind::corruptedData, "A number is too large.");
    }
}

std::string dump(const Json& json)
{
    try {
        return json.dump();
    } catch (const Json::type_error&) {
        throw EncodingError("A text that is not UTF-8 has no JSON form.");
    }
}

} // namespace json

void to_json(Json& json, const AudioOutputDevice& device)
{
    json = {
        {"id", device.id},
        {"name", device.name},
        {"transport", device.transport},
        {"supportsNativeVolume", device.supportsNativeVolume},
    };
    if (device.coreAudioUID)
        json["coreAudioUID"] = *device.coreAudioUID;
}

void from_json(const ParsedJson& json, AudioOutputDevice& device)
{
    ObjectReader(json)
        .field("id", device.id)
        .field("name", device.name)
        .field("transport", device.transport)
        .field("supportsNativeVolume", device.supportsNativeVolume)
        .field("coreAudioUID", device.coreAudioUID);
}

void to_json(Json& json, const DisplayControlTarget& display)
{
    json = {
        {"id", display.id},
        {"name", display.name},
        {"supportsDDC", display.supportsDDC},
        {"supportsVolumeCommand", display.supportsVolumeCommand},
    };
}

void from_json(const ParsedJson& json, DisplayControlTarget& display)
{
    ObjectReader(json)
        .field("id", display.id)
        .field("name", display.name)
        .field("supportsDDC", display.supportsDDC)
        .field("supportsVolumeCommand", display.supportsVolumeCommand);
}

void to_json(Json& json, const PermissionState& permissions)
{
    json = {
        {"accessibility", permissions.accessibility},
        {"systemAudioCapture", permissions.systemAudioCapture},
    };
}

void from_json(const ParsedJson& json, PermissionState& permissions)
{
    ObjectReader(json)
        .field("accessibility", permissions.accessibility)
        .field("systemAudioCapture", permissions.systemAudioCapture);
}

namespace {

/// A case with its payload: {"case": {"label": payload}}.
template <typename T>
Json taggedCase(const char* name, const char* label, const T& payload)
{
    Json payloadObject = Json::object();
    payloadObject[label] = payload;
    Json object = Json::object();
    object[name] = std::move(payloadObject);
    return object;
}

/// The payload under its label in the nested object of a case.
template <typename T>
T payload(const ParsedJson& nested, const char* label)
{
    T value{};
    ObjectReader(nested).field(label, value);
    return value;
}

struct ModeCoding {
    const char* name;
    ControlMode (*decode)(const ParsedJson& nested);
};

/// In the order in which the keys are declared, which is not the order of the cases.
constexpr ModeCoding modeCodings[] = {
    {"systemVolume",
        [](const ParsedJson& nested) { return ControlMode::systemVolume(payload<std::string>(nested, "deviceID")); }},
    {"hardwareDDC",
        [](const ParsedJson& nested) { return ControlMode::hardwareDDC(payload<std::string>(nested, "displayID")); }},
    {"softwareTap",
        [](const ParsedJson& nested) { return ControlMode::softwareTap(payload<std::string>(nested, "deviceID")); }},
    {"disabled",
        [](const ParsedJson& nested) {
            ObjectReader{nested};
            return ControlMode::disabled();
        }},
    {"unavailable",
        [](const ParsedJson& nested) { return ControlMode::unavailable(payload<UnavailableReason>(nested, "_0")); }},
};

} // namespace

void to_json(Json& json, const ControlMode& mode)
{
    json = mode.match(
        [](const ControlMode::SystemVolume& m) { return taggedCase("systemVolume", "deviceID", m.deviceID); },
        [](const ControlMode::HardwareDDC& m) { return taggedCase("hardwareDDC", "displayID", m.displayID); },
        [](const ControlMode::SoftwareTap& m) { return taggedCase("softwareTap", "deviceID", m.deviceID); },
        [](const ControlMode::Unavailable& m) { return taggedCase("unavailable", "_0", m.reason); },
        [](const ControlMode::Disabled&) {
            Json object = Json::object();
            object["disabled"] = Json::object();
            return object;
        });
}

void from_json(const ParsedJson& json, ControlMode& mode)
{
    const ObjectReader object(json);
    const auto wrongKeys
        = [] { return DecodingError(Kind::typeMismatch, "Invalid number of keys found, expected one."); };
    if (json.size() != 1)
        throw wrongKeys();
    const std::string& name = json.begin().key();
    for (const ModeCoding& coding : modeCodings) {
        if (name != coding.name)
            continue;
        try {
            mode = coding.decode(json.front());
            return;
        } catch (DecodingError& error) {
            error.enclose(name);
            throw;
        }
    }
    // A key that names no case is no key of this object.
    throw wrongKeys();
}

void to_json(Json& json, const VolumeSnapshot& volume)
{
    json = {{"level", number(volume.level)}, {"isMuted", volume.isMuted}};
}

void from_json(const ParsedJson& json, VolumeSnapshot& volume)
{
    ObjectReader(json).field("level", volume.level).field("isMuted", volume.isMuted);
}

void to_json(Json& json, const EQBand& band)
{
    json = {
        {"id", band.id},
        {"frequencyHz", number(band.frequencyHz)},
        {"label", band.label},
        {"gainDB", number(band.gainDB)},
    };
}

void from_json(const ParsedJson& json, EQBand& band)
{
    ObjectReader(json)
        .field("id", band.id)
        .field("frequencyHz", band.frequencyHz)
        .field("label", band.label)
        .field("gainDB", band.gainDB);
}

void to_json(Json& json, const EQProfile& profile)
{
    Json bands = Json::array();
    for (const EQBand& band : profile.bands)
        bands.push_back(band);
    json = {
        {"enabled", profile.enabled},
        {"preset", profile.preset},
        {"bands", std::move(bands)},
        {"preampDB", number(profile.preampDB)},
    };
}

void from_json(const ParsedJson& json, EQProfile& profile)
{
    ObjectReader(json)
        .field("enabled", profile.enabled)
        .field("preset", profile.preset)
        .field("bands", profile.bands)
        .field("preampDB", profile.preampDB);
}

void to_json(Json& json, const SoundLevelSnapshot& levels)
{
    json = {
        {"levelL", number(levels.levelL)},
        {"levelR", number(levels.levelR)},
        {"peakL", number(levels.peakL)},
        {"peakR", number(levels.peakR)},
        {"clipping", levels.clipping},
    };
}

void from_json(const ParsedJson& json, SoundLevelSnapshot& levels)
{
    ObjectReader(json)
        .field("levelL", levels.levelL)
        .field("levelR", levels.levelR)
        .field("peakL", levels.peakL)
        .field("peakR", levels.peakR)
        .field("clipping", levels.clipping);
}

void to_json(Json& json, const DiagnosticIssue& issue)
{
    json = {
        {"code", issue.code},
        {"severity", issue.severity},
        {"message", issue.message},
    };
    if (issue.recoverySuggestion)
        json["recoverySuggestion"] = *issue.recoverySuggestion;
}

void from_json(const ParsedJson& json, DiagnosticIssue& issue)
{
    ObjectReader(json)
        .field("code", issue.code)
        .field("severity", issue.severity)
        .field("message", issue.message)
        .field("recoverySuggestion", issue.recoverySuggestion);
}

void to_json(Json& json, const AudioProcessingState& state)
{
    json = {
        {"profile", state.profile},
        {"levels", state.levels},
        {"diagnostic", state.diagnostic},
        {"canSwitchToSoftware", state.canSwitchToSoftware},
        {"boostHintVisible", state.boostHintVisible},
    };
}

void from_json(const ParsedJson& json, AudioProcessingState& state)
{
    ObjectReader(json)
        .field("profile", state.profile)
        .field("levels", state.levels)
        .field("diagnostic", state.diagnostic)
        .field("canSwitchToSoftware", state.canSwitchToSoftware)
        .field("boostHintVisible", state.boostHintVisible);
}

} // namespace quenstal
