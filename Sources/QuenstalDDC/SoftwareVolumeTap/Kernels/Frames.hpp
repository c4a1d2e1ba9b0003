#pragma once

// Where a group's samples lie: one frame in, one frame out.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"

namespace quenstal {

/// A register that holds a frame: of four lanes, or of eight for eight channels.
template <class Isa, unsigned channels>
using Frame = Floats<Isa, (channels > 4 ? channels : 4)>;

/// The channels of the group lie side by side in frames of `stride` samples.
template <class Isa, unsigned channels>
struct InterleavedFrames {
    const float* input;
    float* output;
    std::size_t stride;

    /// Lanes beyond the channels are zero.
    [[gnu::always_inline]] Frame<Isa, channels> load(std::size_t t) const
    {
        const float* source = input + t * stride;
        if constexpr (channels == 1) {
            return loadPart<Frame<Isa, channels>>(source, sizeof(float));
        } else if constexpr (channels == 2) {
            // Two floats travel as one double: half a register at a time.
            typedef double Doubles __attribute__((vector_size(16)));
            double both;
            __builtin_memcpy(&both, source, sizeof both);
            return reinterpret_cast<Frame<Isa, channels>>(Doubles{both});
        } else {
            return loadVector<Frame<Isa, channels>>(source);
        }
    }

    [[gnu::always_inline]] void store(std::size_t t, Frame<Isa, channels> frame) const
    {
        __builtin_memcpy(output + t * stride, &frame, channels * sizeof(float));
    }
};

/// Two channels, each in memory of its own.
template <class Isa>
struct PlanarFrames {
    const float* inputL;
    const float* inputR;
    float* outputL;
    float* outputR;

    [[gnu::always_inline]] Frame<Isa, 2> load(std::size_t t) const
    {
        float left;
        float right;
        __builtin_memcpy(&left, inputL + t, sizeof left);
        __builtin_memcpy(&right, inputR + t, sizeof right);
        return Frame<Isa, 2>{left, right};
    }

    [[gnu::always_inline]] void store(std::size_t t, Frame<Isa, 2> frame) const
    {
        const float left = frame[0];
        const float right = frame[1];
        __builtin_memcpy(outputL + t, &left, sizeof left);
        __builtin_memcpy(outputR + t, &right, sizeof right);
    }
};

} // namespace quenstal
