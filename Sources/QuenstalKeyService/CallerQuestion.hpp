#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// Who a program on the bus is.
struct Caller {
    uid_t user = 0;
    pid_t process = 0;
};

/// One question to the bus: who has this unique name. Taken back when it is destroyed. Main thread.
class CallerQuestion {
public:
    /// None for one that has left the bus.
    using Answer = std::function<void(const std::optional<Caller>& caller)>;

    /// The answer comes on a later turn.
    CallerQuestion(DBusConnection& systemBus, const std::string& caller, Answer answer);
    CallerQuestion(const CallerQuestion&) = delete;
    CallerQuestion& operator=(const CallerQuestion&) = delete;

private:
    static int answered(sd_bus_message* message, void* userData, sd_bus_error* error);

    Answer answer_;
    BusSlot call_;
};

} // namespace quenstal
