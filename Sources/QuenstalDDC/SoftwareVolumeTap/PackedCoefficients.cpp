#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Shared.hpp"

namespace quenstal {

namespace {

constexpr auto bands = QSPackedCoefficients::bandCount;
constexpr auto kinds = QSPackedCoefficients::kindCount;
using Bits = std::uint32_t[bands][kinds];

void readBits(const QSSoftwareVolumeSession& session, Bits& bits)
{
    const auto bitsOf = [](const float& coefficient) { return std::bit_cast<std::uint32_t>(relaxedLoad(coefficient)); };
    for (std::size_t k = 0; k < bands; ++k) {
        const QSBiquadCoefficients& band = session.coefficients[k];
        bits[k][QSPackedCoefficients::b0] = bitsOf(band.b0);
        bits[k][QSPackedCoefficients::b1] = bitsOf(band.b1);
        bits[k][QSPackedCoefficients::b2] = bitsOf(band.b2);
        bits[k][QSPackedCoefficients::a1] = bitsOf(band.a1);
        bits[k][QSPackedCoefficients::a2] = bitsOf(band.a2);
    }
}

/// Without a branch on the way: it is asked in every cycle and the answer is nearly always no.
bool differ(const Bits& a, const Bits& b)
{
    std::uint32_t difference = 0;
    for (std::size_t k = 0; k < bands; ++k) {
        for (std::size_t kind = 0; kind < kinds; ++kind)
            difference |= a[k][kind] ^ b[k][kind];
    }
    return difference != 0;
}

bool passesThrough(const std::uint32_t (&band)[kinds])
{
    return std::bit_cast<float>(band[QSPackedCoefficients::b0]) == 1
        && (band[QSPackedCoefficients::b1] | band[QSPackedCoefficients::b2] | band[QSPackedCoefficients::a1]
               | band[QSPackedCoefficients::a2])
        == 0;
}

void pack(QSPackedCoefficients& packed)
{
    packed.flat = true;
    for (std::size_t k = 0; k < bands; ++k) {
        packed.flat = packed.flat && passesThrough(packed.source[k]);
        for (std::size_t group = 0; group < std::size(packed.packed); ++group) {
            const std::size_t channels = std::size_t{1} << group;
            const std::size_t firstLane = (bands - 1 - k) * channels;
            for (std::size_t kind = 0; kind < kinds; ++kind) {
                for (std::size_t channel = 0; channel < channels; ++channel)
                    packed.packed[group][kind][firstLane + channel] = std::bit_cast<float>(packed.source[k][kind]);
            }
        }
    }
}

} // namespace

void refreshPackedCoefficients(QSSoftwareVolumeSession& session)
{
    Bits current;
    readBits(session, current);
    if (!differ(current, session.packed.source))
        return;
    for (std::size_t k = 0; k < bands; ++k) {
        for (std::size_t kind = 0; kind < kinds; ++kind)
            session.packed.source[k][kind] = current[k][kind];
    }
    pack(session.packed);
}

} // namespace quenstal
