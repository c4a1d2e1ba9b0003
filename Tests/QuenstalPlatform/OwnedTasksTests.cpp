#include "QuenstalPlatform/OwnedTasks.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <memory>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

namespace quenstal {
namespace {

TEST(OwnedTasks, runOnALaterTurn)
{
    SimulatedRunLoop loop;
    const OwnedTasks tasks(loop);
    bool hasRun = false;
    tasks.post([&] { hasRun = true; });
    EXPECT_FALSE(hasRun);
    loop.runUntilIdle();
    EXPECT_TRUE(hasRun);
}

TEST(OwnedTasks, aTaskWhoseOwnerIsGoneDoesNotRun)
{
    SimulatedRunLoop loop;
    std::optional<OwnedTasks> tasks(loop);
    bool hasRun = false;
    tasks->post([&] { hasRun = true; });
    const auto late = tasks->whileOwned([&] { hasRun = true; });
    tasks.reset();
    loop.runUntilIdle();
    late();
    EXPECT_FALSE(hasRun);
}

TEST(OwnedTasks, aTaskMayEndTheirOwner)
{
    SimulatedRunLoop loop;
    std::optional<OwnedTasks> tasks(loop);
    int runs = 0;
    const auto run = [&] {
        ++runs;
        tasks.reset();
    };
    tasks->post(run);
    tasks->post(run);
    loop.runUntilIdle();
    EXPECT_EQ(runs, 1);
}

TEST(OwnedTasks, aThreadMayPostWhenOwnerAndLoopAreGone)
{
    auto loop = std::make_unique<SimulatedRunLoop>();
    std::optional<OwnedTasks> tasks(*loop);
    const auto post = tasks->poster();
    std::thread([&] { post([] {}); }).join();
    EXPECT_TRUE(loop->runOneTurn());
    tasks.reset();
    loop.reset();
    bool hasRun = false;
    std::thread([&] { post([&] { hasRun = true; }); }).join();
    EXPECT_FALSE(hasRun);
}

} // namespace
} // namespace quenstal
