#include "QuenstalKeyService/ProcessSessionQuery.hpp"

#include <cstdint>
#include <utility>

namespace quenstal {

ProcessSessionQuery::ProcessSessionQuery(DBusConnection& systemBus, pid_t process, Answer answer)
    : answer_(std::move(answer))
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus.get(), &slot, "org.freedesktop.login1", "/org/freedesktop/login1",
        "org.freedesktop.login1.Manager", "GetSessionByPID", answered, this, "u", static_cast<std::uint32_t>(process));
    call_.reset(slot);
}

int ProcessSessionQuery::answered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    std::optional<std::string> session;
    const char* path = nullptr;
    if (sd_bus_message_is_method_error(message, nullptr) <= 0
        && sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) > 0)
        session = path;
    // A copy: the question may be destroyed by what follows from its answer.
    const Answer answer = static_cast<ProcessSessionQuery*>(userData)->answer_;
    answer(session);
    return 0;
}

} // namespace quenstal
