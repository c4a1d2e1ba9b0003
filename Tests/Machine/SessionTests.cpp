// Who may use the monitors' buses, and how sleep is announced, as the device manager and logind of an emulated machine
// have it.

#include "Machine/Emulator.hpp"
#include "Machine/Login.hpp"
#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Session/LogindWake.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

const MachineUser alice{"alice", 4242};
const MachineUser bob{"bob", 4243};

/// The nodes of the I2C buses whose name begins so.
std::vector<std::string> busesNamed(const std::string& beginning)
{
    std::vector<std::string> nodes;
    for (const auto& device : std::filesystem::directory_iterator("/sys/class/i2c-dev")) {
        std::string name;
        std::ifstream file(device.path() / "name");
        std::getline(file, name);
        if (name.starts_with(beginning))
            nodes.push_back("/dev/" + device.path().filename().string());
    }
    return nodes;
}

struct MachineSessionTest : testing::Test {
    static void SetUpTestSuite()
    {
        if (Emulator::isPresent())
            loadModules("radeonfb");
    }

    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        ASSERT_FALSE(monitorBuses.empty());
        ASSERT_FALSE(mainboardBuses.empty());
    }

    /// Access is given and taken a moment after the session changed.
    testing::AssertionResult comesToHave(const MachineUser& user, bool access)
    {
        return loop.runUntil([&] { return (errorOfOpening(monitorBuses.front(), user) == 0) == access; }, 15s);
    }

    const std::vector<std::string> monitorBuses
        = Emulator::isPresent() ? busesNamed("radeonfb") : std::vector<std::string>();
    const std::vector<std::string> mainboardBuses
        = Emulator::isPresent() ? busesNamed("SMBus") : std::vector<std::string>();
    MachineLoop loop;
};

TEST_F(MachineSessionTest, theUserAtTheScreenMayUseTheGraphicsCardsBusesAndNoOthers)
{
    const Login login(alice, 1);
    EXPECT_TRUE(comesToHave(alice, true));
    for (const std::string& bus : monitorBuses)
        EXPECT_EQ(errorOfOpening(bus, alice), 0) << bus;
    for (const std::string& bus : mainboardBuses)
        EXPECT_EQ(errorOfOpening(bus, alice), EACCES) << bus;
}

TEST_F(MachineSessionTest, nobodyElseMayUseThem)
{
    const Login login(alice, 1);
    EXPECT_TRUE(comesToHave(alice, true));
    for (const std::string& bus : monitorBuses)
        EXPECT_EQ(errorOfOpening(bus, bob), EACCES) << bus;
}

TEST_F(MachineSessionTest, accessGoesWithTheScreen)
{
    Login first(alice, 1);
    EXPECT_TRUE(comesToHave(alice, true));
    Login second(bob, 2);
    second.activate();
    EXPECT_TRUE(comesToHave(bob, true));
    EXPECT_TRUE(comesToHave(alice, false));
    first.activate();
    EXPECT_TRUE(comesToHave(alice, true));
    EXPECT_TRUE(comesToHave(bob, false));
}

TEST_F(MachineSessionTest, accessEndsWithTheSession)
{
    {
        const Login login(alice, 1);
        EXPECT_TRUE(comesToHave(alice, true));
    }
    EXPECT_TRUE(comesToHave(alice, false));
}

TEST_F(MachineSessionTest, sleepAndWakeAreToldAndTheMachineWaits)
{
    // The kernel goes to sleep as far as to stop all programs, and wakes by itself.
    std::ofstream("/sys/power/pm_test") << "freezer";
    std::ofstream("/sys/module/suspend/parameters/pm_test_delay") << "1";
    DBusConnection systemBus(loop, DBusConnection::Which::system);
    DBusConnection noSession(loop, std::string("unix:path=/nowhere"));
    LogindWake wake(loop, systemBus, noSession);
    std::vector<std::string> told;
    const Cancellation sleeps = wake.onWillSleep([&] { told.emplace_back("sleep"); });
    const Cancellation wakes = wake.onDidWake([&] { told.emplace_back("wake"); });
    const auto inhibitors = [] { return std::system("grep -qs '^WHO=Quenstal' /run/systemd/inhibit/*") == 0; };
    EXPECT_TRUE(loop.runUntil(inhibitors));
    ASSERT_GE(sd_bus_call_method(systemBus.get(), "org.freedesktop.login1", "/org/freedesktop/login1",
                  "org.freedesktop.login1.Manager", "Suspend", nullptr, nullptr, "b", 0),
        0);
    EXPECT_TRUE(loop.runUntil([&] { return told.size() == 2; }, 30s));
    EXPECT_THAT(told, ElementsAre("sleep", "wake"));
    EXPECT_TRUE(loop.runUntil(inhibitors)) << "for the next sleep";
}

} // namespace
} // namespace quenstal
