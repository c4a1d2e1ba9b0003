#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Bus/ServiceSignal.hpp"

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// Which user's session is at the first seat's screen and keyboard, as logind reports it. While that is uncertain there
/// is none, nor for greeters, remote sessions and during a switch. Main thread.
class ActiveSession {
public:
    struct Session {
        std::string id;
        /// The object that stands for it.
        std::string path;
        uid_t user = 0;

        bool operator==(const Session&) const = default;
    };
    static constexpr const char* seat = "seat0";

    /// The handler is called at once for every change, and at the end of every uncertainty. The bus outlives this.
    ActiveSession(DBusConnection& systemBus, std::function<void()> changed);

    const std::optional<Session>& current() const { return current_; }
    /// False until logind has answered, at the start and after every switch.
    bool isCertain() const { return !question_; }

private:
    static int seatAnswered(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int sessionAnswered(sd_bus_message* message, void* userData, sd_bus_error* error);

    void seatChanged(sd_bus_message* message);
    void askForSeat();
    void askForSession(const std::string& path);
    void settle(std::optional<Session> session);

    DBusConnection& systemBus_;
    std::function<void()> changed_;
    std::optional<Session> current_;
    /// The session being asked about.
    Session asked_;
    ServiceSignal seatChanges_;
    BusSlot question_;
};

} // namespace quenstal
