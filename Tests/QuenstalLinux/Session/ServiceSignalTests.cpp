// Who is believed on a bus on which anyone may send anything to anyone.

#include "QuenstalLinux/Bus/ServiceSignal.hpp"
#include "Support/BusStranger.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateBus.hpp"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;

constexpr const char* service = "org.example.Service";
constexpr const char* path = "/org/example";
constexpr const char* interface = "org.example.Interface";

struct ServiceSignalTest : testing::Test {
    void SetUp() override
    {
        if (bus.address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        ours = std::make_unique<DBusConnection>(loop, bus.address());
        signal = std::make_unique<ServiceSignal>(
            *ours, ServiceSignal::Source{service, path, interface, "Told"}, [this](sd_bus_message* message) {
                const char* word = "";
                sd_bus_message_read(message, "s", &word);
                heard.emplace_back(word);
            });
        settle();
    }

    /// What the bus had for us before this has been handled.
    void settle()
    {
        bool isAnswered = false;
        const auto note = [](sd_bus_message*, void* flag, sd_bus_error*) {
            *static_cast<bool*>(flag) = true;
            return 0;
        };
        sd_bus_call_method_async(ours->get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetId", note, &isAnswered, "");
        ASSERT_TRUE(eventually(loop, [&] { return isAnswered; }));
    }
    static void own(BusStranger& one) { ASSERT_GE(sd_bus_request_name(one.get(), service, 0), 0); }
    static void broadcast(BusStranger& one, const char* word)
    {
        sd_bus_emit_signal(one.get(), path, interface, "Told", "s", word);
        one.roundTrip();
    }
    void tellUs(BusStranger& one, const char* word) { one.signal(ourName(), path, interface, "Told", "s", word); }
    std::string ourName()
    {
        const char* name = "";
        sd_bus_get_unique_name(ours->get(), &name);
        return name;
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
    std::unique_ptr<DBusConnection> ours;
    std::unique_ptr<ServiceSignal> signal;
    std::vector<std::string> heard;
};

TEST_F(ServiceSignalTest, whatTheServiceSendsToEveryoneAndToUsIsHeard)
{
    BusStranger owner(bus.address());
    own(owner);
    broadcast(owner, "to everyone");
    tellUs(owner, "to us");
    settle();
    EXPECT_THAT(heard, ElementsAre("to everyone", "to us"));
}

TEST_F(ServiceSignalTest, whatAnyoneElseSendsIsNot)
{
    BusStranger owner(bus.address());
    own(owner);
    BusStranger other(bus.address());
    broadcast(other, "forged, to everyone");
    tellUs(other, "forged, to us");
    broadcast(owner, "true");
    settle();
    EXPECT_THAT(heard, ElementsAre("true"));
}

TEST_F(ServiceSignalTest, aServiceThatStartsAnewIsHeardAndItsPredecessorIsNot)
{
    BusStranger first(bus.address());
    own(first);
    sd_bus_release_name(first.get(), service);
    BusStranger second(bus.address());
    own(second);
    tellUs(first, "by the first");
    broadcast(second, "by the second");
    settle();
    EXPECT_THAT(heard, ElementsAre("by the second"));
}

TEST_F(ServiceSignalTest, whileNobodyHasTheNameNobodyIsHeard)
{
    BusStranger other(bus.address());
    tellUs(other, "forged");
    settle();
    EXPECT_THAT(heard, ElementsAre());
}

TEST_F(ServiceSignalTest, nobodyButTheBusTellsWhoOwnsAName)
{
    BusStranger owner(bus.address());
    own(owner);
    BusStranger other(bus.address());
    other.signal(ourName(), "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss", service,
        owner.name().c_str(), other.name().c_str());
    tellUs(other, "forged");
    broadcast(owner, "true");
    settle();
    EXPECT_THAT(heard, ElementsAre("true"));
}

TEST_F(ServiceSignalTest, theBusItselfIsAServiceToo)
{
    std::vector<std::string> names;
    const ServiceSignal changes(*ours, {"org.freedesktop.DBus", nullptr, "org.freedesktop.DBus", "NameOwnerChanged"},
        [&](sd_bus_message* message) {
            const char* name = "";
            sd_bus_message_read(message, "s", &name);
            if (*name != ':')
                names.emplace_back(name);
        });
    settle();
    BusStranger other(bus.address());
    other.signal(ourName(), "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
        "org.example.Forged", "", other.name().c_str());
    own(other);
    settle();
    EXPECT_THAT(names, ElementsAre(service));
}

TEST_F(ServiceSignalTest, theOwnerIsToldFirstAndThenEveryChange)
{
    BusStranger owner(bus.address());
    std::vector<std::string> told;
    NameOwner watched(*ours, service, [&] { told.push_back(*watched.current()); });
    EXPECT_EQ(watched.current(), std::nullopt);
    settle();
    own(owner);
    settle();
    sd_bus_release_name(owner.get(), service);
    settle();
    EXPECT_THAT(told, ElementsAre("", owner.name(), ""));
}

TEST_F(ServiceSignalTest, aConnectionThatHasLeftIsKnownToBeGone)
{
    auto client = std::make_unique<BusStranger>(bus.address());
    const std::string name = client->name();
    const NameOwner watched(*ours, name);
    settle();
    EXPECT_EQ(watched.current(), name);
    client.reset();
    ASSERT_TRUE(eventually(loop, [&] { return watched.current() != name; }));
    EXPECT_EQ(watched.current(), "");
    const NameOwner late(*ours, name);
    settle();
    EXPECT_EQ(late.current(), "");
}

TEST_F(ServiceSignalTest, withoutABusNothingIsKnown)
{
    DBusConnection none(loop, std::string("unix:path=/nowhere/at/all"));
    const NameOwner owner(none, service, [] { FAIL(); });
    const ServiceSignal never(none, {service, path, interface, "Told"}, [](sd_bus_message*) { FAIL(); });
    loop.runUntilIdle();
    EXPECT_EQ(owner.current(), std::nullopt);
}

} // namespace
} // namespace quenstal
