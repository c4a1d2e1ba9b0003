#include "QuenstalDDC/SoftwareVolumeTap/RelaxedAccess.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

#include <iterator>

namespace quenstal {

namespace {

constexpr auto bands = QSPackedCoefficients::bandCount;
constexpr auto kinds = QSPackedCoefficients::kindCount;
/// Calls the function with every coefficient's bits as the session has them now, and the place of the packed copy.
template <class Function>
void forEach(QSSoftwareVolumeSession& session, Function function)
{
    const auto bitsOf = [](const float& coefficient) { return std::bit_cast<std::uint32_t>(relaxedLoad(coefficient)); };
    for (std::size_t k = 0; k < bands; ++k) {
        const QSBiquadCoefficients& band = session.coefficients[k];
        auto& source = session.packed.source[k];
        function(bitsOf(band.b0), source[QSPackedCoefficients::b0]);
        function(bitsOf(band.b1), source[QSPackedCoefficients::b1]);
        function(bitsOf(band.b2), source[QSPackedCoefficients::b2]);
        function(bitsOf(band.a1), source[QSPackedCoefficients::a1]);
        function(bitsOf(band.a2), source[QSPackedCoefficients::a2]);
    }
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
        if (k == 0)
            continue;
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
    // Without a branch on the way: it is asked in every cycle and the answer is nearly always no.
    std::uint32_t difference = 0;
    forEach(session, [&](std::uint32_t now, std::uint32_t packed) { difference |= now ^ packed; });
    if (difference == 0)
        return;
    forEach(session, [](std::uint32_t now, std::uint32_t& packed) { packed = now; });
    pack(session.packed);
}

} // namespace quenstal
