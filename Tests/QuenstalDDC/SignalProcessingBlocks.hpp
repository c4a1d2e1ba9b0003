#pragma once

// Random and adversarial blocks, and the layouts in which the procedure meets them.

#include "QuenstalDDC/SoftwareVolumeTap.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace quenstal::testing_support {

/// How the samples lie: a buffer of `channels` side by side, or a buffer for each.
struct Layout {
    QSSampleFormat format = QSSampleFormat::float32;
    bool planar = false;
    std::uint32_t channels = 2;

    std::string name() const
    {
        static constexpr const char* formats[] = {"", "float32", "float64", "int16", "int32"};
        return std::string(formats[static_cast<std::size_t>(format)]) + (planar ? "Planar" : "Interleaved")
            + std::to_string(channels);
    }
};

/// Memory for one cycle. Buffers stand a few bytes off alignment, between bytes that nobody may touch.
class Arena {
public:
    Arena(const Layout& layout, std::size_t samplesPerBuffer, std::size_t misalignment)
        : size_(samplesPerBuffer * bytesPerSample(layout.format))
        , bufferChannels_(layout.planar ? 1 : layout.channels)
        , buffers_(layout.planar ? layout.channels : 1)
        , bytes_(buffers_ * (size_ + guard) + guard + misalignment, guardByte)
        , first_(guard + misalignment)
    {
    }

    std::byte* buffer(std::size_t index) { return bytes_.data() + first_ + index * (size_ + guard); }
    std::size_t bufferSize() const { return size_; }

    std::vector<AudioBuffer> list()
    {
        std::vector<AudioBuffer> list;
        for (std::size_t i = 0; i < buffers_; ++i)
            list.push_back({bufferChannels_, static_cast<std::uint32_t>(size_), buffer(i)});
        return list;
    }

    /// Everything, the bytes between the buffers too.
    const std::vector<std::byte>& bytes() const { return bytes_; }

private:
    static constexpr std::size_t guard = 64;
    static constexpr std::byte guardByte{0xa5};

    std::size_t size_;
    std::uint32_t bufferChannels_;
    std::size_t buffers_;
    std::vector<std::byte> bytes_;
    std::size_t first_;
};

class BlockSource {
public:
    explicit BlockSource(std::uint32_t seed)
        : random_(seed)
    {
    }

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
    bool oneIn(std::uint32_t count) { return below(count) == 0; }
    /// In [−1, 1).
    float uniform() { return static_cast<float>(static_cast<std::int32_t>(random_())) * 0x1p-31f; }

    /// Mostly short; now and then as long as a large cycle.
    std::size_t frames() { return oneIn(50) ? 500 + below(1600) : below(oneIn(3) ? 130 : 40); }

    void fill(Arena& arena, const Layout& layout)
    {
        const auto flavour = static_cast<Flavour>(below(static_cast<std::uint32_t>(Flavour::count)));
        const std::size_t buffers = layout.planar ? layout.channels : 1;
        const std::size_t sampleSize = bytesPerSample(layout.format);
        for (std::size_t i = 0; i < buffers; ++i) {
            for (std::size_t at = 0; at < arena.bufferSize(); at += sampleSize)
                write(arena.buffer(i) + at, layout.format, flavour);
        }
    }

    /// Gain, preamp and bands: audible ones, extreme ones, none.
    void change(QSSoftwareVolumeSession& session)
    {
        QSSoftwareVolumeSessionSetGain(&session, oneIn(6) ? 0 : oneIn(3) ? 1 : std::fabs(uniform()));
        QSSoftwareEQProfile profile{
            .enabled = !oneIn(4), .preampDB = oneIn(3) ? 0 : 12 * uniform(), .bandCount = below(7)};
        const bool flat = oneIn(4);
        for (QSSoftwareEQBand& band : profile.bands)
            band = {std::exp2(4 + 10.5f * std::fabs(uniform())), flat || oneIn(4) ? 0 : 14 * uniform()};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
        if (oneIn(20))
            session.coefficients[below(5)].a1 = anyFloat();
    }

private:
    enum class Flavour { loud, soft, tooLoud, spiked, subnormal, silent, anyBits, broken, count };

    float anyFloat() { return std::bit_cast<float>(static_cast<std::uint32_t>(random_())); }

    float sample(Flavour flavour)
    {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        switch (flavour) {
        case Flavour::loud:
            return uniform();
        case Flavour::soft:
            return uniform() * 0.05f;
        case Flavour::tooLoud:
            return uniform() * 4;
        case Flavour::spiked:
            return uniform() * (oneIn(50) ? 1e30f : 1);
        case Flavour::subnormal:
            return uniform() * 1e-38f;
        case Flavour::silent:
            return oneIn(2) ? 0.0f : -0.0f;
        case Flavour::anyBits:
            return anyFloat();
        case Flavour::broken:
            return oneIn(2000) ? (oneIn(2) ? std::numeric_limits<float>::quiet_NaN() : infinity) : uniform();
        case Flavour::count:
            break;
        }
        return 0;
    }

    void write(std::byte* place, QSSampleFormat format, Flavour flavour)
    {
        switch (format) {
        case QSSampleFormat::float32:
            return put(place, sample(flavour));
        case QSSampleFormat::float64:
            return put(place,
                flavour == Flavour::anyBits ? std::bit_cast<double>((std::uint64_t{random_()} << 32) | random_())
                                            : static_cast<double>(sample(flavour)) * (oneIn(40) ? 1e20 : 1.0000001));
        case QSSampleFormat::int16:
            return put(place, static_cast<std::int16_t>(integer(flavour) >> 16));
        case QSSampleFormat::int32:
            return put(place, integer(flavour));
        }
    }

    /// Integers have no odd values but their ends.
    std::int32_t integer(Flavour flavour)
    {
        const auto bits = static_cast<std::int32_t>(random_());
        switch (flavour) {
        case Flavour::soft:
            return bits / 64;
        case Flavour::subnormal:
            return bits >> 15;
        case Flavour::silent:
            return 0;
        case Flavour::spiked:
            return oneIn(20) ? (oneIn(2) ? INT32_MIN : INT32_MAX) : bits / 2;
        default:
            return bits;
        }
    }

    template <class Sample>
    static void put(std::byte* place, Sample value)
    {
        std::memcpy(place, &value, sizeof value);
    }

    std::mt19937 random_;
};

} // namespace quenstal::testing_support
