#pragma once

// The limiter and the meters, over finished samples.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Reference.hpp"

namespace quenstal {

/// Limits to [−1, 1], turns what is not finite into silence, and meters. Sample j is of channel
/// `firstChannel + j % channels`, of at most eight.
///
/// Magnitudes are compared as integers, in which an infinity is larger than every number and a NaN larger still. One
/// look at the largest tells whether there is anything to limit, and music rarely has any.
template <class Isa>
class Limiter {
public:
    /// Larger than any magnitude.
    static constexpr std::int32_t unknown = INT32_MAX;

    Limiter(QSCycle& cycle, unsigned channels, unsigned firstChannel)
        : cycle_(cycle)
        , channels_(channels)
        , firstChannel_(firstChannel)
    {
    }

    /// Samples of which nothing is known yet.
    void run(float* samples, std::size_t count)
    {
        Tops tops = look(samples, count);
        if (tops.largest(0, 1) > one) {
            limit(samples, count);
            tops = look(samples, count);
        }
        for (unsigned i = 0; i < channels_ && i < meteredChannels; ++i)
            meter(i, tops.largest(i, channels_));
    }

    /// Samples of which each channel's largest magnitude is known, with `unknown` where it is not.
    [[gnu::always_inline]] void run(float* samples, std::size_t count, const std::int32_t* magnitudes)
    {
        for (unsigned i = 0; i < channels_; ++i) {
            if (magnitudes[i] > one)
                return run(samples, count);
        }
        for (unsigned i = 0; i < channels_ && i < meteredChannels; ++i)
            meter(i, magnitudes[i]);
    }

private:
    static constexpr std::size_t width = Isa::width;
    static constexpr unsigned meteredChannels = 2;

    using Bits = Ints<Isa::width>;

    static constexpr std::int32_t signBit = INT32_MIN;
    static constexpr std::int32_t magnitudeBits = INT32_MAX;
    static constexpr std::int32_t one = 0x3f800000;
    static constexpr std::int32_t infinity = 0x7f800000;

    /// The largest magnitudes; lane i is of channel i % channels.
    struct Tops {
        alignas(64) std::int32_t lane[softwareEQChannelCount * width];
        unsigned count = 0;

        void add(const Bits& bits)
        {
            storeVector(lane + count, bits);
            count += unsigned{width};
        }

        std::int32_t largest(unsigned first, unsigned step) const
        {
            std::int32_t top = 0;
            for (unsigned i = first; i < count; i += step)
                top = lane[i] > top ? lane[i] : top;
            return top;
        }
    };

    void meter(unsigned channel, std::int32_t magnitude)
    {
        QSUpdateChannelLevel(firstChannel_ + channel, cycle_.peakL, cycle_.peakR, __builtin_bit_cast(float, magnitude));
    }

    Tops look(const float* samples, std::size_t count) const
    {
        Tops tops;
        if (width % channels_ == 0) {
            // Every register's lanes are of the same channels. An accumulator waits for its own last value; four of
            // them fill the wait.
            Bits accumulators[4] = {};
            raise(samples, count, 4, accumulators);
            tops.add(larger(larger(accumulators[0], accumulators[1]), larger(accumulators[2], accumulators[3])));
        } else {
            // They come round after as many registers as there are channels.
            Bits accumulators[softwareEQChannelCount] = {};
            raise(samples, count, channels_, accumulators);
            for (unsigned i = 0; i < channels_; ++i)
                tops.add(accumulators[i]);
        }
        return tops;
    }

    [[gnu::always_inline]] static Bits larger(Bits a, Bits b) { return a > b ? a : b; }

    /// Raises the accumulators, taken in turn, to the samples' magnitudes.
    [[gnu::always_inline]] static void raise(
        const float* samples, std::size_t count, std::size_t period, Bits* accumulators)
    {
        const auto take = [](Bits & top, Bits sample) __attribute__((always_inline))
        {
            top = larger(top, sample & magnitudeBits);
        };
        std::size_t i = 0;
        for (; i + period * width <= count; i += period * width) {
            for (std::size_t p = 0; p < period; ++p)
                take(accumulators[p], loadVector<Bits>(samples + i + p * width));
        }
        for (std::size_t p = 0; i < count; ++p, i += width) {
            const std::size_t rest = count - i;
            take(accumulators[p],
                rest < width ? loadPart<Bits>(samples + i, rest * sizeof(float)) : loadVector<Bits>(samples + i));
        }
    }

    void limit(float* samples, std::size_t count)
    {
        Bits clipped{};
        const auto limited = [&](Bits sample) __attribute__((always_inline))
        {
            const Bits magnitude = sample & magnitudeBits;
            clipped |= (magnitude > one) & (magnitude <= infinity);
            const Bits atMostOne = magnitude > one ? (sample & signBit) | one : sample;
            return atMostOne & (magnitude < infinity);
        };
        std::size_t i = 0;
        for (; i + width <= count; i += width)
            storeVector(samples + i, limited(loadVector<Bits>(samples + i)));
        if (const std::size_t bytes = (count - i) * sizeof(float))
            storePart(samples + i, limited(loadPart<Bits>(samples + i, bytes)), bytes);
        for (unsigned lane = 0; lane < width; ++lane)
            cycle_.clipped = cycle_.clipped || clipped[lane] != 0;
    }

    QSCycle& cycle_;
    const unsigned channels_;
    const unsigned firstChannel_;
};

} // namespace quenstal
