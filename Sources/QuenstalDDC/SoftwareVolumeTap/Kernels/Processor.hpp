#pragma once

// The road of a block: decode, five bands, limit and meter, encode. Floats are processed where they lie; the other
// formats pass through a small scratch, a chunk at a time.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Conversion.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Flat.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Limiter.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Wavefront.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Reference.hpp"

namespace quenstal {

/// Both kinds of call for one instruction set. `Isa` says how wide its registers are (`width`), how a group of
/// channels lies in them (`laneWidth`) and how many channels the largest group has (`largestGroup`).
template <class Isa>
class Processor {
public:
    static void process(QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run)
    {
        const Processor processor(session, cycle);
        if (run.channels > softwareEQChannelCount)
            processReference(session, cycle, run);
        else
            withFormat(
                run.format, [&](auto format) __attribute__((always_inline)) {
                    cycle.eqEnabled ? processor.equalize<decltype(format)>(run)
                                    : processor.attenuate<decltype(format)>(run);
                });
    }

    static void processPair(
        QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& left, const QSSampleRun& right)
    {
        const Processor processor(session, cycle);
        withFormat(
            left.format, [&](auto format) __attribute__((always_inline)) {
                processor.equalizePair<decltype(format)>(left, right);
            });
    }

private:
    template <unsigned channels>
    using Bands = Wavefront<Isa, channels, Isa::laneWidth(channels)>;

    /// What the largest group needs; smaller ones need no more.
    static constexpr std::size_t minimumFrames = Bands<Isa::largestGroup>::minimumFrames;
    static constexpr std::size_t scratchSamples = 2048;

    template <class Format>
    static constexpr bool liesAsFloats = std::is_same_v<Format, Float32Samples>;

    /// Nobody has looked yet.
    static constexpr std::int32_t unknown[softwareEQChannelCount] = {Limiter<Isa>::unknown};

    /// The numbers of a chunk: read from `input`, left in `output`; either the caller's memory or the scratch.
    struct Numbers {
        const float* input;
        float* output;
    };

    Processor(QSSoftwareVolumeSession& session, QSCycle& cycle)
        : session_(session)
        , cycle_(cycle)
    {
    }

    /// Part of a run; `first` is a whole number of frames.
    template <class Format>
    static QSSampleRun slice(const QSSampleRun& run, std::size_t first, std::size_t count)
    {
        QSSampleRun part = run;
        part.input += first * sizeof(typename Format::Sample);
        part.output += first * sizeof(typename Format::Sample);
        part.count = count;
        return part;
    }

    template <class Format, class Function>
    [[gnu::always_inline]] static void inChunks(const QSSampleRun& run, std::size_t chunk, Function function)
    {
        for (std::size_t first = 0; first < run.count; first += chunk)
            function(slice<Format>(run, first, run.count - first < chunk ? run.count - first : chunk));
    }

    /// Of the first `count` samples; decodes into the scratch what cannot be read as it lies.
    template <class Format>
    [[gnu::always_inline]] static Numbers numbersOf(const QSSampleRun& run, std::size_t count, float* scratch)
    {
        if constexpr (liesAsFloats<Format>)
            return {reinterpret_cast<const float*>(run.input), reinterpret_cast<float*>(run.output)};
        decodeSamples<Isa, Format>(run.input, scratch, count);
        return {scratch, scratch};
    }

    /// The largest magnitude of each channel.
    using Magnitudes = std::int32_t[softwareEQChannelCount];

    /// Limits, meters and encodes the first `count` samples.
    template <class Format>
    [[gnu::always_inline]] void finish(
        const QSSampleRun& run, std::size_t count, float* numbers, const std::int32_t* magnitudes) const
    {
        Limiter<Isa>(cycle_, run.channels, run.firstChannel).run(numbers, count, magnitudes);
        if constexpr (!liesAsFloats<Format>)
            encodeSamples<Isa, Format>(numbers, run.output, count);
    }

    /// The equalizer is off.
    template <class Format>
    void attenuate(const QSSampleRun& run) const
    {
        alignas(64) float scratch[liesAsFloats<Format> ? 1 : scratchSamples];
        inChunks<Format>(run, scratchSamples / run.channels * run.channels, [&](const QSSampleRun& part) {
            float* const numbers = liesAsFloats<Format> ? reinterpret_cast<float*>(part.output) : scratch;
            decodeSamples<Isa, Format>(part.input, numbers, part.count, cycle_.gain);
            finish<Format>(part, part.count, numbers, unknown);
        });
    }

    template <class Format>
    void equalize(const QSSampleRun& run) const
    {
        refreshPackedCoefficients(session_);
        if constexpr (liesAsFloats<Format>) {
            equalizePart<Format>(run, nullptr);
        } else {
            alignas(64) float scratch[scratchSamples];
            inChunks<Format>(run, scratchSamples / run.channels * run.channels,
                [&](const QSSampleRun& part) { equalizePart<Format>(part, scratch); });
        }
    }

    /// What makes too few frames for a wavefront, or no whole frame, goes the scalar way.
    template <class Format>
    void equalizePart(const QSSampleRun& part, float* scratch) const
    {
        // A buffer has no more bytes than 32 bits can count, and the narrower division is the faster one.
        const std::size_t frames = static_cast<std::uint32_t>(part.count) / part.channels;
        const std::size_t whole = frames < minimumFrames ? 0 : frames * part.channels;
        if (whole != 0) {
            const Numbers numbers = numbersOf<Format>(part, whole, scratch);
            Magnitudes magnitudes = {};
            runBands(numbers, frames, part.channels, part.firstChannel, magnitudes);
            finish<Format>(part, whole, numbers.output, magnitudes);
        }
        if (whole != part.count)
            processReference(session_, cycle_, slice<Format>(part, whole, part.count - whole));
    }

