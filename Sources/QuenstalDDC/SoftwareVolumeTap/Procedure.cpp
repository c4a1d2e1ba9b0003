// The audio thread's side: one cycle over the buffers.

#include "QuenstalDDC/SoftwareVolumeTap/FloatingPointMode.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/RelaxedAccess.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SignalProcessing.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>

namespace quenstal {

namespace {

constexpr float peakDecayPerCycle = 0.94f;
constexpr double clipHoldSeconds = 0.6;

/// Whether two stretches of memory share no byte.
bool apart(const void* a, std::size_t aSize, const void* b, std::size_t bSize)
{
    const auto* aBytes = static_cast<const std::byte*>(a);
    const auto* bBytes = static_cast<const std::byte*>(b);
    return std::less_equal{}(aBytes + aSize, bBytes) || std::less_equal{}(bBytes + bSize, aBytes);
}

bool isKnown(QSSampleFormat format)
{
    return format >= QSSampleFormat::float32 && format <= QSSampleFormat::int32;
}

/// One buffer of the output with the input that belongs to it.
struct BufferPair {
    const AudioBuffer& input;
    const AudioBuffer& output;

    std::size_t sharedBytes() const { return std::min(input.dataByteSize, output.dataByteSize); }
    bool isEmpty() const { return !input.data || !output.data || sharedBytes() == 0; }
};

/// Where the samples are read from. When the input covers the output and does not straddle it, they are read where
/// they are, which saves the copy; else the input is copied over and the output processed in place.
const std::byte* sourceOf(const BufferPair& pair, std::uint32_t sampleSize)
{
    const std::uint32_t size = pair.output.dataByteSize;
    const bool covered = pair.input.dataByteSize >= size && (size & (sampleSize - 1)) == 0;
    if (covered && (pair.input.data == pair.output.data || apart(pair.input.data, size, pair.output.data, size)))
        return static_cast<const std::byte*>(pair.input.data);
    std::memmove(pair.output.data, pair.input.data, pair.sharedBytes());
    return static_cast<const std::byte*>(pair.output.data);
}

/// Whether the buffers of two neighbouring channels may go through the equalizer side by side.
bool goTogether(const BufferPair& left, const BufferPair& right)
{
    const auto untouched = [](const AudioBuffer& written, const AudioBuffer& other) {
        return apart(written.data, written.dataByteSize, other.data, other.dataByteSize);
    };
    return !left.isEmpty() && !right.isEmpty() && left.output.dataByteSize == right.output.dataByteSize
        && untouched(left.output, right.output) && untouched(left.output, right.input)
        && untouched(right.output, left.input);
}

/// The buffers of one cycle, taken in order.
class Buffers {
public:
    Buffers(const QSSoftwareVolumeSession& session, const AudioBufferList& input, const AudioBufferList& output)
        : input_(input)
        , output_(output)
        , count_(input.buffers && output.buffers ? std::min(input.numberBuffers, output.numberBuffers) : 0)
        , nonInterleaved_(session.nonInterleaved)
        , defaultChannels_(session.channelCount)
        , format_(static_cast<QSSampleFormat>(session.sampleFormat))
        , sampleShift_(static_cast<std::uint32_t>(std::countr_zero(bytesPerSample(format_))))
    {
    }

    std::uint32_t count() const { return count_; }
    bool isPlanar() const { return nonInterleaved_; }
    bool isKnownFormat() const { return isKnown(format_); }
    BufferPair at(std::uint32_t index) const { return {input_.buffers[index], output_.buffers[index]}; }

    QSSampleRun runOf(const BufferPair& pair, std::uint32_t index) const
    {
        return {
            .input = sourceOf(pair, 1u << sampleShift_),
            .output = static_cast<std::byte*>(pair.output.data),
            .count = pair.output.dataByteSize >> sampleShift_,
            .format = format_,
            .channels = nonInterleaved_ ? 1 : channelsOf(pair),
            .firstChannel = nonInterleaved_ ? index : 0,
        };
    }

    /// Frames of the largest buffer that carries anything.
    std::uint32_t maxFrames() const
    {
        std::uint32_t frames = 0;
        for (std::uint32_t i = 0; i < count_; ++i) {
            if (const BufferPair pair = at(i); !pair.isEmpty())
                frames = std::max(frames, framesOf(pair));
        }
        return frames;
    }

private:
    std::uint32_t channelsOf(const BufferPair& pair) const
    {
        if (pair.output.numberChannels != 0)
            return pair.output.numberChannels;
        return nonInterleaved_ ? 1 : std::max(defaultChannels_, 1u);
    }

