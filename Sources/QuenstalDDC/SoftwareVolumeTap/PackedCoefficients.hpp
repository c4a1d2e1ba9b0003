#pragma once

// The coefficients in the order in which the kernels hold them.

#include <bit>
#include <cstddef>
#include <cstdint>

namespace quenstal {

struct QSSoftwareVolumeSession;

/// Bands and channels side by side: lane (4 − band) · channels + channel, for groups of 1, 2, 4 and 8 channels. The
/// first band has no lanes: it is the same number for all channels.
/// A copy that the audio thread keeps for itself and renews when the session's coefficients are other than its own.
struct QSPackedCoefficients {
    static constexpr std::size_t bandCount = 5;
    static constexpr std::size_t maximumLanes = 32;
    enum Kind : std::size_t { b0, b1, b2, a1, a2, kindCount };

    /// The lanes of one kind of coefficient.
    template <unsigned channels>
    const float* lanes(Kind kind) const
    {
        return packed[std::bit_width(channels) - 1][kind];
    }

    float firstBand(Kind kind) const { return std::bit_cast<float>(source[0][kind]); }

    /// Whether all five bands pass through.
    bool flat = false;
    /// What was packed, bit for bit.
    std::uint32_t source[bandCount][kindCount] = {};
    alignas(64) float packed[4][kindCount][maximumLanes] = {};
};

/// Brings the session's packed copy up to date. Audio thread.
void refreshPackedCoefficients(QSSoftwareVolumeSession& session);

} // namespace quenstal
