#include "QuenstalLinux/Audio/ChannelVolumes.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

/// Far below one step of any slider.
constexpr float scalarTolerance = 1e-4F;
/// One per cent of a slider. What is left of a balance below it is rounding.
constexpr float quietestFront = 1e-6F;

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

std::vector<float> balanceOf(const AudioVolume& volume)
{
    const float front = loudest(volume);
    std::vector<float> balance;
    for (std::size_t i = volumeElementCount; front >= quietestFront && i < volume.channels.size(); ++i)
        balance.push_back(volume.channels[i] / front);
    return balance;
}

AudioVolume withScalar(AudioVolume volume, std::size_t channel, float scalar, const std::vector<float>& balance)
{
    volume.channels[channel] = factorOf(scalar);
    const float front = loudest(volume);
    for (std::size_t i = volumeElementCount; i < volume.channels.size(); ++i) {
        const std::size_t follower = i - volumeElementCount;
        volume.channels[i] = std::min(follower < balance.size() ? front * balance[follower] : front, 1.0F);
    }
    return volume;
}

bool isSameVolume(const AudioVolume& left, const AudioVolume& right)
{
    return left.muted == right.muted && std::ranges::equal(left.channels, right.channels, [](float a, float b) {
        return std::abs(std::cbrt(a) - std::cbrt(b)) < scalarTolerance;
    });
}

} // namespace quenstal
