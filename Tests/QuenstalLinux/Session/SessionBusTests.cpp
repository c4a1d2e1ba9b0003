// Sleep, wake and the single instance over a real message bus of the test's own.

#include "QuenstalLinux/Session/LogindWake.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateBus.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// The part of logind that holds up sleep: each delay is a pipe, whose writing end the program holds.
class FakeLogind {
public:
    FakeLogind(RunLoop& runLoop, const std::string& address)
        : bus_(runLoop, address)
    {
        static const std::array table{
            sd_bus_vtable SD_BUS_VTABLE_START(0),
            sd_bus_vtable SD_BUS_METHOD("Inhibit", "ssss", "h", inhibit, SD_BUS_VTABLE_UNPRIVILEGED),
            sd_bus_vtable SD_BUS_VTABLE_END,
        };
        sd_bus_add_object_vtable(
            bus_.get(), nullptr, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", table.data(), this);
        sd_bus_request_name(bus_.get(), "org.freedesktop.login1", 0);
    }

    void prepareForSleep(bool isGoingToSleep)
    {
        sd_bus_emit_signal(bus_.get(), "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
            "b", isGoingToSleep ? 1 : 0);
        sd_bus_flush(bus_.get());
    }
    /// What each delay was asked for.
    const std::vector<std::string>& requests() const { return requests_; }
    /// Whether the last delay that was granted is still held.
    bool isHeldUp() const
    {
        pollfd end{held_.get(), 0, 0};
        return held_ && poll(&end, 1, 0) == 0;
    }

private:
    static int inhibit(sd_bus_message* message, void* self, sd_bus_error*)
    {
        auto* logind = static_cast<FakeLogind*>(self);
        const char* what = nullptr;
        const char* who = nullptr;
        const char* why = nullptr;
        const char* mode = nullptr;
        sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
        logind->requests_.push_back(std::string(what) + " " + who + " " + mode);
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return -errno;
        logind->held_ = FileDescriptor(ends[0]);
        const FileDescriptor given(ends[1]);
        return sd_bus_reply_method_return(message, "h", given.get());
    }

    BusConnection bus_;
    std::vector<std::string> requests_;
    FileDescriptor held_;
};

struct SessionBusTest : testing::Test {
    void SetUp() override
    {
        if (bus.address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed";
    }

    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }
    /// Everything sent on the connection before this has reached the bus, and its answers are here.
    static void roundTrip(BusConnection& connection)
    {
        sd_bus_call_method(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, "");
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
};

TEST_F(SessionBusTest, sleepAndWakeAreToldInTheirOrder)
{
    BusConnection ours(loop, bus.address());
    LogindWake wake(loop, ours, ours);
    std::vector<std::string> told;
    const auto sleeping = wake.onWillSleep([&] { told.emplace_back("will sleep"); });
    const auto waking = wake.onDidWake([&] { told.emplace_back("did wake"); });
    const auto screens = wake.onScreensDidWake([&] { told.emplace_back("screens did wake"); });
    roundTrip(ours);

    BusConnection logind(loop, bus.address());
    const auto emit = [&](const char* interface, const char* member, int flag) {
        sd_bus_emit_signal(logind.get(), "/some/path", interface, member, "b", flag);
    };
    emit("org.freedesktop.login1.Manager", "PrepareForSleep", 1);
    emit("org.freedesktop.login1.Manager", "PrepareForSleep", 0);
    emit("org.freedesktop.ScreenSaver", "ActiveChanged", 1);
    emit("org.gnome.ScreenSaver", "ActiveChanged", 0);
    sd_bus_emit_signal(logind.get(), "/some/path", "org.freedesktop.login1.Manager", "PrepareForSleep", "s", "no flag");
    sd_bus_flush(logind.get());
    ASSERT_TRUE(eventually([&] { return told.size() >= 3; }));
    roundTrip(ours);
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre("will sleep", "did wake", "screens did wake"));
    wake.screensDidWake();
    loop.runUntilIdle();
    EXPECT_EQ(told.size(), 4u);
}

TEST_F(SessionBusTest, sleepWaitsUntilEveryoneHasBeenToldOfIt)
{
    FakeLogind logind(loop, bus.address());
    BusConnection ours(loop, bus.address());
    LogindWake wake(loop, ours, ours);
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    EXPECT_THAT(logind.requests(), ElementsAre("sleep Quenstal delay"));
    std::vector<bool> heldUpWhenTold;
    const auto first = wake.onWillSleep([&] { heldUpWhenTold.push_back(logind.isHeldUp()); });
    const auto second = wake.onWillSleep([&] { heldUpWhenTold.push_back(logind.isHeldUp()); });
    logind.prepareForSleep(true);
    ASSERT_TRUE(eventually([&] { return heldUpWhenTold.size() == 2; }));
    EXPECT_THAT(heldUpWhenTold, ElementsAre(true, true));
    EXPECT_TRUE(eventually([&] { return !logind.isHeldUp(); }));
    logind.prepareForSleep(false);
    EXPECT_TRUE(eventually([&] { return logind.requests().size() == 2 && logind.isHeldUp(); }));
}

TEST_F(SessionBusTest, theSecondInstanceIsToldSoAndShowsTheFirst)
{
    BusConnection firstBus(loop, bus.address());
    SingleInstance first(firstBus);
    EXPECT_TRUE(first.isFirst());
    int activations = 0;
    first.onActivated([&] { ++activations; });

    bool secondIsFirst = true;
    bool isAnswered = false;
    std::thread secondProcess([&] {
        SimulatedRunLoop itsLoop;
        BusConnection itsBus(itsLoop, bus.address());
        SingleInstance second(itsBus);
        secondIsFirst = second.isFirst();
        isAnswered = second.activateFirst();
    });
    EXPECT_TRUE(eventually([&] { return activations == 1; }));
    loop.runUntilIdle();
    secondProcess.join();
    EXPECT_FALSE(secondIsFirst);
    EXPECT_TRUE(isAnswered);
}

TEST_F(SessionBusTest, theInstanceAnswersWhatItFound)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    EXPECT_EQ(reportOfRunningInstance(), std::nullopt);

