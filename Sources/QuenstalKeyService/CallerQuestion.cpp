#include "QuenstalKeyService/CallerQuestion.hpp"

#include "QuenstalKeyService/BusProperties.hpp"

#include <cstdint>
#include <string_view>
#include <utility>

namespace quenstal {

namespace {

std::optional<Caller> readCaller(sd_bus_message* message)
{
    std::optional<std::uint32_t> user;
    std::optional<std::uint32_t> process;
    const auto readNumber = [&](std::optional<std::uint32_t>& number) {
        std::uint32_t value = 0;
        if (sd_bus_message_read(message, "v", "u", &value) > 0)
            number = value;
        return true;
    };
    forEachProperty(message, [&](std::string_view name) {
        if (name == "UnixUserID")
            return readNumber(user);
        if (name == "ProcessID")
            return readNumber(process);
        return false;
    });
    if (!user || !process)
        return std::nullopt;
    return Caller{*user, static_cast<pid_t>(*process)};
}

} // namespace

CallerQuestion::CallerQuestion(DBusConnection& systemBus, const std::string& caller, Answer answer)
    : answer_(std::move(answer))
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus.get(), &slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "GetConnectionCredentials", answered, this, "s", caller.c_str());
    call_.reset(slot);
}

int CallerQuestion::answered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    std::optional<Caller> caller;
    if (sd_bus_message_is_method_error(message, nullptr) <= 0)
        caller = readCaller(message);
    // A copy: the question may be destroyed by what follows from its answer.
    const Answer answer = static_cast<CallerQuestion*>(userData)->answer_;
    answer(caller);
    return 0;
}

} // namespace quenstal
