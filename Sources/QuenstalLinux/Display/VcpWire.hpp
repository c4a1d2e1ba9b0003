#pragma once

// DDC/CI from below: as much of the bytes as a memo of them has to understand.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <span>

namespace quenstal {

using VcpMessage = std::vector<std::uint8_t>;
/// Monitors corrupt what is read bytewise: always sixteen in one read.
using VcpReply = std::array<std::uint8_t, 16>;

/// The question that is put to a monitor before anyone asks: its speaker volume.
inline constexpr std::array<std::uint8_t, 5> speakerVolumeQuestion{0x51, 0x82, 0x01, 0x62, 0xDE};

enum class VcpVerdict {
    /// The answer stands at one of the places where it is looked for.
    accepted,
    /// So it does, in the usual layout, but the sum says that a bit was lost.
    wrongChecksum,
    /// The monitor says, and the sum agrees, that it has no such feature.
    unsupported,
    /// Anything else: too early, for someone else, noise.
    rejected
};

VcpVerdict judgeReply(std::span<const std::uint8_t, 16> reply, const VcpMessage& question);

/// A maximum of 0xFFnn (nn not 0) becomes nn: the monitors that report it count in one byte, and taking it literally
/// drives them to full volume.
void repairMaximum(VcpReply& reply, const VcpMessage& question);

/// Whether two replies report the same value and maximum. Sums and padding do not count.
bool saySame(const VcpReply& a, const VcpReply& b, const VcpMessage& question);

/// Puts the value that a Set message carries into a reply about the same feature. False when they do not match.
bool putCurrentValue(VcpReply& reply, const VcpMessage& set);

/// The Set that gives the monitor the value which it has by this reply; empty when the reply has no answer.
VcpMessage setOfCurrentValue(const VcpReply& reply, const VcpMessage& question);

} // namespace quenstal
