#pragma once

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"

#include <utility>

namespace quenstal {

/// Runs a task that starts from the present volume. A monitor's own is read before when that was some time ago:
/// somebody may have turned its knob, and a step from the volume before would be a leap. Main thread.
inline void withRecentVolume(const QuenstalController& controller, DisplayBusHealth& health, RunLoop::Task task)
{
    if (controller.state().mode.is<ControlMode::HardwareDDC>())
        health.whenRecent(std::move(task));
    else
        task();
}

} // namespace quenstal
