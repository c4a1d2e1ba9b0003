#pragma once

// One row of the wavefront: a number for every band but the first of every channel of a group, in as many registers as
// that takes.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

namespace quenstal {

/// The last band comes first, so that the results stand in the lowest lanes:
///
///     2 channels, width 8:   [ b4L b4R b3L b3R b2L b2R b1L b1R ]
///
/// The first band is not among them: it has a register of its own.
template <class Isa, unsigned channels, unsigned width>
struct Lanes {
    static constexpr unsigned bands = softwareEQBandCount;
    static constexpr unsigned parts = (bands - 1) * channels / width;
    static_assert(parts * width == (bands - 1) * channels && channels <= width);

    using Part = Floats<width>;

    Part part[parts];

    Lanes() = default;
    // Part by part: compilers copy a structure of this size through memory, and the row is the recursion's state.
    [[gnu::always_inline]] Lanes(const Lanes& other) { *this = other; }
    [[gnu::always_inline]] Lanes& operator=(const Lanes& other) // NOLINT(bugprone-unhandled-self-assignment): harmless
    {
        assign([&](auto i) __attribute__((always_inline)) { return other.part[i]; });
        return *this;
    }

    [[gnu::always_inline]] static Lanes load(const float* source)
    {
        return each([&](auto i) __attribute__((always_inline)) { return loadVector<Part>(source + i * width); });
    }

    [[gnu::always_inline]] friend Lanes operator+(const Lanes& a, const Lanes& b)
    {
        return each([&](auto i) __attribute__((always_inline)) { return a.part[i] + b.part[i]; });
    }

    [[gnu::always_inline]] friend Lanes operator-(const Lanes& a, const Lanes& b)
    {
        return each([&](auto i) __attribute__((always_inline)) { return a.part[i] - b.part[i]; });
    }

    [[gnu::always_inline]] friend Lanes operator*(const Lanes& a, const Lanes& b)
    {
        return each([&](auto i) __attribute__((always_inline)) { return a.part[i] * b.part[i]; });
    }

    /// Every band's result becomes the input of the band after it; `first` has the first band's in its lowest lanes.
    [[gnu::always_inline]] Lanes handedOn(Part first) const
    {
        return each([&](auto i) __attribute__((always_inline)) {
            if constexpr (i + 1 < parts)
                return shiftedDown(part[i], part[i + 1], std::make_index_sequence<width>{});
            else
                return shiftedDown(part[i], first, std::make_index_sequence<width>{});
        });
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
    template <class Function>
    [[gnu::always_inline]] static Lanes each(Function partOf)
    {
        Lanes lanes;
        lanes.assign(partOf);
        return lanes;
    }

    /// Written out, not a loop: registers have no index.
    template <class Function>
    [[gnu::always_inline]] void assign(Function partOf)
    {
        [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) __attribute__((always_inline))
        {
            ((part[i] = partOf(std::integral_constant<unsigned, i>{})), ...);
        }
        (std::make_integer_sequence<unsigned, parts>{});
    }

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
