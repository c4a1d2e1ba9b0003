#pragma once

#include "QuenstalLinux/Audio/PipeWireConnection.hpp"
#include "QuenstalLinux/Audio/SoftwareCycle.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace quenstal {

/// Two streams of this program: the capture stream, on which other programs play as if it were an output, and the
/// playback stream, which plays on the real one. Both run in the same cycle, so nothing is delayed. Neither is shown
/// to users as an output or as a program that plays. Main thread.
class StreamPair {
public:
    struct Setup {
        /// Name of the capture stream; see `SoftwareNodes.hpp`.
        std::string name;
        /// Name of the real output.
        std::string targetName;
        /// The speakers of the real output, by the server's numbers.
        std::vector<std::uint32_t> positions;
    };

    /// Hears of the streams' fate. The pair must not be destroyed within a call.
    class Owner {
    public:
        /// The streams exist at the server, or moved on: `captureNode` may have an answer now.
        virtual void streamsAdvanced() = 0;
        /// One of them can do nothing any more. Why is told afterwards, if at all, as a refusal of the connection.
        virtual void streamsFailed() = 0;
        virtual void rateChanged() = 0;

    protected:
        ~Owner() = default;
    };

    /// All outlive it. Throws std::system_error when the server refuses at once.
    StreamPair(PipeWireConnection& connection, const Setup& setup, SoftwareCycle& cycle, Owner& owner);
    /// Takes the real output's side away last, so that nothing is played twice.
    ~StreamPair();
    StreamPair(const StreamPair&) = delete;
    StreamPair& operator=(const StreamPair&) = delete;

    /// The capture stream's global number; SPA_ID_INVALID until it can take streams.
    std::uint32_t captureNode() const;
    std::uint32_t playbackNode() const;

private:
    struct Events;

    void connect(const std::vector<std::uint32_t>& positions);
    void stateChanged(pw_stream_state state);
    static void keepAtFullVolume(pw_stream& stream, const spa_pod* props);

    pw_loop& loop_;
    SoftwareCycle& cycle_;
    Owner& owner_;
    std::size_t channels_;
    PipeWireHook captureHook_;
    PipeWireHook playbackHook_;
    PipeWireSource rateEvent_;
    PipeWireStream playback_;
    PipeWireStream capture_;
};

} // namespace quenstal
