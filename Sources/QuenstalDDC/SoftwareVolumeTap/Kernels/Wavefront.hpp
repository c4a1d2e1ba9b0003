#pragma once

// The equalizer. A biquad waits for its own last result, and a band for the band before it: done frame by frame, five
// bands cost five waits. Here the bands work on different frames at the same time, like the stations of an assembly
// line: at step t band k handles frame t − k · delay, and all bands of all channels are lanes of one row of registers.
// What remains is the wait of a single biquad, which no order of the same operations can shorten.
//
// With a delay of 2:
//
//     step   0  1  2  3  4  5  6  7  8  9 …
//     band 0 f0 f1 f2 f3 f4 f5 f6 f7 f8 f9
//     band 1       f0 f1 f2 f3 f4 f5 f6 f7
//     band 2             f0 f1 f2 f3 f4 f5
//     band 3                   f0 f1 f2 f3
//     band 4                         f0 f1  → out
//
// More than one step from band to band takes the way from lane to lane out of the wait as well. The first band has
// its inputs beforehand; the half of it that needs nothing else is done by the intake.
//
// Each lane carries out the operations of the scalar form in the same order, so every bit is the same.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Intake.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Lanes.hpp"

namespace quenstal {

template <class Isa, unsigned channels, unsigned width>
class Wavefront {
public:
    using Row = Lanes<Isa, channels, width>;
    using Register = typename Row::Part;
    using Magnitudes = Ints<width>;

    static constexpr unsigned bands = softwareEQBandCount;
    /// Frames that a band lags behind the band before it. In wide registers the way from lane to lane is longer.
    static constexpr unsigned delay = width > 4 ? 3 : 2;
    /// Steps until the first frame leaves the last band.
    static constexpr unsigned latency = (bands - 1) * delay;
    /// Shorter blocks would end before they have begun.
    static constexpr std::size_t minimumFrames = latency + 1;

    /// For `channels` neighbouring rows of filter state.
    Wavefront(const QSPackedCoefficients& coefficients, float gain, float preampGain,
        QSBiquadState (*state)[softwareEQBandCount])
        : coefficients_(coefficients)
        , gain_(gain)
        , preampGain_(preampGain)
        , state_(state)
    {
    }

    /// At least `minimumFrames`. Leaves the results as the bands give them, not limited, and returns each channel's
    /// largest magnitude, as an integer: an infinity is larger than every number, and a NaN larger still.
    template <class Frames>
    [[gnu::always_inline]] Magnitudes run(const Frames frames, std::size_t count) const
    {
        // All that the loops need stands in locals: a store to the output cannot change them.
        First first = loadFirst();
        Intake<Isa, channels, Register> intake(coefficients_, gain_, preampGain_, first.x1, first.x2);
        const auto takeIn = [&](std::size_t t) __attribute__((always_inline))
        {
            intake.take(frames, t, count);
        };
        for (std::size_t early = 0; early < ahead; early += intake.frames)
            takeIn(early);

        const Coefficients coefficients(coefficients_);
        Memory memory = loadState(first);
        const Memory before = memory;
        const auto step = [&](std::size_t t) __attribute__((always_inline))
        {
            memory.step(coefficients, intake.taken(t));
        };
        Meter meter;
        const auto give = [&](std::size_t t) __attribute__((always_inline))
        {
            meter.add(memory.y1.part[0]);
            frames.store(t, memory.y1.part[0]);
        };
        std::size_t t = 0;
        // Band k joins with its own past when the first frame reaches it; what its lanes held till then is nobody's.
        oneBandAfterTheOther(
            memory, before, [&]() __attribute__((always_inline)) {
                if (t % intake.frames == 0)
                    takeIn(t + ahead);
                step(t);
                ++t;
            });
        for (; t + intake.frames <= count; t += intake.frames) {
            takeIn(t + ahead);
#pragma GCC unroll 4
            for (std::size_t i = 0; i < intake.frames; ++i) {
                step(t + i);
                give(t + i - latency);
            }
        }
        for (; t < count; ++t) {
            step(t);
            give(t - latency);
        }
        intake.remembered(first.x1, first.x2);
        // Band k is done, and its past final, when the last frame has left it.
        Memory after = memory;
        oneBandAfterTheOther(
            after, memory, [&]() __attribute__((always_inline)) {
                memory.step(coefficients, Register{});
                give(t - latency);
                ++t;
            });
        storeState(after, first);
        return meter.largest();
    }

private:
    /// Frames that the intake is ahead of the first band: its work falls into the wait for the bands.
    static constexpr std::size_t ahead = 8;

