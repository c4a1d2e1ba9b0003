#include "QuenstalDDC/DDC.hpp"
#include "QuenstalDDC/DDCBus.hpp"
#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Calls = std::vector<std::string>;
using Bytes = std::vector<std::uint8_t>;
using Call = SimulatedDisplayBuses::Call;
using testing::ElementsAre;

constexpr PlatformStatus someStatus = 5;

struct DDCTest : testing::Test {
    /// A monitor that is ready again at once, so that tests of bytes need not think of time.
    static std::shared_ptr<SimulatedMonitor> monitor(std::uint16_t volume = 37, std::uint16_t maximum = 100)
    {
        return std::make_shared<SimulatedMonitor>(
            MonitorDescription{.volume = volume, .maximum = maximum, .quirks = {.busyAfterSet = {}}});
    }

    static std::shared_ptr<SimulatedMonitor> monitorReplying(Bytes reply)
    {
        auto answering = monitor();
        answering->setQuirks({.rawReply = std::move(reply)});
        return answering;
    }

    QSDDCVolume read(std::shared_ptr<SimulatedMonitor> from)
    {
        buses.framebuffers = {{std::move(from)}};
        QSDDCVolume volume;
        lastResult = QSDDCReadSpeakerVolume(buses, &volume);
        return volume;
    }

    ~DDCTest() override { EXPECT_EQ(buses.outstanding(), 0u) << "something was not given back"; }

    SimulatedRunLoop loop;
    SimulatedDisplayBuses buses{loop};
    bool lastResult = false;
};

TEST_F(DDCTest, aReadOpensTheBusAsksAndGivesEverythingBackInReverseOrder)
{
    EXPECT_EQ(read(monitor()), (QSDDCVolume{37, 100}));
    EXPECT_TRUE(lastResult);
    EXPECT_EQ(buses.calls(),
        (Calls{"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "send fb0.0: 51 82 01 62 de",
            "close fb0.0", "release fb0.0", "release fb0", "release iterator"}));
}

TEST_F(DDCTest, theRequestOfAGetHasEveryFieldOfTheTable)
{
    read(monitor());
    const I2CRequest& request = buses.requests().at(0);
    EXPECT_EQ(request.sendTransactionType, I2CTransactionType::simple);
    EXPECT_EQ(static_cast<int>(request.sendTransactionType), 1);
    EXPECT_EQ(request.replyTransactionType, I2CTransactionType::ddcciReply);
    EXPECT_EQ(static_cast<int>(request.replyTransactionType), 2);
    EXPECT_EQ(request.sendAddress, 0x6Eu);
    EXPECT_EQ(request.replyAddress, 0x6Fu);
    EXPECT_EQ(request.sendSubAddress, 0);
    EXPECT_EQ(request.replySubAddress, 0);
    EXPECT_EQ(request.minReplyDelay, 50'000'000u);
    EXPECT_EQ(request.commFlags, 0u);
    EXPECT_EQ(request.sendBytes, 5u);
    EXPECT_NE(request.replyBuffer, nullptr);
    EXPECT_EQ(request.replyBytes, 16u);
    EXPECT_EQ(request.result, 0);
}

TEST_F(DDCTest, theRequestOfASetWantsNoReplyAndKeepsAddressAndDelay)
{
    buses.framebuffers = {{monitor()}};
    ASSERT_TRUE(QSDDCSetSpeakerVolume(buses, 50));
    const I2CRequest& request = buses.requests().at(1);
    EXPECT_EQ(request.sendTransactionType, I2CTransactionType::simple);
    EXPECT_EQ(request.replyTransactionType, I2CTransactionType::none);
    EXPECT_EQ(static_cast<int>(request.replyTransactionType), 0);
    EXPECT_EQ(request.sendAddress, 0x6Eu);
    EXPECT_EQ(request.replyAddress, 0x6Fu);
    EXPECT_EQ(request.minReplyDelay, 50'000'000u);
    EXPECT_EQ(request.sendBytes, 7u);
    EXPECT_EQ(request.replyBuffer, nullptr);
    EXPECT_EQ(request.replyBytes, 0u);
}

struct ReplyRow {
    const char* what;
    Bytes reply;
    bool accepted;
    QSDDCVolume volume;
};

