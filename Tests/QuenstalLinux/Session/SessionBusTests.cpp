// Sleep, wake and the single instance over a real message bus of the test's own.

#include "QuenstalLinux/Session/LogindWake.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/BusThatStarts.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateBus.hpp"
#include "Support/SilentBus.hpp"

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

    void prepareForSleep(bool isGoingToSleep, const char* path = "/org/freedesktop/login1")
    {
        sd_bus_emit_signal(
            bus_.get(), path, "org.freedesktop.login1.Manager", "PrepareForSleep", "b", isGoingToSleep ? 1 : 0);
        sd_bus_flush(bus_.get());
    }
    void sendNoFlag()
    {
        sd_bus_emit_signal(
            bus_.get(), "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep", "s", "no flag");
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

    DBusConnection bus_;
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
    static void roundTrip(DBusConnection& connection)
    {
        sd_bus_call_method(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, "");
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
};

/// What the program is told of sleep and wake, over a bus on which others may send what they like.
struct WakeTest : SessionBusTest {
    WakeTest()
        : connection(loop, bus.address())
        , wake(loop, connection, connection)
        , sleeping(wake.onWillSleep([this] { told.emplace_back("will sleep"); }))
        , waking(wake.onDidWake([this] { told.emplace_back("did wake"); }))
        , screens(wake.onScreensDidWake([this] { told.emplace_back("screens did wake"); }))
    {
    }

    /// Whoever has none of the names.
    static void signal(
        DBusConnection& from, const char* to, const char* path, const char* interface, const char* member, int flag)
    {
        sd_bus_message* message = nullptr;
        sd_bus_message_new_signal(from.get(), &message, path, interface, member);
        const BusMessage owned(message);
        sd_bus_message_append(message, "b", flag);
        if (to)
            sd_bus_message_set_destination(message, to);
        sd_bus_send(from.get(), message, nullptr);
        sd_bus_flush(from.get());
    }
    std::string ourName()
    {
        const char* name = nullptr;
        sd_bus_get_unique_name(connection.get(), &name);
        return name;
    }
    /// Everything that was sent before has been heard.
    void hearAll()
    {
        roundTrip(connection);
        loop.runUntilIdle();
    }

    DBusConnection connection;
    LogindWake wake;
    std::vector<std::string> told;
    Cancellation sleeping;
    Cancellation waking;
    Cancellation screens;
};

TEST_F(WakeTest, sleepAndWakeAreToldInTheirOrder)
{
    FakeLogind logind(loop, bus.address());
    DBusConnection desktop(loop, bus.address());
    for (const char* name : {"org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver"})
        sd_bus_request_name(desktop.get(), name, 0);
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    hearAll();
    logind.prepareForSleep(true);
    logind.prepareForSleep(false);
    logind.sendNoFlag();
    ASSERT_TRUE(eventually([&] { return told.size() >= 2; }));
    signal(desktop, nullptr, "/some/path", "org.freedesktop.ScreenSaver", "ActiveChanged", 1);
    signal(desktop, nullptr, "/some/path", "org.gnome.ScreenSaver", "ActiveChanged", 0);
    ASSERT_TRUE(eventually([&] { return told.size() >= 3; }));
    hearAll();
    EXPECT_THAT(told, ElementsAre("will sleep", "did wake", "screens did wake"));
    wake.screensDidWake();
    loop.runUntilIdle();
    EXPECT_EQ(told.size(), 4u);
}

TEST_F(WakeTest, thousandsOfForgedSleepsAndWakesHaveNoEffect)
{
    FakeLogind logind(loop, bus.address());
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    hearAll();
    DBusConnection stranger(loop, bus.address());
    const std::string us = ourName();
    constexpr int forgeries = 3000;
    for (int i = 0; i < forgeries; ++i) {
        const char* const to = i % 2 == 0 ? us.c_str() : nullptr;
        const char* const path = i % 3 == 0 ? "/some/path" : "/org/freedesktop/login1";
        signal(stranger, to, path, "org.freedesktop.login1.Manager", "PrepareForSleep", i % 5 == 0 ? 0 : 1);
        signal(stranger, to, path, "org.freedesktop.ScreenSaver", "ActiveChanged", 0);
    }
    // The last one is the login manager's own: what came before has been heard.
    logind.prepareForSleep(true);
    ASSERT_TRUE(eventually([&] { return !told.empty(); }));
    hearAll();
    EXPECT_THAT(told, ElementsAre("will sleep"));
}

TEST_F(WakeTest, aStrangerCannotPassForTheLoginManagerByNewsOfItsName)
{
    FakeLogind logind(loop, bus.address());
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    hearAll();
    DBusConnection stranger(loop, bus.address());
    const char* strangersName = nullptr;
    sd_bus_get_unique_name(stranger.get(), &strangersName);
    sd_bus_message* news = nullptr;
    sd_bus_message_new_signal(
        stranger.get(), &news, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged");
    const BusMessage owned(news);
    sd_bus_message_append(news, "sss", "org.freedesktop.login1", "", strangersName);
    sd_bus_message_set_destination(news, ourName().c_str());
    sd_bus_send(stranger.get(), news, nullptr);
    signal(
        stranger, ourName().c_str(), "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep", 1);
    sd_bus_flush(stranger.get());
    logind.prepareForSleep(false);
    ASSERT_TRUE(eventually([&] { return !told.empty(); }));
    hearAll();
    EXPECT_THAT(told, ElementsAre("did wake"));
}

TEST_F(WakeTest, aSleepOfTheOwnersOnAnotherObjectIsNone)
{
    FakeLogind logind(loop, bus.address());
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    hearAll();
    logind.prepareForSleep(true, "/some/path");
    logind.prepareForSleep(false);
    ASSERT_TRUE(eventually([&] { return !told.empty(); }));
    hearAll();
    EXPECT_THAT(told, ElementsAre("did wake"));
}

TEST_F(WakeTest, aSleepThatNobodyEndsIsOverWhenKeysArePressed)
{
    FakeLogind logind(loop, bus.address());
    ASSERT_TRUE(eventually([&] { return logind.isHeldUp(); }));
    hearAll();
    wake.keyPressed();
    loop.runUntilIdle();
    EXPECT_TRUE(told.empty());

    logind.prepareForSleep(true);
    ASSERT_TRUE(eventually([&] { return told.size() == 1; }));
    // The machine may still be on its way to sleep.
    loop.advance(LogindWake::longestFallingAsleep - 1ms);
    wake.keyPressed();
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre("will sleep"));
    loop.advance(1ms);
    wake.keyPressed();
    wake.keyPressed();
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre("will sleep", "did wake"));
    EXPECT_TRUE(eventually([&] { return logind.requests().size() == 2 && logind.isHeldUp(); }));
}

