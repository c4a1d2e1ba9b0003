#pragma once

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"

#include <optional>

namespace quenstal {

/// The output's own volume and mute. Keeps nothing between calls. Main thread.
class CoreAudioSystemVolumeController final : public SystemVolumeControlling {
public:
    explicit CoreAudioSystemVolumeController(AudioObjects& objects)
        : objects_(objects)
    {
    }

    /// The mean of the elements that have a volume. Throws `unsupportedDevice` when the device is not known by its
    /// number or none of its elements can be read.
    VolumeSnapshot readVolume(const AudioOutputDevice& device) override;
    /// Writes the level, then the mute; a device without a settable mute ignores the mute. Throws
    /// `unsupportedDevice`, or `commandFailed` with the status of the first write that failed.
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device) override;

private:
    double readVolumeScalar(AudioObjectID device) const;
    /// None when it cannot be told.
    std::optional<bool> readMute(AudioObjectID device) const;
    void setVolumeScalar(double level, AudioObjectID device);
    void setMute(bool muted, AudioObjectID device);
    bool isSettable(AudioObjectID device, const AudioPropertyAddress& address) const;

    AudioObjects& objects_;
};

} // namespace quenstal
