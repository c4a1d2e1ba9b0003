#pragma once

// Where a group's samples lie: one frame in, one frame out.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"

namespace quenstal {

template <class Register, class Lane, std::size_t... lane>
[[gnu::always_inline]] inline Register filled(Lane value, std::index_sequence<lane...>)
{
    return Register{(static_cast<void>(lane), value)...};
}

template <class Wide, class Narrow, std::size_t... lane>
[[gnu::always_inline]] inline Wide tiled(Narrow lanes, std::index_sequence<lane...>)
{
    constexpr std::size_t narrow = sizeof(Narrow) / sizeof(lanes[0]);
    return __builtin_shufflevector(lanes, lanes, static_cast<int>(lane % narrow)...);
}

/// A register filled with a frame, again and again, which a load does by itself. Only the first lanes count.
template <class Register, unsigned channels>
[[gnu::always_inline]] inline Register repeated(const float* frame)
{
    constexpr unsigned lanes = sizeof(Register) / sizeof(float);
    if constexpr (channels == 1) {
        return filled<Register>(loadVector<float>(frame), std::make_index_sequence<lanes>{});
    } else if constexpr (channels == 2) {
        // Two floats travel as one double.
        return reinterpret_cast<Register>(
            filled<Doubles<lanes / 2>>(loadVector<double>(frame), std::make_index_sequence<lanes / 2>{}));
    } else if constexpr (channels == lanes) {
        return loadVector<Register>(frame);
    } else {
        return tiled<Register>(loadVector<Floats<channels>>(frame), std::make_index_sequence<lanes>{});
    }
}

/// The channels of the group lie side by side in frames of `stride` samples.
template <unsigned channels>
struct InterleavedFrames {
    const float* input;
    float* output;
    std::size_t stride;

    template <class Register>
    [[gnu::always_inline]] Register load(std::size_t t) const
    {
        return repeated<Register, channels>(input + t * stride);
    }

    template <class Register>
    [[gnu::always_inline]] void store(std::size_t t, const Register& lanes) const
    {
        storePart(output + t * stride, lanes, channels * sizeof(float));
    }
};

/// Two channels, each in memory of its own.
struct PlanarFrames {
    const float* inputL;
    const float* inputR;
    float* outputL;
    float* outputR;

    template <class Register>
    [[gnu::always_inline]] Register load(std::size_t t) const
    {
        const auto left = repeated<Register, 1>(inputL + t);
        const auto right = repeated<Register, 1>(inputR + t);
        return [&]<std::size_t... i>(std::index_sequence<i...>) __attribute__((always_inline))
        {
            return __builtin_shufflevector(left, right, static_cast<int>(i % 2 == 0 ? i : sizeof...(i) + i)...);
        }
        (std::make_index_sequence<sizeof(Register) / sizeof(float)>{});
    }

    template <class Register>
    [[gnu::always_inline]] void store(std::size_t t, const Register& lanes) const
    {
        const float left = lanes[0];
        const float right = lanes[1];
        storeVector(outputL + t, left);
        storeVector(outputR + t, right);
    }
};

} // namespace quenstal
