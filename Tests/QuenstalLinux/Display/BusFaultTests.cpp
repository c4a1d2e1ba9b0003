// Monitors, devices and drivers that fail under the engine.

#include "QuenstalLinux/Display/EngineBench.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;

struct DisplayBusFaultTest : testing::Test, EngineBench { };

TEST_F(DisplayBusFaultTest, aMomentaryNackDuringABurstLosesNothing)
{
    startAndDiscover();
    holdKey(37, 5);
    monitor->failNext(2, EREMOTEIO);
    holdKey(42, 5);
    time->advance(500ms);
    EXPECT_EQ(monitor->volume(), 47);
    EXPECT_LE(blocked, 25ms);
}

TEST_F(DisplayBusFaultTest, aMonitorThatGoesDuringABurstIsReportedByAFailedGet)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    monitor->setPresent(false);
    time->advance(33ms);
    EXPECT_TRUE(set(41)) << "accepted, to be written behind";
    changes = 0;
    time->advance(1s);
    EXPECT_GE(changes, 1);
    EXPECT_EQ(get(), nothing);
    EXPECT_FALSE(set(42));
    monitor->setPresent(true);
    time->advance(5s);
    EXPECT_EQ(get(), Answer(std::pair(40, 100)));
    EXPECT_LE(blocked, 25ms);
}

TEST_F(DisplayBusFaultTest, aDeviceThatGoesAtRestFailsTheVeryCommand)
{
    startAndDiscover();
    time->advance(500ms);
    devices->remove(device);
    EXPECT_FALSE(set(40));
    time->advance(100ms);
    EXPECT_EQ(removals, 1);
    EXPECT_EQ(devices->openDescriptors(), 0u);
    EXPECT_LE(blocked, 25ms);
}

TEST_F(DisplayBusFaultTest, aDeniedDeviceIsAStateAndEndsWhenAccessIsGiven)
{
    devices->failOpen(3, EACCES);
    start();
    EXPECT_EQ(get(), nothing);
    EXPECT_EQ(engine->problem(), Kind::accessDenied);
    EXPECT_EQ(devices->opens(), 1u) << "no second try at once";
    time->advance(3s);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_EQ(engine->problem(), std::nullopt);
    EXPECT_EQ(devices->opens(), 4u);
}

TEST_F(DisplayBusFaultTest, aDeniedDeviceDrawsNoStormOfTries)
{
    devices->failOpen(1000, EACCES);
    start();
    for (int press = 0; press < 300; ++press) {
        EXPECT_EQ(get(), nothing);
        time->advance(33ms);
    }
    EXPECT_LE(devices->opens(), 7u);
    EXPECT_LE(totalBlocked, 400ms);
}

TEST_F(DisplayBusFaultTest, aDriverThatHangsColdHoldsUpOnlyTheBudget)
{
    devices->hangNext();
    start();
    for (int press = 0; press < 10; ++press)
        EXPECT_EQ(get(), nothing);
    EXPECT_LE(totalBlocked, 400ms);
    time->advance(3s);
    EXPECT_EQ(engine->problem(), Kind::stuck);
    devices->release();
    time->advance(2s);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_EQ(engine->problem(), std::nullopt);
}

TEST_F(DisplayBusFaultTest, aDriverThatHangsWarmIsNoticedAndItsSetNotMadeUpFor)
{
    startAndDiscover();
    time->advance(1s);
    devices->hangNext();
    EXPECT_TRUE(set(40));
    EXPECT_EQ(blocked, 25ms);
    blocked = {};
    EXPECT_TRUE(set(41));
    EXPECT_EQ(get(), Answer(std::pair(41, 100)));
    time->advance(2100ms);
    EXPECT_FALSE(set(42));
    EXPECT_EQ(get(), nothing);
    EXPECT_EQ(engine->problem(), Kind::stuck);
    EXPECT_EQ(blocked, 0ms);
    time->advance(20s);
    devices->release();
    time->advance(2s);
    get();
    EXPECT_EQ(get(), nothing) << "what became of the Set is not known, so it counts as refused";
    EXPECT_EQ(engine->problem(), Kind::writesRefused);
    EXPECT_NE(monitor->volume(), 41);
}

TEST_F(DisplayBusFaultTest, stoppingDoesNotWaitForADriverThatHangs)
{
    startAndDiscover();
    devices->hangNext();
    set(40);
    const auto began = time->now();
    engine.reset();
    EXPECT_LE(time->now() - began, 300ms);
}

TEST_F(DisplayBusFaultTest, aFailedSetIsToldOnceEvenIfTheMonitorIsBack)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    time->advance(30ms);
    EXPECT_TRUE(set(41));
    monitor->failNext(5, ENXIO); // four times the Set, once the question after it
    time->advance(700ms);
    EXPECT_EQ(get(), nothing);
    EXPECT_EQ(get(), Answer(std::pair(40, 100)));
    EXPECT_TRUE(engine->takeLostSet());
    EXPECT_FALSE(engine->takeLostSet());
}

TEST_F(DisplayBusFaultTest, aFailureThatALaterSetMakesGoodIsNoLoss)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    time->advance(30ms);
    EXPECT_TRUE(set(41));
    monitor->failNext(5, ENXIO);
    time->advance(700ms);
    EXPECT_EQ(get(), nothing);
    EXPECT_TRUE(set(42));
    EXPECT_FALSE(engine->takeLostSet());
}

TEST_F(DisplayBusFaultTest, aSetHeldBackByAQuestionThatHangsIsDropped)
{
    startAndDiscover();
    time->advance(3s);
    devices->hangNext();
    get();
    time->advance(10ms);
    EXPECT_TRUE(set(40));
    time->advance(5s);
    devices->release();
    time->advance(1s);
    EXPECT_EQ(monitor->volume(), 37);
    EXPECT_EQ(get(), nothing);
    EXPECT_EQ(blocked, 0ms);
}

} // namespace
} // namespace quenstal
