#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <functional>
#include <optional>
#include <string>

namespace quenstal {

/// Which connection owns a name on a bus, as the bus itself reports it: signals from anyone else are ignored. Main
/// thread.
class NameOwner {
public:
    /// Asks the bus and from then on follows every change; `changed` is called with the first answer too, always on a
    /// later turn. The bus outlives this; without one nothing is ever known.
    NameOwner(DBusConnection& bus, const std::string& name, std::function<void()> changed = {});
    NameOwner(const NameOwner&) = delete;
    NameOwner& operator=(const NameOwner&) = delete;

    /// The unique name of the connection, empty if the name has no owner. None until the bus has answered.
    const std::optional<std::string>& current() const { return current_; }

private:
    static int ownerChanged(sd_bus_message* message, void* self, sd_bus_error* error);
    static int ownerAnswered(sd_bus_message* message, void* self, sd_bus_error* error);

    void set(std::string owner);

    std::function<void()> changed_;
    std::optional<std::string> current_;
    BusSlot changes_;
    BusSlot question_;
};

} // namespace quenstal
