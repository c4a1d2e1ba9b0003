#pragma once

// The four sample formats: how a sample becomes a number around [−1, 1], and a result a sample.

#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

#include <cmath>
#include <cstring>

namespace quenstal {

struct Float32Samples {
    using Sample = float;
    static float decode(Sample sample) { return sample; }
    static Sample encode(float result) { return result; }
};

struct Float64Samples {
    using Sample = double;
    static float decode(Sample sample) { return static_cast<float>(sample); }
    static Sample encode(float result) { return static_cast<double>(result); }
};

struct Int16Samples {
    using Sample = std::int16_t;
    static float decode(Sample sample) { return static_cast<float>(sample) / 32767.0f; }
    static Sample encode(float result) { return static_cast<Sample>(std::nearbyint(result * 32767.0f)); }
};

struct Int32Samples {
    using Sample = std::int32_t;
    static float decode(Sample sample) { return static_cast<float>(static_cast<double>(sample) / 2147483647.0); }
    static Sample encode(float result)
    {
        return static_cast<Sample>(std::nearbyint(static_cast<double>(result) * 2147483647.0));
    }
};

/// Reads sample `index`; the bytes need no alignment.
template <class Format>
float decodeAt(const std::byte* samples, std::size_t index)
{
    typename Format::Sample sample;
    std::memcpy(&sample, samples + index * sizeof sample, sizeof sample);
    return Format::decode(sample);
}

template <class Format>
void encodeAt(std::byte* samples, std::size_t index, float result)
{
    const typename Format::Sample sample = Format::encode(result);
    std::memcpy(samples + index * sizeof sample, &sample, sizeof sample);
}

/// A power of two, of a format that nobody knows too.
constexpr std::uint32_t bytesPerSample(QSSampleFormat format)
{
    const auto is = [&](QSSampleFormat other) { return format == other ? 1u : 0u; };
    return 4u << is(QSSampleFormat::float64) >> is(QSSampleFormat::int16);
}

/// Calls `function` with the type that stands for the format.
template <class Function>
void withFormat(QSSampleFormat format, Function function)
{
    switch (format) {
    case QSSampleFormat::float32:
        return function(Float32Samples{});
    case QSSampleFormat::float64:
        return function(Float64Samples{});
    case QSSampleFormat::int16:
        return function(Int16Samples{});
    case QSSampleFormat::int32:
        return function(Int32Samples{});
    }
}

} // namespace quenstal
