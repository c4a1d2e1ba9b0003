#pragma once

// Everything that the controller publishes, and its answer to a command.

#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Models/Diagnostics.hpp"
#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalCore/Models/Volume.hpp"

#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace quenstal {

/// The equalizer and meter side of the state.
struct AudioProcessingState {
    /// The profile in force for the output.
    EQProfile profile;
    /// The latest meter reading.
    SoundLevelSnapshot levels = SoundLevelSnapshot::zero();
    AudioProcessingDiagnostic diagnostic = AudioProcessingDiagnostic::outputUnsupported;
    /// The user may move this output to software processing to get the equalizer.
    bool canSwitchToSoftware = false;
    /// Show the hint that positive gain may clip.
    bool boostHintVisible = false;

    static AudioProcessingState unavailable() { return {}; }

    bool operator==(const AudioProcessingState&) const = default;
};

/// The controller's state as the presenters see it: one value, replaced as a whole.
struct QuenstalState {
    std::optional<AudioOutputDevice> outputDevice;
    std::optional<DisplayControlTarget> displayTarget;
    PermissionState permissions;
    ControlMode mode;
    VolumeSnapshot volume;
    /// The user has the application switched on.
    bool isEnabled = true;
    /// The issues to show, in the order in which they were raised.
    std::vector<DiagnosticIssue> diagnostics;
    AudioProcessingState audioProcessing;

    bool operator==(const QuenstalState&) const = default;
};

/// The controller's answer to a volume command.
class VolumeCommandResult {
public:
    struct Applied {
        /// The state after the command.
        QuenstalState state;
        bool operator==(const Applied&) const = default;
    };
    struct Ignored {
        UnavailableReason reason;
        /// The current state.
        QuenstalState state;
        bool operator==(const Ignored&) const = default;
    };
    using Case = std::variant<Applied, Ignored>;

    static VolumeCommandResult applied(QuenstalState state) { return VolumeCommandResult(Applied{std::move(state)}); }
    static VolumeCommandResult ignored(UnavailableReason reason, QuenstalState state)
    {
        return VolumeCommandResult(Ignored{reason, std::move(state)});
    }

    template <typename T>
    bool is() const
    {
        return std::holds_alternative<T>(case_);
    }

    template <typename... Arms>
    decltype(auto) match(Arms&&... arms) const
    {
        return std::visit(Overloaded{std::forward<Arms>(arms)...}, case_);
    }

    bool operator==(const VolumeCommandResult&) const = default;

private:
    explicit VolumeCommandResult(Case value)
        : case_(std::move(value))
    {
    }

    Case case_;
};

} // namespace quenstal
