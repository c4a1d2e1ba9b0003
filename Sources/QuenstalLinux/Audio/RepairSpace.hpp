#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace quenstal {

/// A place for repaired samples: the server's own buffers may be shared with other programs. It may become larger while
/// a cycle runs, because the server may hand out larger buffers then.
class RepairSpace {
public:
    struct View {
        /// Of the first channel; those of the others follow at that distance.
        float* samples = nullptr;
        /// The longest cycle that has room, in frames, and how many channels have.
        std::size_t frames = 0;
        std::size_t channels = 0;

        float* channel(std::size_t index) const { return samples + index * frames; }
    };

    /// Room for cycles of that many frames at least; always of the same channels, until it is cleared. Main thread.
    void reserve(std::size_t frames, std::size_t channels);
    /// Gives all of it up. Main thread, while no cycle runs.
    void clear();

    /// Stays valid, whatever is reserved meanwhile. Audio thread: to be asked once a cycle.
    View view() const;

private:
    struct Block {
        std::vector<float> samples;
        std::size_t frames;
        std::size_t channels;
    };

    /// The last one is in use. The audio thread may still be in an earlier one; each is larger than the one before.
    std::vector<std::unique_ptr<Block>> blocks_;
    std::atomic<Block*> current_ = nullptr;
};

} // namespace quenstal
