// Who is believed on a bus on which anyone may send anything to anyone.

#include "QuenstalLinux/Session/ServiceSignal.hpp"
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
        ours = std::make_unique<BusConnection>(loop, bus.address());
        signal = std::make_unique<ServiceSignal>(
            *ours, ServiceSignal::Source{service, path, interface, "Told"}, [this](sd_bus_message* message) {
                const char* word = "";
                sd_bus_message_read(message, "s", &word);
                heard.emplace_back(word);
            });
        settle();
    }

    std::unique_ptr<BusConnection> newConnection() { return std::make_unique<BusConnection>(loop, bus.address()); }
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
    /// The bus has everything that was sent on the connection.
    static void roundTrip(BusConnection& connection)
    {
        sd_bus_call_method(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, "");
    }
    static void own(BusConnection& connection) { ASSERT_GE(sd_bus_request_name(connection.get(), service, 0), 0); }
    static void broadcast(BusConnection& connection, const char* word)
    {
        sd_bus_emit_signal(connection.get(), path, interface, "Told", "s", word);
        roundTrip(connection);
    }
    /// To our connection alone, which needs no match of ours.
    template <typename... Arguments>
    void sendToUs(BusConnection& sender, const char* object, const char* ofInterface, const char* member,
        const char* types, Arguments... arguments)
    {
        sd_bus_message* message = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(sender.get(), &message, object, ofInterface, member), 0);
        const BusMessage owned(message);
        sd_bus_message_append(message, types, arguments...);
        ASSERT_GE(sd_bus_send_to(sender.get(), message, nameOf(*ours).c_str(), nullptr), 0);
        roundTrip(sender);
    }
    static std::string nameOf(BusConnection& connection)
    {
        const char* name = "";
        sd_bus_get_unique_name(connection.get(), &name);
        return name;
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
    std::unique_ptr<BusConnection> ours;
    std::unique_ptr<ServiceSignal> signal;
    std::vector<std::string> heard;
};

TEST_F(ServiceSignalTest, whatTheServiceSendsToEveryoneAndToUsIsHeard)
{
    const auto owner = newConnection();
    own(*owner);
    broadcast(*owner, "to everyone");
    sendToUs(*owner, path, interface, "Told", "s", "to us");
    settle();
    EXPECT_THAT(heard, ElementsAre("to everyone", "to us"));
}

TEST_F(ServiceSignalTest, whatAnyoneElseSendsIsNot)
{
    const auto owner = newConnection();
    own(*owner);
    const auto other = newConnection();
    broadcast(*other, "forged, to everyone");
    sendToUs(*other, path, interface, "Told", "s", "forged, to us");
    broadcast(*owner, "true");
    settle();
    EXPECT_THAT(heard, ElementsAre("true"));
}

TEST_F(ServiceSignalTest, aServiceThatStartsAnewIsHeardAndItsPredecessorIsNot)
{
    const auto first = newConnection();
    own(*first);
    sd_bus_release_name(first->get(), service);
    const auto second = newConnection();
    own(*second);
    sendToUs(*first, path, interface, "Told", "s", "by the first");
    broadcast(*second, "by the second");
    settle();
    EXPECT_THAT(heard, ElementsAre("by the second"));
}

TEST_F(ServiceSignalTest, whileNobodyHasTheNameNobodyIsHeard)
{
    const auto other = newConnection();
    sendToUs(*other, path, interface, "Told", "s", "forged");
    settle();
    EXPECT_THAT(heard, ElementsAre());
}

TEST_F(ServiceSignalTest, nobodyButTheBusTellsWhoOwnsAName)
{
    const auto owner = newConnection();
    own(*owner);
    const auto other = newConnection();
    sendToUs(*other, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss", service,
        nameOf(*owner).c_str(), nameOf(*other).c_str());
    sendToUs(*other, path, interface, "Told", "s", "forged");
    broadcast(*owner, "true");
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
    const auto other = newConnection();
    sendToUs(*other, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss", "org.example.Forged",
        "", nameOf(*other).c_str());
    own(*other);
    settle();
    EXPECT_THAT(names, ElementsAre(service));
}

TEST_F(ServiceSignalTest, theOwnerIsToldFirstAndThenEveryChange)
{
    const auto owner = newConnection();
    std::vector<std::string> told;
    NameOwner watched(*ours, service, [&] { told.push_back(*watched.current()); });
    EXPECT_EQ(watched.current(), std::nullopt);
    settle();
    own(*owner);
    settle();
    sd_bus_release_name(owner->get(), service);
    settle();
    EXPECT_THAT(told, ElementsAre("", nameOf(*owner), ""));
}

TEST_F(ServiceSignalTest, aConnectionThatHasLeftIsKnownToBeGone)
{
    auto client = newConnection();
    const std::string name = nameOf(*client);
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
    BusConnection none(loop, std::string("unix:path=/nowhere/at/all"));
    const NameOwner owner(none, service, [] { FAIL(); });
    const ServiceSignal never(none, {service, path, interface, "Told"}, [](sd_bus_message*) { FAIL(); });
    loop.runUntilIdle();
    EXPECT_EQ(owner.current(), std::nullopt);
}

} // namespace
} // namespace quenstal
