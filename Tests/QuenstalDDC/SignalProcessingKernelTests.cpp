// Every kernel gives the bits of the scalar reference: output, filter state, meters, clip indicator.

#include "QuenstalDDC/SignalProcessingBlocks.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

#include <cmath>
#include <optional>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace testing_support;

/// NaNs differ in bits that no operation promises; any NaN is as good as another.
bool same(float a, float b)
{
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

bool same(const QSBiquadState& a, const QSBiquadState& b)
{
    return same(a.x1, b.x1) && same(a.x2, b.x2) && same(a.y1, b.y1) && same(a.y2, b.y2);
}

/// What differs between two sessions after the same cycles; empty when nothing does.
std::string difference(const QSSoftwareVolumeSession& a, const QSSoftwareVolumeSession& b)
{
    if (!same(a.levelL, b.levelL) || !same(a.levelR, b.levelR))
        return "levels";
    if (!same(a.peakL, b.peakL) || !same(a.peakR, b.peakR))
        return "peaks";
    if (a.clipHoldFrames != b.clipHoldFrames)
        return "clip hold";
    for (std::size_t channel = 0; channel < softwareEQChannelCount; ++channel) {
        for (std::size_t k = 0; k < softwareEQBandCount; ++k) {
            if (!same(a.filterState[channel][k], b.filterState[channel][k]))
                return "state of channel " + std::to_string(channel) + ", band " + std::to_string(k);
        }
    }
    return {};
}

bool isPoisoned(const QSSoftwareVolumeSession& session)
{
    for (const auto& row : session.filterState) {
        for (const QSBiquadState& state : row) {
            if (!std::isfinite(state.y1))
                return true;
        }
    }
    return false;
}

QSSoftwareVolumeSession sessionFor(const Layout& layout, const QSSignalKernels& kernels)
{
    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, 1);
    session.sampleFormat = static_cast<std::uint32_t>(layout.format);
    session.nonInterleaved = layout.planar;
    session.kernels = &kernels;
    return session;
}

void runCycle(QSSoftwareVolumeSession& session, std::vector<AudioBuffer> in, std::vector<AudioBuffer> out)
{
    const AudioBufferList input{static_cast<std::uint32_t>(in.size()), in.data()};
    AudioBufferList output{static_cast<std::uint32_t>(out.size()), out.data()};
    QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
}

struct KernelTest : testing::TestWithParam<Layout> {
    /// One cycle in each session, all with the same block; the first is the reference.
    void compareOneBlock(std::vector<QSSoftwareVolumeSession>& sessions, BlockSource& source)
    {
        const Layout& layout = GetParam();
        const std::size_t frames = source.frames();
        const std::size_t loose = source.oneIn(8) ? source.below(layout.channels) : 0;
        const std::size_t samples = layout.planar ? frames : frames * layout.channels + loose;
        Arena input(layout, samples, source.below(8));
        source.fill(input, layout);
        const bool inPlace = source.oneIn(3);
        const std::size_t misalignment = source.below(8);

        std::optional<Arena> expected;
        for (QSSoftwareVolumeSession& session : sessions) {
            Arena output = inPlace ? input : Arena(layout, samples, misalignment);
            runCycle(session, inPlace ? output.list() : input.list(), output.list());
            if (!expected)
                expected = output;
            ASSERT_EQ(output.bytes() == expected->bytes(), true)
                << session.kernels->name << ": output of " << samples << " samples";
            ASSERT_EQ(difference(sessions.front(), session), "")
                << session.kernels->name << ", " << frames << " frames";
        }
    }
};

TEST_P(KernelTest, givesTheBitsOfTheReference)
{
    constexpr int blocks = 4000;
    BlockSource source(20);
    std::vector<QSSoftwareVolumeSession> sessions;
    for (int block = 0; block < blocks; ++block) {
        if (block == 0 || isPoisoned(sessions.front()) || source.oneIn(100)) {
            sessions.clear();
            for (const QSSignalKernels* kernels : availableKernels())
                sessions.push_back(sessionFor(GetParam(), *kernels));
        }
        if (source.oneIn(5)) {
            const BlockSource settings = source;
            for (QSSoftwareVolumeSession& session : sessions) {
                source = settings;
                source.change(session);
            }
        }
        ASSERT_NO_FATAL_FAILURE(compareOneBlock(sessions, source)) << "block " << block;
    }
}

std::vector<Layout> layouts()
{
    std::vector<Layout> all;
    for (const auto format :
        {QSSampleFormat::float32, QSSampleFormat::float64, QSSampleFormat::int16, QSSampleFormat::int32}) {
        for (const std::uint32_t channels : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 10u})
            all.push_back({format, false, channels});
        for (const std::uint32_t channels : {1u, 2u, 3u, 8u, 10u})
            all.push_back({format, true, channels});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Layouts, KernelTest, testing::ValuesIn(layouts()),
    [](const testing::TestParamInfo<Layout>& layout) { return layout.param.name(); });

} // namespace
} // namespace quenstal
