#include "QuenstalLinux/Session/SingleInstance.hpp"

#include <array>
#include <cerrno>

namespace quenstal {

namespace {

constexpr const char* objectPath = "/app/quenstal/Quenstal";
constexpr const char* applicationInterface = "org.freedesktop.Application";

} // namespace

SingleInstance::SingleInstance(BusConnection& sessionBus)
    : sessionBus_(sessionBus)
{
    if (!sessionBus_)
        return;
    // The interface by which desktops start programs that are on the bus.
    static const std::array table{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD("Activate", "a{sv}", "", activate, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_METHOD("Open", "asa{sv}", "", activate, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_METHOD("ActivateAction", "sava{sv}", "", ignore, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(sessionBus_.get(), &slot, objectPath, applicationInterface, table.data(), this);
    object_.reset(slot);
    // Without a place in the queue: the second one ends.
    isFirst_ = sd_bus_request_name(sessionBus_.get(), busName, 0) != -EEXIST;
}

bool SingleInstance::activateFirst()
{
    return sd_bus_call_method(
               sessionBus_.get(), busName, objectPath, applicationInterface, "Activate", nullptr, nullptr, "a{sv}", 0)
        >= 0;
}

int SingleInstance::activate(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    if (instance->activated_)
        instance->activated_();
    return sd_bus_reply_method_return(message, "");
}

int SingleInstance::ignore(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "");
}

} // namespace quenstal
