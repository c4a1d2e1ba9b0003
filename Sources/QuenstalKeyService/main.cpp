// The key service: started by the system's message bus when a program asks for the volume keys, and ended when nobody
// has wanted them for a while.

#include "QuenstalKeyService/EventLoop.hpp"
#include "QuenstalKeyService/KeyService.hpp"
#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Session/BusConnection.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

#include <sys/prctl.h>

namespace quenstal {
namespace {

int run()
{
    // What is typed passes through this memory: it is not for core dumps, nor for debuggers of the same account.
    prctl(PR_SET_DUMPABLE, 0);
    EventLoop loop;
    BusConnection systemBus(loop, BusConnection::Which::system);
    if (!systemBus)
        throw std::runtime_error("there is no system bus");
    // Nobody could be asked or told any more. The kernel frees the keyboards.
    sd_bus_set_exit_on_disconnect(systemBus.get(), 1);
    EvdevKeyCapture keyboards(loop);

    const auto takeName = [&] {
        const int status = sd_bus_request_name(systemBus.get(), KeyServiceProtocol::busName, 0);
        if (status < 0) {
            std::fprintf(stderr, "<3>The name on the bus is not to be had: %s.\n", std::strerror(-status));
            loop.exit(EXIT_FAILURE);
        }
    };
    KeyService* running = nullptr;
    const auto leave = [&] {
        sd_bus_release_name(systemBus.get(), KeyServiceProtocol::busName);
        // Whatever came before the bus took the name away has arrived by now; what comes later starts the service anew.
        systemBus.process();
        if (running->isIdle())
            loop.exit(EXIT_SUCCESS);
        else
            takeName();
    };
    const auto note = [](const std::string& line) { std::fprintf(stderr, "<6>%s\n", line.c_str()); };
    KeyService service(loop, systemBus, keyboards, {leave, note});
    running = &service;
    takeName();
    return loop.run();
}

} // namespace
} // namespace quenstal

int main()
{
    try {
        return quenstal::run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "<3>The key service cannot run: %s.\n", error.what());
        return EXIT_FAILURE;
    }
}
