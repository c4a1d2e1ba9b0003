#pragma once

#include "QuenstalLinux/Display/BusEngine.hpp"
#include "Support/BusRules.hpp"
#include "Support/SimulatedI2CDevices.hpp"
#include "Support/VirtualWorkerTime.hpp"

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace quenstal {

/// A monitor, its device and an engine, in virtual time.
struct EngineBench {
    using Duration = WorkerTime::Duration;
    /// Current and maximum as they stand in the reply.
    using Answer = std::optional<std::pair<int, int>>;
    static constexpr Answer nothing = std::nullopt;

    EngineBench()
    {
        devices->connect(device, monitor);
        budget.grant(time->now());
    }

    ~EngineBench()
    {
        devices->release();
        engine.reset();
        time->advance(std::chrono::seconds(1));
        EXPECT_EQ(devices->openDescriptors(), 0u);
        EXPECT_LE(devices->longestIdle(), std::chrono::seconds(1));
        EXPECT_EQ(devices->overlaps(), 0);
        expectBusRules(*monitor);
    }

    void start(AnswerCriterion answerCriterion = AnswerCriterion::reply)
    {
        engine = std::make_unique<BusEngine>(device, devices, time, std::make_shared<CardGate>(time),
            BusNews{
                .changed = [this] { ++changes; }, .deviceGone = [this] { ++removals; }, .asked = [this] { ++asked; }},
            answerCriterion);
    }

    void startAndDiscover()
    {
        start();
        ASSERT_NE(get(), nothing);
        // The worker tells its news after it lets go of the lock.
        time->advance(std::chrono::milliseconds(1));
        blocked = {};
        changes = 0;
    }

    Answer get(VcpFeature feature = speakerVolumeFeature)
    {
        VcpValue value;
        const auto began = time->now();
        const PlatformStatus status = engine->get(feature, std::chrono::milliseconds(50), value, budget);
        noteBlocking(began);
        return status == 0 ? Answer(std::pair(value.current, value.maximum)) : nothing;
    }

    bool set(int value)
    {
        const auto began = time->now();
        const PlatformStatus status = engine->setVolume(static_cast<std::uint16_t>(value));
        noteBlocking(began);
        return status == 0;
    }

    void noteBlocking(WorkerTime::Time began)
    {
        blocked = std::max(blocked, time->now() - began);
        totalBlocked += time->now() - began;
    }

    /// As keys held down: a press and a look at the volume every 33 ms.
    void holdKey(int from, int presses)
    {
        for (int press = 1; press <= presses; ++press) {
            EXPECT_TRUE(set(from + press));
            EXPECT_EQ(get(), Answer(std::pair(from + press, 100)));
            time->advance(std::chrono::milliseconds(33));
        }
    }

    const std::string device = "/dev/i2c-5";
    std::shared_ptr<VirtualWorkerTime> time = std::make_shared<VirtualWorkerTime>();
    std::shared_ptr<SimulatedI2CDevices> devices = std::make_shared<SimulatedI2CDevices>(time);
    std::shared_ptr<SimulatedMonitor> monitor = std::make_shared<SimulatedMonitor>();
    DiscoveryBudget budget;
    std::unique_ptr<BusEngine> engine;
    std::atomic<int> changes = 0;
    std::atomic<int> removals = 0;
    std::atomic<int> asked = 0;
    Duration blocked{};
    Duration totalBlocked{};
};

} // namespace quenstal
