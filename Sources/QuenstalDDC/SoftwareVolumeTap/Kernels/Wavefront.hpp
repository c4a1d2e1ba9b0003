#pragma once

// The equaliser. A biquad waits for its own last result, and a band for the band before it: done frame by frame, five
// bands cost five waits. Here the bands work on different frames at the same time, like the stations of an assembly
// line: at step t band k handles frame t − k · delay, and all bands of all channels are lanes of one row of registers.
// What remains is the wait of a single biquad, which no order of the same operations can shorten.
//
//     step   0  1  2  3  4  5  6  7 …       (delay 1)
//     band 0 f0 f1 f2 f3 f4 f5 f6 f7
//     band 1    f0 f1 f2 f3 f4 f5 f6
//     band 2       f0 f1 f2 f3 f4 f5
//     band 3          f0 f1 f2 f3 f4
//     band 4             f0 f1 f2 f3  → out
//
// A delay above 1 takes the handing on from lane to lane out of the wait as well.
//
// Each lane carries out the operations of the scalar form in the same order, so every bit is the same.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Frames.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Lanes.hpp"

namespace quenstal {

template <class Isa, unsigned channels, unsigned width, unsigned delay>
class Wavefront {
public:
    using Row = Lanes<Isa, channels, width>;
    using Register = typename Row::Part;

    static constexpr unsigned bands = softwareEQBandCount;
    /// Steps until the first frame leaves the last band.
    static constexpr unsigned latency = (bands - 1) * delay;
    /// Shorter blocks would end before they have begun.
    static constexpr std::size_t minimumFrames = latency + 1;

    /// For `channels` neighbouring rows of filter state.
    Wavefront(const QSPackedCoefficients& coefficients, float gain, float preampGain,
        QSBiquadState (*state)[softwareEQBandCount])
        : b0_(Row::load(coefficients.lanes<channels>(QSPackedCoefficients::b0)))
        , b1_(Row::load(coefficients.lanes<channels>(QSPackedCoefficients::b1)))
        , b2_(Row::load(coefficients.lanes<channels>(QSPackedCoefficients::b2)))
        , a1_(Row::load(coefficients.lanes<channels>(QSPackedCoefficients::a1)))
        , a2_(Row::load(coefficients.lanes<channels>(QSPackedCoefficients::a2)))
        , gain_(gain)
        , preampGain_(preampGain)
        , state_(state)
    {
    }

    /// At least `minimumFrames`. Leaves the results as the bands give them, not limited.
    template <class Frames>
    void run(const Frames& frames, std::size_t count)
    {
        Memory memory = loadState();
        const Memory before = memory;
        std::size_t t = 0;
        // Band k joins with its own past when the first frame reaches it; what its lanes held till then is nobody's.
        enter(memory, before, std::make_index_sequence<bands>{}, [&] {
            step(memory, input(frames.load(t)));
            ++t;
        });
#pragma GCC unroll 2
        for (; t < count; ++t) {
            step(memory, input(frames.load(t)));
            frames.store(t - latency, output(memory.y[0]));
        }
        // Band k is done, and its past final, when the last frame has left it.
        Memory after = memory;
        enter(after, memory, std::make_index_sequence<bands>{}, [&] {
            step(memory, Register{});
            frames.store(t - latency, output(memory.y[0]));
            ++t;
        });
        storeState(after);
    }

private:
    static constexpr unsigned history = delay > 2 ? delay : 2;

    /// What the bands remember: the two last inputs, and results for as long as they are on their way.
    struct Memory {
        Row x[2];
        Row y[history];

        template <unsigned band>
        [[gnu::always_inline]] void takeBand(const Memory& other)
        {
            x[0].template takeBand<band>(other.x[0]);
            x[1].template takeBand<band>(other.x[1]);
            y[0].template takeBand<band>(other.y[0]);
            y[1].template takeBand<band>(other.y[1]);
        }
    };

