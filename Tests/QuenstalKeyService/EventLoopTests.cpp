#include "QuenstalKeyService/ServiceManager.hpp"
#include "QuenstalLinux/Bus/EventLoop.hpp"

#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct EventLoopTest : testing::Test {
    /// So that no test hangs.
    EventLoop loop;
    Cancellation limit = loop.after(10s, [this] { loop.exit(99); });
};

TEST_F(EventLoopTest, tasksRunInTheOrderInWhichTheyWerePostedAndTheStatusIsTheLastWord)
{
    std::vector<int> ran;
    loop.post([&] {
        ran.push_back(1);
        loop.post([&] {
            ran.push_back(3);
            loop.exit(7);
        });
    });
    loop.post([&] { ran.push_back(2); });
    EXPECT_EQ(loop.run(), 7);
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST_F(EventLoopTest, eachPostedTaskHasATurnOfItsOwn)
{
    std::vector<int> ran;
    loop.post([&] {
        ran.push_back(1);
        loop.exit(0);
    });
    loop.post([&] { ran.push_back(2); });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(EventLoopTest, anotherThreadMayPost)
{
    std::thread other([this] {
        EXPECT_FALSE(loop.isMainThread());
        loop.post([this] { loop.exit(loop.isMainThread() ? 1 : 2); });
    });
    EXPECT_EQ(loop.run(), 1);
    other.join();
}

TEST_F(EventLoopTest, timersRunInTheOrderOfTheirTimesAndNotBefore)
{
    std::vector<int> ran;
    const auto start = loop.steadyNow();
    const auto second = loop.after(20ms, [&] {
        ran.push_back(2);
        EXPECT_GE(loop.steadyNow() - start, 20ms);
        loop.exit(0);
    });
    const auto first = loop.after(RunLoop::Duration::zero(), [&] { ran.push_back(1); });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(EventLoopTest, aRepetitionMayEndItself)
{
    int ticks = 0;
    Cancellation repetition;
    Cancellation end;
    repetition = loop.repeat(1ms, [&] {
        if (++ticks < 3)
            return;
        repetition.reset();
        end = loop.after(5ms, [&] { loop.exit(ticks); });
    });
    EXPECT_EQ(loop.run(), 3);
}

TEST_F(EventLoopTest, aCancelledTimerAndACancelledWatchStaySilent)
{
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    ASSERT_EQ(write(pipe[1], "x", 1), 1);
    Cancellation timer = loop.after(1ms, [&] { loop.exit(1); });
    Cancellation watch = loop.watchReadable(pipe[0], [&] { loop.exit(2); });
    timer.reset();
    watch.reset();
    const auto end = loop.after(5ms, [&] { loop.exit(0); });
    EXPECT_EQ(loop.run(), 0);
    close(pipe[0]);
    close(pipe[1]);
}

TEST_F(EventLoopTest, aDescriptorIsToldAsLongAsItCanBeRead)
{
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    ASSERT_EQ(write(pipe[1], "abc", 3), 3);
    std::string read;
    const auto watch = loop.watchReadable(pipe[0], [&] {
        char letter = 0;
        ASSERT_EQ(::read(pipe[0], &letter, 1), 1);
        read += letter;
        if (read.size() == 3)
            loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(read, "abc");
    close(pipe[0]);
    close(pipe[1]);
}

TEST_F(EventLoopTest, aRequestToEndEndsIt)
{
    loop.post([] { kill(getpid(), SIGTERM); });
    EXPECT_EQ(loop.run(), 0);
}

TEST(EventLoopWatchdogTest, theServiceManagersWatchdogIsFed)
{
    ServiceManager manager(50ms);
    EventLoop loop;
    const auto limit = loop.after(10s, [&] { loop.exit(99); });
    int fed = 0;
    const auto watch = loop.watchReadable(manager.descriptor(), [&] {
        fed += manager.signsOfLife();
        if (fed >= 3)
            loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
}

} // namespace
} // namespace quenstal
