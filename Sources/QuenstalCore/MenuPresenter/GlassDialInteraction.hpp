#pragma once

#include "QuenstalCore/Models/Volume.hpp"

#include <cstdint>

namespace quenstal {

enum class GlassDialStepDirection { up, down };

/// Turns the dial's gestures into commands or new percents.
struct GlassDialInteraction {
    GlassDialInteraction() = delete;

    /// The percent is clamped to 0…100.
    static VolumeCommand command(std::int64_t volumePercent);
    /// The mute button toggles; it never sets an explicit state.
    static VolumeCommand muteCommand();
    /// One step of 2, or of 10 when large, clamped to 0…100 afterwards. A sum beyond 64 bits is a programming
    /// error and stops the process.
    static std::int64_t steppedPercent(std::int64_t from, GlassDialStepDirection direction, bool largeStep);
};

} // namespace quenstal
