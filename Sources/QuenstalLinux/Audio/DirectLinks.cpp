#include "QuenstalLinux/Audio/DirectLinks.hpp"

#include <algorithm>

namespace quenstal {

std::vector<DirectLink> directLinks(const AudioGraph& graph, std::uint32_t captureNode, std::uint32_t playbackNode)
{
    const auto areOneChannel = [&](std::uint32_t left, std::uint32_t right) {
        const auto channel = graph.ports.find(left);
        const auto other = graph.ports.find(right);
        return channel != graph.ports.end() && other != graph.ports.end() && channel->second == other->second;
    };
    std::vector<DirectLink> found;
    for (const auto& [id, entering] : graph.links) {
        if (entering.inputNode != captureNode)
            continue;
        for (const auto& [otherID, leaving] : graph.links) {
            if (leaving.outputNode == playbackNode && areOneChannel(entering.inputPort, leaving.outputPort))
                found.push_back({entering.outputPort, leaving.inputPort, captureNode});
        }
    }
    return found;
}

bool isReplaced(const AudioGraph& graph, const DirectLink& link)
{
    const auto leadsElsewhere = [&](const auto& entry) {
        return entry.second.outputPort == link.outputPort && entry.second.inputNode != link.captureNode;
    };
    return !graph.ports.contains(link.outputPort) || std::ranges::any_of(graph.links, leadsElsewhere);
}

bool isSilent(const AudioGraph& graph, const DirectLink& link)
{
    const auto comesFromIt = [&](const auto& entry) { return entry.second.outputPort == link.outputPort; };
    return graph.ports.contains(link.outputPort) && std::ranges::none_of(graph.links, comesFromIt);
}

} // namespace quenstal
