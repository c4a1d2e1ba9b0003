#pragma once

#include "QuenstalCore/Models/State.hpp"

#include <string>

namespace quenstal {

/// What the user still has to allow for the current output: what the two statuses of the guide say in words.
struct PermissionNeeds {
    bool accessibility = false;
    bool audioCapture = false;

    bool operator==(const PermissionNeeds&) const = default;
};

PermissionNeeds permissionNeeds(const QuenstalState& state);

/// What the first-run guide says about the current output and the two permissions: ready-made texts, made from
/// one state, then only read and compared.
struct SetupGuideSnapshot {
    explicit SetupGuideSnapshot(const QuenstalState& state);

    /// The output and the control path in use.
    std::string outputSummary;
    /// What the monitor's own volume can do for this output.
    std::string hardwareSummary;
    /// What the software path can do for this output.
    std::string softwareSummary;
    /// Whether the volume keys can be captured.
    std::string accessibilityStatus;
    std::string accessibilityActionTitle;
    /// Whether the software path may capture audio for this output.
    std::string audioCaptureStatus;
    std::string audioCaptureActionTitle;

    static std::string hardwareSummaryFor(const QuenstalState& state);
    static std::string audioCaptureStatusFor(const QuenstalState& state);

    bool operator==(const SetupGuideSnapshot&) const = default;
};

} // namespace quenstal
