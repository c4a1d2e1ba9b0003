#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"

namespace quenstal {

/// The elements 1 and 2 of the property `volumeScalar`.
inline constexpr std::size_t volumeElementCount = 2;

/// Where the desktop's slider stands for a linear factor: its cube root, 0 to 1.
float scalarOf(float factor);
float factorOf(float scalar);

/// How loud the channels that have no element of their own are beside the louder of the first two. Empty while those
/// are all but silent, which says nothing about the others.
std::vector<float> balanceOf(const AudioVolume& volume);

/// The volume with that scalar on one of the first two channels. The others follow the louder of the two in that
/// balance, each as loud where it has none, so that a centre loudspeaker keeps its place. None of them is amplified.
AudioVolume withScalar(AudioVolume volume, std::size_t channel, float scalar, const std::vector<float>& balance);

/// Equal as far as a server's rounding goes.
bool isSameVolume(const AudioVolume& left, const AudioVolume& right);

} // namespace quenstal
