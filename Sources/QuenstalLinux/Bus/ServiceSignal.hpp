#pragma once

#include "QuenstalLinux/Bus/NameOwner.hpp"

#include <functional>

namespace quenstal {

/// A signal of one service on a bus. A match by the service's name does not check the sender: anyone on the bus can
/// address a signal to this program alone, and the bus then delivers it even without a match. So only signals from the
/// name's owner count. Main thread.
class ServiceSignal {
public:
    using Handler = std::function<void(sd_bus_message* signal)>;
    struct Source {
        /// A well-known name, the bus's own among them.
        const char* service;
        /// Null for every object.
        const char* path;
        const char* interface;
        const char* member;
    };

    /// Signals that arrive before the bus has named the owner are ignored: query the state after creating this. The bus
    /// outlives this; without one no signal ever arrives.
    ServiceSignal(DBusConnection& bus, const Source& source, Handler handler);
    ServiceSignal(const ServiceSignal&) = delete;
    ServiceSignal& operator=(const ServiceSignal&) = delete;

private:
    static int received(sd_bus_message* message, void* self, sd_bus_error* error);

    NameOwner owner_;
    Handler handler_;
    BusSlot match_;
};

} // namespace quenstal
