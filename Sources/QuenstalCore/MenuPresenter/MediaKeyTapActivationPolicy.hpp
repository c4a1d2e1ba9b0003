#pragma once

#include "QuenstalCore/Models/State.hpp"

namespace quenstal {

/// Decides whether the system-wide key tap should be running.
struct MediaKeyTapActivationPolicy {
    MediaKeyTapActivationPolicy() = delete;

    /// Enabled and trusted. The mode does not matter: keys are captured even when nothing can be controlled.
    static bool shouldEnableTap(const QuenstalState& state)
    {
        return state.isEnabled && isGranted(state.permissions.accessibility);
    }
};

} // namespace quenstal
