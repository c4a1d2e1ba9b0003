#include "QuenstalLinux/Display/EngineBench.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;
using Answer = EngineBench::Answer;

constexpr Answer nothing = EngineBench::nothing;

struct DisplayBusEngineTest : testing::Test, EngineBench { };

TEST_F(DisplayBusEngineTest, theFirstGetWaitsForTheMonitorAndTheNextOnesDoNot)
{
    start();
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_LE(blocked, 60ms);
    blocked = {};
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_EQ(blocked, 0ms);
    EXPECT_EQ(getsAsked(*monitor), 1);
}

TEST_F(DisplayBusEngineTest, aMonitorIsAskedBeforeAnyoneAsks)
{
    start();
    time->advance(100ms);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    EXPECT_EQ(blocked, 0ms);
}

TEST_F(DisplayBusEngineTest, anOldMemoIsAnsweredAtOnceAndCheckedBehind)
{
    startAndDiscover();
    time->advance(3s);
    monitor->setVolume(50);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
    time->advance(200ms);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(get(), Answer(std::pair(50, 100)));
    EXPECT_EQ(blocked, 0ms);
}

TEST_F(DisplayBusEngineTest, anUnchangedVolumeIsNoNews)
{
    startAndDiscover();
    for (int i = 0; i < 5; ++i) {
        time->advance(3s);
        get();
    }
    time->advance(1s);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(getsAsked(*monitor), 6);
}

TEST_F(DisplayBusEngineTest, anIdleMonitorIsLeftAlone)
{
    startAndDiscover();
    time->advance(1h);
    EXPECT_EQ(getsAsked(*monitor), 1);
    EXPECT_EQ(devices->opens(), 1u);
}

TEST_F(DisplayBusEngineTest, aSetAtRestIsOnTheWireWhenItReturns)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    EXPECT_EQ(monitor->volume(), 40);
    EXPECT_LE(blocked, 2ms);
}

TEST_F(DisplayBusEngineTest, aBurstIsWrittenBehindAndEndsOnItsLastValue)
{
    startAndDiscover();
    holdKey(37, 60);
    EXPECT_LE(blocked, 25ms);
    time->advance(67ms); // 100 ms after the last press
    EXPECT_EQ(monitor->volume(), 97);
    EXPECT_LT(valuesSet(*monitor).size(), 60u) << "values in between are skipped";
}

TEST_F(DisplayBusEngineTest, aBurstIsVerifiedOnce)
{
    startAndDiscover();
    holdKey(37, 10);
    time->advance(1s);
    EXPECT_EQ(getsAsked(*monitor), 2);
}

TEST_F(DisplayBusEngineTest, aMonitorThatTookAnotherValueIsBelieved)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    monitor->setVolume(39);
    changes = 0;
    time->advance(1s);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(get(), Answer(std::pair(39, 100)));
}

TEST_F(DisplayBusEngineTest, aGetInFlightDoesNotUndoASet)
{
    startAndDiscover();
    time->advance(3s);
    get();
    time->advance(20ms);
    EXPECT_TRUE(set(60));
    EXPECT_EQ(get(), Answer(std::pair(60, 100)));
    time->advance(40ms);
    EXPECT_EQ(get(), Answer(std::pair(60, 100)));
    time->advance(1s);
    EXPECT_EQ(get(), Answer(std::pair(60, 100)));
    EXPECT_EQ(monitor->volume(), 60);
}

TEST_F(DisplayBusEngineTest, aBusThatHasNotAnsweredIsNotWritten)
{
    monitor->setPresent(false);
    start();
    EXPECT_FALSE(set(40));
    EXPECT_EQ(get(), nothing);
    EXPECT_FALSE(set(40));
    EXPECT_EQ(valuesSet(*monitor).size(), 0u);
}

TEST_F(DisplayBusEngineTest, aDeadBusIsWaitedForOnceAndNeverAgain)
{
    monitor->setPresent(false);
    start();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(get(), nothing);
        time->advance(33ms);
    }
    EXPECT_LE(totalBlocked, 400ms);
    EXPECT_EQ(engine->problem(), Kind::notAnswering);
}

TEST_F(DisplayBusEngineTest, aDeadBusIsAskedLessAndLess)
{
    monitor->setPresent(false);
    start();
    time->advance(10min);
    const std::size_t opens = devices->opens();
    EXPECT_LE(opens, 10u);
    time->advance(1h);
    EXPECT_EQ(devices->opens(), opens) << "on demand only";
    get();
    time->advance(2s);
    EXPECT_GT(devices->opens(), opens);
}

