#pragma once

#include "QuenstalCore/Models.hpp"
#include "QuenstalDDC/SoftwareVolumeTap.hpp"

#include <memory>
#include <string>

namespace quenstal {

/// A running software volume session, for as long as it lives. Main thread.
class CoreAudioSoftwareVolumeSession final {
public:
    /// Starts at that volume; a muted one is silent from the first cycle on. The taps outlive it. Throws
    /// `commandFailed` with the reason.
    CoreAudioSoftwareVolumeSession(AudioTaps& taps, const std::string& deviceUID, const VolumeSnapshot& initialVolume);

    /// The gain is the level itself, 0 when muted.
    void setVolume(const VolumeSnapshot& snapshot);
    void setEQProfile(const EQProfile& profile);
    SoundLevelSnapshot readLevels() const;

    AudioObjectID tapID() const { return session_->tapID; }
    /// To be called when the tap's format changed.
    void updateFormat() { QSSoftwareVolumeSessionUpdateFormat(taps_, session_.get()); }

private:
    struct Destroy {
        AudioTaps& taps;
        void operator()(QSSoftwareVolumeSession* session) const { QSSoftwareVolumeSessionDestroy(taps, session); }
    };

    void tellDirectGain();

    AudioTaps& taps_;
    VolumeSnapshot volume_;
    /// The gain that the equalizer keeps at every frequency; 1 at most.
    float equalizerGain_ = 1;
    std::unique_ptr<QSSoftwareVolumeSession, Destroy> session_;
};

} // namespace quenstal
