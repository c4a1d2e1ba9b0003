#include "QuenstalApp/NativeAdapters/SettingsAdapters.hpp"

#include "QuenstalCore/Models/Json.hpp"

#include <cstdint>

namespace quenstal {

namespace {

constexpr std::string_view profilePrefix = "Quenstal.EQ.Profile.";
constexpr std::string_view softwareProcessingPrefix = "Quenstal.EQ.SoftwareProcessing.";

/// Base64 in its URL-safe alphabet, without padding: any output key becomes a safe end of a preference key.
std::string encodedOutputKey(std::string_view key)
{
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string encoded;
    std::uint32_t bits = 0;
    int bitCount = 0;
    for (const char byte : key) {
        bits = bits << 8 | static_cast<unsigned char>(byte);
        for (bitCount += 8; bitCount >= 6; bitCount -= 6)
            encoded += alphabet[bits >> (bitCount - 6) & 63];
    }
    if (bitCount > 0)
        encoded += alphabet[bits << (6 - bitCount) & 63];
    return encoded;
}

std::string preferenceKey(std::string_view prefix, std::string_view outputKey)
{
    return std::string(prefix) + encodedOutputKey(outputKey);
}

} // namespace

std::optional<EQProfile> UserDefaultsEQProfileStore::profile(std::string_view key)
{
    const auto json = userDefaults_.data(preferenceKey(profilePrefix, key));
    if (!json)
        return std::nullopt;
    try {
        return decodeJSON<EQProfile>(*json);
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

void UserDefaultsEQProfileStore::saveProfile(const EQProfile& profile, std::string_view key)
{
    try {
        userDefaults_.setData(preferenceKey(profilePrefix, key), encodeJSON(profile));
    } catch (const EncodingError&) {
        return;
    }
}

bool UserDefaultsEQProfileStore::softwareProcessingPreferred(std::string_view key)
{
    return userDefaults_.boolean(preferenceKey(softwareProcessingPrefix, key));
}

void UserDefaultsEQProfileStore::setSoftwareProcessingPreferred(bool preferred, std::string_view key)
{
    userDefaults_.setBoolean(preferenceKey(softwareProcessingPrefix, key), preferred);
}

} // namespace quenstal
