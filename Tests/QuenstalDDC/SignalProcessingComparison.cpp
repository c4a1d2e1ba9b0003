#include "QuenstalDDC/SignalProcessingComparison.hpp"

#include <bit>
#include <cmath>
#include <optional>

namespace quenstal::testing_support {

namespace {

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

class Comparison {
public:
    Comparison(std::span<const QSSignalKernels* const> kernels, const Layout& layout)
        : kernels_(kernels)
        , layout_(layout)
    {
    }

    std::string firstDifference(int blocks)
    {
        for (int block = 0; block < blocks; ++block) {
            if (block == 0 || isPoisoned(sessions_.front()) || source_.oneIn(100))
                startAnew();
            if (source_.oneIn(5))
                changeSettings();
            if (const std::string found = compareOneBlock(); !found.empty())
                return "block " + std::to_string(block) + ", " + found;
        }
        return {};
    }

private:
    void startAnew()
    {
        sessions_.clear();
        for (const QSSignalKernels* kernels : kernels_)
            sessions_.push_back(sessionFor(layout_, *kernels));
    }

    void changeSettings()
    {
        const BlockSource before = source_;
        for (QSSoftwareVolumeSession& session : sessions_) {
            source_ = before;
            source_.change(session);
        }
    }

    /// One cycle in each session, all with the same block; the first is the reference.
    std::string compareOneBlock()
    {
        const std::size_t frames = source_.frames();
        const std::size_t loose = source_.oneIn(8) ? source_.below(layout_.channels) : 0;
        const std::size_t samples = layout_.planar ? frames : frames * layout_.channels + loose;
        Arena input(layout_, samples, source_.below(8));
        source_.fill(input, layout_);
        const bool inPlace = source_.oneIn(3);
        const std::size_t misalignment = source_.below(8);

        std::optional<Arena> expected;
        for (QSSoftwareVolumeSession& session : sessions_) {
            Arena output = inPlace ? input : Arena(layout_, samples, misalignment);
            runCycle(session, inPlace ? output.list() : input.list(), output.list());
            if (!expected)
                expected = output;
            const std::string where
                = std::string(session.kernels->name) + " with " + std::to_string(samples) + " samples: ";
            if (output.bytes() != expected->bytes())
                return where + "output";
            if (const std::string found = difference(sessions_.front(), session); !found.empty())
                return where + found;
        }
        return {};
    }

    const std::span<const QSSignalKernels* const> kernels_;
    const Layout layout_;
    BlockSource source_{20};
    std::vector<QSSoftwareVolumeSession> sessions_;
};

} // namespace

std::vector<Layout> everyLayout()
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

std::string firstDifference(std::span<const QSSignalKernels* const> kernels, const Layout& layout, int blocks)
{
    return Comparison(kernels, layout).firstDifference(blocks);
}

} // namespace quenstal::testing_support
