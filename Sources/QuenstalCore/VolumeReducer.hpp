#pragma once

#include "QuenstalCore/Models/Volume.hpp"

namespace quenstal {

/// Turns one command into the next volume. Pure arithmetic on levels in [0, 1]; every input is taken, and the
/// result is always a valid snapshot. Safe from any thread.
class VolumeReducer {
public:
    struct Result {
        VolumeSnapshot next;
        /// The level to come back to when the output is unmuted; hand it in with the next command.
        double lastAudibleLevel;

        bool operator==(const Result&) const = default;
    };

    /// `stepSize` is what one step adds or takes; clamped to [0, 1].
    explicit VolumeReducer(double stepSize);

    double stepSize() const { return stepSize_; }

    /// Levels are never snapped to multiples of the step. Silence by command is a mute that remembers where the
    /// user was; unmuting comes back at least one step above silence.
    Result reduce(const VolumeSnapshot& current, const VolumeCommand& command, double lastAudibleLevel) const;

private:
    double stepSize_;
};

} // namespace quenstal
