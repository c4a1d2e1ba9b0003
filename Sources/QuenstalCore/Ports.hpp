#pragma once

// The seven interfaces through which the core reaches the platform, and the store that needs none.
//
// Operations marked "throws" report failure by throwing a QuenstalError or anything else; the others cannot
// fail. Ports promise nothing about threads: the controller calls them from the main thread only.

#include "QuenstalCore/Models.hpp"
#include "QuenstalPlatform/Interface.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

class AudioDeviceProviding : public Interface {
public:
    /// The system's current default output; none when there is none.
    virtual std::optional<AudioOutputDevice> defaultOutputDevice() = 0;
};

class DisplayTargetProviding : public Interface {
public:
    /// The display that belongs to the output; none when none can be matched.
    virtual std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice& device) = 0;
};

class PermissionProviding : public Interface {
public:
    virtual PermissionState currentPermissionState() = 0;
};

/// The output's own system volume.
class SystemVolumeControlling : public Interface {
public:
    /// Throws.
    virtual VolumeSnapshot readVolume(const AudioOutputDevice& device) = 0;
    /// Throws.
    virtual void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device) = 0;
};

/// The monitor's speaker volume over DDC/CI.
class DDCVolumeControlling : public Interface {
public:
    /// Throws.
    virtual VolumeSnapshot readVolume(const DisplayControlTarget& display) = 0;
    /// Throws.
    virtual void setVolume(const VolumeSnapshot& snapshot, const DisplayControlTarget& display) = 0;
};

/// The software path: gain, equalizer and meters. An adapter that can only change volume leaves the equalizer
/// and the meters as they are here.
class SoftwareVolumeControlling : public Interface {
public:
    /// Whether this path can serve the output at all.
    virtual bool isAvailable(const AudioOutputDevice& device) = 0;
    /// Throws.
    virtual VolumeSnapshot readVolume(const AudioOutputDevice& device) = 0;
    /// Throws.
    virtual void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device) = 0;
    /// Throws. By default nothing happens.
    virtual void setEQProfile(const EQProfile& profile, const AudioOutputDevice& device);
    /// Throws. By default all levels are zero.
    virtual SoundLevelSnapshot readLevels(const AudioOutputDevice& device);
    /// Ends all software processing.
    virtual void stopAll() = 0;
};

/// Equalizer settings per output. The key is a text that the controller derives from the output.
class EQProfileStoring : public Interface {
public:
    /// The saved profile; none when none was saved.
    virtual std::optional<EQProfile> profile(std::string_view key) = 0;
    /// Replaces any earlier profile under the key.
    virtual void saveProfile(const EQProfile& profile, std::string_view key) = 0;
    /// Whether the user chose software processing for that output.
    virtual bool softwareProcessingPreferred(std::string_view key) = 0;
    /// Replaces the earlier choice.
    virtual void setSoftwareProcessingPreferred(bool preferred, std::string_view key) = 0;
};

/// Keeps the settings in memory, exactly as given, and nothing across runs. No lock: one thread at a time.
class InMemoryEQProfileStore final : public EQProfileStoring {
public:
    std::optional<EQProfile> profile(std::string_view key) override;
    void saveProfile(const EQProfile& profile, std::string_view key) override;
    /// False for a key never set.
    bool softwareProcessingPreferred(std::string_view key) override;
    void setSoftwareProcessingPreferred(bool preferred, std::string_view key) override;

private:
    std::map<std::string, EQProfile, std::less<>> profiles_;
    std::map<std::string, bool, std::less<>> softwarePreferences_;
};

} // namespace quenstal
