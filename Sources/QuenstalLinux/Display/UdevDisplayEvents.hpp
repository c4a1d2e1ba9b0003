#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>

struct udev_monitor;

namespace quenstal {

/// Tells when a monitor was plugged in or out, or an I2C device came or went. Main thread.
class UdevDisplayEvents {
public:
    /// Without udev nothing is told: monitors are then found at the start and after a wake only.
    UdevDisplayEvents(RunLoop& loop, RunLoop::Task devicesChanged);

private:
    struct Closer {
        void operator()(udev_monitor* monitor) const;
    };

    void receive();

    const RunLoop::Task devicesChanged_;
    std::unique_ptr<udev_monitor, Closer> monitor_;
    Cancellation watch_;
};

} // namespace quenstal
