#include "QuenstalLinux/Audio/StreamRouter.hpp"

#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace quenstal {

namespace {

/// A target by its node's serial number, which is never used again.
constexpr const char* serialType = "Spa:Id";

} // namespace

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
    if (capture == graph.others.end() || !target)
        return;
    unlinkBeside(captureNode, *target);
    if (graph.insertsSmartFilters)
        return;
    for (const auto& [id, link] : graph.links) {
        if (link.inputNode != *target || !isToBeMoved(link.outputNode))
            continue;
        moved_.emplace(link.outputNode, earlierTarget(link.outputNode));
        graph_.setStreamTarget(link.outputNode, StreamTarget{serialType, std::to_string(capture->second.serial)});
    }
}

void StreamRouter::unlinkBeside(std::uint32_t captureNode, std::uint32_t target)
{
    std::set<std::uint32_t> captured;
    for (const auto& [id, link] : graph_.graph().links) {
        if (link.inputNode == captureNode)
            captured.insert(link.outputNode);
    }
    for (const auto& [id, link] : graph_.graph().links) {
        if (link.inputNode == target && captured.contains(link.outputNode))
            graph_.destroy(id);
    }
}

std::optional<StreamTarget> StreamRouter::earlierTarget(std::uint32_t stream) const
{
    const AudioGraph& graph = graph_.graph();
    const auto target = graph.streamTargets.find(stream);
    if (target == graph.streamTargets.end())
        return std::nullopt;
    if (target->second.type != serialType)
        return target->second;
    const auto serial = numberOf(std::string_view(target->second.value), std::uint64_t{0});
    const bool isThere
        = std::ranges::any_of(graph.others, [serial](const auto& entry) { return entry.second.serial == serial; })
        || std::ranges::any_of(graph.sinks, [serial](const auto& entry) {
               return numberOf(entry.second.properties, "object.serial", std::uint64_t{0}) == serial;
           });
    return isThere ? std::optional(target->second) : std::nullopt;
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
