#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"

namespace quenstal {

/// The elements 1 and 2 of the property `volumeScalar`.
inline constexpr std::size_t volumeElementCount = 2;

/// Where the desktop's slider stands for a linear factor: its cube root, 0 to 1.
float scalarOf(float factor);
float factorOf(float scalar);

/// The volume with that scalar on one of the first two channels. The channels that have no element of their own follow
/// the louder of the two, so that a centre loudspeaker keeps its place.
AudioVolume withScalar(AudioVolume volume, std::size_t channel, float scalar);

/// Equal as far as a server's rounding goes.
bool isSameVolume(const AudioVolume& left, const AudioVolume& right);

} // namespace quenstal