    struct Coefficients {
        Row b0;
        Row b1;
        Row b2;
        Row a1;
        Row a2;
        Register firstA1;
        Register firstA2;

        [[gnu::always_inline]] explicit Coefficients(const QSPackedCoefficients& packed)
            : b0(Row::load(packed.lanes<channels>(QSPackedCoefficients::b0)))
            , b1(Row::load(packed.lanes<channels>(QSPackedCoefficients::b1)))
            , b2(Row::load(packed.lanes<channels>(QSPackedCoefficients::b2)))
            , a1(Row::load(packed.lanes<channels>(QSPackedCoefficients::a1)))
            , a2(Row::load(packed.lanes<channels>(QSPackedCoefficients::a2)))
            , firstA1(broadcast<Register>(packed.firstBand(QSPackedCoefficients::a1)))
            , firstA2(broadcast<Register>(packed.firstBand(QSPackedCoefficients::a2)))
        {
        }
    };

    /// What the first band remembers.
    struct First {
        Register x1;
        Register x2;
        Register y1;
        Register y2;
    };

    /// What the bands remember; of the first band only its results, as the intake has its inputs.
    struct Memory {
        Row x1;
        Row x2;
        Row y1;
        Row y2;
        Row y3;
        Register firstY1;
        Register firstY2;
        Register firstY3;

        /// Every band takes its next frame: a result of `delay` steps ago is what the band after it is to take now.
        [[gnu::always_inline]] void step(const Coefficients& c, Register forward)
        {
            static_assert(delay == 2 || delay == 3);
            const Row x = delay == 2 ? y2.handedOn(firstY2) : y3.handedOn(firstY3);
            const Row y = c.b0 * x + c.b1 * x1 + c.b2 * x2 - c.a1 * y1 - c.a2 * y2;
            const Register first = forward - c.firstA1 * firstY1 - c.firstA2 * firstY2;
            x2 = x1;
            x1 = x;
            y3 = y2;
            y2 = y1;
            y1 = y;
            firstY3 = firstY2;
            firstY2 = firstY1;
            firstY1 = first;
        }

        template <unsigned band>
        [[gnu::always_inline]] void takeBand(const Memory& other)
        {
            if constexpr (band == 0) {
                firstY1 = other.firstY1;
                firstY2 = other.firstY2;
            } else {
                x1.template takeBand<band>(other.x1);
                x2.template takeBand<band>(other.x2);
                y1.template takeBand<band>(other.y1);
                y2.template takeBand<band>(other.y2);
            }
        }
    };

    /// Takes over every band's memory, with `delay` steps from each to the next.
    template <unsigned band = 0, class Step>
    [[gnu::always_inline]] static void oneBandAfterTheOther(Memory& memory, const Memory& source, Step step)
    {
        memory.template takeBand<band>(source);
        if constexpr (band + 1 < bands) {
            for (unsigned i = 0; i < delay; ++i)
                step();
            oneBandAfterTheOther<band + 1>(memory, source, step);
        }
    }

    class Meter {
    public:
        [[gnu::always_inline]] void add(const Register& result)
        {
            // Of the result before, while this one is awaited: at once, it would be in the way of the next.
            const auto magnitude = reinterpret_cast<Register>(magnitudesOf(last_));
            // A NaN is not larger. One instruction everywhere, which the maximum of integers is not.
            top_ = magnitude > top_ ? magnitude : top_;
            last_ = result;
        }

        [[gnu::always_inline]] Magnitudes largest() const
        {
            // Once a result is not finite, none after it is, for each is made of the two before: the last one tells.
            const Magnitudes last = magnitudesOf(last_);
            const auto top = reinterpret_cast<Magnitudes>(top_);
            return last > top ? last : top;
        }

    private:
        [[gnu::always_inline]] static Magnitudes magnitudesOf(const Register& numbers)
        {
            return reinterpret_cast<Magnitudes>(numbers) & INT32_MAX;
        }

        Register top_{};
        Register last_{};
    };

    using Quad = Floats<4>;

    template <class Half, std::size_t... lane>
    [[gnu::always_inline]] static auto joined(Half low, Half high, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(low, high, static_cast<int>(lane)...);
    }