TEST_F(SessionBusTest, sleepWaitsUntilEveryoneHasBeenToldOfIt)
{
    FakeLogind logind(loop, bus.address());
    DBusConnection ours(loop, bus.address());
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
    DBusConnection firstBus(loop, bus.address());
    SingleInstance first(firstBus);
    EXPECT_TRUE(first.isFirst());
    int activations = 0;
    first.onActivated([&] { ++activations; });

    bool secondIsFirst = true;
    bool isAnswered = false;
    std::thread secondProcess([&] {
        SimulatedRunLoop itsLoop;
        DBusConnection itsBus(itsLoop, bus.address());
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

TEST_F(SessionBusTest, aClickThatStartsTheProgramIsHeardWhenItListens)
{
    // The bus hands over what it started the program for before it answers the question for the name.
    const BusThatStarts starter(SingleInstance::busName, "/bin/sleep 10");
    DBusConnection desktop(loop, starter->address());
    sd_bus_message* click = nullptr;
    sd_bus_message_new_method_call(desktop.get(), &click, SingleInstance::busName, "/app/quenstal/Quenstal",
        "org.freedesktop.Application", "Activate");
    const BusMessage owned(click);
    sd_bus_message_append(click, "a{sv}", 0);
    sd_bus_send(desktop.get(), click, nullptr);
    roundTrip(desktop);

    DBusConnection ours(loop, starter->address());
    SingleInstance instance(ours);
    ASSERT_TRUE(instance.isFirst());
    loop.runUntilIdle();
    int activations = 0;
    instance.onActivated([&] { ++activations; });
    EXPECT_EQ(activations, 0);
    EXPECT_TRUE(eventually([&] { return activations == 1; }));
}

TEST_F(SessionBusTest, theInstanceAnswersWhatItFound)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    EXPECT_EQ(reportOfRunningInstance(), std::nullopt);

    DBusConnection connection(loop, bus.address());
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
        DBusConnection bus1(loop, bus.address());
        SingleInstance first(bus1);
        EXPECT_TRUE(first.isFirst());
    }
    DBusConnection bus2(loop, bus.address());
    EXPECT_TRUE(SingleInstance(bus2).isFirst());
}

TEST_F(SessionBusTest, aBusThatAnswersLateTellsLateThatAnotherInstanceIsTheFirst)
{
    DBusConnection firstBus(loop, bus.address());
    SingleInstance first(firstBus);
    bus.halt();
    DBusConnection secondBus(loop, bus.address());
    SingleInstance second(secondBus);
    int stoodBack = 0;
    int greetings = 0;
    second.onNotFirst([&] { ++stoodBack; });
    secondBus.onGreeting([&] { ++greetings; });
    EXPECT_TRUE(second.isFirst());
    loop.runUntilIdle();
    EXPECT_EQ(greetings, 0);
    bus.goOn();
    EXPECT_TRUE(eventually([&] { return stoodBack == 1 && greetings == 1; }));
    EXPECT_FALSE(second.isFirst());
}

TEST_F(SessionBusTest, aBusThatHasGreetedTellsSoAtOnce)
{
    DBusConnection ours(loop, bus.address());
    ASSERT_TRUE(busGreets(*ours.get(), 5s));
    int greetings = 0;
    ours.onGreeting([&] { ++greetings; });
    loop.runUntilIdle();
    EXPECT_EQ(greetings, 1);
}

TEST_F(SessionBusTest, aBusThatNeverGreetsHoldsNoInstanceUp)
{
    const SilentBus silent;
    DBusConnection ours(loop, silent.address());
    LogindWake wake(loop, ours, ours);
    SingleInstance instance(ours);
    EXPECT_TRUE(instance.isFirst());
}

TEST_F(SessionBusTest, withoutABusNothingIsToldAndEveryInstanceIsTheFirst)
{
    DBusConnection none(loop, "unix:path=/nowhere/at/all");
    EXPECT_FALSE(none);
    LogindWake wake(loop, none, none);
    SingleInstance instance(none);
    EXPECT_TRUE(instance.isFirst());
    loop.runUntilIdle();
}

TEST_F(SessionBusTest, aBusThatGoesAwayDoesNotKeepTheLoopBusy)
{
    DBusConnection ours(loop, bus.address());
    LogindWake wake(loop, ours, ours);
    bus.stop();
    EXPECT_TRUE(eventually([&] { return !ours; }));
    EXPECT_FALSE(loop.runOneTurn());
}

} // namespace
} // namespace quenstal