    std::uint32_t framesOf(const BufferPair& pair) const
    {
        return (pair.output.dataByteSize >> sampleShift_) / channelsOf(pair);
    }

    const AudioBufferList& input_;
    const AudioBufferList& output_;
    const std::uint32_t count_;
    const bool nonInterleaved_;
    const std::uint32_t defaultChannels_;
    const QSSampleFormat format_;
    const std::uint32_t sampleShift_;
};

void processBuffers(QSSoftwareVolumeSession& session, QSCycle& cycle, const Buffers& buffers)
{
    const QSSignalKernels& kernels = session.kernels ? *session.kernels : referenceKernels;
    // From channel 7 on, all channels share one row of filter state and must keep their order.
    const std::uint32_t endOfPairs
        = buffers.isPlanar() && cycle.eqEnabled ? std::min<std::uint32_t>(buffers.count(), softwareEQChannelCount) : 0;
    for (std::uint32_t i = 0; i < buffers.count(); ++i) {
        const BufferPair pair = buffers.at(i);
        if (i + 1 < endOfPairs && goTogether(pair, buffers.at(i + 1))) {
            const QSSampleRun left = buffers.runOf(pair, i);
            kernels.processPair(session, cycle, left, buffers.runOf(buffers.at(i + 1), i + 1));
            ++i;
        } else if (!pair.isEmpty()) {
            kernels.process(session, cycle, buffers.runOf(pair, i));
        }
    }
}

/// For samples of a form that nobody knows.
void silence(const Buffers& buffers)
{
    for (std::uint32_t i = 0; i < buffers.count(); ++i) {
        if (const BufferPair pair = buffers.at(i); !pair.isEmpty())
            std::memset(pair.output.data, 0, pair.output.dataByteSize);
    }
}

std::int32_t clipHold(double sampleRate)
{
    const double frames = sampleRate * clipHoldSeconds;
    if (!(frames > 0))
        return 0;
    constexpr std::int32_t longest = std::numeric_limits<std::int32_t>::max();
    return frames < longest ? static_cast<std::int32_t>(frames) : longest;
}

/// The larger of a level and a former peak's remainder; a peak that is no number is forgotten.
float fallenPeak(float level, float peak)
{
    const float fallen = peak * peakDecayPerCycle;
    return fallen > level ? fallen : level;
}

void publishMeters(QSSoftwareVolumeSession& session, const QSCycle& cycle, const Buffers& buffers)
{
    relaxedStore(session.levelL, cycle.peakL);
    relaxedStore(session.levelR, cycle.peakR);
    relaxedStore(session.peakL, fallenPeak(cycle.peakL, session.peakL));
    relaxedStore(session.peakR, fallenPeak(cycle.peakR, session.peakR));

    const std::int64_t held = session.clipHoldFrames;
    if (cycle.clipped) {
        relaxedStore(session.clipHoldFrames, clipHold(relaxedLoad(session.sampleRate)));
    } else if (held >= 1) {
        const std::int64_t left = std::max<std::int64_t>(held - buffers.maxFrames(), 0);
        relaxedStore(session.clipHoldFrames, static_cast<std::int32_t>(left));
    }
}

} // namespace

PlatformStatus QSSoftwareVolumeIOProc(AudioObjectID, const AudioTimeStamp*, const AudioBufferList* input,
    const AudioTimeStamp*, AudioBufferList* output, const AudioTimeStamp*, void* clientData)
{
    if (!clientData || !input || !output)
        return 0;
    auto& session = *static_cast<QSSoftwareVolumeSession*>(clientData);
    const Buffers buffers(session, *input, *output);
    QSCycle cycle{
        .gain = relaxedLoad(session.gain),
        .eqEnabled = relaxedLoad(session.eqEnabled),
        .preampGain = relaxedLoad(session.preampGain),
    };
    if (buffers.isKnownFormat()) {
        const FloatingPointModeScope scope(cycle.eqEnabled ? flushingMode : ieeeMode);
        processBuffers(session, cycle, buffers);
    } else {
        silence(buffers);
    }
    publishMeters(session, cycle, buffers);
    return 0;
}

} // namespace quenstal
