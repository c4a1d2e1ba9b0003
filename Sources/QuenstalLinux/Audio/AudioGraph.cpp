#include "QuenstalLinux/Audio/AudioGraph.hpp"

#include <algorithm>

namespace quenstal {

std::optional<std::uint32_t> AudioGraph::sinkNamed(std::string_view name) const
{
    const auto found = std::ranges::find(sinks, name, [](const auto& entry) { return entry.second.name(); });
    return found == sinks.end() ? std::nullopt : std::optional(found->first);
}

std::optional<std::uint32_t> AudioGraph::cardNumberOf(const SinkNode& sink) const
{
    const auto card = devices.find(numberOf(sink.properties, "device.id", ~0U));
    return card == devices.end() ? std::nullopt : std::optional(card->first);
}

const CardDevice* AudioGraph::cardOf(const SinkNode& sink) const
{
    const auto number = cardNumberOf(sink);
    return number ? &devices.at(*number) : nullptr;
}

const OutputRoute* AudioGraph::routeOf(const SinkNode& sink) const
{
    const CardDevice* const card = cardOf(sink);
    if (!card)
        return nullptr;
    const auto route = card->outputRoutes.find(sink.profileDevice());
    return route == card->outputRoutes.end() ? nullptr : &route->second;
}

const AudioVolume* AudioGraph::volumeOf(const SinkNode& sink) const
{
    const OutputRoute* const route = routeOf(sink);
    const auto& volume = route && route->volume ? route->volume : sink.volume;
    return volume ? &*volume : nullptr;
}

} // namespace quenstal