    /// Takes over band after band from `source`, with `delay` steps from each to the next.
    template <std::size_t... band, class Step>
    [[gnu::always_inline]] static void enter(
        Memory& memory, const Memory& source, std::index_sequence<band...>, Step step)
    {
        const auto one = [&]<unsigned k>() __attribute__((always_inline))
        {
            memory.template takeBand<k>(source);
            if constexpr (k + 1 < bands) {
                for (unsigned i = 0; i < delay; ++i)
                    step();
            }
        };
        (one.template operator()<band>(), ...);
    }

    [[gnu::always_inline]] void step(Memory& memory, Register in) const
    {
        auto& [x1, x2] = memory.x;
        const Row x = memory.y[delay - 1].handedOn(in);
        const Row y = b0_ * x + b1_ * x1 + b2_ * x2 - a1_ * memory.y[0] - a2_ * memory.y[1];
        x2 = x1;
        x1 = x;
        for (unsigned i = history - 1; i > 0; --i)
            memory.y[i] = memory.y[i - 1];
        memory.y[0] = y;
    }

    /// A frame as the first band takes it.
    [[gnu::always_inline]] Register input(Frame<Isa, channels> frame) const
    {
        // Two products, not one with the factors multiplied beforehand: that would round differently.
        return widened<Register>(frame * gain_ * preampGain_);
    }

    /// The last band's result.
    [[gnu::always_inline]] static Frame<Isa, channels> output(const Row& row)
    {
        return lowLanes(row.part[0], std::make_index_sequence<lanesOf<Frame<Isa, channels>>>{});
    }

    using Quad = Floats<Isa, 4>;

    template <class Lanes>
    static constexpr unsigned lanesOf = sizeof(Lanes) / sizeof(float);

    template <std::size_t... lane>
    [[gnu::always_inline]] static auto lowLanes(Register lanes, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(lanes, lanes, static_cast<int>(lane)...);
    }

    /// As many lanes as asked for, those above filled with zeros.
    template <class Wide, class Narrow>
    [[gnu::always_inline]] static Wide widened(Narrow lanes)
    {
        if constexpr (sizeof(Wide) == sizeof(Narrow))
            return lanes;
        else
            return widened<Wide>(joined(lanes, Narrow{}, std::make_index_sequence<2 * lanesOf<Narrow>>{}));
    }

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
    [[gnu::always_inline]] void loadState(unsigned firstLane, Floats<Isa, lanes> (&loaded)[4]) const
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
            Floats<Isa, lanes / 2> low[4];
            Floats<Isa, lanes / 2> high[4];
            loadState<lanes / 2>(firstLane, low);
            loadState<lanes / 2>(firstLane + lanes / 2, high);
            for (unsigned i = 0; i < 4; ++i)
                loaded[i] = joined(low[i], high[i], std::make_index_sequence<lanes>{});
        }
    }

    [[gnu::always_inline]] Memory loadState() const
    {
        Memory memory{};
        for (unsigned i = 0; i < Row::parts; ++i) {
            Register loaded[4];
            loadState<width>(i * width, loaded);
            memory.x[0].part[i] = loaded[0];
            memory.x[1].part[i] = loaded[1];
            memory.y[0].part[i] = loaded[2];
            memory.y[1].part[i] = loaded[3];
        }
        return memory;
    }

    [[gnu::always_inline]] void storeState(const Memory& memory) const
    {
        for (unsigned i = 0; i < Row::parts; ++i) {
            for (unsigned quad = 0; quad < width; quad += 4) {
                const auto part = [&](const Row& row) __attribute__((always_inline))
                {
                    Quad lanes;
                    for (unsigned lane = 0; lane < 4; ++lane)
                        lanes[lane] = row.part[i][quad + lane];
                    return lanes;
                };
                const Quads states
                    = transposed({{part(memory.x[0]), part(memory.x[1]), part(memory.y[0]), part(memory.y[1])}});
                for (unsigned lane = 0; lane < 4; ++lane) {
                    if (QSBiquadState* state = stateOf(i * width + quad + lane))
                        storeVector(state, states.row[lane]);
                }
            }
        }
    }

    const Row b0_;
    const Row b1_;
    const Row b2_;
    const Row a1_;
    const Row a2_;
    const float gain_;
    const float preampGain_;
    QSBiquadState (*const state_)[softwareEQBandCount];
};

} // namespace quenstal
