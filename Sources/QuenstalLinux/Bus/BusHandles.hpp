#pragma once

#include <memory>

#include <systemd/sd-bus.h>

namespace quenstal {

struct ReleaseBusHandle {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

/// A pending call, a match or an object: gone when this is.
using BusSlot = std::unique_ptr<sd_bus_slot, ReleaseBusHandle>;
using BusMessage = std::unique_ptr<sd_bus_message, ReleaseBusHandle>;

} // namespace quenstal
