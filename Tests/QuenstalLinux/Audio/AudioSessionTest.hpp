#pragma once

#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioObjects.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioTaps.hpp"
#include "Support/AudioSession/AudioProbe.hpp"
#include "Support/EpollRunLoop.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sys/types.h>

namespace quenstal {

inline constexpr const char* monitorUID = "alsa_output.pci-0000_01_00.1.hdmi-stereo";
inline constexpr const char* secondMonitorUID = "alsa_output.pci-0000_01_00.1.hdmi-stereo-extra1";
inline constexpr const char* socketUID = "alsa_output.pci-0000_02_00.1.hdmi-stereo";
inline constexpr const char* surroundUID = "alsa_output.pci-0000_01_00.1.hdmi-surround";
inline constexpr const char* talkativeUID = "alsa_output.\"B&O\" }";
inline constexpr const char* theatreUID = "alsa_output.usb-Simulated_Theatre-00.analog-surround-51";
inline constexpr const char* usbUID = "alsa_output.usb-Simulated_DAC-00.analog-stereo";

/// This program in a real audio session of its own, with the adapters on top. Skips where no session can be had.
struct AudioSessionTest : testing::Test {
    void SetUp() override;
    void TearDown() override;

    /// What a shell command prints, without the last line's end. Fails the test when the command fails. Serves the loop
    /// meanwhile: the server may have to hear from this program before it answers the command.
    std::string outputOf(const std::string& command);
    /// One word of tools/audio_session.sh: "plug", "unplug", "stop", "start".
    void session(const std::string& command);
    /// Plugs the output in, and waits until it is the default.
    AudioOutputDevice plugInDefault(const std::string& name, const std::string& uid);
    std::optional<AudioOutputDevice> defaultOutput() { return provider().defaultOutputDevice(); }
    bool waitForDefault(const std::string& uid);
    CoreAudioDeviceProvider provider() { return CoreAudioDeviceProvider(parts->objects); }
    /// Waits until the procedure runs.
    bool waitForCycles();
    /// Waits until the counted signal is heard at that gain, a power of two.
    static bool waitForSound(ProbeRecorder& recorder, float gain);
    bool waitForSilence(ProbeRecorder& recorder);
    /// Starts the program that holds a session at that level, a muted one without, and waits until it does.
    pid_t startHolder(const char* level = nullptr, const char* uid = monitorUID);
    /// Of the session's server, manager, or a card ("card-monitor").
    static pid_t processOf(const char* part);
    /// What the panel would say of the command; empty when it works.
    static std::string errorOf(const std::function<void()>& command);

    /// Everything between the run loop and the adapters.
    struct Parts {
        explicit Parts(EpollRunLoop& loop)
            : connection(loop)
            , graph(connection, loop)
            , objects(connection, graph, loop)
            , taps(connection, graph, loop)
        {
        }
        PipeWireConnection connection;
        PipeWireGraph graph;
        PipeWireAudioObjects objects;
        PipeWireAudioTaps taps;
        CoreAudioTapSoftwareVolumeController software{taps};
        CoreAudioSystemVolumeController system{objects};
    };

    EpollRunLoop loop;
    std::unique_ptr<Parts> parts;
};

} // namespace quenstal
