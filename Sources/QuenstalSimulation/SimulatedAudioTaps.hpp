#pragma once

#include "QuenstalPlatform/AudioTaps.hpp"
#include "QuenstalPlatform/Notifier.hpp"
#include "QuenstalSimulation/SimulatedAudioObjects.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// Taps on simulated outputs. A started device calls its procedure on a thread of its own, as many cycles as asked
/// for. Main thread.
class SimulatedAudioTaps final : public AudioTaps {
public:
    static constexpr PlatformStatus badObject = -2;

    /// What other programs play: the sample of a channel at a frame.
    using Signal = std::function<float(std::uint32_t channel, std::uint64_t frame)>;
    /// Frames of one channel after another, as the output got them.
    using Recording = std::vector<std::vector<float>>;

    /// Both outlive it.
    SimulatedAudioTaps(SimulatedAudioObjects& objects, RunLoop& runLoop);
    ~SimulatedAudioTaps() override;

    PlatformStatus translateProcessID(std::int32_t processID, AudioObjectID& processObject) const override;
    PlatformStatus createProcessTap(const ProcessTapDescription& description, AudioObjectID& tap) override;
    PlatformStatus destroyProcessTap(AudioObjectID tap) override;
    PlatformStatus tapUID(AudioObjectID tap, std::optional<std::string>& uid) const override;
    PlatformStatus tapFormat(AudioObjectID tap, AudioStreamBasicDescription& format) const override;
    PlatformStatus createAggregateDevice(const AggregateDeviceDescription& description, AudioObjectID& device) override;
    PlatformStatus destroyAggregateDevice(AudioObjectID device) override;
    PlatformStatus createIOProcID(
        AudioObjectID device, AudioIOProc procedure, void* clientData, AudioIOProcID& procedureID) override;
    PlatformStatus destroyIOProcID(AudioObjectID device, AudioIOProcID procedureID) override;
    PlatformStatus startDevice(AudioObjectID device, AudioIOProcID procedureID) override;
    PlatformStatus stopDevice(AudioObjectID device, AudioIOProcID procedureID) override;
    [[nodiscard]] Cancellation onTapChanged(std::function<void(AudioObjectID, TapChange)> handler) override;
    void setDirectGain(AudioObjectID, float gain, bool isHeard) override { directGain_ = isHeard ? gain : 0; }
    void giveSoundBack() override
    {
        if (onGiveSoundBack)
            onGiveSoundBack();
    }

    /// How loud the direct path would be, by what was told last.
    float directGain() const { return directGain_; }
    /// What happens meanwhile.
    std::function<void()> onGiveSoundBack;
    /// The audio object of this process; 0 makes it unknown.
    void setOwnProcessObject(AudioObjectID object) { ownProcessObject_ = object; }
    /// The tap's UID reads as no text from now on.
    void withholdTapUID() { withholdsTapUID_ = true; }
    /// Registering a procedure succeeds without giving an identifier.
    void withholdProcedureID() { withholdsProcedureID_ = true; }
    /// Silence until it is set.
    void play(Signal signal) { signal_ = std::move(signal); }
    /// Frames a cycle.
    void setQuantum(std::uint32_t frames) { quantum_ = frames; }

    /// Lets every started device run that many cycles on its thread, and returns at once.
    void requestCycles(int count);
    /// Waits until the requested cycles are over, and returns what was sent to the output since the last time.
    Recording awaitCycles();
    Recording runCycles(int count);

    /// The output's rate changes while it plays.
    void changeRate(const std::string& deviceUID, double rate);
    /// The machine takes the tap away.
    void endTap(AudioObjectID tap);
    /// Where the machine refused taps, it would give one now.
    void endRefusal() { tapChanged_.notify(0, TapChange::refusalOver); }

    /// Whether programs are heard on the output without passing through a procedure.
    bool directPathIsAudible(const std::string& deviceUID) const;
    /// Taps, devices, procedures and running threads that exist now; 0 when all is released.
    std::size_t liveObjects() const;
    const std::optional<ProcessTapDescription>& lastTapDescription() const { return lastTap_; }
    const std::optional<AggregateDeviceDescription>& lastAggregateDescription() const { return lastAggregate_; }

    /// Lines such as "createTap HDMI-1", "startDevice 901"; faults are forced by their beginnings.
    SimulatedAudioJournal& journal() { return journal_; }

private:
    struct Device;

    AudioObjectID tapOf(const Device& device) const;

    SimulatedAudioObjects& objects_;
    mutable SimulatedAudioJournal journal_;
    Notifier<AudioObjectID, TapChange> tapChanged_;
    AudioObjectID ownProcessObject_ = 700;
    float directGain_ = 0;
    bool withholdsTapUID_ = false;
    bool withholdsProcedureID_ = false;
    Signal signal_ = [](std::uint32_t, std::uint64_t) { return 0.0F; };
    std::uint32_t quantum_ = 256;
    AudioObjectID nextID_ = 900;
    std::map<AudioObjectID, ProcessTapDescription> taps_;
    std::map<AudioObjectID, std::unique_ptr<Device>> devices_;
    std::optional<ProcessTapDescription> lastTap_;
    std::optional<AggregateDeviceDescription> lastAggregate_;
};

} // namespace quenstal
