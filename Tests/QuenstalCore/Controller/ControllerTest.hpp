#pragma once

// A controller over fake ports, the outputs it is tried on, and what a refresh asks for each of them.

#include "QuenstalCore/Controller/FakePorts.hpp"

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {

inline void PrintTo(const ControlMode& mode, std::ostream* out)
{
    *out << mode.userFacingName();
    mode.match([&](const ControlMode::SystemVolume& path) { *out << ' ' << path.deviceID; },
        [&](const ControlMode::HardwareDDC& path) { *out << ' ' << path.displayID; },
        [&](const ControlMode::SoftwareTap& path) { *out << ' ' << path.deviceID; },
        [&](const ControlMode::Unavailable& path) { *out << ' ' << rawValue(path.reason); },
        [](const ControlMode::Disabled&) {});
}

inline void PrintTo(const VolumeSnapshot& volume, std::ostream* out)
{
    *out << described(volume);
}

inline void PrintTo(const EQProfile& profile, std::ostream* out)
{
    *out << described(profile);
}

inline void PrintTo(const DiagnosticIssue& issue, std::ostream* out)
{
    *out << rawValue(issue.severity) << ' ' << rawValue(issue.code) << ": " << issue.message << " / "
         << issue.recoverySuggestion.value_or("(none)");
}

struct ControllerTest : testing::Test {
    // An output with a volume of its own, one with none at all, and a monitor with its display.
    static AudioOutputDevice speakers()
    {
        return {"speakers", "Built-in Speakers", AudioTransport::builtIn, true, "speakers-uid"};
    }
    static AudioOutputDevice dock() { return {"dock", "Dock", AudioTransport::usb, false, std::nullopt}; }
    static AudioOutputDevice monitor() { return {"monitor", "Monitor", AudioTransport::hdmi, false, "monitor-uid"}; }
    static DisplayControlTarget panel() { return {"panel", "Monitor", true, true}; }

    void playOnNothing() { ports.device.reset(); }
    void playOnSpeakers() { ports.device = speakers(); }
    /// The display takes the volume itself.
    void playOnMonitor()
    {
        ports.device = monitor();
        ports.display = panel();
    }
    /// The display takes no volume: the software path is the only one.
    void playOnSilentMonitor()
    {
        ports.device = monitor();
        ports.display = std::nullopt;
    }

    /// Constructs the controller and forgets what that asked.
    QuenstalController& start(VolumeSnapshot initialVolume = VolumeSnapshot::defaultAudible())
    {
        controller_ = ports.makeController(initialVolume);
        ports.takeCalls();
        return *controller_;
    }

    // What one refresh asks, in order.
    static Calls refreshOfNothing() { return {"defaultOutputDevice", "currentPermissionState"}; }
    static Calls refreshOfSpeakers()
    {
        return {"defaultOutputDevice", "displayTarget(speakers)", "currentPermissionState", "isAvailable(speakers)",
            "system.readVolume(speakers)", "profile(speakers-uid)"};
    }
    static Calls refreshOfMonitor()
    {
        return {"defaultOutputDevice", "displayTarget(monitor)", "currentPermissionState", "isAvailable(monitor)",
            "softwareProcessingPreferred(monitor-uid)", "ddc.readVolume(panel)", "profile(monitor-uid)",
            "isAvailable(monitor)"};
    }
    static Calls refreshOfSilentMonitor(const std::string& profile = "flat 0")
    {
        return {"defaultOutputDevice", "displayTarget(monitor)", "currentPermissionState", "isAvailable(monitor)",
            "softwareProcessingPreferred(monitor-uid)", "software.readVolume(monitor)", "profile(monitor-uid)",
            "readLevels(monitor)", "setEQProfile(" + profile + ", monitor)"};
    }
    /// A monitor that neither path can serve.
    static Calls refreshOfUncontrollableMonitor()
    {
        return {"defaultOutputDevice", "displayTarget(monitor)", "currentPermissionState", "isAvailable(monitor)",
            "softwareProcessingPreferred(monitor-uid)", "profile(monitor-uid)", "isAvailable(monitor)"};
    }
    static Calls refreshOfMonitorWhileDisabled()
    {
        return {"defaultOutputDevice", "displayTarget(monitor)", "currentPermissionState", "profile(monitor-uid)",
            "isAvailable(monitor)"};
    }

    static DiagnosticIssue issue(
        DiagnosticCode code, DiagnosticSeverity severity, std::string message, std::optional<std::string> suggestion)
    {
        return {code, severity, std::move(message), std::move(suggestion)};
    }

    static ControlMode unavailable(UnavailableReason reason) { return ControlMode::unavailable(reason); }

    FakePorts ports;

private:
    std::unique_ptr<QuenstalController> controller_;
};

} // namespace quenstal
