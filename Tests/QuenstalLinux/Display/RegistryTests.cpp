#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"
#include "QuenstalLinux/Display/MonitorRegistry.hpp"
#include "QuenstalLinux/Display/VcpWire.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/BusRules.hpp"
#include "Support/SimulatedI2CDevices.hpp"
#include "Support/VirtualWorkerTime.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;
using Link = MachineFixture::Link;
using Monitor = std::shared_ptr<SimulatedMonitor>;
using Names = std::vector<std::string>;

Monitor monitorNamed(const std::string& name, std::uint16_t product)
{
    return std::make_shared<SimulatedMonitor>(MonitorDescription{.name = name, .product = product});
}

std::vector<std::uint8_t> edidOf(const Monitor& monitor)
{
    return {monitor->edid().begin(), monitor->edid().end()};
}

struct DisplayRegistryTest : testing::Test {
    ~DisplayRegistryTest() override
    {
        devices->release();
        registry.reset();
        time->advance(1s);
        EXPECT_EQ(devices->openDescriptors(), 0u);
        EXPECT_LE(devices->longestIdle(), 1s);
        for (const Monitor& monitor : {left, right, panel})
            expectBusRules(*monitor);
    }

    void connect(const std::string& bus, Monitor monitor) { devices->connect("/dev/" + bus, std::move(monitor)); }

    void write(const MachineFixture& machine) { machine.writeTo(sysfs.path()); }

    void start()
    {
        registry = std::make_unique<MonitorRegistry>(
            loop, DisplayMachine{sysfs.path(), "/dev", devices, time}, [this] { return playing; });
    }

    void startWithTwo()
    {
        write({{{"eDP-1", Link::auxiliary, 3, edidOf(panel)}, {"DP-1", Link::auxiliary, 5, edidOf(left)},
                   {"HDMI-A-1", Link::ddc, 6, edidOf(right)}},
            {}});
        connect("i2c-3", panel);
        connect("i2c-5", left);
        connect("i2c-6", right);
        start();
        settle();
    }

    /// Lets workers and main thread work through whatever is due within this time.
    void pass(WorkerTime::Duration duration)
    {
        constexpr WorkerTime::Duration step = 5ms;
        for (WorkerTime::Duration passed{}; passed < duration; passed += step) {
            time->advance(step);
            loop.advance(step);
        }
    }

    void settle() { pass(200ms); }

    Names candidates()
    {
        Names names;
        for (const auto& candidate : registry->candidates())
            names.push_back(candidate.connector.name + (candidate.engine ? " " + candidate.engine->device() : ""));
        return names;
    }

    bool answers(const std::shared_ptr<BusEngine>& engine)
    {
        VcpReply reply{};
        return engine->get(speakerVolumeQuestion, 50ms, reply, registry->coldBudget()) == 0;
    }

    const Monitor left = monitorNamed("Left", 1);
    const Monitor right = monitorNamed("Right", 2);
    const Monitor panel = monitorNamed("Panel", 3);
    TemporaryDirectory sysfs;
    SimulatedRunLoop loop;
    std::shared_ptr<VirtualWorkerTime> time = std::make_shared<VirtualWorkerTime>();
    std::shared_ptr<SimulatedI2CDevices> devices = std::make_shared<SimulatedI2CDevices>(time);
    std::optional<MonitorIdentity> playing;
    std::unique_ptr<MonitorRegistry> registry;
};

TEST_F(DisplayRegistryTest, externalMonitorsAreCandidatesInAStableOrder)
{
    startWithTwo();
    EXPECT_EQ(candidates(), (Names{"card0-DP-1 /dev/i2c-5", "card0-HDMI-A-1 /dev/i2c-6"}));
}

TEST_F(DisplayRegistryTest, aPanelInsideTheMachineIsNeverTouched)
{
    startWithTwo();
    pass(1s);
    EXPECT_TRUE(panel->journal().empty());
    EXPECT_EQ(devices->opens(), 2u);
}

