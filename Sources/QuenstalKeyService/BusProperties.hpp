#pragma once

#include <string_view>

#include <systemd/sd-bus.h>

namespace quenstal {

/// Calls `read` with the name of each entry of the `a{sv}` that comes next; it reads the value, or not, and tells
/// whether it did.
template <typename Read>
void forEachProperty(sd_bus_message* message, Read read)
{
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") <= 0)
        return;
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &name) <= 0)
            return;
        if (!read(std::string_view(name)))
            sd_bus_message_skip(message, "v");
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
}

} // namespace quenstal
