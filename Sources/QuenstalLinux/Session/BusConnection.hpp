#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>
#include <string>
#include <utility>

#include <systemd/sd-bus.h>

namespace quenstal {

struct ReleaseBus {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};

/// A message bus whose messages are handled on the run loop. Main thread.
class BusConnection {
public:
    enum class Which { system, session };
    /// Handled in one turn of the run loop. Whoever floods the bus must not keep everything else waiting.
    static constexpr int mostMessages = 32;

    /// Without a bus, or with one that goes away, nothing ever arrives. The run loop outlives this.
    BusConnection(RunLoop& runLoop, Which which);
    /// At an address of its own.
    BusConnection(RunLoop& runLoop, const std::string& address);

    /// Null without a bus.
    sd_bus* get() const { return bus_.get(); }
    explicit operator bool() const { return bus_ != nullptr; }

    /// Runs the task when the bus has gone away; nothing arrives any more then.
    void onLost(RunLoop::Task task) { lost_ = std::move(task); }
    /// Handles what has arrived, `mostMessages` now and the rest on later turns, and sends what waits to be sent.
    void process();

private:
    void watch();

    RunLoop& runLoop_;
    std::unique_ptr<sd_bus, ReleaseBus> bus_;
    Cancellation watch_;
    Cancellation nextTurn_;
    RunLoop::Task lost_;
};

} // namespace quenstal
