#pragma once

// Someone else on a message bus, who sends whatever the bus carries.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

namespace quenstal {

class BusStranger {
public:
    explicit BusStranger(const std::string& address)
    {
        sd_bus* bus = nullptr;
        sd_bus_new(&bus);
        bus_.reset(bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        EXPECT_GE(sd_bus_start(bus), 0);
    }

    sd_bus* get() const { return bus_.get(); }
    std::string name() const
    {
        const char* name = "";
        sd_bus_get_unique_name(bus_.get(), &name);
        return name;
    }

    /// To that program alone, whether it asked for such signals or not. The bus has it when this returns.
    template <typename... Arguments>
    void signal(const std::string& destination, const char* path, const char* interface, const char* member,
        const char* types, Arguments... arguments)
    {
        sd_bus_message* message = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(bus_.get(), &message, path, interface, member), 0);
        sd_bus_message_append(message, types, arguments...);
        sd_bus_send_to(bus_.get(), message, destination.c_str(), nullptr);
        sd_bus_message_unref(message);
        roundTrip();
    }
    /// A call that wants no answer. The bus need not have it yet when this returns.
    void call(const std::string& destination, const char* path, const char* interface, const char* member)
    {
        sd_bus_message* message = nullptr;
        ASSERT_GE(
            sd_bus_message_new_method_call(bus_.get(), &message, destination.c_str(), path, interface, member), 0);
        sd_bus_message_set_expect_reply(message, 0);
        sd_bus_send(bus_.get(), message, nullptr);
        sd_bus_message_unref(message);
    }
    /// The answer has come when this returns, were it a refusal.
    void callWithBody(const std::string& destination, const char* path, const char* interface, const char* member,
        const std::vector<std::uint8_t>& body)
    {
        sd_bus_message* message = nullptr;
        ASSERT_GE(
            sd_bus_message_new_method_call(bus_.get(), &message, destination.c_str(), path, interface, member), 0);
        sd_bus_message_append_array(message, 'y', body.data(), body.size());
        sd_bus_call(bus_.get(), message, 0, nullptr, nullptr);
        sd_bus_message_unref(message);
    }
    /// Everything sent before has left this program.
    void flush() { sd_bus_flush(bus_.get()); }
    /// Everything sent before has been handled by the bus.
    void roundTrip()
    {
        sd_bus_call_method(bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
            nullptr, nullptr, "");
    }

private:
    struct Release {
        void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    };
    std::unique_ptr<sd_bus, Release> bus_;
};

} // namespace quenstal