    /// The filter state of the band and channel that a lane stands for; null for the lanes beyond.
    [[gnu::always_inline]] QSBiquadState* stateOf(unsigned lane) const
    {
        return lane < bands * channels ? &state_[lane % channels][bands - 1 - lane / channels] : nullptr;
    }

    struct Quads {
        Quad row[4];
    };

    [[gnu::always_inline]] static Quads transposed(const Quads& q)
    {
        const Quad low01 = __builtin_shufflevector(q.row[0], q.row[1], 0, 4, 1, 5);
        const Quad low23 = __builtin_shufflevector(q.row[2], q.row[3], 0, 4, 1, 5);
        const Quad high01 = __builtin_shufflevector(q.row[0], q.row[1], 2, 6, 3, 7);
        const Quad high23 = __builtin_shufflevector(q.row[2], q.row[3], 2, 6, 3, 7);
        return {{
            __builtin_shufflevector(low01, low23, 0, 1, 4, 5),
            __builtin_shufflevector(low01, low23, 2, 3, 6, 7),
            __builtin_shufflevector(high01, high23, 0, 1, 4, 5),
            __builtin_shufflevector(high01, high23, 2, 3, 6, 7),
        }};
    }

    /// The memory of one register's lanes; `firstLane` counts from the row's first.
    template <unsigned lanes>
    [[gnu::always_inline]] void loadState(unsigned firstLane, Floats<lanes> (&loaded)[4]) const
    {
        if constexpr (lanes == 4) {
            Quads states;
            for (unsigned i = 0; i < 4; ++i) {
                const QSBiquadState* state = stateOf(firstLane + i);
                states.row[i] = state ? loadVector<Quad>(state) : Quad{};
            }
            const Quads memory = transposed(states);
            for (unsigned i = 0; i < 4; ++i)
                loaded[i] = memory.row[i];
        } else {
            Floats<lanes / 2> low[4];
            Floats<lanes / 2> high[4];
            loadState<lanes / 2>(firstLane, low);
            loadState<lanes / 2>(firstLane + lanes / 2, high);
            for (unsigned i = 0; i < 4; ++i)
                loaded[i] = joined(low[i], high[i], std::make_index_sequence<lanes>{});
        }
    }

    [[gnu::always_inline]] First loadFirst() const
    {
        Register loaded[4];
        loadState<width>(Row::parts * width, loaded);
        return {loaded[0], loaded[1], loaded[2], loaded[3]};
    }

    [[gnu::always_inline]] Memory loadState(const First& first) const
    {
        Memory memory;
        for (unsigned i = 0; i < Row::parts; ++i) {
            Register loaded[4];
            loadState<width>(i * width, loaded);
            memory.x1.part[i] = loaded[0];
            memory.x2.part[i] = loaded[1];
            memory.y1.part[i] = loaded[2];
            memory.y2.part[i] = loaded[3];
        }
        memory.firstY1 = first.y1;
        memory.firstY2 = first.y2;
        return memory;
    }

    [[gnu::always_inline]] void storeState(const Memory& memory, const First& first) const
    {
        for (unsigned i = 0; i < Row::parts; ++i)
            storeState(i * width, {memory.x1.part[i], memory.x2.part[i], memory.y1.part[i], memory.y2.part[i]});
        storeState(Row::parts * width, {first.x1, first.x2, memory.firstY1, memory.firstY2});
    }

    /// Four lanes at a time.
    template <unsigned quad = 0>
    [[gnu::always_inline]] void storeState(unsigned firstLane, const First& part) const
    {
        const auto four = [](const Register& lanes) __attribute__((always_inline))
        {
            return __builtin_shufflevector(lanes, lanes, quad, quad + 1, quad + 2, quad + 3);
        };
        const Quads states = transposed({{four(part.x1), four(part.x2), four(part.y1), four(part.y2)}});
        for (unsigned lane = 0; lane < 4; ++lane) {
            if (QSBiquadState* state = stateOf(firstLane + quad + lane))
                storeVector(state, states.row[lane]);
        }
        if constexpr (quad + 4 < width)
            storeState<quad + 4>(firstLane, part);
    }

    const QSPackedCoefficients& coefficients_;
    const float gain_;
    const float preampGain_;
    QSBiquadState (*const state_)[softwareEQBandCount];
};

} // namespace quenstal
