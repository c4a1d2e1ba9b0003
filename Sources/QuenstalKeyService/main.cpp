// The key service: started by the system's message bus when a program asks for the volume keys, and ended when nobody
// has wanted them for a while.

#include "QuenstalKeyService/KeyService.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Bus/EventLoop.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Memory.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include <sys/prctl.h>

namespace quenstal {
namespace {

/// Never waits for the bus once it runs: what a flood of messages holds up would be everything else.
class Program {
public:
    Program()
    {
        if (!systemBus_)
            throw std::runtime_error("there is no system bus");
        // Without the bus nothing works any more. The kernel frees the keyboards.
        systemBus_.onLost([this] { loop_.exit(EXIT_FAILURE); });
    }

    int run()
    {
        takeName();
        return loop_.run();
    }

private:
    /// The bus's answers to a request for a name.
    enum : std::uint32_t { isOwner = 1, wasOwner = 4 };

    static void note(const std::string& line) { std::fprintf(stderr, "<6>%s\n", line.c_str()); }

    void takeName()
    {
        sd_bus_slot* slot = nullptr;
        sd_bus_request_name_async(systemBus_.get(), &slot, KeyServiceProtocol::busName, 0, nameAnswered, this);
        nameQuestion_.reset(slot);
    }
    void giveNameBack()
    {
        sd_bus_slot* slot = nullptr;
        sd_bus_release_name_async(systemBus_.get(), &slot, KeyServiceProtocol::busName, nameReleased, this);
        nameQuestion_.reset(slot);
    }

    static int nameAnswered(sd_bus_message* answer, void* self, sd_bus_error*)
    {
        std::uint32_t result = 0;
        const sd_bus_error* const error = sd_bus_message_get_error(answer);
        if (!error && sd_bus_message_read(answer, "u", &result) > 0 && (result == isOwner || result == wasOwner))
            return 0;
        std::fprintf(
            stderr, "<3>Cannot take the name on the bus: %s.\n", error ? error->message : "another program has it");
        static_cast<Program*>(self)->loop_.exit(EXIT_FAILURE);
        return 0;
    }
    /// Everything sent before the bus took the name away has arrived by now; later calls start the service again.
    static int nameReleased(sd_bus_message*, void* self, sd_bus_error*)
    {
        auto& program = *static_cast<Program*>(self);
        if (program.service_.isIdle())
            program.loop_.exit(EXIT_SUCCESS);
        else
            program.takeName();
        return 0;
    }

    EventLoop loop_;
    DBusConnection systemBus_{loop_, DBusConnection::Which::system};
    EvdevKeyCapture keyboards_{loop_};
    KeyService service_{loop_, systemBus_, keyboards_, {[this] { giveNameBack(); }, note}};
    BusSlot nameQuestion_;
};

} // namespace
} // namespace quenstal

int main()
{
    // What is typed passes through this memory: it is not for core dumps, nor for debuggers of the same account.
    prctl(PR_SET_DUMPABLE, 0);
    // A message may have 32 MB: what it took goes back to the system with it.
    constexpr int largestPiece = 128 * 1024;
    quenstal::returnLargeMemory(largestPiece);
    try {
        return quenstal::Program().run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "<3>The key service cannot run: %s.\n", error.what());
        return EXIT_FAILURE;
    }
}
