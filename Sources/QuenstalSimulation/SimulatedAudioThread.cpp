#include "QuenstalSimulation/SimulatedAudioThread.hpp"

#include <utility>

namespace quenstal {

namespace {

/// Buffers of one cycle over contiguous float samples: one buffer a channel, or one for all.
class CycleBuffers {
public:
    CycleBuffers(std::uint32_t frames, const AudioStreamBasicDescription& format)
        : frames_(frames)
        , channels_(format.channelsPerFrame)
        , planar_((format.formatFlags & AudioFormatFlag::isNonInterleaved) != 0)
        , samples_(static_cast<std::size_t>(frames) * channels_)
    {
        const std::uint32_t count = planar_ ? channels_ : 1;
        const std::uint32_t channelsEach = planar_ ? 1 : channels_;
        const std::uint32_t bytes = frames * channelsEach * static_cast<std::uint32_t>(sizeof(float));
        for (std::uint32_t i = 0; i < count; ++i)
            buffers_.push_back({channelsEach, bytes, &samples_[static_cast<std::size_t>(i) * frames * channelsEach]});
    }

    float& at(std::uint32_t channel, std::uint32_t frame)
    {
        return samples_[planar_ ? static_cast<std::size_t>(channel) * frames_ + frame
                                : static_cast<std::size_t>(frame) * channels_ + channel];
    }
    AudioBufferList list() { return {static_cast<std::uint32_t>(buffers_.size()), buffers_.data()}; }

private:
    std::uint32_t frames_;
    std::uint32_t channels_;
    bool planar_;
    std::vector<float> samples_;
    std::vector<AudioBuffer> buffers_;
};

} // namespace

SimulatedAudioThread::SimulatedAudioThread(const Procedure& procedure)
    : procedure_(procedure)
    , thread_([this] { run(); })
{
}

SimulatedAudioThread::~SimulatedAudioThread()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void SimulatedAudioThread::request(Work work)
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !work_; });
    work_ = std::move(work);
    changed_.notify_all();
}

SimulatedAudioThread::Recording SimulatedAudioThread::await()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !work_; });
    return std::exchange(recording_, {});
}

void SimulatedAudioThread::run()
{
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ending_ || work_; });
        if (ending_)
            return;
        const Work work = *work_;
        lock.unlock();
        perform(work);
        lock.lock();
        work_.reset();
        changed_.notify_all();
    }
}

void SimulatedAudioThread::perform(const Work& work)
{
    recording_.resize(work.format.channelsPerFrame);
    for (int i = 0; i < work.cycles; ++i) {
        {
            const std::lock_guard lock(mutex_);
            if (ending_)
                return;
        }
        performCycle(work);
    }
}

void SimulatedAudioThread::performCycle(const Work& work)
{
    CycleBuffers input(work.quantum, work.format);
    CycleBuffers output(work.quantum, work.format);
    for (std::uint32_t channel = 0; channel < work.format.channelsPerFrame; ++channel) {
        for (std::uint32_t frame = 0; frame < work.quantum; ++frame)
            input.at(channel, frame) = work.signal(channel, nextFrame_ + frame);
    }

    const AudioTimeStamp time{static_cast<double>(nextFrame_), 0};
    const AudioBufferList inputList = input.list();
    AudioBufferList outputList = output.list();
    procedure_.call(procedure_.device, &time, &inputList, &time, &outputList, &time, procedure_.clientData);
    nextFrame_ += work.quantum;

    for (std::uint32_t channel = 0; channel < work.format.channelsPerFrame; ++channel) {
        for (std::uint32_t frame = 0; frame < work.quantum; ++frame)
            recording_[channel].push_back(output.at(channel, frame));
    }
}

} // namespace quenstal
