#pragma once

// Samples of the four formats into floats and back, a register at a time, with the bits of the scalar form.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"

namespace quenstal {

/// The vector forms of `decode` and `encode`.
template <class Isa, class Format>
struct Conversion;

template <class Isa>
struct Conversion<Isa, Float32Samples> {
    using Numbers = Floats<Isa::width>;
    using Samples = Numbers;

    [[gnu::always_inline]] static Numbers decode(Samples samples) { return samples; }
    [[gnu::always_inline]] static Samples encode(Numbers results) { return results; }
};

template <class Isa>
struct Conversion<Isa, Float64Samples> {
    using Numbers = Floats<Isa::width>;
    using Samples = Doubles<Isa::width>;

    [[gnu::always_inline]] static Numbers decode(Samples samples) { return __builtin_convertvector(samples, Numbers); }
    [[gnu::always_inline]] static Samples encode(Numbers results) { return __builtin_convertvector(results, Samples); }
};

template <class Isa>
struct Conversion<Isa, Int16Samples> {
    using Numbers = Floats<Isa::width>;
    using Integers = Ints<Isa::width>;
    using Samples = typename Vector<std::int16_t, Isa::width>::Type;

    [[gnu::always_inline]] static Numbers decode(Samples samples)
    {
        // 1/32767 = 2^-15 + 2^-30 + 2^-45 + …: two products and a sum give the quotient's bits for every sample, and
        // take a third of the division's time.
        const Numbers numbers = __builtin_convertvector(__builtin_convertvector(samples, Integers), Numbers);
        return numbers * 0x1p-15f + numbers * 0x1.0002p-30f;
    }

    [[gnu::always_inline]] static Samples encode(Numbers results)
    {
        // Where a float's last place is worth 1, adding rounds to the nearest integer, which is then the low bits.
        constexpr float rounding = 0x1.8p23f;
        const auto bits = reinterpret_cast<Integers>(results * 32767.0f + rounding);
        return __builtin_convertvector(bits, Samples);
    }
};

template <class Isa>
struct Conversion<Isa, Int32Samples> {
    using Numbers = Floats<Isa::width>;
    using Samples = Ints<Isa::width>;
    using Wide = Doubles<Isa::width>;
    using WideBits = typename Vector<std::int64_t, Isa::width>::Type;

    [[gnu::always_inline]] static Numbers decode(Samples samples)
    {
        // The product's bits are the quotient's, once narrowed.
        return __builtin_convertvector(__builtin_convertvector(samples, Wide) * (1 / 2147483647.0), Numbers);
    }

    [[gnu::always_inline]] static Samples encode(Numbers results)
    {
        // As above, where a double's last place is worth 1.
        constexpr double rounding = 0x1.8p52;
        const Wide sums = __builtin_convertvector(results, Wide) * 2147483647.0 + rounding;
        return __builtin_convertvector(reinterpret_cast<WideBits>(sums), Samples);
    }
};

/// Decodes and multiplies by each factor in turn. `numbers` may be the memory of the samples.
template <class Isa, class Format, class... Factor>
void decodeSamples(const std::byte* samples, float* numbers, std::size_t count, Factor... factor)
{
    using Convert = Conversion<Isa, Format>;
    using Samples = typename Convert::Samples;
    constexpr std::size_t sampleSize = sizeof(typename Format::Sample);
    const auto convert = [=](Samples given) __attribute__((always_inline))
    {
        return (Convert::decode(given) * ... * factor);
    };
    std::size_t i = 0;
    for (; i + Isa::width <= count; i += Isa::width)
        storeVector(numbers + i, convert(loadVector<Samples>(samples + i * sampleSize)));
    if (const std::size_t rest = count - i)
        storePart(
            numbers + i, convert(loadPart<Samples>(samples + i * sampleSize, rest * sampleSize)), rest * sizeof(float));
}

/// Encodes results that the limiter has passed.
template <class Isa, class Format>
void encodeSamples(const float* results, std::byte* samples, std::size_t count)
{
    using Convert = Conversion<Isa, Format>;
    using Numbers = typename Convert::Numbers;
    constexpr std::size_t sampleSize = sizeof(typename Format::Sample);
    std::size_t i = 0;
    for (; i + Isa::width <= count; i += Isa::width)
        storeVector(samples + i * sampleSize, Convert::encode(loadVector<Numbers>(results + i)));
    if (const std::size_t rest = count - i)
        storePart(samples + i * sampleSize, Convert::encode(loadPart<Numbers>(results + i, rest * sizeof(float))),
            rest * sampleSize);
}

} // namespace quenstal
