#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>

namespace quenstal {

/// A volume of fixed size, for memory that two processes share.
struct StoredVolume {
    static constexpr std::size_t maximumChannels = 64;

    std::array<float, maximumChannels> channels;
    std::uint32_t count;
    bool muted;

    static StoredVolume of(const AudioVolume& volume)
    {
        StoredVolume stored{
            {}, static_cast<std::uint32_t>(std::min(volume.channels.size(), maximumChannels)), volume.muted};
        std::copy_n(volume.channels.begin(), stored.count, stored.channels.begin());
        return stored;
    }
    AudioVolume volume() const
    {
        return {
            {channels.begin(), channels.begin() + std::min<std::uint32_t>(count, maximumChannels)}, {}, muted, false};
    }
};

struct DirectPath {
    float gain;
    std::uint32_t isHeard;
};

/// What the program and the guard of its sound share. All zero means: silence on the direct path, nothing lowered.
struct SoundGuardRecord {
    // The program's word.

    /// How loud the direct path is to be, should it be needed, beside what the output's own volume makes of it. Both
    /// at once: the program may be stopped between any two of its steps.
    std::atomic<DirectPath> directPath;
    /// Times that the sound was led away from its direct path.
    std::atomic<std::uint32_t> paths;

    // The guard's word. The volumes count once the flag is set, and until the program takes it down.

    std::atomic<bool> isLowered;
    /// The number of the path whose sound was given back then.
    std::uint32_t loweredPath;
    StoredVolume before;
    StoredVolume lowered;
};
static_assert(std::atomic<DirectPath>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

} // namespace quenstal
