#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <functional>
#include <optional>
#include <string>

namespace quenstal {

/// One question to polkit: whether a program may have the volume keys. Taken back when it is destroyed. Main thread.
class AuthorizationQuestion {
public:
    /// None when polkit has not decided: it cannot be started, or fails.
    using Verdict = std::function<void(std::optional<bool> isAuthorized)>;

    /// About the program that has this unique name on the bus. The verdict comes on a later turn.
    AuthorizationQuestion(DBusConnection& systemBus, const std::string& client, Verdict verdict);
    AuthorizationQuestion(const AuthorizationQuestion&) = delete;
    AuthorizationQuestion& operator=(const AuthorizationQuestion&) = delete;

private:
    static int answered(sd_bus_message* message, void* userData, sd_bus_error* error);

    Verdict verdict_;
    BusSlot call_;
};

} // namespace quenstal
