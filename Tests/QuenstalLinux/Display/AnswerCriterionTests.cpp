// A monitor that answers is not yet one that can be set.

#include "QuenstalLinux/Display/EngineBench.hpp"

#include <cerrno>
#include <functional>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;

struct BeliefBench : EngineBench {
    /// A key finds out that the monitor refuses.
    void startAndBeRefused()
    {
        monitor->setQuirks({.refusesSets = true});
        startAndDiscover();
        EXPECT_TRUE(set(40)) << "the retries take longer than a press may";
        EXPECT_LE(blocked, 25ms);
        time->advance(1s);
        EXPECT_EQ(engine->problem(), Kind::writesRefused);
        EXPECT_EQ(engine->answerCriterion(), AnswerCriterion::successfulSet);
        blocked = {};
    }

    std::size_t setsTried() const
    {
        const std::vector<MonitorTransaction> journal = monitor->journal();
        return static_cast<std::size_t>(
            std::ranges::count(journal, MonitorTransaction::Kind::set, &MonitorTransaction::kind));
    }

    void expectNoAnswerFor(Duration duration)
    {
        for (Duration passed{}; passed < duration; passed += 5ms) {
            EXPECT_EQ(get(), nothing);
            EXPECT_FALSE(set(60));
            time->advance(5ms);
        }
    }
};

struct DisplayBeliefTest : testing::Test, BeliefBench { };

struct ReturnRow {
    const char* what;
    std::function<void(EngineBench&)> comeBack;
};

void lookAgain(EngineBench& bench)
{
    bench.engine->rediscover();
}

void sleepAndWake(EngineBench& bench)
{
    bench.engine->suspend();
    bench.time->advance(1s);
    bench.engine->rediscover();
}

void startAnew(EngineBench& bench)
{
    bench.start(bench.engine->answerCriterion());
}

// clang-format off
const std::vector<ReturnRow> returns{
    {"the connectors changed",                    lookAgain},
    {"they changed again and again",              [](auto& t) { for (int i = 0; i < 20; ++i) { lookAgain(t); t.time->advance(20ms); } }},
    {"the machine slept",                         sleepAndWake},
    {"it slept as soon as it was asked",          [](auto& t) { lookAgain(t); t.time->advance(120ms); sleepAndWake(t); }},
    {"the monitor was gone, and is served anew",  startAnew},
};
// clang-format on

TEST_F(DisplayBeliefTest, aMonitorThatRefusedAndStillDoesIsNotBelievedWhenItIsBack)
{
    for (const ReturnRow& row : returns) {
        SCOPED_TRACE(row.what);
        BeliefBench one;
        one.startAndBeRefused();
        row.comeBack(one);
        one.expectNoAnswerFor(2s);
        EXPECT_EQ(one.engine->problem(), Kind::writesRefused);
        EXPECT_EQ(one.blocked, 0ms) << "nobody waits for a monitor that is done without";
    }
}

TEST_F(DisplayBeliefTest, aMonitorThatRefusedIsBelievedOnceItTakesWhatItHas)
{
    for (const ReturnRow& row : returns) {
        SCOPED_TRACE(row.what);
        BeliefBench one;
        one.startAndBeRefused();
        one.monitor->setQuirks({});
        one.monitor->setVolume(52);
        row.comeBack(one);
        one.time->advance(200ms);
        EXPECT_EQ(one.get(), Answer(std::pair(52, 100)));
        EXPECT_EQ(one.engine->answerCriterion(), AnswerCriterion::reply);
        EXPECT_EQ(valuesSet(*one.monitor), std::vector<std::uint16_t>{52}) << "which nobody can hear";
        EXPECT_TRUE(one.set(53));
        EXPECT_EQ(one.monitor->volume(), 53);
    }
}

TEST_F(DisplayBeliefTest, aMonitorThatNeverRefusedIsNotWrittenWhenItIsBack)
{
    for (const ReturnRow& row : returns) {
        SCOPED_TRACE(row.what);
        BeliefBench one;
        one.startAndDiscover();
        row.comeBack(one);
        one.time->advance(60ms);
        EXPECT_EQ(one.get(), Answer(std::pair(37, 100))) << "as soon as it has answered once";
        EXPECT_EQ(one.setsTried(), 0u);
    }
}

TEST_F(DisplayBeliefTest, aMonitorThatRefusesSetsIsAskedToProveItselfLessAndLess)
{
    startAndBeRefused();
    std::size_t tried = setsTried();
    expectNoAnswerFor(28s);
    EXPECT_EQ(setsTried(), tried);
    expectNoAnswerFor(3s);
    EXPECT_EQ(setsTried(), tried + 4) << "asked behind, and tried as often as any Set";
    tried = setsTried();
    expectNoAnswerFor(57s);
    EXPECT_EQ(setsTried(), tried) << "twice as long the second time";
    monitor->setQuirks({});
    time->advance(4s);
    EXPECT_EQ(get(), nothing) << "asked again behind";
    time->advance(200ms);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_EQ(engine->problem(), std::nullopt);
}

TEST_F(DisplayBeliefTest, aSingleMissedMessageDoesNotFailTheProof)
{
    startAndBeRefused();
    monitor->setQuirks({});
    engine->rediscover();
    time->advance(102ms);
    monitor->failNext(3, ENXIO);
    time->advance(1s);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
}

TEST_F(DisplayBeliefTest, aValueThatWasReadLateIsNotWrittenBack)
{
    startAndBeRefused();
    monitor->setQuirks({.repliesLate = true});
    monitor->setVolume(20);
    engine->rediscover();
    time->advance(1s);
    EXPECT_EQ(monitor->volume(), 20);
    EXPECT_EQ(get(), Answer(std::pair(20, 100)));
}

TEST_F(DisplayBeliefTest, aMonitorThatWasSilentWhenASetWasLostProvesItselfToo)
{
    startAndDiscover();
    monitor->setPresent(false);
    EXPECT_TRUE(set(40));
    time->advance(1s);
    EXPECT_EQ(engine->problem(), Kind::notAnswering);
    monitor->setQuirks({.refusesSets = true});
    monitor->setPresent(true);
    expectNoAnswerFor(5s);
    EXPECT_EQ(engine->problem(), Kind::writesRefused);
}

TEST_F(DisplayBeliefTest, stoppingDoesNotWaitForAProof)
{
    startAndBeRefused();
    engine->rediscover();
    time->advance(120ms);
    const auto began = time->now();
    engine.reset();
    EXPECT_LE(time->now() - began, 60ms);
}

} // namespace
} // namespace quenstal
