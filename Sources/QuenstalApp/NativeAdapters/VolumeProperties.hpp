#pragma once

// Where an output keeps its volume and its mute.

#include "QuenstalPlatform/AudioObjects.hpp"

#include <algorithm>
#include <array>

namespace quenstal {

/// The device as a whole, then its first two channels. No other channel is looked at.
inline constexpr std::array<std::uint32_t, 3> volumeElements{audioElementMain, 1, 2};

constexpr AudioPropertyAddress volumeAddress(std::uint32_t element)
{
    return {AudioPropertySelector::volumeScalar, AudioPropertyScope::output, element};
}

inline constexpr AudioPropertyAddress muteAddress{
    AudioPropertySelector::mute, AudioPropertyScope::output, audioElementMain};

/// Whether the device has a volume on any element, settable or not.
inline bool supportsVolume(const AudioObjects& objects, AudioObjectID device)
{
    return std::ranges::any_of(
        volumeElements, [&](std::uint32_t element) { return objects.hasProperty(device, volumeAddress(element)); });
}

} // namespace quenstal