struct PlayingRow {
    const char* what;
    std::optional<MonitorIdentity> playing;
    Names expected;
};

TEST_F(DisplayRegistryTest, theMonitorThatPlaysIsTheOnlyCandidateWhenThatIsCertain)
{
    const auto stranger = std::make_shared<SimulatedMonitor>(
        MonitorDescription{.name = "Stranger", .manufacturer = "XYZ", .product = 9});
    write({{{"eDP-1", Link::auxiliary, 3, edidOf(panel)}, {"DP-1", Link::auxiliary, 5, edidOf(left)},
               {"DP-2", Link::auxiliary, 7, edidOf(stranger)}, {"HDMI-A-1", Link::ddc, 6, edidOf(right)}},
        {}});
    start();
    settle();
    const Names all{"card0-DP-1 /dev/i2c-5", "card0-DP-2 /dev/i2c-7", "card0-HDMI-A-1 /dev/i2c-6"};
    const std::vector<PlayingRow> rows{
        {"not known", std::nullopt, all},
        {"by name", MonitorIdentity{"Right", {}, {}}, {"card0-HDMI-A-1 /dev/i2c-6"}},
        {"by product", MonitorIdentity{"", {}, 1}, {"card0-DP-1 /dev/i2c-5"}},
        {"by maker, which both share", MonitorIdentity{"", left->edid()[8] | left->edid()[9] << 8, {}}, all},
        {"the panel, which is no candidate", MonitorIdentity{"Panel", {}, {}}, all},
        {"somewhere else", MonitorIdentity{"Projector", {}, {}}, all},
    };
    for (const PlayingRow& row : rows) {
        SCOPED_TRACE(row.what);
        playing = row.playing;
        EXPECT_EQ(candidates(), row.expected);
    }
}

TEST_F(DisplayRegistryTest, displaysKeepTheirIdentifiersAndTheOneThatPlaysComesFirst)
{
    startWithTwo();
    const LinuxDisplays displays(*registry);
    const std::vector<DisplayID> online = displays.onlineDisplays();
    ASSERT_EQ(online.size(), 3u);
    EXPECT_EQ(displays.isBuiltin(online[0]), false);
    EXPECT_EQ(displays.isBuiltin(online[1]), false);
    EXPECT_EQ(displays.isBuiltin(online[2]), true);
    EXPECT_FALSE(displays.isBuiltin(0));
    playing = MonitorIdentity{"Right", {}, {}};
    EXPECT_EQ(displays.onlineDisplays(), (std::vector<DisplayID>{online[1], online[0], online[2]}));
}

TEST_F(DisplayRegistryTest, theFirstCallWaitsForTheFirstLook)
{
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}}, {}});
    connect("i2c-5", left);
    start();
    const auto began = time->now();
    const auto candidate = registry->candidates();
    ASSERT_EQ(candidate.size(), 1u);
    EXPECT_TRUE(answers(candidate[0].engine));
    EXPECT_LE(time->now() - began, 60ms);
}

TEST_F(DisplayRegistryTest, twoDeadMonitorsShareOneBudget)
{
    left->setPresent(false);
    right->setPresent(false);
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}, {"HDMI-A-1", Link::ddc, 6, edidOf(right)}}, {}});
    connect("i2c-5", left);
    connect("i2c-6", right);
    start();
    const auto began = time->now();
    for (int press = 0; press < 5; ++press)
        for (const auto& candidate : registry->candidates())
            EXPECT_FALSE(answers(candidate.engine));
    EXPECT_LE(time->now() - began, 400ms);
}

