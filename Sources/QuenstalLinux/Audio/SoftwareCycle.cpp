#include "QuenstalLinux/Audio/SoftwareCycle.hpp"

#include "QuenstalLinux/Audio/InputRepair.hpp"

#include <algorithm>
#include <cstring>
#include <thread>

#include <pipewire/stream.h>
#include <spa/node/io.h>

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
}

void SoftwareCycle::reserve(std::size_t frames, std::size_t channels)
{
    repairedStride_ = frames;
    repaired_.assign(frames * channels, 0);
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
        const std::uint32_t frames = framesToRun(input, *output);
        const std::uint32_t outputs = clearOutput(*output, frames);
        if (input) {
            const std::uint32_t both = std::min(outputs, input->buffer->n_datas);
            fillInput(*input, both, frames);
            callProcedure(both);
        }
        sampleTime_ += frames;
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

std::uint32_t SoftwareCycle::framesToRun(const pw_buffer* input, const pw_buffer& output) const
{
    std::size_t frames = repairedStride_;
    for (std::uint32_t i = 0; i < output.buffer->n_datas; ++i)
        frames = std::min<std::size_t>(frames, output.buffer->datas[i].maxsize / bytesPerSample);
    if (!input) {
        // Nothing came in: one cycle of silence.
        const spa_io_position* const position = position_.load(std::memory_order_relaxed);
        return static_cast<std::uint32_t>(
            std::min<std::uint64_t>(frames, position ? position->clock.duration : output.requested));
    }
    for (std::uint32_t i = 0; i < input->buffer->n_datas; ++i) {
        const spa_data& data = input->buffer->datas[i];
        const std::uint32_t offset = std::min(data.chunk->offset, data.maxsize);
        frames = std::min<std::size_t>(frames, std::min(data.chunk->size, data.maxsize - offset) / bytesPerSample);
    }
    return static_cast<std::uint32_t>(frames);
}

std::uint32_t SoftwareCycle::clearOutput(const pw_buffer& output, std::uint32_t frames)
{
    const std::uint32_t count = std::min<std::uint32_t>(output.buffer->n_datas, maximumChannels);
    for (std::uint32_t i = 0; i < count; ++i) {
        spa_data& data = output.buffer->datas[i];
        std::memset(data.data, 0, std::size_t{frames} * bytesPerSample);
        data.chunk->offset = 0;
        data.chunk->size = frames * bytesPerSample;
        data.chunk->stride = bytesPerSample;
        output_[i] = {1, frames * bytesPerSample, data.data};
    }
    return count;
}

void SoftwareCycle::fillInput(const pw_buffer& input, std::uint32_t count, std::uint32_t frames)
{
    for (std::uint32_t i = 0; i < count; ++i) {
        const spa_data& data = input.buffer->datas[i];
        auto* samples
            = reinterpret_cast<float*>(static_cast<std::byte*>(data.data) + std::min(data.chunk->offset, data.maxsize));
        if (needsRepair(samples, frames)) {
            float* const repaired = &repaired_[i * repairedStride_];
            repairedSamples_.fetch_add(copyRepaired(samples, frames, repaired), std::memory_order_relaxed);
            samples = repaired;
        }
        input_[i] = {1, frames * bytesPerSample, samples};
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
    const std::uint32_t rate = position ? position->clock.rate.denom : 0;
    if (rate == 0 || rate == rate_.load(std::memory_order_relaxed))
        return;
    rate_.store(rate, std::memory_order_relaxed);
    if (notifyRate_)
        notifyRate_(notifyData_);
}

} // namespace quenstal
