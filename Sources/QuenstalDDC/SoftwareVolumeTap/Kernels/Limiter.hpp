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
    Limiter(QSCycle& cycle, unsigned channels, unsigned firstChannel)
        : cycle_(cycle)
        , channels_(channels)
        , firstChannel_(firstChannel)
    {
    }

    void run(float* samples, std::size_t count)
    {
        if (width % channels_ == 0)
            run<inFlight>(samples, count);
        else
            run<0>(samples, count);
    }

private:
    static constexpr unsigned width = Isa::width;
    /// An accumulator waits for its own last value; this many fill the wait.
    static constexpr unsigned inFlight = 4;

    using Bits = Ints<Isa, width>;

    static constexpr std::int32_t signBit = INT32_MIN;
    static constexpr std::int32_t magnitudeBits = INT32_MAX;
    static constexpr std::int32_t one = 0x3f800000;
    static constexpr std::int32_t infinity = 0x7f800000;

    /// `fixedPeriod`: registers after which the lanes stand for the same channels again, where every number is right;
    /// 0 where that takes as many as there are channels.
    template <unsigned fixedPeriod>
    void run(float* samples, std::size_t count)
    {
        const unsigned period = fixedPeriod ? fixedPeriod : channels_;
        constexpr unsigned longest = fixedPeriod ? fixedPeriod : softwareEQChannelCount;
        Bits tops[longest] = {};
        look(samples, count, period, tops);
        if (anyAboveOne(tops, period)) {
            limit(samples, count);
            for (Bits& top : tops)
                top = Bits{};
            look(samples, count, period, tops);
        }
        meter(tops, period);
    }

    /// Raises the tops, taken in turn, to the samples' magnitudes.
    static void look(const float* samples, std::size_t count, unsigned period, Bits* tops)
    {
        const auto raise = [](Bits & top, Bits sample) __attribute__((always_inline))
        {
            const Bits magnitude = sample & magnitudeBits;
            top = magnitude > top ? magnitude : top;
        };
        std::size_t i = 0;
        for (; i + period * width <= count; i += period * width) {
            for (unsigned p = 0; p < period; ++p)
                raise(tops[p], loadVector<Bits>(samples + i + p * width));
        }
        for (unsigned p = 0; i + width <= count; ++p, i += width)
            raise(tops[p], loadVector<Bits>(samples + i));
        if (i < count)
            raise(tops[i / width % period], loadPart<Bits>(samples + i, (count - i) * sizeof(float)));
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

    static bool anyAboveOne(const Bits* tops, unsigned period)
    {
        Bits above{};
        for (unsigned p = 0; p < period; ++p)
            above |= tops[p] > one;
        std::int32_t any = 0;
        for (unsigned lane = 0; lane < width; ++lane)
            any |= above[lane];
        return any != 0;
    }

    void meter(const Bits* tops, unsigned period)
    {
        std::int32_t perChannel[softwareEQChannelCount] = {};
        unsigned channel = 0;
        for (unsigned p = 0; p < period; ++p) {
            for (unsigned lane = 0; lane < width; ++lane) {
                const std::int32_t top = tops[p][lane];
                perChannel[channel] = top > perChannel[channel] ? top : perChannel[channel];
                channel = channel + 1 == channels_ ? 0 : channel + 1;
            }
        }
        for (unsigned i = 0; i < channels_; ++i)
            QSUpdateChannelLevel(
                firstChannel_ + i, cycle_.peakL, cycle_.peakR, __builtin_bit_cast(float, perChannel[i]));
    }

    QSCycle& cycle_;
    const unsigned channels_;
    const unsigned firstChannel_;
};

} // namespace quenstal
