#include "QuenstalLinux/Audio/RepairSpace.hpp"
#include "QuenstalLinux/Audio/StreamBuffers.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spa/buffer/buffer.h>

namespace quenstal {
namespace {

/// A buffer of the server with one channel.
struct OneChannel {
    OneChannel(std::uint32_t offset, std::uint32_t size)
    {
        chunk.offset = offset;
        chunk.size = size;
        data.data = samples.data();
        data.maxsize = static_cast<std::uint32_t>(samples.size() * sizeof(float));
        data.chunk = &chunk;
        buffer.n_datas = 1;
        buffer.datas = &data;
    }
    std::array<float, 16> samples{};
    spa_chunk chunk{};
    spa_data data{};
    spa_buffer buffer{};
    StreamChannels channels{};
};

TEST(StreamBuffers, noOffsetAndNoSizeLeadsBeyondTheMemory)
{
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    const struct {
        std::uint32_t offset;
        std::uint32_t size;
        std::uint32_t place;
        std::uint32_t bytes;
    } rows[] = {
        {0, 64, 0, 64},
        {16, 32, 16, 32},
        {16, 64, 16, 48},
        {17, 64, 16, 48},
        {64, 4, 64, 0},
        {68, 4, 64, 0},
        {0, most, 0, 64},
        {most, most, 64, 0},
    };
    for (const auto& row : rows) {
        OneChannel in(row.offset, row.size);
        ASSERT_EQ(inputChannels(in.buffer, in.channels), 1u);
        EXPECT_EQ(in.channels[0].dataByteSize, row.bytes) << row.offset << " " << row.size;
        EXPECT_EQ(
            static_cast<std::byte*>(in.channels[0].data), reinterpret_cast<std::byte*>(in.samples.data()) + row.place)
            << row.offset << " " << row.size;
    }
}

TEST(StreamBuffers, memoryThatIsNotThereHoldsNothing)
{
    OneChannel none(4, 64);
    none.data.data = nullptr;
    ASSERT_EQ(inputChannels(none.buffer, none.channels), 1u);
    EXPECT_EQ(none.channels[0].dataByteSize, 0u);
    ASSERT_EQ(outputChannels(none.buffer, none.channels), 1u);
    EXPECT_EQ(none.channels[0].dataByteSize, 0u);
    EXPECT_EQ(none.channels[0].data, nullptr);
}

TEST(StreamBuffers, moreChannelsThanThereAreSpeakersAreLeftOut)
{
    OneChannel one(0, 64);
    std::vector<spa_data> many(maximumStreamChannels + 1, one.data);
    one.buffer.n_datas = static_cast<std::uint32_t>(many.size());
    one.buffer.datas = many.data();
    EXPECT_EQ(inputChannels(one.buffer, one.channels), maximumStreamChannels);
    EXPECT_EQ(outputChannels(one.buffer, one.channels), maximumStreamChannels);
    EXPECT_EQ(one.channels.back().dataByteSize, 64u);
}

TEST(RepairSpace, whatACycleHoldsStaysAsItIsWhenMoreIsReserved)
{
    RepairSpace space;
    EXPECT_EQ(space.view().frames, 0u);
    space.reserve(4096, 2);
    const RepairSpace::View held = space.view();
    std::fill_n(held.samples, 8192, 0.5F);
    for (const std::size_t frames : {8192U, 16384U, 32768U})
        space.reserve(frames, 2);
    EXPECT_TRUE(std::all_of(held.samples, held.samples + 8192, [](float sample) { return sample == 0.5F; }));
    EXPECT_EQ(space.view().frames, 32768u);
    EXPECT_EQ(space.view().channels, 2u);
    space.reserve(1024, 2);
    EXPECT_EQ(space.view().frames, 32768u) << "a smaller buffer takes nothing away";
}

TEST(RepairSpace, aCycleThatRunsSeesEachGrowth)
{
    constexpr std::size_t longest = 4096;
    RepairSpace space;
    std::atomic<std::size_t> seen = 0;
    std::thread cycles([&] {
        while (seen.load() < longest) {
            const RepairSpace::View view = space.view();
            for (std::size_t channel = 0; channel < view.channels; ++channel)
                std::fill_n(view.channel(channel), view.frames, 1.0F);
            seen.store(view.frames);
        }
    });
    for (std::size_t frames = 1; frames <= longest; frames *= 2) {
        space.reserve(frames, 2);
        while (seen.load() < frames)
            std::this_thread::yield();
    }
    cycles.join();
}

} // namespace
} // namespace quenstal