TEST_F(DDCTest, aReplyIsFoundAtSevenPositionsAndNothingElseOfItIsLookedAt)
{
    // clang-format off
    const std::vector<ReplyRow> rows{
        {"usual place",              {0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 37, 0xA5},                        true,  {37, 100}},
        {"one byte in front",        {9, 0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 37, 0},                        true,  {37, 100}},
        {"opcode at 8, values at 12", {9, 9, 9, 9, 9, 9, 9, 9, 2, 0, 0x62, 0, 1, 2, 3, 4},                    true,  {0x304, 0x102}},
        {"opcode at 9",              {9, 9, 9, 9, 9, 9, 9, 9, 9, 2, 0, 0x62, 0, 0, 100, 0},                   false, {0, 0}},
        {"opcode at 1",              {0x6E, 2, 0, 0x62, 0, 0, 100, 0, 37},                                    false, {0, 0}},
        {"the first match wins",     {0x6E, 0x88, 2, 0, 0x62, 2, 0, 0x62, 0, 37, 0, 0, 0, 0, 0, 0},           true,  {37, 0x62}},
        {"length, type, sum wrong",  {0, 0, 2, 0, 0x62, 0xFF, 0, 100, 0, 37, 0xFF},                           true,  {37, 100}},
        {"result: unsupported",      {0x6E, 0x88, 2, 1, 0x62, 0, 0, 100, 0, 37, 0},                           false, {0, 0}},
        {"another feature",          {0x6E, 0x88, 2, 0, 0x10, 0, 0, 100, 0, 37, 0},                           false, {0, 0}},
        {"empty message",            {0x6E, 0x80, 0xBE},                                                      false, {0, 0}},
        {"all zero",                 {},                                                                      false, {0, 0}},
        {"big-endian",               {0x6E, 0x88, 2, 0, 0x62, 0, 0xFF, 0xFF, 0x12, 0x34},                     true,  {0x1234, 0xFFFF}},
        {"current above maximum",    {0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 200},                             true,  {200, 100}},
        {"maximum 0 is 100",         {0x6E, 0x88, 2, 0, 0x62, 0, 0, 0, 0, 37},                                true,  {37, 100}},
    };
    // clang-format on
    for (const ReplyRow& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(read(monitorReplying(row.reply)), row.volume);
        EXPECT_EQ(lastResult, row.accepted);
    }
}

struct SetRow {
    const char* what;
    std::uint32_t value;
    std::uint16_t maximum;
    const char* sent;
};

TEST_F(DDCTest, aSetIsLimitedToTheMaximumAndSummedUp)
{
    // clang-format off
    const std::vector<SetRow> rows{
        {"as asked",              40,          100,    "send fb0.0: 51 84 03 62 00 28 f2"},
        {"above the maximum",     250,         100,    "send fb0.0: 51 84 03 62 00 64 be"},
        {"maximum 0 is 100",      250,         0,      "send fb0.0: 51 84 03 62 00 64 be"},
        {"two bytes",             0x0123,      0xFFFF, "send fb0.0: 51 84 03 62 01 23 f8"},
        {"silence",               0,           100,    "send fb0.0: 51 84 03 62 00 00 da"},
        {"compared as unsigned",  0xFFFFFFFFu, 50,     "send fb0.0: 51 84 03 62 00 32 e8"},
    };
    // clang-format on
    for (const SetRow& row : rows) {
        SCOPED_TRACE(row.what);
        buses.framebuffers = {{monitor(37, row.maximum)}};
        EXPECT_TRUE(QSDDCSetSpeakerVolume(buses, row.value));
        const Calls& calls = buses.calls();
        EXPECT_THAT(Calls(calls.end() - 6, calls.end()),
            ElementsAre("send fb0.0: 51 82 01 62 de", row.sent, "close fb0.0", "release fb0.0", "release fb0",
                "release iterator"));
    }
}

TEST_F(DDCTest, aBusThatDoesNotAnswerAReadIsNeverWritten)
{
    buses.framebuffers = {{monitorReplying({})}};
    EXPECT_FALSE(QSDDCSetSpeakerVolume(buses, 40));
    EXPECT_EQ(buses.requests().size(), 1u);
}

TEST_F(DDCTest, aRefusedSetGoesOnToTheNextBus)
{
    auto refusing = monitor();
    refusing->setQuirks({.busyAfterSet = {}, .refusesSets = true});
    auto willing = monitor();
    buses.framebuffers = {{refusing, willing}};
    EXPECT_TRUE(QSDDCSetSpeakerVolume(buses, 40));
    EXPECT_EQ(refusing->volume(), 37);
    EXPECT_EQ(willing->volume(), 40);
}

TEST_F(DDCTest, theFirstBusThatAnswersIsTheLastOneOpened)
{
    buses.framebuffers = {{monitor(), monitor()}, {monitor()}};
    EXPECT_TRUE(QSDDCProbeSpeakerVolume(buses));
    EXPECT_EQ(buses.calls(),
        (Calls{"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "send fb0.0: 51 82 01 62 de",
            "close fb0.0", "release fb0.0", "release fb0", "release iterator"}));
}

