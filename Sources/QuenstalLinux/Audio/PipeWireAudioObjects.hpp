#pragma once

#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// The server's sinks as audio objects. An output keeps its number when it is plugged in again and when the server
/// restarts: the number goes with the name, which is the UID.
///
/// Channels 1 and 2 are the elements 1 and 2; there is no volume on the main element. The scalar is the cube root of
/// the linear factor, as the desktop's sliders have it. A monitor has a volume only when its hardware carries it out:
/// the server's own factor on a digital socket is not the monitor's volume.
class PipeWireAudioObjects final : public AudioObjects,
                                   private PipeWireGraph::Observer,
                                   private PipeWireConnection::Listener {
public:
    /// All outlive it.
    PipeWireAudioObjects(PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop);
    ~PipeWireAudioObjects() override;

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

    /// What the sound card knows of the monitor that the default output plays on.
    std::optional<Eld> currentMonitor() const;

private:
    /// A volume that was asked for and that the server has not confirmed.
    struct Wanted {
        AudioVolume volume;
        /// Not yet handed to the server.
        bool unsent = false;
        Cancellation expiry;
    };
    struct Output {
        std::string name;
        /// What is known to everyone: the server's last word.
        std::optional<AudioVolume> known;
        std::optional<Wanted> wanted;
        /// As others chose it last. It is kept while the volume is 0 and has none.
        std::vector<float> balance;
        /// Why the last write was refused, told to the next one.
        PlatformStatus lateStatus = 0;

        void learnBalance();
    };

    void graphChanged(GraphChange change) override;
    void connected(pw_core&) override { }
    void disconnected() override { }
    void refused(std::uint32_t proxyID, int status) override;

    void takeOverOutputs();
    void takeOverVolumes();
    /// An output for the user, of which enough is known to say what it is.
    bool isPresentable(const SinkNode& sink) const;
    AudioObjectID numberFor(const SinkNode& sink);
    /// Null when the output is not plugged in.
    const SinkNode* sinkOf(AudioObjectID object) const;
    std::optional<std::uint32_t> sinkNumber(AudioObjectID object) const;
    FourCharCode transport(const SinkNode& sink) const;
    /// The volume that counts as the output's own.
    std::optional<AudioVolume> ownVolume(const SinkNode& sink) const;
    /// The same, with what was asked for and not yet confirmed.
    std::optional<AudioVolume> volumeNow(AudioObjectID object) const;
    PlatformStatus write(AudioObjectID object, AudioVolume volume);
    void send(AudioObjectID object);
    void expire(AudioObjectID object);

    PipeWireConnection& connection_;
    PipeWireGraph& graph_;
    RunLoop& runLoop_;
    Notifier<> outputsChanged_;
    Notifier<AudioObjectID> volumeChanged_;
    std::map<AudioObjectID, Output> outputs_;
    Cancellation pendingAnnouncement_;
    Cancellation pendingSend_;
};

} // namespace quenstal
