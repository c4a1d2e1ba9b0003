#pragma once

#include "QuenstalLinux/Audio/PipeWireGraph.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// Sends every stream that plays on an output through the capture stream instead, one by one, where the session
/// manager does not do so by itself. The user's own choices are put back in the end; the default output is never
/// touched. Main thread.
class StreamRouter {
public:
    /// The graph outlives it. Streams of the excluded programs (global numbers of their connections) stay where they
    /// are.
    StreamRouter(PipeWireGraph& graph, std::string targetName, std::vector<std::uint32_t> excludedClients);

    /// Moves what plays on the output now. To be called whenever the streams changed.
    void route(std::uint32_t captureNode);
    /// Gives every moved stream back to where it was wanted before.
    void release();
    /// Forgets the moved streams: the session manager that knew of them has gone.
    void forget() { moved_.clear(); }

private:
    /// A link that the session manager has not made stays when it moves the stream, which would be heard twice.
    void unlinkBeside(std::uint32_t captureNode, std::uint32_t target);
    bool isToBeMoved(std::uint32_t stream) const;
    /// None where there was none, or a node that has gone: a session that ended all at once leaves its own.
    std::optional<StreamTarget> earlierTarget(std::uint32_t stream) const;

    PipeWireGraph& graph_;
    const std::string targetName_;
    const std::vector<std::uint32_t> excludedClients_;
    /// The stream's earlier target.
    std::map<std::uint32_t, std::optional<StreamTarget>> moved_;
};

} // namespace quenstal
