// Monitors and their buses that come, go and sleep.

#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"
#include "QuenstalLinux/Display/RegistryBench.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

struct DisplayRegistryChangeTest : RegistryBench {
    /// A Set as the program sends it, to the first monitor that may take the current output's volume.
    PlatformStatus setVolume()
    {
        LinuxDisplayBuses buses(*registry);
        DisplayBusObject iterator = 0;
        buses.getMatchingFramebuffers(iterator);
        I2CConnection connection = 0;
        buses.openI2CInterface(buses.iteratorNext(iterator), 0, connection);
        const auto message = vcpSet({speakerVolumeFeature, 40});
        I2CRequest request;
        request.sendAddress = 0x6E;
        request.sendBuffer = message.data();
        request.sendBytes = static_cast<std::uint32_t>(message.size());
        const PlatformStatus carried = buses.sendI2CRequest(connection, 0, request);
        return carried != 0 ? carried : request.result;
    }
};

TEST_F(DisplayRegistryChangeTest, aStormOfEventsIsOneLookAndOneRefresh)
{
    startWithTwo();
    int refreshes = 0;
    const Cancellation observation = registry->observeChanges([&] { ++refreshes; });
    const auto asked = getsAsked(*left);
    for (int event = 0; event < 50; ++event)
        registry->devicesChanged();
    pass(50ms);
    EXPECT_EQ(getsAsked(*left), asked) << "not before the dust has settled";
    pass(60ms);
    EXPECT_EQ(refreshes, 1);
    pass(300ms);
    EXPECT_EQ(getsAsked(*left), asked + 1);
    EXPECT_LE(refreshes, 3) << "one for the look, one for each monitor's answer";
}

TEST_F(DisplayRegistryChangeTest, aMonitorThatIsUnpluggedIsLetGoOf)
{
    startWithTwo();
    EXPECT_EQ(devices->openDescriptors(), 2u);
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}, {"HDMI-A-1", Link::ddc, 6, {}, "disconnected"}}, {}});
    registry->devicesChanged();
    pass(110ms);
    EXPECT_EQ(candidates(), Names{"card0-DP-1 /dev/i2c-5"});
    const auto asked = getsAsked(*right);
    pass(5s);
    EXPECT_EQ(getsAsked(*right), asked);
    EXPECT_EQ(devices->openDescriptors(), 0u);
}

TEST_F(DisplayRegistryChangeTest, anotherMonitorOnTheSameConnectorIsAskedAnew)
{
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}}, {}});
    connect("i2c-5", left);
    start();
    settle();
    right->setVolume(80);
    connect("i2c-5", right);
    write({{{"DP-1", Link::auxiliary, 5, edidOf(right)}}, {}});
    registry->devicesChanged();
    pass(300ms);
    VcpValue value;
    ASSERT_EQ(
        registry->candidates().at(0).engine->get(speakerVolumeFeature, 50ms, value, registry->discoveryBudget()), 0);
    EXPECT_EQ(value.current, 80);
}

TEST_F(DisplayRegistryChangeTest, aMonitorThatRefusedProvesItselfWhereverItIsBackAndAnotherNeedNot)
{
    const MachineFixture none{{}, {}};
    const auto plug = [this](const std::string& connector, int bus, const Monitor& monitor) {
        connect("i2c-" + std::to_string(bus), monitor);
        write({{{connector, Link::auxiliary, bus, edidOf(monitor)}}, {}});
        registry->devicesChanged();
        pass(1s);
    };
    const auto unplug = [&] {
        write(none);
        registry->devicesChanged();
        pass(1s);
    };
    write(none);
    start();
    plug("DP-1", 5, left);
    left->setQuirks({.refusesSets = true});
    EXPECT_EQ(registry->candidates().at(0).engine->setVolume(40), 0);
    pass(1s);
    plug("DP-1", 5, right);
    EXPECT_TRUE(answers(registry->candidates().at(0).engine));
    EXPECT_TRUE(valuesSet(*right).empty());
    plug("DP-1", 5, left);
    EXPECT_FALSE(answers(registry->candidates().at(0).engine)) << "on the connector where it was";
    plug("DP-2", 6, left);
    EXPECT_FALSE(answers(registry->candidates().at(0).engine)) << "moved in one look";
    unplug();
    left->setQuirks({});
    plug("DP-1", 5, left);
    EXPECT_TRUE(answers(registry->candidates().at(0).engine));
    EXPECT_EQ(valuesSet(*left), std::vector<std::uint16_t>{37});
    unplug();
    plug("DP-1", 5, left);
    EXPECT_TRUE(answers(registry->candidates().at(0).engine));
    EXPECT_EQ(valuesSet(*left).size(), 1u) << "one proof is enough";
}

TEST_F(DisplayRegistryChangeTest, sleepLetsGoAndAWakeFindsOutAgainAfterAMoment)
{
    startWithTwo();
    registry->machineWillSleep();
    pass(5ms);
    EXPECT_EQ(devices->openDescriptors(), 0u);
    const auto asked = getsAsked(*left);
    registry->devicesChanged();
    pass(1s);
    EXPECT_EQ(getsAsked(*left), asked) << "asleep";
    devices->failOpen(4, EACCES);
    registry->machineDidWake();
    pass(490ms);
    EXPECT_EQ(getsAsked(*left), asked) << "not at once";
    pass(3s);
    EXPECT_GT(getsAsked(*left), asked) << "access was given late";
    EXPECT_TRUE(registry->problems().empty());
}

TEST_F(DisplayRegistryChangeTest, whatAMonitorHadAcceptedIsLostWhenItIsGoneInstead)
{
    startWithTwo();
    registry->machineWillSleep();
    EXPECT_EQ(setVolume(), 0);
    write({{{"HDMI-A-1", Link::ddc, 6, edidOf(right)}}, {}});
    registry->machineDidWake();
    pass(490ms);
    EXPECT_FALSE(registry->takeLostWrite());
    pass(200ms);
    EXPECT_TRUE(registry->takeLostWrite());
    EXPECT_FALSE(registry->takeLostWrite());
}

TEST_F(DisplayRegistryChangeTest, whatAMonitorLosesAfterAnotherWasWrittenIsNotTold)
{
    startWithTwo();
    left->setPresent(false);
    registry->machineWillSleep();
    playing = registry->candidates().at(0).connector.identity;
    EXPECT_EQ(setVolume(), 0) << "accepted in doubt";
    playing = registry->connectors().at(1).identity;
    EXPECT_EQ(setVolume(), 0);
    registry->machineDidWake();
    pass(3s);
    EXPECT_EQ(registry->problems().size(), 1u) << "the first has lost its Set by now";
    EXPECT_FALSE(registry->takeLostWrite());
    EXPECT_EQ(right->volume(), 0x28);
}

TEST_F(DisplayRegistryChangeTest, anAdapterThatGoesUnderAWriteMakesItLookAgain)
{
    startWithTwo();
    devices->remove("/dev/i2c-5");
    write({{{"HDMI-A-1", Link::ddc, 6, edidOf(right)}}, {}});
    EXPECT_NE(registry->candidates().at(0).engine->setVolume(40), 0);
    settle();
    EXPECT_EQ(candidates(), Names{"card0-HDMI-A-1 /dev/i2c-6"});
}

} // namespace
} // namespace quenstal