TEST_F(DisplayBusEngineTest, aMonitorThatWakesIsFoundWithoutAnyoneAsking)
{
    monitor->setPresent(false);
    start();
    EXPECT_EQ(get(), nothing);
    time->advance(2s);
    monitor->setPresent(true);
    changes = 0;
    time->advance(5s);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(get(), Answer(std::pair(37, 100)));
}

struct ToleranceRow {
    const char* what;
    std::function<void(EngineBench&)> prepare;
    Answer expected;
};

void withQuirks(EngineBench& test, const MonitorQuirks& quirks)
{
    test.monitor->setQuirks(quirks);
}

// clang-format off
const std::vector<ToleranceRow> toleranceRows{
    {"a good monitor",                 [](auto&) {},                                                    {{37, 100}}},
    {"ENXIO three times",              [](auto& t) { t.monitor->failNext(3, ENXIO); },                  {{37, 100}}},
    {"EREMOTEIO three times",          [](auto& t) { t.monitor->failNext(3, EREMOTEIO); },              {{37, 100}}},
    {"EIO three times",                [](auto& t) { t.monitor->failNext(3, EIO); },                    {{37, 100}}},
    {"ETIMEDOUT three times",          [](auto& t) { t.monitor->failNext(3, ETIMEDOUT); },              {{37, 100}}},
    {"EAGAIN three times",             [](auto& t) { t.monitor->failNext(3, EAGAIN); },                 {{37, 100}}},
    {"ESHUTDOWN three times",          [](auto& t) { t.monitor->failNext(3, ESHUTDOWN); },              {{37, 100}}},
    {"EBADMSG three times",            [](auto& t) { t.monitor->failNext(3, EBADMSG); },                {{37, 100}}},
    {"NACK for good",                  [](auto& t) { t.monitor->failNext(1000, ENXIO); },               nothing},
    {"garbage",                        [](auto& t) { withQuirks(t, {.garbage = true}); },               nothing},
    {"empty replies",                  [](auto& t) { withQuirks(t, {.emptyReplies = true}); },          nothing},
    {"too slow",                       [](auto& t) { withQuirks(t, {.replyPreparation = 60ms}); },      nothing},
    {"five leading bytes",             [](auto& t) { withQuirks(t, {.leadingBytes = 5}); },             {{37, 100}}},
    {"six leading bytes",              [](auto& t) { withQuirks(t, {.leadingBytes = 6}); },             {{37, 100}}},
    {"seven leading bytes",            [](auto& t) { withQuirks(t, {.leadingBytes = 7}); },             nothing},
    {"padded with 0xFF",               [](auto& t) { withQuirks(t, {.padding = 0xFF}); },               {{37, 100}}},
    {"unsupported",                    [](auto& t) { withQuirks(t, {.resultCode = 1}); },               nothing},
    {"another result code",            [](auto& t) { withQuirks(t, {.resultCode = 7}); },               nothing},
    {"maximum 0, handed up as it is",  [](auto& t) { withQuirks(t, {.reportedMaximum = 0}); },          {{37, 0}}},
    {"maximum 0xFF64",                 [](auto& t) { withQuirks(t, {.reportedMaximum = 0xFF64}); },     {{37, 100}}},
    {"maximum 0xFF00, as it is",       [](auto& t) { withQuirks(t, {.reportedMaximum = 0xFF00}); },     {{37, 0xFF00}}},
    {"maximum 0xFE64, as it is",       [](auto& t) { withQuirks(t, {.reportedMaximum = 0xFE64}); },     {{37, 0xFE64}}},
    {"the reply before the last",      [](auto& t) { withQuirks(t, {.repliesLate = true}); },           {{37, 100}}},
    {"a wrong sum, always",            [](auto& t) { withQuirks(t, {.wrongChecksum = true}); },         {{37, 100}}},
    {"a driver without messages",      [](auto& t) { t.devices->knowNoMessages(); },                    {{37, 100}}},
    {"so, and its address in use",     [](auto& t) { t.devices->knowNoMessages(); t.devices->failChoose(2, EBUSY); }, {{37, 100}}},
    {"another program has the lock",   [](auto& t) { t.devices->failLock(2, EWOULDBLOCK); },            {{37, 100}}},
    {"interrupted adapter removal",    [](auto& t) { t.devices->remove(t.device); },                      nothing},
};
// clang-format on

