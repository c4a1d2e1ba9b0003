#pragma once

#include "QuenstalPlatform/AudioBuffers.hpp"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace quenstal {

/// The audio thread of one started device: calls the procedure with buffers of float32, cycle after cycle, whenever
/// some are asked for. All operations on the main thread.
class SimulatedAudioThread {
public:
    struct Procedure {
        AudioObjectID device = 0;
        AudioIOProc call = nullptr;
        void* clientData = nullptr;
    };
    struct Work {
        int cycles = 0;
        /// Frames a cycle.
        std::uint32_t quantum = 0;
        AudioStreamBasicDescription format;
        std::function<float(std::uint32_t channel, std::uint64_t frame)> signal;
    };
    using Recording = std::vector<std::vector<float>>;

    explicit SimulatedAudioThread(const Procedure& procedure);
    /// Finishes the cycle that runs, then ends: the procedure is not called any more.
    ~SimulatedAudioThread();
    SimulatedAudioThread(const SimulatedAudioThread&) = delete;
    SimulatedAudioThread& operator=(const SimulatedAudioThread&) = delete;

    /// Waits for earlier work first.
    void request(Work work);
    /// Waits until the work is done; what the procedure put out since the last time, channel by channel.
    Recording await();

private:
    void run();
    void perform(const Work& work);
    void performCycle(const Work& work);

    const Procedure procedure_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ending_ = false; // guarded by mutex_
    std::optional<Work> work_; // guarded by mutex_
    Recording recording_; // audio thread while there is work, else main
    std::uint64_t nextFrame_ = 0; // audio thread
    std::thread thread_;
};

} // namespace quenstal
