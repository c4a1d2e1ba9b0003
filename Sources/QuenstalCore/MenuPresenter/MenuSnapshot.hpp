#pragma once

#include "QuenstalCore/Models/State.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace quenstal {

/// What the status item shows. Made from one state, then only read and compared.
struct MenuSnapshot {
    explicit MenuSnapshot(const QuenstalState& state);

    /// "Off", "Muted" or the percentage, as in "42%".
    std::string title;
    std::string deviceName;
    std::string modeName;
    /// Rounded, halves away from zero; not clamped.
    std::int64_t levelPercent;
    bool isMuted;
    bool isEnabled;
    bool needsAccessibilityPermission;
    /// Only when the missing permission is what keeps a monitor output from being controlled.
    bool needsSystemAudioCapturePermission;
    std::optional<std::string> primaryDiagnostic;

    bool operator==(const MenuSnapshot&) const = default;
};

} // namespace quenstal
