#include "QuenstalLinux/Audio/StreamBuffers.hpp"

#include <algorithm>

#include <spa/buffer/buffer.h>

namespace quenstal {

namespace {

template <typename Measure>
std::uint32_t channelsOf(const spa_buffer& buffer, StreamChannels& channels, Measure measure)
{
    const std::uint32_t count = std::min<std::uint32_t>(buffer.n_datas, maximumStreamChannels);
    for (std::uint32_t i = 0; i < count; ++i) {
        const spa_data& data = buffer.datas[i];
        // Memory that could not be mapped holds nothing.
        channels[i] = data.data ? measure(data) : AudioBuffer{1, 0, nullptr};
    }
    return count;
}

} // namespace

std::uint32_t inputChannels(const spa_buffer& buffer, StreamChannels& channels)
{
    return channelsOf(buffer, channels, [](const spa_data& data) {
        const volatile spa_chunk& chunk = *data.chunk;
        const std::uint32_t told = chunk.offset;
        const std::uint32_t offset = std::min(told - told % std::uint32_t{sizeof(float)}, data.maxsize);
        const std::uint32_t size = chunk.size;
        return AudioBuffer{1, std::min(size, data.maxsize - offset), static_cast<std::byte*>(data.data) + offset};
    });
}

std::uint32_t outputChannels(const spa_buffer& buffer, StreamChannels& channels)
{
    return channelsOf(buffer, channels, [](const spa_data& data) { return AudioBuffer{1, data.maxsize, data.data}; });
}

} // namespace quenstal
