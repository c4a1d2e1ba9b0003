#pragma once

// What a cycle may read and write of the server's buffers. Audio thread.

#include "QuenstalPlatform/AudioBuffers.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

struct spa_buffer;

namespace quenstal {

inline constexpr std::size_t maximumStreamChannels = 64;
using StreamChannels = std::array<AudioBuffer, maximumStreamChannels>;

/// The samples that came in, a channel each, and how many channels there are. Sizes and places are taken once: the
/// server's memory is shared, and whoever writes there must not lead a later look beyond its end.
std::uint32_t inputChannels(const spa_buffer& buffer, StreamChannels& channels);

/// The room for samples that go out.
std::uint32_t outputChannels(const spa_buffer& buffer, StreamChannels& channels);

} // namespace quenstal
