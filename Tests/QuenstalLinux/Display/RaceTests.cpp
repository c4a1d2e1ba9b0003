// The main thread asks, sets, plugs and stops in any order, while the workers do their work in real time.

#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalLinux/Display/MonitorRegistry.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/BusRules.hpp"
#include "Support/HastyWorkerTime.hpp"
#include "Support/Random.hpp"
#include "Support/SimulatedI2CDevices.hpp"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Link = MachineFixture::Link;

const std::string device = "/dev/i2c-5";

/// The volume, one that the monitor has besides, and one that it lacks.
constexpr std::array<VcpFeature, 3> features{speakerVolumeFeature, 0xDF, 0x8D};

std::vector<std::uint8_t> edidOf(const SimulatedMonitor& monitor)
{
    return {monitor.edid().begin(), monitor.edid().end()};
}

struct DisplayRaceTest : testing::TestWithParam<unsigned> {
    ~DisplayRaceTest() override
    {
        EXPECT_EQ(devices->overlaps(), 0);
        expectBusRules(*monitor);
    }

    bool get(BusEngine& engine, VcpFeature feature = speakerVolumeFeature)
    {
        VcpValue value;
        return engine.get(feature, 50ms, value, budget) == 0;
    }

    std::unique_ptr<BusEngine> startEngine()
    {
        devices->connect(device, monitor);
        budget.grant(time->now());
        return std::make_unique<BusEngine>(
            device, devices, time, std::make_shared<CardGate>(time), BusNews{[] {}, [] {}, [] {}});
    }

    void disturb(BusEngine& engine)
    {
        switch (random.below(10)) {
        case 0:
            return engine.rediscover();
        case 1:
            return engine.suspend();
        case 2:
            return monitor->failNext(static_cast<int>(random.below(8)), ENXIO);
        case 3:
            return devices->failOpen(1, random.below(2) == 0 ? EACCES : ENODEV);
        case 4:
            return devices->failLock(2, EWOULDBLOCK);
        case 5:
            return devices->hangNext(std::chrono::milliseconds(random.below(5000)));
        case 6:
            return monitor->setPresent(random.below(2) == 0);
        case 7:
            return monitor->setVolume(static_cast<std::uint16_t>(random.below(100)));
        default:
            static_cast<void>(engine.problem());
        }
    }

    test::Random random{GetParam()};
    std::shared_ptr<HastyWorkerTime> time = std::make_shared<HastyWorkerTime>();
    std::shared_ptr<SimulatedI2CDevices> devices = std::make_shared<SimulatedI2CDevices>(time);
    std::shared_ptr<SimulatedMonitor> monitor = std::make_shared<SimulatedMonitor>();
    DiscoveryBudget budget;
};

TEST_P(DisplayRaceTest, whateverTheOrderTheBusIsTreatedWell)
{
    const auto engine = startEngine();
    for (int operation = 0; operation < 400; ++operation) {
        if (random.below(8) == 0)
            disturb(*engine);
        else if (random.below(2) == 0)
            get(*engine, random.oneOf(features));
        else
            engine->setVolume(static_cast<std::uint16_t>(random.below(100)));
        if (random.below(4) == 0)
            time->sleepUntil(time->now() + std::chrono::milliseconds(random.below(100)));
    }
}

TEST_P(DisplayRaceTest, theLastAcceptedSetIsOnTheWireInTheEnd)
{
    auto engine = startEngine();
    std::uint16_t accepted = monitor->volume();
    bool isRefused = false;
    for (int operation = 0; operation < 200; ++operation) {
        const auto value = static_cast<std::uint16_t>(random.below(100));
        if (random.below(20) == 0)
            engine->rediscover();
        isRefused = engine->setVolume(value) != 0;
        if (!isRefused)
            accepted = value;
        get(*engine);
        time->sleepUntil(time->now() + std::chrono::milliseconds(random.below(80)));
    }
    // The worker is done when the machine lets it run. One that was not let run takes the driver to hang, and says so.
    const auto limit = time->now() + 1h;
    while (monitor->volume() != accepted && time->now() < limit) {
        time->sleepUntil(time->now() + 1s);
        get(*engine);
        if (isRefused || engine->takeLostSet())
            isRefused = engine->setVolume(accepted) != 0;
    }
    EXPECT_EQ(monitor->volume(), accepted);
}

TEST_P(DisplayRaceTest, monitorsMayComeAndGoWhileTheyAreAsked)
{
    devices->connect(device, monitor);
    const TemporaryDirectory sysfs;
    const auto write = [&](const char* status) {
        MachineFixture{{{"HDMI-A-1", Link::ddc, 5, edidOf(*monitor), status}}, {}}.writeTo(sysfs.path());
    };
    write("connected");
    SimulatedRunLoop loop;
    MonitorRegistry registry(loop, DisplayMachine{sysfs.path(), "/dev", devices, time}, nullptr);
    const Cancellation observation = registry.observeChanges([&registry] { registry.problems(); });
    for (int operation = 0; operation < 60; ++operation) {
        if (random.below(8) == 0)
            write(random.below(3) == 0 ? "disconnected" : "connected");
        if (random.below(4) == 0)
            registry.devicesChanged();
        if (random.below(16) == 0)
            registry.machineWillSleep();
        if (random.below(8) == 0)
            registry.machineDidWake();
        for (const auto& candidate : registry.candidates())
            if (candidate.engine && get(*candidate.engine))
                candidate.engine->setVolume(static_cast<std::uint16_t>(random.below(100)));
        loop.advance(50ms);
    }
    if (random.below(2) == 0)
        registry.stop();
}

INSTANTIATE_TEST_SUITE_P(Seeds, DisplayRaceTest, testing::Range(1u, 13u));

} // namespace
} // namespace quenstal
