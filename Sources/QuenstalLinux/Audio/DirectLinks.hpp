#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"

#include <cstdint>
#include <vector>

namespace quenstal {

/// A way from a stream to an output that passes our streams by. Ports are global numbers.
struct DirectLink {
    std::uint32_t outputPort = 0;
    std::uint32_t inputPort = 0;
    /// Where the stream is led now.
    std::uint32_t captureNode = 0;
};

/// For everything that is led into the capture node, the ways to where the playback node leads that channel.
std::vector<DirectLink> directLinks(const AudioGraph& graph, std::uint32_t captureNode, std::uint32_t playbackNode);

/// Whether the stream is not led into the capture node any more, but elsewhere, or has gone.
bool isReplaced(const AudioGraph& graph, const DirectLink& link);

/// Whether the stream is there and led nowhere.
bool isSilent(const AudioGraph& graph, const DirectLink& link);

} // namespace quenstal
