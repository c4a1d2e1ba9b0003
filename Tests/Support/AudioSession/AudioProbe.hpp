#pragma once

// Another program's side of the sound: one that plays a known signal, and one that listens to an output.

#include "QuenstalLinux/Audio/PipeWireConnection.hpp"
#include "Support/EpollRunLoop.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal {

/// A signal whose samples tell their place, exactly, as long as nothing but a power of two is applied to them.
inline float countedSample(std::uint64_t frame)
{
    return (static_cast<float>(frame % 65536) - 32768.5F) / 65536.0F;
}
/// The place that a sample of that signal tells; none for any other sample.
std::optional<std::uint64_t> countOf(float sample);

/// A time on the server's clock, and the frame that passed there.
struct ProbePoint {
    std::uint64_t position = 0;
    std::uint64_t frame = 0;
};

/// A program that plays, over a connection of its own.
class ProbePlayer final : private PipeWireConnection::Listener {
public:
    using Signal = std::function<float(std::uint64_t frame)>;

    /// Plays the same on all channels, on the default output or on the named one.
    ProbePlayer(EpollRunLoop& loop, Signal signal, std::string target = {}, std::uint32_t channels = 2);
    ~ProbePlayer();

    std::uint64_t framesPlayed() const { return frames_; }
    ProbePoint lastCycle() const;

private:
    struct Events;

    void connected(pw_core& core) override;
    void disconnected() override;
    void refused(std::uint32_t, int) override { }
    void process();

    const Signal signal_;
    const std::string target_;
    const std::uint32_t channels_;
    std::atomic<std::uint64_t> frames_ = 0;
    std::atomic<const spa_io_position*> position_ = nullptr;
    mutable std::mutex mutex_; // guards lastCycle_
    ProbePoint lastCycle_;
    PipeWireConnection connection_;
    PipeWireHook hook_;
    PipeWireStream stream_;
};

/// What an output is sent, heard from the moment this is made. It links itself to the output: a newer session manager
/// would have it listen to what programs play, and not to what the output is sent.
class ProbeRecorder final : private PipeWireConnection::Listener {
public:
    using Frames = std::vector<std::vector<float>>;

    ProbeRecorder(EpollRunLoop& loop, std::string outputName, std::uint32_t channels = 2);
    ~ProbeRecorder();

    /// Waits until it listens.
    bool isReady();
    /// The next frames, channel by channel; fewer when they do not come within the limit.
    Frames take(std::size_t frames, RunLoop::Duration limit = std::chrono::seconds(5));
    /// What was heard since the last call, or since it was last cleared.
    Frames drain();
    /// Throws away what was heard so far.
    void clear();
    /// Waits for frames until one fits. False when none does within the limit.
    bool waitFor(const std::function<bool(float)>& fits, RunLoop::Duration limit = std::chrono::seconds(5));
    ProbePoint lastCycle() const;

private:
    struct Events;
    struct Port {
        std::uint32_t id;
        std::string node;
        std::string channel;
        bool plays;
    };

    void connected(pw_core& core) override;
    void disconnected() override;
    void refused(std::uint32_t, int) override { }
    void added(std::uint32_t id, std::string_view type, const spa_dict& properties);
    void link(const Port& output, const Port& input);
    void process();
    std::size_t heard() const;

    EpollRunLoop& loop_;
    const std::string outputName_;
    const std::uint32_t channels_;
    std::atomic<const spa_io_position*> position_ = nullptr;
    mutable std::mutex mutex_; // guards frames_ and lastCycle_
    Frames frames_;
    ProbePoint lastCycle_;
    PipeWireConnection connection_;
    pw_core* core_ = nullptr;
    std::string outputNode_;
    std::vector<Port> ports_;
    PipeWireHook registryHook_;
    PipeWireProxy<pw_registry> registry_;
    PipeWireHook hook_;
    PipeWireStream stream_;
    std::vector<PipeWireProxy<pw_link>> links_;
};

} // namespace quenstal
