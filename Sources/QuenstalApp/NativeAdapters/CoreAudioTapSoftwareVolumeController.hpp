#pragma once

#include "QuenstalApp/NativeAdapters/CoreAudioSoftwareVolumeSession.hpp"
#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/AudioTaps.hpp"

#include <string>
#include <unordered_map>

namespace quenstal {

/// Runs one software volume session, for the monitor in use, and remembers the volume last set for each output.
/// Main thread.
class CoreAudioTapSoftwareVolumeController final : public SoftwareVolumeControlling {
public:
    /// The taps outlive it.
    explicit CoreAudioTapSoftwareVolumeController(AudioTaps& taps);

    /// True for a monitor with a UID. Ends the session of every other output, on purpose: the question is only asked
    /// about the output in use.
    bool isAvailable(const AudioOutputDevice& device) override;
    /// The volume set last, or full scale. Starts no session. Throws `unsupportedDevice`.
    VolumeSnapshot readVolume(const AudioOutputDevice& device) override;
    /// Starts the session if there is none. Throws `unsupportedDevice`, or `commandFailed` when none can be started;
    /// then the volume is not remembered either.
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device) override;
    /// Starts the session if there is none. Throws as `setVolume` does.
    void setEQProfile(const EQProfile& profile, const AudioOutputDevice& device) override;
    /// Zero without a session; starts none. Throws `unsupportedDevice`.
    SoundLevelSnapshot readLevels(const AudioOutputDevice& device) override;
    /// Ends the session; the volumes stay remembered.
    void stopAll() override;

private:
    CoreAudioSoftwareVolumeSession& softwareSession(const AudioOutputDevice& device);
    void requireAvailable(const AudioOutputDevice& device);
    void stopSessions(const std::string& exceptID);
    VolumeSnapshot rememberedVolume(const std::string& id) const;
    void tapChanged(AudioObjectID tap, TapChange change);

    AudioTaps& taps_;
    // Both by the output's `id`.
    std::unordered_map<std::string, VolumeSnapshot> volumes_;
    std::unordered_map<std::string, CoreAudioSoftwareVolumeSession> sessions_;
    Cancellation tapChanges_;
};

} // namespace quenstal
