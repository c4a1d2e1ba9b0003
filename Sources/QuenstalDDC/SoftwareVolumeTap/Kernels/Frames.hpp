#pragma once

// Where a group's samples lie: as many frames in as fill a register, one frame out.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"

namespace quenstal {

template <class Register, class Lane, std::size_t... lane>
[[gnu::always_inline]] inline Register filled(Lane value, std::index_sequence<lane...>)
{
    return Register{(static_cast<void>(lane), value)...};
}

/// A register with the same number in every lane.
template <class Register>
[[gnu::always_inline]] inline Register broadcast(float value)
{
    return filled<Register>(value, std::make_index_sequence<sizeof(Register) / sizeof(float)>{});
}

/// The lanes of one register and then those of another, again and again.
template <class Wide, class Narrow, std::size_t... lane>
[[gnu::always_inline]] inline Wide tiled(Narrow low, Narrow high, std::index_sequence<lane...>)
{
    constexpr std::size_t narrow = sizeof(Narrow) / sizeof(low[0]);
    return __builtin_shufflevector(low, high, static_cast<int>(lane % (2 * narrow))...);
}

/// A register with a frame in its first lanes; the others are zero.
template <class Register, unsigned channels>
[[gnu::always_inline]] inline Register atFront(const float* frame)
{
    constexpr unsigned lanes = sizeof(Register) / sizeof(float);
    if constexpr (channels == 1) {
        return Register{loadVector<float>(frame)};
    } else if constexpr (channels == 2) {
        // Two floats travel as one double.
        return reinterpret_cast<Register>(Doubles<lanes / 2>{loadVector<double>(frame)});
    } else if constexpr (channels == lanes) {
        return loadVector<Register>(frame);
    } else {
        return tiled<Register>(
            loadVector<Floats<channels>>(frame), Floats<channels>{}, std::make_index_sequence<lanes>{});
    }
}

/// One frame after the other, each read as one `Frame`.
template <class Register, class Frame, std::size_t... i>
[[gnu::always_inline]] inline Register inARow(const float* frames, std::size_t stride, std::index_sequence<i...>)
{
    using Row = typename Vector<Frame, sizeof...(i)>::Type;
    return reinterpret_cast<Register>(Row{loadVector<Frame>(frames + i * stride)...});
}

/// A register filled with frames that lie `stride` samples apart.
template <class Register, unsigned channels>
[[gnu::always_inline]] inline Register gathered(const float* frames, std::size_t stride)
{
    constexpr unsigned lanes = sizeof(Register) / sizeof(float);
    if constexpr (channels == lanes) {
        return loadVector<Register>(frames);
    } else if constexpr (channels == 1) {
        return inARow<Register, float>(frames, stride, std::make_index_sequence<lanes>{});
    } else if constexpr (channels == 2) {
        return inARow<Register, double>(frames, stride, std::make_index_sequence<lanes / 2>{});
    } else {
        static_assert(2 * channels == lanes);
        return tiled<Register>(loadVector<Floats<channels>>(frames), loadVector<Floats<channels>>(frames + stride),
            std::make_index_sequence<lanes>{});
    }
}

/// The channels of the group lie side by side in frames of `stride` samples.
template <unsigned channels>
struct InterleavedFrames {
    const float* input;
    float* output;
    std::size_t stride;

    /// The frames from t on.
    template <class Register>
    [[gnu::always_inline]] Register load(std::size_t t) const
    {
        const float* const first = input + t * stride;
        return stride == channels ? loadVector<Register>(first) : gathered<Register, channels>(first, stride);
    }

    /// Fewer than fill the register.
    template <class Register>
    [[gnu::always_inline]] Register loadPart(std::size_t t, std::size_t frames) const
    {
        float lanes[sizeof(Register) / sizeof(float)] = {};
        for (std::size_t i = 0; i < frames; ++i)
            __builtin_memcpy(lanes + i * channels, input + (t + i) * stride, channels * sizeof(float));
        return loadVector<Register>(lanes);
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
        using Side = Floats<sizeof(Register) / sizeof(float) / 2>;
        return interleaved<Register>(loadVector<Side>(inputL + t), loadVector<Side>(inputR + t));
    }

    template <class Register>
    [[gnu::always_inline]] Register loadPart(std::size_t t, std::size_t frames) const
    {
        float lanes[sizeof(Register) / sizeof(float)] = {};
        for (std::size_t i = 0; i < frames; ++i) {
            lanes[2 * i] = loadVector<float>(inputL + t + i);
            lanes[2 * i + 1] = loadVector<float>(inputR + t + i);
        }
        return loadVector<Register>(lanes);
    }

    template <class Register>
    [[gnu::always_inline]] void store(std::size_t t, const Register& lanes) const
    {
        const float left = lanes[0];
        const float right = lanes[1];
        storeVector(outputL + t, left);
        storeVector(outputR + t, right);
    }

private:
    template <class Register, class Side>
    [[gnu::always_inline]] static Register interleaved(Side left, Side right)
    {
        constexpr std::size_t frames = sizeof(Side) / sizeof(float);
        return [&]<std::size_t... i>(std::index_sequence<i...>) __attribute__((always_inline))
        {
            return __builtin_shufflevector(left, right, static_cast<int>(i / 2 + (i % 2) * frames)...);
        }
        (std::make_index_sequence<2 * frames>{});
    }
};

} // namespace quenstal