    BusConnection connection(loop, bus.address());
    SingleInstance instance(connection);
    instance.onReportAsked([] { return "two lines\nof words\n"; });
    std::optional<std::string> answer;
    std::atomic<bool> isAnswered = false;
    std::thread asking([&] {
        answer = reportOfRunningInstance();
        isAnswered = true;
    });
    EXPECT_TRUE(eventually([&] { return isAnswered.load(); }));
    asking.join();
    EXPECT_EQ(answer, "two lines\nof words\n");
}

TEST_F(SessionBusTest, whenTheFirstHasEndedTheNextIsTheFirst)
{
    {
        BusConnection bus1(loop, bus.address());
        SingleInstance first(bus1);
        EXPECT_TRUE(first.isFirst());
    }
    BusConnection bus2(loop, bus.address());
    EXPECT_TRUE(SingleInstance(bus2).isFirst());
}

TEST_F(SessionBusTest, withoutABusNothingIsToldAndEveryInstanceIsTheFirst)
{
    BusConnection none(loop, "unix:path=/nowhere/at/all");
    EXPECT_FALSE(none);
    LogindWake wake(loop, none, none);
    SingleInstance instance(none);
    EXPECT_TRUE(instance.isFirst());
    loop.runUntilIdle();
}

TEST_F(SessionBusTest, aBusThatGoesAwayDoesNotKeepTheLoopBusy)
{
    BusConnection ours(loop, bus.address());
    LogindWake wake(loop, ours, ours);
    bus.stop();
    EXPECT_TRUE(eventually([&] { return !ours; }));
    EXPECT_FALSE(loop.runOneTurn());
}

} // namespace
} // namespace quenstal
