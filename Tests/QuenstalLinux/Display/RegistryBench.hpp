#pragma once

#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalLinux/Display/MonitorRegistry.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/BusRules.hpp"
#include "Support/SimulatedI2CDevices.hpp"
#include "Support/VirtualWorkerTime.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {

inline std::shared_ptr<SimulatedMonitor> monitorNamed(const std::string& name, std::uint16_t product)
{
    return std::make_shared<SimulatedMonitor>(MonitorDescription{.name = name, .product = product});
}

inline std::vector<std::uint8_t> edidOf(const std::shared_ptr<SimulatedMonitor>& monitor)
{
    return {monitor->edid().begin(), monitor->edid().end()};
}

/// Two monitors and a panel, their devices and a registry, in virtual time.
struct RegistryBench : testing::Test {
    using Link = MachineFixture::Link;
    using Monitor = std::shared_ptr<SimulatedMonitor>;
    using Names = std::vector<std::string>;

    ~RegistryBench() override
    {
        devices->release();
        registry.reset();
        time->advance(std::chrono::seconds(1));
        EXPECT_EQ(devices->openDescriptors(), 0u);
        EXPECT_LE(devices->longestIdle(), std::chrono::seconds(1));
        for (const Monitor& monitor : {left, right, panel})
            expectBusRules(*monitor);
        for (const MachineFixture::Bus& bus : MachineFixture::forbiddenBuses())
            EXPECT_EQ(devices->opens("/dev/i2c-" + std::to_string(bus.number)), 0u) << bus.name;
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
        constexpr WorkerTime::Duration step = std::chrono::milliseconds(5);
        for (WorkerTime::Duration passed{}; passed < duration; passed += step) {
            time->advance(step);
            loop.advance(step);
        }
    }

    void settle() { pass(std::chrono::milliseconds(200)); }

    Names candidates()
    {
        Names names;
        for (const auto& candidate : registry->candidates())
            names.push_back(candidate.connector.name + (candidate.engine ? " " + candidate.engine->device() : ""));
        return names;
    }

    bool answers(const std::shared_ptr<BusEngine>& engine)
    {
        VcpValue value;
        return engine->get(speakerVolumeFeature, std::chrono::milliseconds(50), value, registry->discoveryBudget())
            == 0;
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

} // namespace quenstal
