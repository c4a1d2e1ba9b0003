#include "QuenstalLinux/Audio/ChannelVolumes.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

/// Far below one step of any slider.
constexpr float scalarTolerance = 1e-4F;

float loudest(const AudioVolume& volume)
{
    const auto elements = std::min(volumeElementCount, volume.channels.size());
    return *std::max_element(volume.channels.begin(), volume.channels.begin() + static_cast<std::ptrdiff_t>(elements));
}

} // namespace

float scalarOf(float factor)
{
    return std::clamp(std::cbrt(factor), 0.0F, 1.0F);
}

float factorOf(float scalar)
{
    return scalar * scalar * scalar;
}

AudioVolume withScalar(AudioVolume volume, std::size_t channel, float scalar)
{
    const float before = loudest(volume);
    volume.channels[channel] = factorOf(scalar);
    const float after = loudest(volume);
    for (std::size_t i = volumeElementCount; i < volume.channels.size(); ++i)
        volume.channels[i] = before > 0 ? volume.channels[i] * (after / before) : after;
    return volume;
}

bool isSameVolume(const AudioVolume& left, const AudioVolume& right)
{
    return left.muted == right.muted && std::ranges::equal(left.channels, right.channels, [](float a, float b) {
        return std::abs(std::cbrt(a) - std::cbrt(b)) < scalarTolerance;
    });
}

} // namespace quenstal
