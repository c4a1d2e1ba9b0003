#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Log = std::vector<std::string>;

struct SimulatedRunLoopTest : testing::Test {
    RunLoop::Task note(const std::string& text)
    {
        return [this, text] { log.push_back(text); };
    }

    SimulatedRunLoop loop;
    Log log;
};

TEST_F(SimulatedRunLoopTest, postedTasksRunInOrderAndNotBeforeTheirTurn)
{
    loop.post(note("a"));
    loop.post(note("b"));
    EXPECT_EQ(log, Log{});
    EXPECT_TRUE(loop.runOneTurn());
    EXPECT_EQ(log, Log{"a"});
    loop.runUntilIdle();
    EXPECT_EQ(log, (Log{"a", "b"}));
    EXPECT_FALSE(loop.runOneTurn());
}

TEST_F(SimulatedRunLoopTest, aTaskPostedByATaskRunsOnALaterTurn)
{
    loop.post([this] {
        loop.post(note("inner"));
        log.push_back("outer");
    });
    loop.post(note("next"));
    loop.runUntilIdle();
    EXPECT_EQ(log, (Log{"outer", "next", "inner"}));
}

TEST_F(SimulatedRunLoopTest, timersFireAtTheirOwnTimeInTheOrderOfTheirTimes)
{
    const auto start = loop.steadyNow();
    std::vector<RunLoop::Duration> fired;
    const auto late = loop.after(20ms, [&] { fired.push_back(loop.steadyNow() - start); });
    const auto early = loop.after(10ms, [&] { fired.push_back(loop.steadyNow() - start); });
    loop.advance(9ms);
    EXPECT_TRUE(fired.empty());
    loop.advance(91ms);
    EXPECT_EQ(fired, (std::vector<RunLoop::Duration>{10ms, 20ms}));
    EXPECT_EQ(loop.steadyNow() - start, 100ms);
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(SimulatedRunLoopTest, aRepetitionFiresEveryIntervalUntilItIsCancelled)
{
    Cancellation repetition = loop.repeat(100ms, [&] {
        log.push_back("tick");
        if (log.size() == 3)
            repetition.reset();
    });
    loop.advance(1s);
    EXPECT_EQ(log.size(), 3u);
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(SimulatedRunLoopTest, aCancelledTimerNeverFires)
{
    loop.after(10ms, note("never")).reset();
    loop.advance(1s);
    EXPECT_EQ(log, Log{});
}

TEST_F(SimulatedRunLoopTest, aReadableDescriptorRunsItsTaskUntilItIsDrained)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto watch = loop.watchReadable(ends[0], [&] {
        char byte = 0;
        ASSERT_EQ(read(ends[0], &byte, 1), 1);
        log.emplace_back(1, byte);
    });
    EXPECT_FALSE(loop.runOneTurn());
    ASSERT_EQ(write(ends[1], "xy", 2), 2);
    loop.runUntilIdle();
    EXPECT_EQ(log, (Log{"x", "y"}));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(SimulatedRunLoopTest, theTimeOfDayMovesWithTheSteadyClock)
{
    const RunLoop::WallTime noon{12h};
    loop.setWallTime(noon);
    loop.advance(90s);
    EXPECT_EQ(loop.wallNow(), noon + 90s);
}

TEST_F(SimulatedRunLoopTest, onlyTheThreadThatMadeItIsTheMainThread)
{
    EXPECT_TRUE(loop.isMainThread());
    bool elsewhere = true;
    std::thread([&] { elsewhere = loop.isMainThread(); }).join();
    EXPECT_FALSE(elsewhere);
}

} // namespace
} // namespace quenstal
