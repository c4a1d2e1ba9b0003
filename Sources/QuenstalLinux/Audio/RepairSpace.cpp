#include "QuenstalLinux/Audio/RepairSpace.hpp"

namespace quenstal {

void RepairSpace::reserve(std::size_t frames, std::size_t channels)
{
    // The server hands its buffers out one by one, all of the same size.
    if (frames <= view().frames)
        return;
    blocks_.push_back(std::make_unique<Block>(Block{std::vector<float>(frames * channels), frames, channels}));
    current_.store(blocks_.back().get(), std::memory_order_release);
}

void RepairSpace::clear()
{
    current_.store(nullptr, std::memory_order_release);
    blocks_.clear();
}

RepairSpace::View RepairSpace::view() const
{
    Block* const block = current_.load(std::memory_order_acquire);
    return block ? View{block->samples.data(), block->frames, block->channels} : View{};
}

} // namespace quenstal
