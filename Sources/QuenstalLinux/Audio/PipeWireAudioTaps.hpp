#pragma once

#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalLinux/Audio/SoftwarePath.hpp"
#include "QuenstalPlatform/AudioTaps.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// Taps and aggregate devices over the server's streams: one pair of streams is the tap, the device and its procedure
/// in one, and exists while the device is started. A tap's `deviceUID` is the output's name at the server.
class PipeWireAudioTaps final : public AudioTaps, private PipeWireGraph::Observer {
public:
    /// All outlive it. The program is that of the sound's guard; an empty one stands for none.
    PipeWireAudioTaps(
        PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop, std::string guardProgram = {});
    /// Gives back what has not been given back.
    ~PipeWireAudioTaps() override;

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
    void setDirectGain(AudioObjectID tap, float gain, bool isHeard) override;
    void giveSoundBack() override;

    /// Cycles of all running procedures; for tests and diagnostics.
    std::uint64_t cycles() const;
    /// Samples of other programs that were not finite or absurdly large; for diagnostics.
    std::uint64_t repairedSamples() const;

private:
    struct Tap {
        ProcessTapDescription description;
        std::string uid;
    };
    struct Device {
        std::string targetName;
        AudioObjectID tap = 0;
        AudioIOProc procedure = nullptr;
        void* clientData = nullptr;
        std::unique_ptr<SoftwarePath> path;

        /// Its address is the identifier.
        AudioIOProcID procedureID() { return reinterpret_cast<AudioIOProcID>(&procedure); }
    };

    struct Failure {
        int status = 0;
        RunLoop::SteadyTime time;
        /// Sessions that ended by themselves, one soon after the other.
        int count = 0;
        Cancellation refusal;
    };

    void graphChanged(GraphChange change) override;

    Device* deviceWith(AudioObjectID device, AudioIOProcID procedureID);
    AudioObjectID tapNamed(const std::string& uid) const;
    void ended(AudioObjectID device, int status);
    void remember(const std::string& targetName, int status);
    /// The status that creating a tap on the output would only lead to again; 0 when it is worth trying.
    PlatformStatus refusalOf(const std::string& targetName) const;
    void retire(std::unique_ptr<SoftwarePath> path);
    /// Makes those whose streams the session manager leaves without one, so that what is silent is heard again.
    void linkUnlessOthersDo(const std::vector<DirectLink>& links);

    PipeWireConnection& connection_;
    PipeWireGraph& graph_;
    RunLoop& runLoop_;
    const std::string guardProgram_;
    Notifier<AudioObjectID, TapChange> tapChanged_;
    AudioObjectID nextID_;
    std::map<AudioObjectID, Tap> taps_;
    std::map<AudioObjectID, std::unique_ptr<Device>> devices_;
    /// Stopped, and waiting for the streams to be back on their direct path.
    std::vector<std::unique_ptr<SoftwarePath>> retiring_;
    /// Of the last sessions on an output, by the output's name.
    std::map<std::string, Failure> failures_;
    std::uint64_t earlierRepairs_ = 0;
};

} // namespace quenstal
