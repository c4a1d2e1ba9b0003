#include "QuenstalLinux/Audio/SoftwareCycle.hpp"

#include "QuenstalLinux/Audio/InputRepair.hpp"
#include "QuenstalLinux/Audio/ServerLimits.hpp"

#include <algorithm>
#include <cstring>
#include <thread>

#include <pipewire/stream.h>
#include <spa/node/io.h>
#include <span>

namespace quenstal {

namespace {

constexpr std::uint32_t bytesPerSample = sizeof(float);

} // namespace

void SoftwareCycle::setProcedure(AudioObjectID device, AudioIOProc procedure, void* clientData)
{
    clearProcedure();
    call_ = {device, procedure, clientData};
    callable_.store(true);
}

void SoftwareCycle::clearProcedure()
{
    callable_.store(false);
    while (calling_.load())
        std::this_thread::yield();
}

void SoftwareCycle::setStreams(pw_stream* capture, pw_stream* playback)
{
    capture_ = capture;
    playback_ = playback;
    repairSpace_.clear();
}

void SoftwareCycle::reserve(std::size_t frames, std::size_t channels)
{
    repairSpace_.reserve(std::min(frames, longestCycle), std::min(channels, maximumStreamChannels));
}

void SoftwareCycle::onRateChanged(void (*notify)(void*), void* data)
{
    notifyRate_ = notify;
    notifyData_ = data;
}

void SoftwareCycle::run()
{
    watchRate();
    pw_buffer* const input = newestInput();
    pw_buffer* const output = pw_stream_dequeue_buffer(playback_);
    if (output) {
        runBuffers(input, *output);
        pw_stream_queue_buffer(playback_, output);
    }
    if (input)
        pw_stream_queue_buffer(capture_, input);
    cycles_.fetch_add(1, std::memory_order_relaxed);
}

pw_buffer* SoftwareCycle::newestInput()
{
    pw_buffer* newest = nullptr;
    while (pw_buffer* const next = pw_stream_dequeue_buffer(capture_)) {
        if (newest)
            pw_stream_queue_buffer(capture_, newest);
        newest = next;
    }
    return newest;
}

void SoftwareCycle::runBuffers(const pw_buffer* input, const pw_buffer& output)
{
    const RepairSpace::View space = repairSpace_.view();
    const std::uint32_t outputs = outputChannels(*output.buffer, output_);
    const std::uint32_t inputs = input ? inputChannels(*input->buffer, input_) : 0;
    std::size_t frames = space.frames;
    for (const auto& channels : {std::span(output_).first(outputs), std::span(input_).first(inputs)}) {
        for (const AudioBuffer& channel : channels)
            frames = std::min<std::size_t>(frames, channel.dataByteSize / bytesPerSample);
    }
    if (!input) {
        // Nothing came in: one cycle of silence.
        const spa_io_position* const position = position_.load(std::memory_order_relaxed);
        frames = std::min<std::uint64_t>(frames, position ? position->clock.duration : output.requested);
    }
    clearOutput(output, outputs, static_cast<std::uint32_t>(frames));
    if (input && frames > 0) {
        const auto both = static_cast<std::uint32_t>(std::min<std::size_t>({outputs, inputs, space.channels}));
        fillInput(space, both, static_cast<std::uint32_t>(frames));
        callProcedure(both);
    }
    sampleTime_ += static_cast<double>(frames);
}

void SoftwareCycle::clearOutput(const pw_buffer& output, std::uint32_t count, std::uint32_t frames)
{
    for (std::uint32_t i = 0; i < count; ++i) {
        output_[i].dataByteSize = frames * bytesPerSample;
        if (output_[i].data)
            std::memset(output_[i].data, 0, output_[i].dataByteSize);
        spa_chunk& chunk = *output.buffer->datas[i].chunk;
        chunk.offset = 0;
        chunk.size = frames * bytesPerSample;
        chunk.stride = bytesPerSample;
    }
}

void SoftwareCycle::fillInput(const RepairSpace::View& space, std::uint32_t count, std::uint32_t frames)
{
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto* const samples = static_cast<const float*>(input_[i].data);
        input_[i].dataByteSize = frames * bytesPerSample;
        if (!needsRepair(samples, frames))
            continue;
        repairedSamples_.fetch_add(copyRepaired(samples, frames, space.channel(i)), std::memory_order_relaxed);
        input_[i].data = space.channel(i);
    }
}

void SoftwareCycle::callProcedure(std::uint32_t buffers)
{
    calling_.store(true);
    if (callable_.load()) {
        const AudioBufferList input{buffers, input_.data()};
        AudioBufferList output{buffers, output_.data()};
        const spa_io_position* const position = position_.load(std::memory_order_relaxed);
        const AudioTimeStamp time{sampleTime_, position ? position->clock.nsec : 0};
        call_.procedure(call_.device, &time, &input, &time, &output, &time, call_.clientData);
    } else {
        for (std::uint32_t i = 0; i < buffers; ++i)
            std::memcpy(output_[i].data, input_[i].data, input_[i].dataByteSize);
    }
    calling_.store(false);
}

void SoftwareCycle::watchRate()
{
    const spa_io_position* const position = position_.load(std::memory_order_relaxed);
    const std::uint32_t rate = position ? ServerLimits::rate(position->clock.rate.denom) : 0;
    if (rate == 0 || rate == rate_.load(std::memory_order_relaxed))
        return;
    rate_.store(rate, std::memory_order_relaxed);
    if (notifyRate_)
        notifyRate_(notifyData_);
}

} // namespace quenstal
