#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateBus.hpp"
#include "Support/SilentBus.hpp"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

struct DBusConnectionTest : testing::Test {
    void SetUp() override
    {
        if (bus.address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed";
    }

    /// Everything sent on the connection before this has reached the bus, and what the bus sent before is in memory.
    static void roundTrip(DBusConnection& connection)
    {
        sd_bus_call_method(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, "");
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
};

TEST_F(DBusConnectionTest, aFloodOfMessagesLeavesTurnsToEverythingElse)
{
    DBusConnection ours(loop, bus.address());
    DBusConnection sender(loop, bus.address());
    int handled = 0;
    const auto count = [](sd_bus_message*, void* counter, sd_bus_error*) { return ++*static_cast<int*>(counter); };
    sd_bus_add_object(ours.get(), nullptr, "/flooded", count, &handled);
    const char* name = nullptr;
    sd_bus_get_unique_name(ours.get(), &name);
    constexpr int sent = 10 * DBusConnection::mostMessages;
    for (int call = 0; call < sent; ++call)
        sd_bus_call_method_async(
            sender.get(), nullptr, name, "/flooded", "app.quenstal.Test", "Call", nullptr, nullptr, "");
    roundTrip(sender);
    roundTrip(ours);
    while (handled == 0)
        ASSERT_TRUE(loop.runOneTurn());
    EXPECT_LE(handled, DBusConnection::mostMessages);
    EXPECT_TRUE(eventually(loop, [&] { return handled == sent; })) << handled;
}

TEST_F(DBusConnectionTest, aBusGreetsOnce)
{
    DBusConnection ours(loop, bus.address());
    EXPECT_TRUE(busGreets(*ours.get(), 5s));
    EXPECT_TRUE(busGreets(*ours.get(), 0s));
}

TEST_F(DBusConnectionTest, aBusThatNeverGreetsIsWaitedForNoLongerThanTheLimit)
{
    const SilentBus silent;
    // With something to send, that it will not take.
    DBusConnection ours(loop, silent.address());
    ASSERT_TRUE(ours);
    sd_bus_call_method_async(ours.get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "GetId", nullptr, nullptr, "");
    EXPECT_FALSE(busGreets(*ours.get(), 1ms));
    // The connection goes without a wait.
}

TEST_F(DBusConnectionTest, aBusThatIsThawedGreetsLate)
{
    bus.halt();
    DBusConnection ours(loop, bus.address());
    EXPECT_FALSE(busGreets(*ours.get(), 1ms));
    bus.goOn();
    EXPECT_TRUE(busGreets(*ours.get(), 5s));
}

} // namespace
} // namespace quenstal
