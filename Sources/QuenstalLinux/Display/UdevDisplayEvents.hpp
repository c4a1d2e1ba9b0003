#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>

struct udev_monitor;

namespace quenstal {

/// Tells when a monitor was plugged in or out, or an I2C device came or went. Main thread.
class UdevDisplayEvents {
public:
    UdevDisplayEvents(RunLoop& loop, RunLoop::Task devicesChanged);

    /// False where there is no udev: monitors are then found at the start and after a wake only.
    bool isListening() const { return watch_ != nullptr; }

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
