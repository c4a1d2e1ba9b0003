#include "QuenstalLinux/Bus/ServiceSignal.hpp"

#include <utility>

namespace quenstal {

ServiceSignal::ServiceSignal(DBusConnection& bus, const Source& source, Handler handler)
    : owner_(bus, source.service)
    , handler_(std::move(handler))
{
    sd_bus_slot* slot = nullptr;
    sd_bus_match_signal_async(
        bus.get(), &slot, source.service, source.path, source.interface, source.member, received, nullptr, this);
    match_.reset(slot);
}

int ServiceSignal::received(sd_bus_message* message, void* self, sd_bus_error*)
{
    const auto& signal = *static_cast<const ServiceSignal*>(self);
    const char* const sender = sd_bus_message_get_sender(message);
    if (!sender || signal.owner_.current() != sender)
        return 0;
    // A copy: the handler may destroy this.
    const Handler handler = signal.handler_;
    handler(message);
    return 0;
}

} // namespace quenstal
