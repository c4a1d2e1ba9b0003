#pragma once

// One row of the wavefront: a number for every band of every channel of a group, in as many registers as that takes.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

namespace quenstal {

/// The last band comes first, so that the results stand in the lowest lanes, and the first band has a register of
/// its own, so that new input needs no blending:
///
///     2 channels, width 8:   [ b4L b4R b3L b3R b2L b2R b1L b1R ] [ b0L b0R  ·   ·   ·   ·   ·   ·  ]
template <class Isa, unsigned channels, unsigned width>
struct Lanes {
    static constexpr unsigned bands = softwareEQBandCount;
    static constexpr unsigned parts = (bands - 1) * channels / width + 1;
    static_assert((bands - 1) * channels % width == 0 && channels <= width);

    using Part = Floats<Isa, width>;

    Part part[parts];

    [[gnu::always_inline]] static Lanes load(const float* source)
    {
        Lanes lanes;
        for (unsigned i = 0; i < parts; ++i)
            lanes.part[i] = loadVector<Part>(source + i * width);
        return lanes;
    }

    [[gnu::always_inline]] friend Lanes operator+(const Lanes& a, const Lanes& b)
    {
        Lanes sum;
        for (unsigned i = 0; i < parts; ++i)
            sum.part[i] = a.part[i] + b.part[i];
        return sum;
    }

    [[gnu::always_inline]] friend Lanes operator-(const Lanes& a, const Lanes& b)
    {
        Lanes difference;
        for (unsigned i = 0; i < parts; ++i)
            difference.part[i] = a.part[i] - b.part[i];
        return difference;
    }

    [[gnu::always_inline]] friend Lanes operator*(const Lanes& a, const Lanes& b)
    {
        Lanes product;
        for (unsigned i = 0; i < parts; ++i)
            product.part[i] = a.part[i] * b.part[i];
        return product;
    }

    /// Every band's result becomes the input of the band after it, and `input` that of the first.
    [[gnu::always_inline]] Lanes handedOn(Part input) const
    {
        Lanes moved;
        for (unsigned i = 0; i + 1 < parts; ++i)
            moved.part[i] = shiftedDown(part[i], part[i + 1], std::make_index_sequence<width>{});
        moved.part[parts - 1] = input;
        return moved;
    }

    /// Takes one band's lanes from another row.
    template <unsigned band>
    [[gnu::always_inline]] void takeBand(const Lanes& other)
    {
        constexpr unsigned firstLane = (bands - 1 - band) * channels;
        Part& mine = part[firstLane / width];
        mine = blended<firstLane % width>(mine, other.part[firstLane / width], std::make_index_sequence<width>{});
    }

private:
    template <std::size_t... lane>
    [[gnu::always_inline]] static Part shiftedDown(Part low, Part high, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(low, high, static_cast<int>(lane + channels)...);
    }

    template <unsigned first, std::size_t... lane>
    [[gnu::always_inline]] static Part blended(Part mine, Part other, std::index_sequence<lane...>)
    {
        return __builtin_shufflevector(
            mine, other, static_cast<int>(lane >= first && lane < first + channels ? lane + width : lane)...);
    }
};

} // namespace quenstal
