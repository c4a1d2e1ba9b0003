#include "QuenstalQt/QtRunLoop.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct QtRunLoopTest : testing::Test {
    /// What was cancelled last has no later turn to go in.
    ~QtRunLoopTest() override { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    /// Runs the toolkit's loop until it holds, for five seconds at most.
    static bool eventually(const std::function<bool()>& holds)
    {
        QElapsedTimer timer;
        timer.start();
        while (!holds() && timer.elapsed() < 5000)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 50);
        return holds();
    }

    int argc = 0;
    QCoreApplication application{argc, nullptr};
    std::unique_ptr<QtRunLoop> loop = std::make_unique<QtRunLoop>();
    std::vector<std::string> log;
};

TEST_F(QtRunLoopTest, postedTasksRunInTheirOrderOnTheMainThreadFromWhereverTheyCome)
{
    loop->post([&] { log.emplace_back("a"); });
    std::thread([&] {
        EXPECT_FALSE(loop->isMainThread());
        loop->post([&] { log.emplace_back(loop->isMainThread() ? "b" : "wrong thread"); });
    }).join();
    loop->post([&] { log.emplace_back("c"); });
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(eventually([&] { return log.size() == 3; }));
    EXPECT_THAT(log, ElementsAre("a", "b", "c"));
    EXPECT_TRUE(loop->isMainThread());
}

TEST_F(QtRunLoopTest, aTimerNeverFiresEarlyAndOnlyOnce)
{
    const auto start = loop->steadyNow();
    RunLoop::Duration after{};
    const auto timer = loop->after(15ms, [&] {
        after = loop->steadyNow() - start;
        log.emplace_back("fired");
    });
    const auto later = loop->after(60ms, [&] { log.emplace_back("later"); });
    EXPECT_TRUE(eventually([&] { return log.size() == 2; }));
    EXPECT_GE(after, 15ms);
    EXPECT_THAT(log, ElementsAre("fired", "later"));
}

TEST_F(QtRunLoopTest, aRepetitionEndsWhenItIsCancelledFromItsOwnTask)
{
    Cancellation repetition = loop->repeat(2ms, [&] {
        log.emplace_back("tick");
        if (log.size() == 3)
            repetition.reset();
    });
    bool isOver = false;
    EXPECT_TRUE(eventually([&] { return log.size() == 3; }));
    const auto end = loop->after(20ms, [&] { isOver = true; });
    EXPECT_TRUE(eventually([&] { return isOver; }));
    EXPECT_EQ(log.size(), 3u);
}

TEST_F(QtRunLoopTest, aTaskMayReplaceTheTimerThatRunsIt)
{
    Cancellation timer;
    timer = loop->after(1ms, [&] {
        log.emplace_back("first");
        timer = loop->after(1ms, [&] { log.emplace_back("second"); });
    });
    EXPECT_TRUE(eventually([&] { return log.size() == 2; }));
    EXPECT_THAT(log, ElementsAre("first", "second"));
}

TEST_F(QtRunLoopTest, aReadableDescriptorRunsItsTaskUntilCancelled)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Cancellation watch = loop->watchReadable(ends[0], [&] {
        char byte = 0;
        ASSERT_EQ(read(ends[0], &byte, 1), 1);
        log.emplace_back(1, byte);
        if (byte == 'y')
            watch.reset();
    });
    ASSERT_EQ(write(ends[1], "xyz", 3), 3);
    EXPECT_TRUE(eventually([&] { return log.size() == 2; }));
    bool isOver = false;
    const auto end = loop->after(10ms, [&] { isOver = true; });
    EXPECT_TRUE(eventually([&] { return isOver; }));
    EXPECT_THAT(log, ElementsAre("x", "y"));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(QtRunLoopTest, whatWasPostedDiesWithTheLoop)
{
    loop->post([&] { log.emplace_back("never"); });
    loop.reset();
    QCoreApplication::processEvents();
    EXPECT_TRUE(log.empty());
}

} // namespace
} // namespace quenstal
