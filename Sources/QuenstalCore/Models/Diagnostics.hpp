#pragma once

// What the controller tells the user, and the core's error.

#include "QuenstalCore/Models/Enumeration.hpp"
#include "QuenstalCore/Models/Overloaded.hpp"

#include <array>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace quenstal {

enum class DiagnosticSeverity { info, warning, error };

template <>
struct EnumerationTable<DiagnosticSeverity> {
    struct Row {
        DiagnosticSeverity value;
        std::string_view rawValue;
    };
    static constexpr std::array<Row, 3> rows{{
        {DiagnosticSeverity::info, "info"},
        {DiagnosticSeverity::warning, "warning"},
        {DiagnosticSeverity::error, "error"},
    }};
};

enum class DiagnosticCode {
    noOutputDevice,
    accessibilityPermissionMissing,
    systemAudioCapturePermissionMissing,
    ddcUnavailable,
    ddcCommandFailed,
    softwareFallbackActive,
    softwareFallbackUnavailable,
    audioProcessingActive,
    eqUnavailable,
    /// A command was not carried out; also the code of a fixed-volume output that is not a monitor.
    commandIgnored,
};

template <>
struct EnumerationTable<DiagnosticCode> {
    struct Row {
        DiagnosticCode value;
        std::string_view rawValue;
    };
    static constexpr std::array<Row, 10> rows{{
        {DiagnosticCode::noOutputDevice, "noOutputDevice"},
        {DiagnosticCode::accessibilityPermissionMissing, "accessibilityPermissionMissing"},
        {DiagnosticCode::systemAudioCapturePermissionMissing, "systemAudioCapturePermissionMissing"},
        {DiagnosticCode::ddcUnavailable, "ddcUnavailable"},
        {DiagnosticCode::ddcCommandFailed, "ddcCommandFailed"},
        {DiagnosticCode::softwareFallbackActive, "softwareFallbackActive"},
        {DiagnosticCode::softwareFallbackUnavailable, "softwareFallbackUnavailable"},
        {DiagnosticCode::audioProcessingActive, "audioProcessingActive"},
        {DiagnosticCode::eqUnavailable, "eqUnavailable"},
        {DiagnosticCode::commandIgnored, "commandIgnored"},
    }};
};

/// One message for the user.
struct DiagnosticIssue {
    DiagnosticCode code;
    DiagnosticSeverity severity;
    /// One sentence.
    std::string message;
    /// What the user can do; none when nothing is to be done.
    std::optional<std::string> recoverySuggestion;

    bool operator==(const DiagnosticIssue&) const = default;
};

/// Why software audio processing, and with it the equalizer, is or is not available.
enum class AudioProcessingDiagnostic {
    softwareAvailable,
    ddcHardwareMode,
    systemVolumeMode,
    outputUnsupported,
    permissionDenied,
    unknown,
};

template <>
struct EnumerationTable<AudioProcessingDiagnostic> {
    struct Row {
        AudioProcessingDiagnostic value;
        std::string_view rawValue;
        std::string_view reasonText;
    };
    static constexpr std::array<Row, 6> rows{{
        {AudioProcessingDiagnostic::softwareAvailable, "softwareAvailable", ""},
        {AudioProcessingDiagnostic::ddcHardwareMode, "ddcHardwareMode", "DDC/CI hardware mode"},
        {AudioProcessingDiagnostic::systemVolumeMode, "systemVolumeMode", "system volume mode"},
        {AudioProcessingDiagnostic::outputUnsupported, "outputUnsupported",
            "the current output does not support software processing"},
        {AudioProcessingDiagnostic::permissionDenied, "permissionDenied", "audio capture permission"},
        {AudioProcessingDiagnostic::unknown, "unknown", "an unknown mode"},
    }};
};

constexpr bool isAvailable(AudioProcessingDiagnostic diagnostic)
{
    return diagnostic == AudioProcessingDiagnostic::softwareAvailable;
}

/// The phrase that the equalizer's messages put after "unavailable in"; empty when it is available.
constexpr std::string_view reasonText(AudioProcessingDiagnostic diagnostic)
{
    return rowOf(diagnostic).reasonText;
}

/// The core's error. Ports may throw it, or anything else.
class QuenstalError : public std::exception {
public:
    struct CommandFailed {
        std::string message;
        bool operator==(const CommandFailed&) const = default;
    };
    struct NoOutputDevice {
        bool operator==(const NoOutputDevice&) const = default;
    };
    struct UnsupportedDevice {
        bool operator==(const UnsupportedDevice&) const = default;
    };
    struct PermissionMissing {
        bool operator==(const PermissionMissing&) const = default;
    };
    using Case = std::variant<CommandFailed, NoOutputDevice, UnsupportedDevice, PermissionMissing>;

    static QuenstalError commandFailed(std::string message) { return QuenstalError(CommandFailed{std::move(message)}); }
    static QuenstalError noOutputDevice() { return QuenstalError(NoOutputDevice{}); }
    static QuenstalError unsupportedDevice() { return QuenstalError(UnsupportedDevice{}); }
    static QuenstalError permissionMissing() { return QuenstalError(PermissionMissing{}); }

    template <typename T>
    bool is() const
    {
        return std::holds_alternative<T>(case_);
    }

    /// The message of `commandFailed`, else the name of the case.
    const char* what() const noexcept override;

    bool operator==(const QuenstalError& other) const { return case_ == other.case_; }

private:
    explicit QuenstalError(Case value)
        : case_(std::move(value))
    {
    }

    Case case_;
};

} // namespace quenstal
