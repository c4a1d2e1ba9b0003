#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// One question to logind: which session a process belongs to. Taken back when it is destroyed. Main thread.
class ProcessSessionQuery {
public:
    /// The object of the session. None for a process that belongs to none, as those that the user's own service
    /// manager has started, which all of the user's sessions share.
    using Answer = std::function<void(const std::optional<std::string>& session)>;

    /// The answer comes on a later turn.
    ProcessSessionQuery(DBusConnection& systemBus, pid_t process, Answer answer);
    ProcessSessionQuery(const ProcessSessionQuery&) = delete;
    ProcessSessionQuery& operator=(const ProcessSessionQuery&) = delete;

private:
    static int answered(sd_bus_message* message, void* userData, sd_bus_error* error);

    Answer answer_;
    BusSlot call_;
};

} // namespace quenstal