    template <class Format>
    void equalizePair(const QSSampleRun& left, const QSSampleRun& right) const
    {
        refreshPackedCoefficients(session_);
        if constexpr (liesAsFloats<Format>) {
            equalizePartOfPair<Format>(left, right, nullptr, nullptr);
        } else {
            alignas(64) float scratch[2][scratchSamples / 2];
            std::size_t first = 0;
            inChunks<Format>(left, scratchSamples / 2, [&](const QSSampleRun& part) {
                equalizePartOfPair<Format>(part, slice<Format>(right, first, part.count), scratch[0], scratch[1]);
                first += part.count;
            });
        }
    }

    template <class Format>
    void equalizePartOfPair(const QSSampleRun& left, const QSSampleRun& right, float* scratchL, float* scratchR) const
    {
        if (left.count < minimumFrames) {
            processReference(session_, cycle_, left);
            processReference(session_, cycle_, right);
            return;
        }
        const Numbers numbersL = numbersOf<Format>(left, left.count, scratchL);
        const Numbers numbersR = numbersOf<Format>(right, left.count, scratchR);
        Magnitudes magnitudes = {};
        runPairOfBands(numbersL, numbersR, left.count, left.firstChannel, magnitudes);
        finish<Format>(left, left.count, numbersL.output, magnitudes);
        finish<Format>(right, left.count, numbersR.output, magnitudes + 1);
    }

    /// The channels of interleaved frames, in groups as large as they come.
    void runBands(const Numbers numbers, std::size_t frames, unsigned channels, unsigned firstChannel,
        std::int32_t* magnitudes) const
    {
        // A channel that comes alone may be any; all from the eighth on share the last row of filter state.
        const unsigned row = firstChannel < softwareEQChannelCount ? firstChannel : softwareEQChannelCount - 1;
        if (session_.packed.flat && passFlat(numbers, frames, channels, row)) {
            magnitudes[0] = Limiter<Isa>::unknown;
            return;
        }
        runGroups<Isa::largestGroup>(numbers, frames, channels, row, 0, magnitudes);
    }

    /// From `channel` on, as many groups of that size as there are, and then smaller ones.
    template <unsigned group>
    [[gnu::always_inline]] void runGroups(const Numbers numbers, std::size_t frames, unsigned channels, unsigned row,
        unsigned channel, std::int32_t* magnitudes) const
    {
        for (; channels - channel >= group; channel += group) {
            const auto largest
                = runGroup<group>(numbers.input + channel, numbers.output + channel, channels, frames, row + channel);
            storePart(magnitudes + channel, largest, group * sizeof *magnitudes);
        }
        if constexpr (group > 1) {
            if (channel != channels)
                runGroups<group / 2>(numbers, frames, channels, row, channel, magnitudes);
        }
    }

    /// A function by itself, all of whose arguments travel in registers: a structure that is stored field by field and
    /// read as a whole would be waited for, and the block's first input stands in it.
    template <unsigned group>
    [[gnu::noinline]] auto runGroup(
        const float* input, float* output, std::size_t stride, std::size_t frames, unsigned row) const // NOLINT
    {
        return bandsOf<group>(row).run(InterleavedFrames<group>{input, output, stride}, frames);
    }

    [[gnu::noinline]] void runPairOfBands(const Numbers left, const Numbers right, std::size_t frames,
        unsigned firstChannel, std::int32_t* magnitudes) const
    {
        if (session_.packed.flat) {
            // Each channel for itself: one may pass where the other does not.
            runBands(left, frames, 1, firstChannel, magnitudes);
            runBands(right, frames, 1, firstChannel + 1, magnitudes + 1);
            return;
        }
        const PlanarFrames where{left.input, right.input, left.output, right.output};
        storePart(magnitudes, bandsOf<2>(firstChannel).run(where, frames), 2 * sizeof *magnitudes);
    }

    template <unsigned channels>
    [[gnu::always_inline]] Bands<channels> bandsOf(unsigned row) const
    {
        return {session_.packed, cycle_.gain, cycle_.preampGain, session_.filterState + row};
    }

    /// Does what five pass-through bands do, if that is certain to be nothing.
    bool passFlat(const Numbers& numbers, std::size_t frames, unsigned channels, unsigned row) const
    {
        auto* const rows = session_.filterState + row;
        const std::size_t count = frames * channels;
        if (!isFinite<Isa>(rows, channels)
            || !passesUnchanged<Isa>(numbers.input, count, cycle_.gain, cycle_.preampGain))
            return false;
        for (unsigned channel = 0; channel < channels; ++channel) {
            const float* const last = numbers.input + (frames - 1) * channels + channel;
            rememberPassed<Isa>(rows[channel], preamplified(last), preamplified(last - channels));
        }
        decodeSamples<Isa, Float32Samples>(
            reinterpret_cast<const std::byte*>(numbers.input), numbers.output, count, cycle_.gain, cycle_.preampGain);
        return true;
    }

    float preamplified(const float* sample) const
    {
        return loadVector<float>(sample) * cycle_.gain * cycle_.preampGain;
    }

    QSSoftwareVolumeSession& session_;
    QSCycle& cycle_;
};

} // namespace quenstal
