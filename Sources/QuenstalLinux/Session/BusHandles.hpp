#pragma once

#include <memory>

#include <systemd/sd-bus.h>

namespace quenstal {

struct ReleaseBusHandle {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_bus_creds* credentials) const { sd_bus_creds_unref(credentials); }
    void operator()(sd_bus_track* track) const { sd_bus_track_unref(track); }
};

/// A pending call, a match or an object: gone when this is.
using BusSlot = std::unique_ptr<sd_bus_slot, ReleaseBusHandle>;
using BusMessage = std::unique_ptr<sd_bus_message, ReleaseBusHandle>;
using BusCredentials = std::unique_ptr<sd_bus_creds, ReleaseBusHandle>;
using BusTrack = std::unique_ptr<sd_bus_track, ReleaseBusHandle>;

} // namespace quenstal
