#include "QuenstalLinux/Session/BusConnection.hpp"

namespace quenstal {

BusConnection::BusConnection(RunLoop& runLoop, Which which)
    : runLoop_(runLoop)
{
    sd_bus* bus = nullptr;
    const int status = which == Which::system ? sd_bus_open_system(&bus) : sd_bus_open_user(&bus);
    bus_.reset(bus);
    if (status < 0)
        bus_.reset();
    watch();
}

BusConnection::BusConnection(RunLoop& runLoop, const std::string& address)
    : runLoop_(runLoop)
{
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    bus_.reset(bus);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    if (sd_bus_start(bus) < 0)
        bus_.reset();
    watch();
}

void BusConnection::watch()
{
    if (!bus_)
        return;
    watch_ = runLoop_.watchReadable(sd_bus_get_fd(bus_.get()), [this] { process(); });
    // What arrived during the greeting is in memory, where the descriptor does not tell of it.
    nextTurn_ = runLoop_.after(RunLoop::Duration::zero(), [this] { process(); });
}

void BusConnection::process()
{
    int status = 1;
    for (int messages = 0; bus_ && status > 0 && messages < mostMessages; ++messages)
        status = sd_bus_process(bus_.get(), nullptr);
    if (status > 0)
        nextTurn_ = runLoop_.after(RunLoop::Duration::zero(), [this] { process(); });
    if (status >= 0)
        return;
    // The bus went away: a descriptor that stays readable must not keep the loop busy.
    watch_.reset();
    bus_.reset();
    if (lost_)
        lost_();
}

} // namespace quenstal
