#include "QuenstalApp/NativeAdapters/CoreAudioSystemVolumeController.hpp"

#include "QuenstalApp/NativeAdapters/VolumeProperties.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal {

namespace {

/// An optional sign, then decimal digits that fit 32 bits; "-0" is 0.
AudioObjectID audioObjectID(std::string_view text)
{
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    AudioObjectID number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || (negative && number != 0))
        throw QuenstalError::unsupportedDevice();
    return number;
}

} // namespace

VolumeSnapshot CoreAudioSystemVolumeController::readVolume(const AudioOutputDevice& device)
{
    const AudioObjectID object = audioObjectID(device.id);
    const double level = readVolumeScalar(object);
    return {level, readMute(object).value_or(false)};
}

void CoreAudioSystemVolumeController::setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device)
{
    const AudioObjectID object = audioObjectID(device.id);
    setVolumeScalar(snapshot.level, object);
    setMute(snapshot.isMuted, object);
}

double CoreAudioSystemVolumeController::readVolumeScalar(AudioObjectID device) const
{
    float sum = 0;
    int count = 0;
    for (const std::uint32_t element : volumeElements) {
        float value = 0;
        if (!objects_.hasProperty(device, volumeAddress(element))
            || objects_.getFloat32(device, volumeAddress(element), value) != 0)
            continue;
        sum += value;
        ++count;
    }
    if (count == 0)
        throw QuenstalError::unsupportedDevice();
    return static_cast<double>(sum / static_cast<float>(count));
}

std::optional<bool> CoreAudioSystemVolumeController::readMute(AudioObjectID device) const
{
    std::uint32_t value = 0;
    if (!objects_.hasProperty(device, muteAddress) || objects_.getUInt32(device, muteAddress, value) != 0)
        return std::nullopt;
    return value != 0;
}

void CoreAudioSystemVolumeController::setVolumeScalar(double level, AudioObjectID device)
{
    const auto scalar = static_cast<float>(VolumeSnapshot::clamp(level));
    std::vector<std::uint32_t> settable;
    std::ranges::copy_if(volumeElements, std::back_inserter(settable),
        [&](std::uint32_t element) { return isSettable(device, volumeAddress(element)); });
    if (settable.empty())
        throw QuenstalError::unsupportedDevice();
    for (const std::uint32_t element : settable) {
        const PlatformStatus status = objects_.setFloat32(device, volumeAddress(element), scalar);
        if (status != 0) {
            throw QuenstalError::commandFailed(
                "Core Audio volume set failed with status " + std::to_string(status) + ".");
        }
    }
}

void CoreAudioSystemVolumeController::setMute(bool muted, AudioObjectID device)
{
    // The status is dropped on purpose: the level is set, and the mute is a request.
    if (isSettable(device, muteAddress))
        objects_.setUInt32(device, muteAddress, muted ? 1 : 0);
}

bool CoreAudioSystemVolumeController::isSettable(AudioObjectID device, const AudioPropertyAddress& address) const
{
    bool settable = false;
    return objects_.isPropertySettable(device, address, settable) == 0 && settable;
}

} // namespace quenstal
