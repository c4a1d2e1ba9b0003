#pragma once

// What comes before the first wait: gain, preamp, and the half of the first band that looks at inputs only,
// b0·x + b1·x[n−1] + b2·x[n−2]. It needs no result of its own, so it is done for as many frames at once as fill a
// register.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Frames.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

namespace quenstal {

template <class Isa, unsigned channels, class Register>
class Intake {
public:
    static constexpr unsigned lanes = sizeof(Register) / sizeof(float);
    /// Frames that fill a register.
    static constexpr unsigned frames = lanes / channels;

    /// `x1` and `x2` are the first band's last inputs, in the lowest lanes.
    [[gnu::always_inline]] Intake(
        const QSPackedCoefficients& packed, float gain, float preampGain, Register x1, Register x2)
        : b0_(broadcast<Register>(packed.firstBand(QSPackedCoefficients::b0)))
        , b1_(broadcast<Register>(packed.firstBand(QSPackedCoefficients::b1)))
        , b2_(broadcast<Register>(packed.firstBand(QSPackedCoefficients::b2)))
        , gain_(broadcast<Register>(gain))
        , preampGain_(broadcast<Register>(preampGain))
    {
        if constexpr (frames == 1) {
            before_ = x2;
            newest_ = x1;
        } else {
            newest_ = asLast(x2, x1, std::make_index_sequence<lanes>{});
        }
    }

    /// Takes as many frames as fill a register, from t on; of the last, as many as there are up to `end`.
    template <class Frames>
    [[gnu::always_inline]] void take(const Frames& source, std::size_t t, std::size_t end)
    {
        if (t + frames <= end) {
            storeVector(placeOf(t), next(source.template load<Register>(t)));
        } else if (t < end) {
            filled_ = end - t;
            storeVector(placeOf(t), next(restOf(source, t, filled_)));
        }
    }

    /// What was made of frame t, in the lowest lanes. Frames are kept until `kept` later ones have been taken.
    [[gnu::always_inline]] Register taken(std::size_t t) const
    {
        return atFront<Register, channels>(ready_ + t % kept * channels);
    }

    /// The first band's last inputs now, in the lowest lanes.
    [[gnu::always_inline]] void remembered(Register& x1, Register& x2) const
    {
        alignas(Register) float taken[3 * lanes] = {};
        storeVector(taken, before_);
        storeVector(taken + lanes, newest_);
        x1 = loadVector<Register>(taken + (frames + filled_ - 1) * channels);
        x2 = loadVector<Register>(taken + (frames + filled_ - 2) * channels);
    }

private:
    static constexpr std::size_t kept = 16;

    [[gnu::always_inline]] float* placeOf(std::size_t t) { return ready_ + t % kept * channels; }

    /// Rare, and out of the way.
    template <class Frames>
    [[gnu::noinline]] static Register restOf(const Frames& source, std::size_t t, std::size_t count)
    {
        return source.template loadPart<Register>(t, count);
    }

    [[gnu::always_inline]] Register next(Register samples)
    {
        // Two products, not one with the factors multiplied beforehand: that would round differently.
        const Register x = samples * gain_ * preampGain_;
        const Register x1 = earlier<1>(x);
        const Register x2 = earlier<2>(x);
        before_ = newest_;
        newest_ = x;
        return b0_ * x + b1_ * x1 + b2_ * x2;
    }

    /// What came as many frames before each lane.
    template <unsigned by>
    [[gnu::always_inline]] Register earlier(Register x) const
    {
        if constexpr (by > frames)
            return before_;
        else
            return joinedAt<lanes - by * channels>(newest_, x, std::make_index_sequence<lanes>{});
    }

    /// The lanes of two registers in a row, from one of them on.
    template <unsigned start, std::size_t... lane>
    [[gnu::always_inline]] static Register joinedAt(Register low, Register high, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(low, high, static_cast<int>(start + lane)...);
    }

    /// A register whose last two frames these are; the others do not matter.
    template <std::size_t... lane>
    [[gnu::always_inline]] static Register asLast(Register lastButOne, Register last, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(lastButOne, last,
            static_cast<int>(lane >= lanes - channels ? lanes + lane % channels : lane % channels)...);
    }

    const Register b0_;
    const Register b1_;
    const Register b2_;
    const Register gain_;
    const Register preampGain_;
    Register before_{};
    Register newest_;
    /// Frames in the newest register.
    std::size_t filled_ = frames;
    alignas(64) float ready_[kept * channels];
};

} // namespace quenstal
