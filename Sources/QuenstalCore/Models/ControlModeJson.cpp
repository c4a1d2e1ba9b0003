// A mode is an object with one key, the name of its case, whose value is an object that holds the payload under its
// label: {"softwareTap": {"deviceID": "42"}}. A payload without a label has the key "_0".

#include "QuenstalCore/Models/JsonReading.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quenstal {

namespace {

Json object(const char* key, Json value)
{
    Json object = Json::object();
    object[key] = std::move(value);
    return object;
}

template <typename T>
T payload(const ParsedJson& nested, const char* label)
{
    T value{};
    json::ObjectReader(nested).field(label, value);
    return value;
}

struct CaseReading {
    std::string_view name;
    ControlMode (*read)(const ParsedJson& nested);
};

/// In the order in which the keys are declared, which is not the order of the cases.
constexpr std::array<CaseReading, 5> caseReadings{{
    {"systemVolume",
        [](const ParsedJson& nested) { return ControlMode::systemVolume(payload<std::string>(nested, "deviceID")); }},
    {"hardwareDDC",
        [](const ParsedJson& nested) { return ControlMode::hardwareDDC(payload<std::string>(nested, "displayID")); }},
    {"softwareTap",
        [](const ParsedJson& nested) { return ControlMode::softwareTap(payload<std::string>(nested, "deviceID")); }},
    {"disabled",
        [](const ParsedJson& nested) {
            json::ObjectReader{nested};
            return ControlMode::disabled();
        }},
    {"unavailable",
        [](const ParsedJson& nested) { return ControlMode::unavailable(payload<UnavailableReason>(nested, "_0")); }},
}};

} // namespace

void to_json(Json& json, const ControlMode& mode)
{
    json = mode.match(
        [](const ControlMode::SystemVolume& system) {
            return object("systemVolume", object("deviceID", system.deviceID));
        },
        [](const ControlMode::HardwareDDC& hardware) {
            return object("hardwareDDC", object("displayID", hardware.displayID));
        },
        [](const ControlMode::SoftwareTap& software) {
            return object("softwareTap", object("deviceID", software.deviceID));
        },
        [](const ControlMode::Unavailable& unavailable) {
            return object("unavailable", object("_0", unavailable.reason));
        },
        [](const ControlMode::Disabled&) { return object("disabled", Json::object()); });
}

void from_json(const ParsedJson& json, ControlMode& mode)
{
    const json::ObjectReader mustBeObject(json);
    const auto found = json.size() == 1
        ? std::ranges::find(caseReadings, std::string_view(json.begin().key()), &CaseReading::name)
        : caseReadings.end();
    // A key that names no case is no key of a mode.
    if (found == caseReadings.end())
        throw DecodingError(DecodingError::Kind::typeMismatch, "Invalid number of keys found, expected one.");
    json::within(found->name, [&] { mode = found->read(json.front()); });
}

} // namespace quenstal