TEST_F(DisplayRegistryTest, aMonitorWithoutALinkIsFoundByTheEdidOnItsBus)
{
    write({{{"DP-5", Link::none, -1, edidOf(left)}, {"DP-6", Link::none, -1, edidOf(right)}}, {{7}, {8}, {9}}});
    connect("i2c-7", right);
    connect("i2c-8", nullptr);
    connect("i2c-9", left);
    start();
    settle();
    EXPECT_EQ(candidates(), (Names{"card0-DP-5 /dev/i2c-9", "card0-DP-6 /dev/i2c-7"}));
}

TEST_F(DisplayRegistryTest, twinsWithoutALinkAreNotGuessedAt)
{
    write({{{"DP-5", Link::none, -1, edidOf(left)}, {"DP-6", Link::none, -1, edidOf(left)}}, {{7}, {8}}});
    const Monitor twin = monitorNamed("Left", 1);
    connect("i2c-7", left);
    connect("i2c-8", twin);
    start();
    settle();
    EXPECT_EQ(candidates(), (Names{"card0-DP-5", "card0-DP-6"}));
    EXPECT_TRUE(left->journal().empty());
    EXPECT_TRUE(twin->journal().empty());
}

TEST_F(DisplayRegistryTest, anUnclaimedBusIsOnlyAskedForItsEdid)
{
    write({{{"DP-5", Link::none, -1, edidOf(left)}}, {{7}, {8}}});
    connect("i2c-7", left);
    connect("i2c-8", panel);
    start();
    pass(2s);
    EXPECT_EQ(candidates(), Names{"card0-DP-5 /dev/i2c-7"});
    EXPECT_TRUE(panel->journal().empty());
}

TEST_F(DisplayRegistryTest, aStormOfEventsIsOneLookAndOneRefresh)
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

TEST_F(DisplayRegistryTest, aMonitorThatIsUnpluggedIsLetGoOf)
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

TEST_F(DisplayRegistryTest, anotherMonitorOnTheSameConnectorIsAskedAnew)
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
    VcpReply reply{};
    ASSERT_EQ(registry->candidates().at(0).engine->get(speakerVolumeQuestion, 50ms, reply, registry->coldBudget()), 0);
    EXPECT_EQ(reply[9], 80);
}

TEST_F(DisplayRegistryTest, aMonitorThatRefusedProvesItselfWhereverItIsBackAndAnotherNeedNot)
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
    const VcpMessage set{0x51, 0x84, 0x03, 0x62, 0x00, 0x28, 0xF2};
    EXPECT_EQ(registry->candidates().at(0).engine->set(set), 0);
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

TEST_F(DisplayRegistryTest, sleepLetsGoAndAWakeFindsOutAgainAfterAMoment)
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

TEST_F(DisplayRegistryTest, theMonitorThatPlaysIsAskedBeforeAStepThatComesLate)
{
    startWithTwo();
    playing = registry->candidates().at(0).connector.identity;
    int ran = 0;
    const auto run = [&ran] { ++ran; };
    registry->whenRecent(run);
    EXPECT_EQ(ran, 1) << "at once";
    pass(3s);
    const auto askedOfOther = getsAsked(*right);
    registry->whenRecent(run);
    registry->whenRecent(run);
    EXPECT_EQ(ran, 1);
    pass(60ms);
    EXPECT_EQ(ran, 3);
    EXPECT_EQ(getsAsked(*right), askedOfOther);
}

