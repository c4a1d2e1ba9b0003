#pragma once

#include "QuenstalLinux/Audio/RepairSpace.hpp"
#include "QuenstalLinux/Audio/StreamBuffers.hpp"
#include "QuenstalPlatform/AudioBuffers.hpp"

#include <atomic>
#include <cstdint>

struct pw_buffer;
struct pw_stream;
struct spa_io_position;

namespace quenstal {

/// One cycle of the software path: what the capture stream got is run through the procedure into the playback stream.
///
/// `run` belongs to the audio thread: no allocation, no lock, no log. Everything else belongs to the main thread, and
/// only `setProcedure`, `clearProcedure`, `reserve`, `setPosition`, `rate`, `repairedSamples` and `cycles` may be used
/// while the streams run.
class SoftwareCycle {
public:
    /// Eight times what a server allows unless it is told otherwise.
    static constexpr std::size_t longestCycle = 65536;

    /// The procedure is called from the next cycle on.
    void setProcedure(AudioObjectID device, AudioIOProc procedure, void* clientData);
    /// When this returns, the procedure is not running and will not be called again. From then on the input passes
    /// unchanged. Waits for the present cycle at most.
    void clearProcedure();

    void setStreams(pw_stream* capture, pw_stream* playback);
    /// Room for cycles of that many frames, up to `longestCycle`. Longer ones are cut.
    void reserve(std::size_t frames, std::size_t channels);
    /// The server's clock; null when there is none.
    void setPosition(const spa_io_position* position) { position_.store(position, std::memory_order_relaxed); }
    /// Called on the audio thread when the rate is another one than in the cycle before.
    void onRateChanged(void (*notify)(void*), void* data);

    /// Frames a second of the last cycle; 0 before the first one.
    std::uint32_t rate() const { return rate_.load(std::memory_order_relaxed); }
    /// Samples that were not finite or absurdly large, since the beginning.
    std::uint64_t repairedSamples() const { return repairedSamples_.load(std::memory_order_relaxed); }
    std::uint64_t cycles() const { return cycles_.load(std::memory_order_relaxed); }

    /// Audio thread.
    void run();

private:
    pw_buffer* newestInput();
    void runBuffers(const pw_buffer* input, const pw_buffer& output);
    void clearOutput(const pw_buffer& output, std::uint32_t count, std::uint32_t frames);
    void fillInput(const RepairSpace::View& space, std::uint32_t count, std::uint32_t frames);
    void callProcedure(std::uint32_t buffers);
    void watchRate();

    struct Call {
        AudioObjectID device = 0;
        AudioIOProc procedure = nullptr;
        void* clientData = nullptr;
    };

    pw_stream* capture_ = nullptr;
    pw_stream* playback_ = nullptr;
    Call call_;
    // The two sides look at each other's flag after raising their own, so at least one of them sees the other's.
    std::atomic<bool> callable_ = false;
    std::atomic<bool> calling_ = false;

    std::atomic<const spa_io_position*> position_ = nullptr;
    void (*notifyRate_)(void*) = nullptr;
    void* notifyData_ = nullptr;
    std::atomic<std::uint32_t> rate_ = 0;
    std::atomic<std::uint64_t> repairedSamples_ = 0;
    std::atomic<std::uint64_t> cycles_ = 0;

    RepairSpace repairSpace_;

    // Audio thread.
    StreamChannels input_{};
    StreamChannels output_{};
    double sampleTime_ = 0;
};

} // namespace quenstal
