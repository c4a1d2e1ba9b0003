#include "QuenstalCore/Models/Json.hpp"

#include "QuenstalCore/Models/JsonReading.hpp"

#include <cmath>
#include <utility>

namespace quenstal {

namespace {

using Kind = DecodingError::Kind;
using json::ObjectReader;

/// Bytes are counted from 1.
DecodingError notJSONFrom(std::size_t byte)
{
    return {Kind::corruptedData, "Not JSON from byte " + std::to_string(byte) + " on."};
}

Json number(double value)
{
    if (!std::isfinite(value))
        throw EncodingError("A number that is not finite has no JSON form.");
    if (std::trunc(value) == value && std::abs(value) < json::largestExactInteger)
        return static_cast<std::int64_t>(value);
    return value;
}

} // namespace

namespace json {

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
