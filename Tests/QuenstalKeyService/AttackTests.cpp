// What anyone on the bus may try against the service and the client that has the keys. The bus here has no policy: the
// service holds out by itself.

#include "QuenstalKeyService/KeyServiceTest.hpp"
#include "Support/BusStranger.hpp"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

struct KeyServiceAttackTest : KeyServiceTest {
    void SetUp() override
    {
        KeyServiceTest::SetUp();
        if (IsSkipped())
            return;
        attacker = std::make_unique<BusStranger>(bus.address());
        startService();
    }
    /// The service has handled everything that was sent to it before.
    void settle() { EXPECT_NE(errorOfNewClient(), ""); }
    void forgeSwitch()
    {
        attacker->signal(KeyServiceProtocol::busName, "/org/freedesktop/login1/seat/seat0",
            "org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as", "org.freedesktop.login1.Seat", 0, 1,
            "ActiveSession");
    }
    void forgeNewOwner(const std::string& name, const std::string& oldOwner, const std::string& newOwner)
    {
        attacker->signal(KeyServiceProtocol::busName, "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameOwnerChanged", "sss", name.c_str(), oldOwner.c_str(), newOwner.c_str());
    }
    void callCapture()
    {
        attacker->call(KeyServiceProtocol::busName, KeyServiceProtocol::objectPath, KeyServiceProtocol::interface,
            KeyServiceProtocol::captureMember);
    }

    std::unique_ptr<BusStranger> attacker;
};

TEST_F(KeyServiceAttackTest, aForgedSwitchOfSessionsFreesNoKeyboard)
{
    const auto client = capturingClient();
    for (int forgery = 0; forgery < 20; ++forgery)
        forgeSwitch();
    settle();
    EXPECT_TRUE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->grabs(), 1);
}

TEST_F(KeyServiceAttackTest, aForgedDepartureOfTheClientDoesNotTakeItsKeys)
{
    const auto client = capturingClient();
    forgeNewOwner(client->name(), client->name(), "");
    settle();
    EXPECT_FALSE(client->isDropped());
    EXPECT_TRUE(keyboard->isGrabbed());
}

TEST_F(KeyServiceAttackTest, nobodyBecomesLogindByTellingSo)
{
    const auto client = capturingClient();
    forgeNewOwner("org.freedesktop.login1", "", attacker->name());
    forgeSwitch();
    settle();
    EXPECT_TRUE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->grabs(), 1);
}

TEST_F(KeyServiceAttackTest, aCallThatWantsNoAnswerAsksNobodyAndGetsNothing)
{
    callCapture();
    attacker->roundTrip();
    const auto client = capturingClient();
    EXPECT_EQ(machine->questions().size(), 1U) << "about the client alone";
}

TEST_F(KeyServiceAttackTest, ofOneProgramOneCallWaitsAtATime)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    const auto client = newClient();
    client->capture();
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    client->capture();
    ASSERT_TRUE(eventually([&] { return client->isAnswered(); }));
    EXPECT_EQ(client->error(), errorName(KeyServiceRefusal::tooMany));
    EXPECT_EQ(machine->questions().size(), 1U);
}

TEST_F(KeyServiceAttackTest, moreCallersWaitThanAnAccountHasConnectionsAndNoMore)
{
    std::vector<std::unique_ptr<BusStranger>> callers;
    std::map<std::string, std::size_t> errors;
    const auto note = [](sd_bus_message* answer, void* counts, sd_bus_error*) {
        const sd_bus_error* const error = sd_bus_message_get_error(answer);
        ++(*static_cast<std::map<std::string, std::size_t>*>(counts))[error ? error->name : ""];
        return 0;
    };
    machine->switchTo("other");
    // All of them are there before the service looks, and before the bus can tell it who any of them is.
    for (std::size_t caller = 0; caller <= KeyService::mostRequests; ++caller) {
        BusStranger& stranger = *callers.emplace_back(std::make_unique<BusStranger>(bus.address()));
        sd_bus_call_method_async(stranger.get(), nullptr, KeyServiceProtocol::busName, KeyServiceProtocol::objectPath,
            KeyServiceProtocol::interface, KeyServiceProtocol::captureMember, note, &errors, "");
        stranger.roundTrip();
    }
    const std::string refused = errorName(KeyServiceRefusal::notActive);
    ASSERT_TRUE(eventually([&] {
        for (const auto& caller : callers)
            while (sd_bus_process(caller->get(), nullptr) > 0) { }
        return errors[refused] == KeyService::mostRequests;
    })) << errors[refused];
    EXPECT_EQ(errors[errorName(KeyServiceRefusal::tooMany)], 1U);
}

} // namespace
} // namespace quenstal
