#pragma once

#include "QuenstalPlatform/AudioObjects.hpp"
#include "QuenstalPlatform/Notifier.hpp"
#include "QuenstalSimulation/SimulatedAudioJournal.hpp"

#include <map>
#include <optional>
#include <string>

namespace quenstal {

/// A volume or a mute of one element.
struct SimulatedAudioControl {
    float value = 0;
    bool settable = true;
};

/// An output as it is plugged in.
struct SimulatedOutput {
    /// None: the property reads as no text.
    std::optional<std::string> name = {};
    FourCharCode transport = AudioTransportCode::unknown;
    std::optional<std::string> uid = {};
    /// By element; an absent element has no volume property.
    std::map<std::uint32_t, SimulatedAudioControl> volumes = {};
    /// None: no mute property.
    std::optional<SimulatedAudioControl> mute = {};
    /// What a tap on it delivers.
    AudioStreamBasicDescription format{
        48000, audioFormatLinearPCM, AudioFormatFlag::isFloat | AudioFormatFlag::isNonInterleaved, 4, 1, 4, 2, 32, 0};
};

/// The outputs of a machine that exists in memory. Numbers are never given twice. Main thread.
class SimulatedAudioObjects final : public AudioObjects {
public:
    static constexpr PlatformStatus badObject = -2;
    static constexpr PlatformStatus unknownProperty = -22;

    /// Notices are posted to the run loop, which outlives this.
    explicit SimulatedAudioObjects(RunLoop& runLoop);

    bool hasProperty(AudioObjectID object, const AudioPropertyAddress& address) const override;
    PlatformStatus isPropertySettable(
        AudioObjectID object, const AudioPropertyAddress& address, bool& settable) const override;
    PlatformStatus getUInt32(
        AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t& value) const override;
    PlatformStatus getFloat32(AudioObjectID object, const AudioPropertyAddress& address, float& value) const override;
    PlatformStatus getString(
        AudioObjectID object, const AudioPropertyAddress& address, std::optional<std::string>& value) const override;
    PlatformStatus setUInt32(AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value) override;
    PlatformStatus setFloat32(AudioObjectID object, const AudioPropertyAddress& address, float value) override;
    [[nodiscard]] Cancellation onOutputsChanged(std::function<void()> handler) override;
    [[nodiscard]] Cancellation onVolumeChangedElsewhere(std::function<void(AudioObjectID)> handler) override;

    /// Plugs an output in. The first one becomes the default.
    AudioObjectID addOutput(SimulatedOutput output);
    /// Unplugs it. When it was the default, the output plugged in longest ago follows, or none.
    void removeOutput(AudioObjectID device);
    void setDefaultOutput(AudioObjectID device);
    /// Somebody else moves a slider.
    void changeVolumeElsewhere(AudioObjectID device, std::uint32_t element, float value);
    /// Null when it is not plugged in.
    SimulatedOutput* output(AudioObjectID device);
    /// The output with that UID; null when it is not plugged in.
    SimulatedOutput* outputWithUID(const std::string& uid);

    /// Lines such as "get 1 dOut glob 0", "has 42 volm outp 1", "set 42 mute outp 0 = 1".
    SimulatedAudioJournal& journal() { return journal_; }

private:
    const SimulatedAudioControl* control(AudioObjectID object, const AudioPropertyAddress& address) const;
    /// Null also when the address has another selector.
    const SimulatedAudioControl* control(
        FourCharCode selector, AudioObjectID object, const AudioPropertyAddress& address) const;
    PlatformStatus set(FourCharCode selector, AudioObjectID object, const AudioPropertyAddress& address,
        const std::string& text, float value);
    PlatformStatus missing(AudioObjectID object) const;

    mutable SimulatedAudioJournal journal_;
    std::map<AudioObjectID, SimulatedOutput> outputs_;
    AudioObjectID defaultOutput_ = 0;
    AudioObjectID nextID_ = 40;
    Notifier<> outputsChanged_;
    Notifier<AudioObjectID> volumeChanged_;
};

} // namespace quenstal
