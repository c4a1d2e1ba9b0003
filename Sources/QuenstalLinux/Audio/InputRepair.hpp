#pragma once

#include <cstddef>

namespace quenstal {

/// Above this no program means what it plays: 24 dB over full scale.
inline constexpr float largestInput = 16;

/// Whether a sample is not finite or larger than `largestInput`. Audio thread.
bool needsRepair(const float* samples, std::size_t count);

/// Copies; a sample that is not finite becomes 0, one beyond ±`largestInput` that limit. Returns how many were changed.
/// Audio thread.
std::size_t copyRepaired(const float* samples, std::size_t count, float* repaired);

} // namespace quenstal
