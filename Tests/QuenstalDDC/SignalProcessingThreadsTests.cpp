// The main thread turns every knob and reads the meters while the audio thread works. The thread sanitizer watches.

#include "QuenstalDDC/SignalProcessingBlocks.hpp"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace testing_support;

/// The audio thread: cycles until told to stop. Counts samples outside [−1, 1].
std::size_t runCycles(QSSoftwareVolumeSession& session, const std::atomic<bool>& stop, std::atomic<int>& cycles)
{
    std::vector<float> in(2 * 64, 0.3f);
    std::vector<float> out(in.size());
    std::size_t outside = 0;
    while (!stop) {
        AudioBuffer source{2, static_cast<std::uint32_t>(in.size() * sizeof(float)), in.data()};
        AudioBuffer sink = source;
        sink.data = out.data();
        const AudioBufferList input{1, &source};
        AudioBufferList output{1, &sink};
        QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
        outside += static_cast<std::size_t>(std::ranges::count_if(out, [](float y) { return !(std::fabs(y) <= 1); }));
        ++cycles;
    }
    return outside;
}

TEST(Threads, settersAndReaderMayRunDuringACycle)
{
    constexpr int enoughCycles = 2000;
    constexpr int enoughChanges = 2000;
    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, 1);
    std::atomic<bool> stop = false;
    std::atomic<int> cycles = 0;
    std::size_t outside = 0;
    std::thread audio([&] { outside = runCycles(session, stop, cycles); });

    BlockSource source(3);
    QSSoftwareLevels levels;
    for (int changes = 0; changes < enoughChanges || cycles < enoughCycles; ++changes) {
        QSSoftwareVolumeSessionSetGain(&session, std::fabs(source.uniform()));
        const QSSoftwareEQProfile profile{.enabled = !source.oneIn(4),
            .preampDB = 6 * source.uniform(),
            .bandCount = 5,
            .bands = {{60, 12 * source.uniform()}, {250, 3}, {1000, -4}, {4000, 12 * source.uniform()}, {12000, 1}}};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
        QSSoftwareVolumeSessionSetSampleRate(&session, source.oneIn(2) ? 44100 : 96000);
        QSSoftwareVolumeSessionReadLevels(&session, &levels);
        ASSERT_LE(levels.levelL, 1);
        if (changes % 100 == 0)
            std::this_thread::yield();
    }
    stop = true;
    audio.join();
    EXPECT_EQ(outside, 0u);

    // With the audio thread gone, its next cycle sees the last settings whole.
    QSSoftwareVolumeSessionSetGain(&session, 0.5f);
    const QSSoftwareEQProfile off;
    QSSoftwareVolumeSessionSetEQProfile(&session, &off);
    std::atomic<bool> once = false;
    std::atomic<int> last = 0;
    std::thread again([&] { runCycles(session, once, last); });
    while (last == 0)
        std::this_thread::yield();
    once = true;
    again.join();
    QSSoftwareVolumeSessionReadLevels(&session, &levels);
    EXPECT_EQ(levels.levelL, 0.15f);
}

} // namespace
} // namespace quenstal