TEST_F(DisplayRegistryTest, whatComesWhileTheAnswerIsOnItsWayComesAfterWhatWaits)
{
    startWithTwo();
    pass(3s);
    std::vector<int> ran;
    registry->whenRecent([&] { ran.push_back(1); });
    time->advance(150ms);
    registry->whenRecent([&] { ran.push_back(2); });
    EXPECT_TRUE(ran.empty());
    settle();
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST_F(DisplayRegistryTest, nobodyWaitsLongForAMonitorToBeAsked)
{
    startWithTwo();
    pass(3s);
    left->setPresent(false);
    std::vector<int> ran;
    registry->whenRecent([&] { ran.push_back(1); });
    pass(100ms);
    registry->whenRecent([&] { ran.push_back(2); });
    EXPECT_TRUE(ran.empty());
    pass(105ms);
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST_F(DisplayRegistryTest, whatAMonitorHadAcceptedIsLostWhenItIsGoneInstead)
{
    startWithTwo();
    registry->machineWillSleep();
    const VcpMessage set{0x51, 0x84, 0x03, 0x62, 0x00, 0x28, 0xF2};
    EXPECT_EQ(registry->candidates().at(0).engine->set(set), 0);
    write({{{"HDMI-A-1", Link::ddc, 6, edidOf(right)}}, {}});
    registry->machineDidWake();
    pass(490ms);
    EXPECT_FALSE(registry->takeLostWrite());
    pass(200ms);
    EXPECT_TRUE(registry->takeLostWrite());
    EXPECT_FALSE(registry->takeLostWrite());
}

TEST_F(DisplayRegistryTest, aDeniedDeviceIsToldWithWhatGrantsAccess)
{
    devices->failOpen(1000, EACCES);
    int refreshes = 0;
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}}, {}});
    connect("i2c-5", left);
    start();
    const Cancellation observation = registry->observeChanges([&] { ++refreshes; });
    settle();
    const auto problems = registry->problems();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0].kind, Kind::accessDenied);
    EXPECT_EQ(problems[0].device, "/dev/i2c-5");
    EXPECT_EQ(problems[0].monitor, "Left");
    EXPECT_NE(problems[0].remedy.find("70-quenstal-i2c.rules"), std::string::npos);
    EXPECT_GE(refreshes, 1);
}

TEST_F(DisplayRegistryTest, withoutI2CDevicesTheModuleIsNamed)
{
    write({{{"DP-1", Link::auxiliary, 5, edidOf(left)}}, {}});
    std::filesystem::remove_all(sysfs.path() / "class/i2c-dev");
    start();
    settle();
    const auto problems = registry->problems();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0].remedy, "Load the kernel module i2c-dev.");
}

TEST_F(DisplayRegistryTest, anAdapterThatGoesUnderAWriteMakesItLookAgain)
{
    startWithTwo();
    devices->remove("/dev/i2c-5");
    write({{{"HDMI-A-1", Link::ddc, 6, edidOf(right)}}, {}});
    const VcpMessage set{0x51, 0x84, 0x03, 0x62, 0x00, 0x28, 0xF2};
    EXPECT_NE(registry->candidates().at(0).engine->set(set), 0);
    settle();
    EXPECT_EQ(candidates(), Names{"card0-HDMI-A-1 /dev/i2c-6"});
}

TEST_F(DisplayRegistryTest, anObserverMayEndItsObservationWhileItIsTold)
{
    write({});
    start();
    int told = 0;
    Cancellation observation;
    observation = registry->observeChanges([&] {
        ++told;
        observation.reset();
    });
    settle();
    registry->devicesChanged();
    settle();
    EXPECT_EQ(told, 1);
}

TEST_F(DisplayRegistryTest, stoppingIsQuickWhateverTheDriverDoes)
{
    startWithTwo();
    devices->hangNext();
    const VcpMessage set{0x51, 0x84, 0x03, 0x62, 0x00, 0x28, 0xF2};
    registry->candidates().at(0).engine->set(set);
    const auto began = time->now();
    registry->stop();
    EXPECT_LE(time->now() - began, 400ms);
    EXPECT_TRUE(candidates().empty());
    registry->stop();
}

TEST_F(DisplayRegistryTest, newsThatIsUnderWayAtTheEndReachesNobody)
{
    startWithTwo();
    int told = 0;
    const Cancellation observation = registry->observeChanges([&] { ++told; });
    registry->devicesChanged();
    time->advance(1s);
    registry.reset();
    loop.advance(1s);
    EXPECT_EQ(told, 0);
}

} // namespace
} // namespace quenstal
