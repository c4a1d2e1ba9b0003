#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"
#include "QuenstalLinux/Display/RegistryBench.hpp"

#include <cerrno>
#include <fstream>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;

struct DisplayRegistryTest : RegistryBench { };

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
    RegistryBench::Names expected;
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

TEST_F(DisplayRegistryTest, aBusThatIsNotKnownIsNeverOpenedAndNamed)
{
    write({{{"DP-5", Link::none, -1, edidOf(left)}}, {{7, "AMDGPU SMU 1"}}});
    connect("i2c-7", left);
    start();
    pass(2s);
    EXPECT_EQ(candidates(), Names{"card0-DP-5"});
    EXPECT_EQ(devices->opens(), 0u);
    EXPECT_EQ(registry->problems(),
        (std::vector<DisplayBusProblem>{{Kind::unknownBuses,
            "/dev/i2c-7 (AMDGPU SMU 1), /dev/i2c-90 (AMDGPU SMU 0), /dev/i2c-91 (AMDGPU DM i2c OEM bus)", "Left",
            ""}}));
}

TEST_F(DisplayRegistryTest, aBusOfItsOwnThatIsNotKnownIsNeverOpenedAndNamedAlone)
{
    write({{{"HDMI-A-1", Link::ddc, 6, edidOf(left)}, {"DP-5", Link::none, -1, edidOf(right)}}, {{7}}});
    std::ofstream(sysfs.path() / "bus/i2c/devices/i2c-6/name") << "some new bus\n";
    connect("i2c-6", left);
    connect("i2c-7", right);
    start();
    pass(2s);
    EXPECT_EQ(candidates(), (Names{"card0-DP-5 /dev/i2c-7", "card0-HDMI-A-1"}));
    EXPECT_EQ(devices->opens("/dev/i2c-6"), 0u);
    EXPECT_EQ(registry->problems(),
        (std::vector<DisplayBusProblem>{{Kind::unknownBuses, "/dev/i2c-6 (some new bus)", "Left", ""}}));
}

TEST_F(DisplayRegistryTest, onlyTheCardOfTheConnectorIsSearched)
{
    write({{{"DP-5", Link::none, -1, edidOf(left), "connected", 1}, {"DP-1", Link::auxiliary, 5, edidOf(right)}},
        {{7, "DPMST", 0}, {8, "DPMST", 1}}});
    connect("i2c-5", right);
    connect("i2c-7", left);
    connect("i2c-8", panel);
    start();
    pass(2s);
    EXPECT_EQ(candidates(), (Names{"card0-DP-1 /dev/i2c-5", "card1-DP-5"}));
    EXPECT_EQ(devices->opens("/dev/i2c-7"), 0u);
    EXPECT_EQ(panel->messages(), 2u) << "asked for its EDID";
    EXPECT_EQ(registry->problems(), (std::vector<DisplayBusProblem>{{Kind::notAnswering, "", "Left", ""}}));
}

TEST_F(DisplayRegistryTest, theMonitorThatPlaysIsAskedBeforeAStepThatComesLate)
{
    startWithTwo();
    playing = registry->candidates().at(0).connector.identity;
    int ran = 0;
    const auto run = [&ran] { ++ran; };
    registry->afterFreshRead(run);
    EXPECT_EQ(ran, 1) << "at once";
    pass(3s);
    const auto askedOfOther = getsAsked(*right);
    registry->afterFreshRead(run);
    registry->afterFreshRead(run);
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
    registry->afterFreshRead([&] { ran.push_back(1); });
    time->advance(150ms);
    registry->afterFreshRead([&] { ran.push_back(2); });
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
    registry->afterFreshRead([&] { ran.push_back(1); });
    pass(100ms);
    registry->afterFreshRead([&] { ran.push_back(2); });
    EXPECT_TRUE(ran.empty());
    pass(105ms);
    EXPECT_EQ(ran, (std::vector{1, 2}));
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
    registry->candidates().at(0).engine->setVolume(40);
    const auto began = time->now();
    registry->stop();
    EXPECT_LE(time->now() - began, 400ms);
    EXPECT_TRUE(candidates().empty());
    registry->stop();
}

TEST_F(DisplayRegistryTest, whatComesAfterTheEndIsNotLookedAt)
{
    startWithTwo();
    registry->stop();
    const auto opened = devices->opens();
    registry->devicesChanged();
    pass(1s);
    registry->machineWillSleep();
    registry->machineDidWake();
    pass(1s);
    EXPECT_TRUE(candidates().empty());
    EXPECT_EQ(devices->opens(), opened);
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