TEST_F(DDCTest, everyBusOfEveryFramebufferIsTriedInOrder)
{
    buses.framebuffers = {{nullptr, nullptr}, {}, {nullptr, monitor(12, 50)}};
    QSDDCVolume volume;
    EXPECT_TRUE(QSDDCReadSpeakerVolume(buses, &volume));
    EXPECT_EQ(volume, (QSDDCVolume{12, 50}));
    EXPECT_EQ(buses.calls(),
        (Calls{"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "send fb0.0: 51 82 01 62 de",
            "close fb0.0", "release fb0.0", "copy fb0.1", "open fb0.1", "send fb0.1: 51 82 01 62 de", "close fb0.1",
            "release fb0.1", "release fb0", "next -> fb1", "count fb1", "release fb1", "next -> fb2", "count fb2",
            "copy fb2.0", "open fb2.0", "send fb2.0: 51 82 01 62 de", "close fb2.0", "release fb2.0", "copy fb2.1",
            "open fb2.1", "send fb2.1: 51 82 01 62 de", "close fb2.1", "release fb2.1", "release fb2",
            "release iterator"}));
}

struct FaultRow {
    const char* what;
    Call call;
    const char* object;
    bool handsOutNull;
    Calls calls;
};

TEST_F(DDCTest, everyFailureGivesBackWhatWasObtainedBeforeIt)
{
    // clang-format off
    const std::vector<FaultRow> rows{
        {"no services",      Call::getMatchingFramebuffers, "",      false, {"matching"}},
        {"null iterator",    Call::getMatchingFramebuffers, "",      true,  {"matching"}},
        {"count fails",      Call::getI2CInterfaceCount,    "fb0",   false, {"matching", "next -> fb0", "count fb0", "release fb0", "next -> none", "release iterator"}},
        {"copy fails",       Call::copyI2CInterfaceForBus,  "fb0.0", false, {"matching", "next -> fb0", "count fb0", "copy fb0.0", "release fb0", "next -> none", "release iterator"}},
        {"null interface",   Call::copyI2CInterfaceForBus,  "fb0.0", true,  {"matching", "next -> fb0", "count fb0", "copy fb0.0", "release fb0", "next -> none", "release iterator"}},
        {"open fails",       Call::openI2CInterface,        "fb0.0", false, {"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "release fb0.0", "release fb0", "next -> none", "release iterator"}},
        {"null connection",  Call::openI2CInterface,        "fb0.0", true,  {"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "release fb0.0", "release fb0", "next -> none", "release iterator"}},
        {"not carried",      Call::send,                    "fb0.0", false, {"matching", "next -> fb0", "count fb0", "copy fb0.0", "open fb0.0", "send fb0.0: 51 82 01 62 de", "close fb0.0", "release fb0.0", "release fb0", "next -> none", "release iterator"}},
    };
    // clang-format on
    for (const FaultRow& row : rows) {
        SCOPED_TRACE(row.what);
        SimulatedDisplayBuses faulty(loop);
        faulty.framebuffers = {{monitor()}};
        row.handsOutNull ? faulty.handOutNull(row.call, row.object) : faulty.failWith(row.call, row.object, someStatus);
        QSDDCVolume volume{1, 2};
        EXPECT_FALSE(QSDDCReadSpeakerVolume(faulty, &volume));
        EXPECT_EQ(volume, QSDDCVolume{});
        EXPECT_EQ(faulty.calls(), row.calls);
        EXPECT_EQ(faulty.outstanding(), 0u);
    }
}

TEST_F(DDCTest, aRequestThatWasCarriedMayStillHaveFailed)
{
    buses.framebuffers = {{nullptr}};
    EXPECT_FALSE(QSDDCProbeSpeakerVolume(buses));
    EXPECT_EQ(buses.calls().back(), "release iterator");
}

TEST_F(DDCTest, aReadIntoNothingFailsWithoutTouchingABus)
{
    buses.framebuffers = {{monitor()}};
    EXPECT_FALSE(QSDDCReadSpeakerVolume(buses, nullptr));
    EXPECT_EQ(buses.calls(), Calls{});
}

TEST_F(DDCTest, onABusAReadIntoNothingAsksAndFails)
{
    buses.framebuffers = {{monitor()}};
    const auto readIntoNothing
        = [](DisplayBuses& with, I2CConnection connection, void*) { return QSDDCReadOnBus(with, connection, nullptr); };
    EXPECT_FALSE(QSDDCWithEachBus(buses, readIntoNothing, nullptr));
    EXPECT_EQ(buses.requests().size(), 1u);
}

TEST_F(DDCTest, theOperationGetsItsContext)
{
    buses.framebuffers = {{nullptr}, {nullptr}};
    int visits = 0;
    const auto count = [](DisplayBuses&, I2CConnection, void* context) {
        ++*static_cast<int*>(context);
        return false;
    };
    EXPECT_FALSE(QSDDCWithEachBus(buses, count, &visits));
    EXPECT_EQ(visits, 2);
}

} // namespace
} // namespace quenstal
