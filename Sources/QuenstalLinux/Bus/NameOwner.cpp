#include "QuenstalLinux/Bus/NameOwner.hpp"

#include <cstdint>
#include <string_view>
#include <utility>

namespace quenstal {

namespace {

/// The bus's own name on itself. Nothing else can send under this name.
constexpr const char* theBus = "org.freedesktop.DBus";
/// The bus answers, or the connection ends.
constexpr auto noTimeout = UINT64_MAX;

} // namespace

NameOwner::NameOwner(DBusConnection& bus, const std::string& name, std::function<void()> changed)
    : changed_(std::move(changed))
{
    // Before the question, so that no change after its answer is missed.
    const std::string rule = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                             "member='NameOwnerChanged',arg0='"
        + name + "'";
    sd_bus_slot* slot = nullptr;
    sd_bus_add_match_async(bus.get(), &slot, rule.c_str(), ownerChanged, nullptr, this);
    changes_.reset(slot);
    sd_bus_message* call = nullptr;
    if (sd_bus_message_new_method_call(bus.get(), &call, theBus, "/org/freedesktop/DBus", theBus, "GetNameOwner") < 0)
        return;
    const BusMessage question(call);
    sd_bus_message_append(call, "s", name.c_str());
    slot = nullptr;
    sd_bus_call_async(bus.get(), &slot, call, ownerAnswered, this, noTimeout);
    question_.reset(slot);
}

int NameOwner::ownerChanged(sd_bus_message* message, void* self, sd_bus_error*)
{
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    const char* const sender = sd_bus_message_get_sender(message);
    if (sender == nullptr || sender != std::string_view(theBus))
        return 0;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) > 0)
        static_cast<NameOwner*>(self)->set(newOwner);
    return 0;
}

int NameOwner::ownerAnswered(sd_bus_message* message, void* self, sd_bus_error*)
{
    const char* owner = "";
    if (sd_bus_message_is_method_error(message, nullptr) <= 0)
        sd_bus_message_read(message, "s", &owner);
    static_cast<NameOwner*>(self)->set(owner);
    return 0;
}

void NameOwner::set(std::string owner)
{
    if (current_ == owner)
        return;
    current_ = std::move(owner);
    // A copy: the handler may destroy this.
    if (const auto changed = changed_)
        changed();
}

} // namespace quenstal
