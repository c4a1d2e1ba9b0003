#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <cstdint>
#include <utility>

namespace quenstal {

namespace {

/// Without the run loop, until the condition holds or nothing more arrives within the limit.
bool serve(sd_bus& bus, const std::function<bool()>& holds, std::chrono::microseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        const int status = sd_bus_process(&bus, nullptr);
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - std::chrono::steady_clock::now());
        if (status < 0 || left.count() <= 0)
            return false;
        if (status == 0)
            sd_bus_wait(&bus, static_cast<std::uint64_t>(left.count()));
    }
    return true;
}

} // namespace

bool busGreets(sd_bus& bus, std::chrono::microseconds limit)
{
    return serve(
        bus, [&bus] { return sd_bus_is_ready(&bus) > 0; }, limit);
}

Bus DBusConnection::open(Which which)
{
    sd_bus* bus = nullptr;
    const int status = which == Which::system ? sd_bus_open_system(&bus) : sd_bus_open_user(&bus);
    Bus opened(bus);
    return status < 0 ? nullptr : std::move(opened);
}

Bus DBusConnection::open(const std::string& address)
{
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    Bus opened(bus);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    return sd_bus_start(bus) < 0 ? nullptr : std::move(opened);
}

DBusConnection::DBusConnection(RunLoop& runLoop, Bus bus)
    : runLoop_(runLoop)
    , bus_(std::move(bus))
{
    if (!bus_)
        return;
    watch_ = runLoop_.watchReadable(sd_bus_get_fd(bus_.get()), [this] { process(); });
    // Messages that arrived during the greeting are in memory already, so the descriptor does not report them.
    processSoon();
}

void DBusConnection::processSoon()
{
    nextTurn_ = runLoop_.after(RunLoop::Duration::zero(), [this] { process(); });
}

std::string DBusConnection::address() const
{
    const char* address = nullptr;
    return bus_ && sd_bus_get_address(bus_.get(), &address) >= 0 ? address : "";
}

void DBusConnection::process()
{
    int status = 1;
    for (int messages = 0; bus_ && status > 0 && messages < mostMessages; ++messages)
        status = sd_bus_process(bus_.get(), nullptr);
    if (status > 0)
        processSoon();
    if (status >= 0) {
        lookForGreeting();
        return;
    }
    // The bus has gone: a descriptor that stays readable must not keep the loop busy.
    watch_.reset();
    bus_.reset();
    if (lost_)
        lost_();
}

bool DBusConnection::processUntil(const std::function<bool()>& holds, std::chrono::microseconds limit)
{
    return bus_ && serve(*bus_, holds, limit);
}

void DBusConnection::onGreeting(RunLoop::Task task)
{
    greeted_ = std::move(task);
    lookForGreeting();
}

void DBusConnection::lookForGreeting()
{
    if (greeted_ && bus_ && sd_bus_is_ready(bus_.get()) > 0)
        runLoop_.post(std::exchange(greeted_, nullptr));
}

} // namespace quenstal
