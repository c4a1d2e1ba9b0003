#pragma once

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"

#include <optional>
#include <string>

namespace quenstal {

/// Describes the default output. Keeps nothing between calls. Main thread.
class CoreAudioDeviceProvider final : public AudioDeviceProviding {
public:
    explicit CoreAudioDeviceProvider(const AudioObjects& objects)
        : objects_(objects)
    {
    }

    /// None when there is no default output. Its `id` is the device number in decimal.
    std::optional<AudioOutputDevice> defaultOutputDevice() override;

private:
    std::optional<AudioObjectID> defaultOutputDeviceID() const;
    std::string deviceName(AudioObjectID device) const;
    AudioTransport transport(AudioObjectID device) const;
    std::optional<std::string> deviceUID(AudioObjectID device) const;
    std::optional<std::string> text(AudioObjectID device, FourCharCode selector) const;

    const AudioObjects& objects_;
};

} // namespace quenstal
