#pragma once

#include "QuenstalLinux/Audio/DirectLinks.hpp"
#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalLinux/Audio/SoftwareCycle.hpp"
#include "QuenstalLinux/Audio/SoundGuard.hpp"
#include "QuenstalLinux/Audio/StreamPair.hpp"
#include "QuenstalLinux/Audio/StreamRouter.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quenstal {

/// One output's sound led through a procedure: the streams, and what is routed into them. Survives restarts of the
/// server and of the session manager; ends when the output goes. Main thread.
class SoftwarePath final : private PipeWireGraph::Observer,
                           private PipeWireConnection::Listener,
                           private StreamPair::Owner {
public:
    struct Setup {
        std::string nodeName;
        std::string targetName;
        std::vector<std::uint32_t> excludedClients;
        /// Of the sound's guard; empty for none.
        std::string guardProgram;
    };
    /// Called on a later turn; the path may be destroyed within the call.
    struct Events {
        std::function<void()> formatChanged;
        /// The output has gone, or the server refused. The number says why.
        std::function<void(int status)> ended;
    };

    /// The references outlive it.
    SoftwarePath(PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop, Setup setup, Events events);
    ~SoftwarePath();

    void start(AudioObjectID device, AudioIOProc procedure, void* clientData);
    /// The procedure is not called any more when this returns. The streams are asked back to their direct path; until
    /// they are there, their sound keeps flowing unchanged.
    void stop();
    /// See `AudioTaps::setDirectGain`.
    void setDirectGain(float gain, bool isHeard);
    /// Calls when the path can be destroyed without a gap in the sound; not before the next turn.
    void whenDrained(std::function<void()> task);

    /// Nothing is led through the streams any more.
    bool isDrained() const;
    /// From what is still led through the streams, past them.
    std::vector<DirectLink> directLinks() const;

    /// Frames a second; 0 until the first cycle.
    std::uint32_t rate() const { return cycle_.rate(); }
    const SoftwareCycle& cycle() const { return cycle_; }

private:
    void graphChanged(GraphChange change) override;
    void connected(pw_core&) override { }
    void disconnected() override;
    void refused(std::uint32_t proxyID, int status) override;
    void streamsAdvanced() override;
    void streamsFailed() override;
    void rateChanged() override;

    void buildWhenPossible();
    void dropStreams();
    /// Everything that plays on the output goes through the streams.
    bool carriesEverything() const;
    void takeVolumeBackIfPossible();
    /// The volume that the guard lowered is what it was, unless others have changed it since.
    void takeVolumeBack(const SoundGuard::Lowered& lowered);
    /// The first reason of a turn holds, unless it is `unknownReason`.
    void endLater(int status);

    PipeWireConnection& connection_;
    PipeWireGraph& graph_;
    RunLoop& runLoop_;
    const Setup setup_;
    const Events events_;
    SoftwareCycle cycle_;
    StreamRouter router_;
    SoundGuard guard_;
    std::unique_ptr<StreamPair> streams_;
    /// Positions that the streams were made for.
    std::vector<std::uint32_t> positions_;
    bool wanted_ = false;
    bool targetSeen_ = false;
    int endStatus_ = 0;
    Cancellation pendingFormat_;
    Cancellation pendingEnd_;
    Cancellation draining_;
};

} // namespace quenstal
