#include "QuenstalLinux/Audio/VolumePods.hpp"

#include "QuenstalLinux/Audio/ServerLimits.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <spa/param/audio/format.h>
#include <spa/param/audio/raw.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/param/route.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

namespace quenstal {

namespace {

/// Enough for a route with 64 channels.
constexpr std::size_t maximumPodBytes = 2048;

/// The elements, as many as there can be speakers; none of an array of something else. The library's own copy trusts
/// the size of an element that the array names.
template <typename Element>
std::vector<Element> arrayOf(const spa_pod& pod, std::uint32_t type)
{
    if (!spa_pod_is_array(&pod) || SPA_POD_ARRAY_VALUE_TYPE(&pod) != type
        || SPA_POD_ARRAY_VALUE_SIZE(&pod) != sizeof(Element))
        return {};
    std::uint32_t count = 0;
    const auto* const bytes = static_cast<const std::byte*>(spa_pod_get_array(&pod, &count));
    std::vector<Element> values(std::min<std::uint32_t>(count, SPA_AUDIO_MAX_CHANNELS));
    // Elements may stand at any address.
    for (std::size_t i = 0; i < values.size(); ++i)
        std::memcpy(&values[i], bytes + i * sizeof(Element), sizeof(Element));
    return values;
}

/// The value of a key in the route's own dictionary.
std::string infoValue(const spa_pod* info, std::string_view wanted)
{
    spa_pod_parser parser;
    spa_pod_frame frame;
    std::int32_t count = 0;
    spa_pod_parser_pod(&parser, info);
    if (spa_pod_parser_push_struct(&parser, &frame) < 0 || spa_pod_parser_get_int(&parser, &count) < 0)
        return {};
    const char* key = nullptr;
    const char* value = nullptr;
    while (spa_pod_parser_get_string(&parser, &key) == 0 && spa_pod_parser_get_string(&parser, &value) == 0) {
        if (key && value && wanted == key)
            return std::string_view(value).size() <= ServerLimits::key ? value : "";
    }
    return {};
}

void addVolume(spa_pod_builder& builder, const AudioVolume& volume)
{
    const auto count = static_cast<std::uint32_t>(volume.channels.size());
    spa_pod_builder_prop(&builder, SPA_PROP_mute, 0);
    spa_pod_builder_bool(&builder, volume.muted);
    spa_pod_builder_prop(&builder, SPA_PROP_channelVolumes, 0);
    spa_pod_builder_array(&builder, sizeof(float), SPA_TYPE_Float, count, volume.channels.data());
}

} // namespace

std::optional<AudioVolume> parseVolume(const spa_pod* props)
{
    if (!props || !spa_pod_is_object(props))
        return std::nullopt;
    const auto* const object = reinterpret_cast<const spa_pod_object*>(props);
    const auto* const factors = spa_pod_object_find_prop(object, nullptr, SPA_PROP_channelVolumes);
    if (!factors)
        return std::nullopt;
    AudioVolume volume;
    volume.channels = arrayOf<float>(factors->value, SPA_TYPE_Float);
    std::ranges::transform(volume.channels, volume.channels.begin(), ServerLimits::factor);
    volume.hardware = (factors->flags & SPA_POD_PROP_FLAG_HARDWARE) != 0;
    if (const auto* const positions = spa_pod_object_find_prop(object, nullptr, SPA_PROP_channelMap))
        volume.positions = arrayOf<std::uint32_t>(positions->value, SPA_TYPE_Id);
    // Speakers without a factor, or factors without a speaker, tell nothing.
    if (volume.positions.size() != volume.channels.size())
        volume.positions.clear();
    if (const auto* const mute = spa_pod_object_find_prop(object, nullptr, SPA_PROP_mute))
        spa_pod_get_bool(&mute->value, &volume.muted);
    return volume.channels.empty() ? std::nullopt : std::optional(std::move(volume));
}

std::optional<std::pair<std::int32_t, OutputRoute>> parseOutputRoute(const spa_pod* route)
{
    if (!route || !spa_pod_is_object(route))
        return std::nullopt;
    const auto* const object = reinterpret_cast<const spa_pod_object*>(route);
    const auto find = [&](std::uint32_t key) -> const spa_pod* {
        const auto* const property = spa_pod_object_find_prop(object, nullptr, key);
        return property ? &property->value : nullptr;
    };
    const auto* const index = find(SPA_PARAM_ROUTE_index);
    const auto* const direction = find(SPA_PARAM_ROUTE_direction);
    const auto* const device = find(SPA_PARAM_ROUTE_device);
    std::uint32_t directionID = 0;
    std::int32_t deviceNumber = 0;
    OutputRoute parsed;
    if (!index || !direction || !device || spa_pod_get_int(index, &parsed.index) < 0
        || spa_pod_get_id(direction, &directionID) < 0 || spa_pod_get_int(device, &deviceNumber) < 0
        || directionID != SPA_DIRECTION_OUTPUT)
        return std::nullopt;
    if (const auto* const info = find(SPA_PARAM_ROUTE_info))
        parsed.portType = infoValue(info, "port.type");
    parsed.volume = parseVolume(find(SPA_PARAM_ROUTE_props));
    return std::pair(deviceNumber, std::move(parsed));
}

std::uint32_t parseRate(const spa_pod* format)
{
    if (!format || !spa_pod_is_object(format))
        return 0;
    const auto* const object = reinterpret_cast<const spa_pod_object*>(format);
    const auto* const property = spa_pod_object_find_prop(object, nullptr, SPA_FORMAT_AUDIO_rate);
    std::int32_t rate = 0;
    if (!property || spa_pod_get_int(&property->value, &rate) < 0 || rate < 0)
        return 0;
    return ServerLimits::rate(static_cast<std::uint32_t>(rate));
}

BuiltPod BuiltPod::nodeVolume(const AudioVolume& volume)
{
    BuiltPod built;
    built.bytes_.resize(maximumPodBytes);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, built.bytes_.data(), maximumPodBytes);
    spa_pod_frame frame;
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    addVolume(builder, volume);
    spa_pod_builder_pop(&builder, &frame);
    return built;
}

BuiltPod BuiltPod::routeVolume(
    std::int32_t routeIndex, std::int32_t profileDevice, const AudioVolume& volume, bool isKept)
{
    BuiltPod built;
    built.bytes_.resize(maximumPodBytes);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, built.bytes_.data(), maximumPodBytes);
    std::array<spa_pod_frame, 2> frames{};
    spa_pod_builder_push_object(&builder, &frames[0], SPA_TYPE_OBJECT_ParamRoute, SPA_PARAM_Route);
    spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_index, 0);
    spa_pod_builder_int(&builder, routeIndex);
    spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_device, 0);
    spa_pod_builder_int(&builder, profileDevice);
    spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_props, 0);
    spa_pod_builder_push_object(&builder, &frames[1], SPA_TYPE_OBJECT_Props, SPA_PARAM_Route);
    addVolume(builder, volume);
    spa_pod_builder_pop(&builder, &frames[1]);
    spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_save, 0);
    spa_pod_builder_bool(&builder, isKept);
    spa_pod_builder_pop(&builder, &frames[0]);
    return built;
}

} // namespace quenstal
