#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <systemd/sd-bus.h>

namespace quenstal {

/// Unsent messages are dropped: flushing them would wait for a frozen bus.
struct ReleaseBus {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

/// A connection that no run loop serves yet; null without a bus.
using Bus = std::unique_ptr<sd_bus, ReleaseBus>;

/// Waits until the bus has greeted, after which it answers questions. False if it has not within the limit.
bool busGreets(sd_bus& bus, std::chrono::microseconds limit);

/// A message bus whose messages are handled on the run loop. Main thread.
class DBusConnection {
public:
    enum class Which { system, session };
    /// Handled in one turn of the run loop. A flood of messages must not keep everything else waiting.
    static constexpr int mostMessages = 32;

    static Bus open(Which which);
    static Bus open(const std::string& address);

    /// Without a bus, or with one that goes away, nothing ever arrives. The run loop outlives this.
    DBusConnection(RunLoop& runLoop, Bus bus);
    DBusConnection(RunLoop& runLoop, Which which)
        : DBusConnection(runLoop, open(which))
    {
    }
    DBusConnection(RunLoop& runLoop, const std::string& address)
        : DBusConnection(runLoop, open(address))
    {
    }

    /// How long a blocking question may wait for the greeting: a bus greets within a few milliseconds, or it is frozen.
    static constexpr auto greetingPatience = std::chrono::milliseconds(200);

    /// Null without a bus.
    sd_bus* get() const { return bus_.get(); }
    explicit operator bool() const { return bus_ != nullptr; }
    /// Empty without a bus.
    std::string address() const;

    /// Runs the task when the bus has gone away; nothing more arrives then.
    void onLost(RunLoop::Task task) { lost_ = std::move(task); }
    /// Handles what has arrived, `mostMessages` now and the rest on later turns, and sends pending messages.
    void process();
    /// The same on the next turn.
    void processSoon();
    /// Handles what arrives until the condition holds, without the run loop. False if it does not within the limit.
    bool processUntil(const std::function<bool()>& holds, std::chrono::microseconds limit);
    /// Runs the task once the bus has greeted, on a later turn.
    void onGreeting(RunLoop::Task task);

private:
    void lookForGreeting();

    RunLoop& runLoop_;
    Bus bus_;
    RunLoop::Task greeted_;
    Cancellation watch_;
    Cancellation nextTurn_;
    RunLoop::Task lost_;
};

} // namespace quenstal
