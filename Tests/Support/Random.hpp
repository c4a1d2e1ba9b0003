#pragma once

// Input for property tests: the same sequence for the same seed on every machine, which the distributions of the
// standard library do not promise.

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quenstal::test {

class Random {
public:
    explicit constexpr Random(std::uint64_t seed)
        : state_(seed)
    {
    }

    /// 64 uniform bits (SplitMix64).
    constexpr std::uint64_t bits()
    {
        state_ += 0x9E3779B97F4A7C15;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }

    /// 0 to `count` − 1.
    constexpr std::size_t below(std::size_t count) { return static_cast<std::size_t>(bits() % count); }

    constexpr bool coin() { return (bits() & 1) != 0; }

    template <typename Choices>
    constexpr const auto& oneOf(const Choices& choices)
    {
        return choices[below(choices.size())];
    }

    constexpr double between(double low, double high)
    {
        const double unit = static_cast<double>(bits() >> 11) * 0x1p-53;
        return low + unit * (high - low);
    }

    /// Any bit pattern at all: NaN, infinities and numbers of every magnitude.
    double anyDouble() { return std::bit_cast<double>(bits()); }

    double anyFiniteDouble()
    {
        double value = anyDouble();
        while (!std::isfinite(value))
            value = anyDouble();
        return value;
    }

    /// Up to seven characters, from plain letters to what has to be escaped or takes several bytes.
    std::string anyText()
    {
        static constexpr std::array<std::string_view, 12> characters{
            "a", "Z", "0", " ", "\"", "\\", "/", "\n", "\x01", "ü", "音", "🔊"};
        std::string text;
        for (std::size_t length = below(8); length > 0; --length)
            text += oneOf(characters);
        return text;
    }

private:
    std::uint64_t state_;
};

} // namespace quenstal::test
