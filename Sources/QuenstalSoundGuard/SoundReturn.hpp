#pragma once

#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalLinux/Audio/SoundGuardRecord.hpp"

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// Gives back, once, the sound that a program leads through its stream: lowers the output to what was heard, and when
/// the server has carried that out, closes the program's connection. What cannot be lowered is not given back: rather
/// silence than more than was asked for. Main thread.
class SoundReturn final : private PipeWireGraph::Observer {
public:
    /// Of the capture stream and of the output behind it.
    struct Names {
        std::string stream;
        std::string target;
    };

    /// A program that goes on meanwhile keeps its sound. Told on a later turn whether the sound is back. The references
    /// outlive it.
    SoundReturn(
        RunLoop& runLoop, pid_t program, const Names& names, SoundGuardRecord& record, std::function<void(bool)> done);
    ~SoundReturn();

private:
    enum class Step { looking, lowering, restoring, disconnecting, over };

    void graphChanged(GraphChange change) override;
    void lower();
    void writeLowered(const AudioVolume& before);
    void disconnect();
    /// The server did not do what it was asked for in time, or it need not any more.
    void giveUp();
    void finish(bool isBack);
    const SinkNode* target() const;
    /// The global number of the stream's program; none when the stream has gone.
    std::optional<std::uint32_t> client() const;
    bool isLowered() const;

    RunLoop& runLoop_;
    const pid_t program_;
    const Names names_;
    SoundGuardRecord& record_;
    const std::function<void(bool)> done_;
    PipeWireConnection connection_;
    PipeWireGraph graph_;
    Step step_ = Step::looking;
    AudioVolume lowered_;
    bool isLoweredHere_ = false;
    Cancellation limit_;
    Cancellation end_;
};

} // namespace quenstal
