#pragma once

#include "QuenstalCore/Models.hpp"

#include <optional>
#include <vector>

namespace quenstal {

/// The chosen control path and the issues that explain the choice, in the order in which they were found.
struct ModeSelection {
    ControlMode mode;
    std::vector<DiagnosticIssue> diagnostics;

    bool operator==(const ModeSelection&) const = default;
};

/// Decides which control path a volume command takes for an output. A pure function of its arguments.
struct ModeSelector {
    /// `display` is the display the output belongs to. `softwareFallbackAvailable` tells whether the software path
    /// can serve the output at all, `prefersSoftwareProcessing` whether the user asked for it on this output.
    /// Only a granted permission counts. Never fails.
    ModeSelection selectMode(const std::optional<AudioOutputDevice>& device,
        const std::optional<DisplayControlTarget>& display, const PermissionState& permissions,
        bool softwareFallbackAvailable, bool prefersSoftwareProcessing) const;
};

} // namespace quenstal
