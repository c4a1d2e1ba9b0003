#pragma once

// What the controller decides about: the current output, the display it may belong to, and the permissions.

#include "QuenstalCore/Models/Enumeration.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

/// How an output is connected.
enum class AudioTransport { builtIn, bluetooth, usb, hdmi, displayPort, airPlay, aggregate, unknown };

template <>
struct EnumerationTable<AudioTransport> {
    struct Row {
        AudioTransport value;
        std::string_view rawValue;
        bool isExternalDisplayLike;
    };
    static constexpr std::array<Row, 8> rows{{
        {AudioTransport::builtIn, "builtIn", false},
        {AudioTransport::bluetooth, "bluetooth", false},
        {AudioTransport::usb, "usb", false},
        {AudioTransport::hdmi, "hdmi", true},
        {AudioTransport::displayPort, "displayPort", true},
        {AudioTransport::airPlay, "airPlay", false},
        {AudioTransport::aggregate, "aggregate", false},
        {AudioTransport::unknown, "unknown", false},
    }};
};

/// The program's single test for an output that is a monitor. Only such outputs are considered for DDC and for
/// the software path.
constexpr bool isExternalDisplayLike(AudioTransport transport)
{
    return rowOf(transport).isExternalDisplayLike;
}

/// The current output, as reported by the audio device provider.
struct AudioOutputDevice {
    /// Identity of the output; the payload of the modes `systemVolume` and `softwareTap`.
    std::string id;
    /// Display name for the user.
    std::string name;
    AudioTransport transport = AudioTransport::unknown;
    /// The output has a system volume of its own (false for a fixed-volume output).
    bool supportsNativeVolume = false;
    /// The platform's persistent name of the output; the software path needs it.
    std::optional<std::string> coreAudioUID;

    bool operator==(const AudioOutputDevice&) const = default;
};

/// A display that may accept the speaker volume over DDC/CI.
struct DisplayControlTarget {
    /// Identity of the display; the payload of the mode `hardwareDDC`.
    std::string id;
    /// Display name for the user.
    std::string name;
    /// The display can be reached over DDC/CI.
    bool supportsDDC = false;
    /// The display accepts the speaker-volume command. Hardware volume needs both flags.
    bool supportsVolumeCommand = false;

    bool operator==(const DisplayControlTarget&) const = default;
};

enum class PermissionStatus { granted, denied, notDetermined };

template <>
struct EnumerationTable<PermissionStatus> {
    struct Row {
        PermissionStatus value;
        std::string_view rawValue;
    };
    static constexpr std::array<Row, 3> rows{{
        {PermissionStatus::granted, "granted"},
        {PermissionStatus::denied, "denied"},
        {PermissionStatus::notDetermined, "notDetermined"},
    }};
};

constexpr bool isGranted(PermissionStatus status)
{
    return status == PermissionStatus::granted;
}

/// The two permissions the program depends on.
struct PermissionState {
    /// Volume keys can be captured.
    PermissionStatus accessibility = PermissionStatus::notDetermined;
    /// The software path can capture what other programs play.
    PermissionStatus systemAudioCapture = PermissionStatus::notDetermined;

    static constexpr PermissionState allGranted() { return {PermissionStatus::granted, PermissionStatus::granted}; }

    bool operator==(const PermissionState&) const = default;
};

/// Why no control path is available.
enum class UnavailableReason {
    noOutputDevice,
    quenstalDisabled,
    fixedVolumeDeviceUnsupported,
    systemAudioCapturePermissionMissing,
    softwareFallbackUnavailable,
};

template <>
struct EnumerationTable<UnavailableReason> {
    struct Row {
        UnavailableReason value;
        std::string_view rawValue;
    };
    static constexpr std::array<Row, 5> rows{{
        {UnavailableReason::noOutputDevice, "noOutputDevice"},
        {UnavailableReason::quenstalDisabled, "quenstalDisabled"},
        {UnavailableReason::fixedVolumeDeviceUnsupported, "fixedVolumeDeviceUnsupported"},
        {UnavailableReason::systemAudioCapturePermissionMissing, "systemAudioCapturePermissionMissing"},
        {UnavailableReason::softwareFallbackUnavailable, "softwareFallbackUnavailable"},
    }};
};

} // namespace quenstal
