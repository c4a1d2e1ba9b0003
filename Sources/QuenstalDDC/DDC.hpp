#pragma once

// The monitor's speaker volume over DDC/CI (VCP code 0x62). No state survives a call: each scans the buses anew, in
// the platform's order, and the first that answers is the one. The caller's thread blocks for the whole scan.

#include "QuenstalPlatform/DisplayBuses.hpp"

#include <cstdint>

namespace quenstal {

/// In the monitor's own units.
struct QSDDCVolume {
    std::uint32_t current = 0;
    /// Never 0 once read: a monitor that reports 0 has 100.
    std::uint32_t maximum = 0;

    bool operator==(const QSDDCVolume&) const = default;
};

/// Whether some bus answers with a speaker volume.
bool QSDDCProbeSpeakerVolume(DisplayBuses& buses);

/// Fills the record from the first bus that answers; (0, 0) and false when none does. False at once for a null record.
bool QSDDCReadSpeakerVolume(DisplayBuses& buses, QSDDCVolume* volume);

/// Writes to the first bus that answers a read and accepts the value, limited to that bus's maximum. A bus that did
/// not answer a read is never written.
bool QSDDCSetSpeakerVolume(DisplayBuses& buses, std::uint32_t value);

} // namespace quenstal