TEST_F(DisplayBusEngineTest, everyOddityIsToleratedOrGivenUpWithinTheBudget)
{
    for (const ToleranceRow& row : toleranceRows) {
        SCOPED_TRACE(row.what);
        EngineBench one;
        row.prepare(one);
        one.start();
        EXPECT_EQ(one.get(), row.expected);
        one.time->advance(5s);
        EXPECT_EQ(one.get(), row.expected);
        EXPECT_LE(one.totalBlocked, 400ms);
    }
}

TEST_F(DisplayBusEngineTest, aBurstEndsOnItsLastValueWhateverTheOddity)
{
    for (const ToleranceRow& row : toleranceRows) {
        if (row.expected != Answer(std::pair(37, 100)))
            continue;
        SCOPED_TRACE(row.what);
        EngineBench one;
        row.prepare(one);
        one.startAndDiscover();
        one.holdKey(37, 20);
        EXPECT_LE(one.blocked, 30ms);
        one.time->advance(2s);
        EXPECT_EQ(one.monitor->volume(), 57);
        EXPECT_EQ(one.get(), Answer(std::pair(57, 100)));
    }
}

TEST(ColdBudgetTest, connectorsThatFlapDoNotRefillIt)
{
    const WorkerTime::Time now{};
    DiscoveryBudget budget;
    EXPECT_EQ(budget.left(), 0ms);
    budget.grant(now);
    budget.spend(150ms);
    budget.grant(now + 9s);
    EXPECT_EQ(budget.left(), 250ms);
    budget.spend(1s);
    EXPECT_EQ(budget.left(), 0ms);
    budget.grant(now + 10s);
    EXPECT_EQ(budget.left(), 400ms);
}

TEST_F(DisplayBusEngineTest, aMonitorWithoutTheFeatureIsAskedOnce)
{
    monitor->setQuirks({.resultCode = 1});
    start();
    EXPECT_EQ(get(), nothing);
    EXPECT_LE(blocked, 60ms);
    time->advance(1min);
    EXPECT_EQ(getsAsked(*monitor), 1);
}

TEST_F(DisplayBusEngineTest, stoppingWritesWhatWasAccepted)
{
    startAndDiscover();
    EXPECT_TRUE(set(40));
    EXPECT_TRUE(set(41));
    const auto began = time->now();
    engine.reset();
    EXPECT_LE(time->now() - began, 60ms);
    EXPECT_EQ(monitor->volume(), 41);
}

TEST_F(DisplayBusEngineTest, aReplyLostNowAndThenDoesNotChangeTheVolumeShown)
{
    monitor->setQuirks({.repliesLate = true});
    startAndDiscover();
    time->advance(1s);
    for (int value : {40, 55, 12}) {
        EXPECT_TRUE(set(value));
        time->advance(2s);
        EXPECT_EQ(get(), Answer(std::pair(value, 100)));
    }
}

TEST_F(DisplayBusEngineTest, aMonitorHasItsPauseAlsoWhenAnotherEngineServesItByThen)
{
    const auto gate = std::make_shared<CardGate>(time);
    const BusNews silent{[] {}, [] {}, [] {}};
    BusEngine before(device, devices, time, gate, silent);
    time->advance(200ms);
    EXPECT_EQ(before.setVolume(40), 0);
    before.beginStop();
    BusEngine after(device, devices, time, gate, silent);
    time->advance(200ms);
    EXPECT_EQ(valuesSet(*monitor), std::vector<std::uint16_t>{40});
    EXPECT_EQ(getsAsked(*monitor), 2);
}

TEST_F(DisplayBusEngineTest, twoBusesOfACardAreNeverUsedAtOnce)
{
    const auto gate = std::make_shared<CardGate>(time);
    const auto other = std::make_shared<SimulatedMonitor>();
    devices->connect("/dev/i2c-6", other);
    const BusNews silent{[] {}, [] {}, [] {}};
    BusEngine first(device, devices, time, gate, silent);
    BusEngine second("/dev/i2c-6", devices, time, gate, silent);
    time->advance(200ms);
    const auto mine = monitor->journal();
    const auto theirs = other->journal();
    ASSERT_EQ(mine.size(), 2u);
    ASSERT_EQ(theirs.size(), 2u);
    EXPECT_TRUE(mine[1].at < theirs[0].at || theirs[1].at < mine[0].at);
}

} // namespace
} // namespace quenstal
