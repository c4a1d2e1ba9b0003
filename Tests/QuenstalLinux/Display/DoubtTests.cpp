// What is known of a monitor while it is looked for again, and before a step.

#include "QuenstalLinux/Display/EngineBench.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;

struct DisplayDoubtTest : testing::Test, EngineBench { };

TEST_F(DisplayDoubtTest, rediscoveryClosesTheDeviceAndAsksAgainBeforeItWrites)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    EXPECT_TRUE(set(41)) << "waits for the pause after the first";
    engine->rediscover();
    EXPECT_TRUE(set(42)) << "waits for an answer";
    EXPECT_EQ(get(), Answer(std::pair(42, 100)));
    time->advance(10ms);
    EXPECT_EQ(devices->openDescriptors(), 0u);
    time->advance(150ms);
    EXPECT_EQ(monitor->volume(), 42);
    EXPECT_EQ(get(), Answer(std::pair(42, 100)));
    EXPECT_EQ(valuesSet(*monitor), (std::vector<std::uint16_t>{40, 42}));
    EXPECT_GE(getsAsked(*monitor), 2);
}

TEST_F(DisplayDoubtTest, aMonitorThatAnsweredBeforeIsNotWaitedForWhenItIsLookedForAgain)
{
    startAndDiscover();
    monitor->setVolume(50);
    for (int look = 0; look < 5; ++look) {
        budget = {};
        budget.grant(time->now());
        engine->rediscover();
        EXPECT_EQ(get(), Answer(std::pair(look == 0 ? 37 : 50, 100)));
        time->advance(150ms);
        EXPECT_EQ(get(), Answer(std::pair(50, 100))) << "as soon as it has said so twice";
    }
    EXPECT_EQ(blocked, 0ms);
    EXPECT_EQ(changes, 5) << "each look is told when it is over";
}

TEST_F(DisplayDoubtTest, aMonitorThatIsGoneWhenItIsLookedForAgainLosesWhatWasAccepted)
{
    startAndDiscover();
    monitor->setPresent(false);
    engine->rediscover();
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_TRUE(set(40));
    EXPECT_EQ(blocked, 0ms);
    time->advance(1s);
    EXPECT_TRUE(engine->takeLostSet());
    EXPECT_EQ(get(), nothing);
    EXPECT_EQ(engine->problem(), Kind::notAnswering);
}

TEST_F(DisplayDoubtTest, aKeyHeldWhileAMonitorIsLookedForAgainCounts)
{
    startAndDiscover();
    engine->rediscover();
    holdKey(37, 10);
    EXPECT_GT(monitor->volume(), 37) << "it may answer in between";
    time->advance(200ms);
    EXPECT_EQ(monitor->volume(), 47);
    EXPECT_FALSE(engine->takeLostSet());
}

TEST_F(DisplayDoubtTest, whatNoAnswerCameForBeforeTheEndIsLost)
{
    startAndDiscover();
    monitor->setPresent(false);
    engine->rediscover();
    EXPECT_TRUE(set(40));
    engine->beginStop();
    EXPECT_TRUE(engine->takeLostSet());
}

TEST_F(DisplayDoubtTest, aMemoInDoubtIsCheckedForWhoeverWants)
{
    startAndDiscover();
    engine->rediscover();
    EXPECT_TRUE(engine->checkMemo());
    time->advance(60ms);
    EXPECT_EQ(asked, 1);
    EXPECT_FALSE(engine->checkMemo());
}

TEST_F(DisplayDoubtTest, anOldMemoIsCheckedForWhoeverWants)
{
    startAndDiscover();
    EXPECT_FALSE(engine->checkMemo()) << "just read";
    time->advance(498ms);
    EXPECT_FALSE(engine->checkMemo());
    time->advance(1ms);
    monitor->setVolume(50);
    EXPECT_TRUE(engine->checkMemo());
    EXPECT_EQ(asked, 0);
    time->advance(120ms);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(get(), Answer(std::pair(50, 100)));
    EXPECT_FALSE(engine->checkMemo());
    time->advance(3s);
    monitor->setPresent(false);
    EXPECT_TRUE(engine->checkMemo());
    time->advance(1s);
    EXPECT_EQ(asked, 2) << "and also when nothing is learnt";
    EXPECT_FALSE(engine->checkMemo()) << "nobody waits for a monitor that does not answer";
    EXPECT_EQ(blocked, 0ms);
}

TEST_F(DisplayDoubtTest, anAnswerOfTheMonitorBeforeIsNotTakenForThatOfTheNewOne)
{
    start();
    time->advance(10ms);
    monitor->setVolume(50);
    engine->rediscover();
    time->advance(45ms);
    EXPECT_EQ(get(), Answer(std::pair(50, 100)));
}

TEST_F(DisplayDoubtTest, aSetThatIsTriedAgainIsNotTriedOnAnotherMonitor)
{
    startAndDiscover();
    monitor->failNext(1, ENXIO);
    EXPECT_TRUE(set(40));
    const std::size_t before = monitor->journal().size();
    engine->rediscover();
    time->advance(300ms);
    ASSERT_GT(monitor->journal().size(), before);
    EXPECT_EQ(monitor->journal()[before].kind, MonitorTransaction::Kind::get);
    EXPECT_EQ(monitor->volume(), 40);
}

TEST_F(DisplayDoubtTest, aSuspendedBusIsClosedAndSilent)
{
    startAndDiscover();
    time->advance(100ms);
    EXPECT_EQ(devices->openDescriptors(), 1u);
    engine->suspend();
    time->advance(1ms);
    EXPECT_EQ(devices->openDescriptors(), 0u);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_TRUE(set(40));
    EXPECT_FALSE(engine->checkMemo());
    time->advance(1min);
    EXPECT_EQ(getsAsked(*monitor), 1);
    EXPECT_EQ(monitor->volume(), 37);
    engine->rediscover();
    time->advance(150ms);
    EXPECT_EQ(monitor->volume(), 40);
    EXPECT_EQ(get(), Answer(std::pair(40, 100)));
}

} // namespace
} // namespace quenstal
