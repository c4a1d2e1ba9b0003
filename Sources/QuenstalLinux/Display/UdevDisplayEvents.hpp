#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>

struct udev_monitor;

namespace quenstal {

/// Reports when a monitor is plugged in or out, or an I2C device appears or disappears. Main thread.
class UdevDisplayEvents {
public:
    /// Without udev nothing is reported: monitors are then found only at the start and after a wake.
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
