#include "QuenstalLinux/Audio/StreamRouter.hpp"

#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

StreamRouter::StreamRouter(PipeWireGraph& graph, std::string targetName, std::vector<std::uint32_t> excludedClients)
    : graph_(graph)
    , targetName_(std::move(targetName))
    , excludedClients_(std::move(excludedClients))
{
}

void StreamRouter::route(std::uint32_t captureNode)
{
    const AudioGraph& graph = graph_.graph();
    // Global numbers are used again: a stream that has gone is no stream that was moved.
    std::erase_if(moved_, [&](const auto& entry) { return !graph.others.contains(entry.first); });
    const auto capture = graph.others.find(captureNode);
    const auto target = graph.sinkNamed(targetName_);
    if (capture == graph.others.end() || !target || graph.insertsSmartFilters)
        return;
    for (const auto& [id, link] : graph.links) {
        if (link.inputNode != *target || !isToBeMoved(link.outputNode))
            continue;
        const auto earlier = graph.streamTargets.find(link.outputNode);
        moved_.emplace(
            link.outputNode, earlier == graph.streamTargets.end() ? std::nullopt : std::optional(earlier->second));
        graph_.setStreamTarget(link.outputNode, StreamTarget{"Spa:Id", std::to_string(capture->second.serial)});
    }
}

void StreamRouter::release()
{
    for (const auto& [stream, earlier] : moved_)
        graph_.setStreamTarget(stream, earlier);
    moved_.clear();
}

bool StreamRouter::isToBeMoved(std::uint32_t stream) const
{
    const auto node = graph_.graph().others.find(stream);
    return node != graph_.graph().others.end() && node->second.mediaClass == "Stream/Output/Audio"
        && !isSoftwareNodeName(node->second.name) && !moved_.contains(stream)
        && std::ranges::find(excludedClients_, node->second.client) == excludedClients_.end();
}

} // namespace quenstal
