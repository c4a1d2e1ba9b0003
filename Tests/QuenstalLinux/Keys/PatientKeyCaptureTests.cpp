#include "QuenstalLinux/Keys/FakeWay.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/PatientKeyCapture.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct PatientKeyCaptureTest : testing::Test, KeyCaptureListener {
    void volumeKeyDown(std::int64_t button, bool) override { presses.push_back(button); }
    void captureLost() override { ++losses; }

    /// As the program does: it starts what may have become possible, and what was lost.
    void keepStartedAndLosing(RunLoop::Duration duration)
    {
        const auto tryAgain = [this] {
            if (way.listener == nullptr && capture.isPossible())
                capture.start(*this);
            if (way.listener)
                way.lose();
        };
        const auto waiting = capture.onMayHaveChanged(tryAgain);
        const auto turns = loop.repeat(10ms, tryAgain);
        loop.advance(duration);
    }

    SimulatedRunLoop loop;
    FakeWay way{loop, "a way"};
    PatientKeyCapture capture{loop, way};
    std::vector<std::int64_t> presses;
    int losses = 0;
};

// --- What works is kept ---

TEST_F(PatientKeyCaptureTest, stoppedAndStartedOnOneTurnTheWayIsLeftAsItIs)
{
    way.possible = true;
    ASSERT_TRUE(capture.start(*this));
    capture.stop();
    ASSERT_TRUE(capture.start(*this));
    loop.runUntilIdle();
    EXPECT_EQ(way.startCount, 1);
    EXPECT_EQ(way.stops, 0);
    way.listener->volumeKeyDown(1, false);
    EXPECT_THAT(presses, ElementsAre(1));
}

TEST_F(PatientKeyCaptureTest, stoppedForGoodTheKeysGoBackOnTheNextTurn)
{
    way.possible = true;
    ASSERT_TRUE(capture.start(*this));
    capture.stop();
    way.listener->volumeKeyDown(1, false);
    loop.runUntilIdle();
    EXPECT_EQ(way.listener, nullptr);
    EXPECT_THAT(presses, testing::IsEmpty());
}

TEST_F(PatientKeyCaptureTest, atItsEndTheKeysGoBack)
{
    way.possible = true;
    {
        PatientKeyCapture other(loop, way);
        ASSERT_TRUE(other.start(*this));
    }
    EXPECT_EQ(way.listener, nullptr);
}

TEST_F(PatientKeyCaptureTest, aWayLostAfterItWasStoppedIsNoLossToAnyone)
{
    way.possible = true;
    ASSERT_TRUE(capture.start(*this));
    capture.stop();
    way.lose();
    loop.runUntilIdle();
    EXPECT_EQ(losses, 0);
    EXPECT_EQ(way.stops, 0);
}

// --- What is lost again and again is left alone ---

TEST_F(PatientKeyCaptureTest, aFirstLossIsTriedAgainAtOnce)
{
    way.possible = true;
    ASSERT_TRUE(capture.start(*this));
    way.lose();
    EXPECT_EQ(losses, 1);
    EXPECT_TRUE(capture.isPossible());
    EXPECT_TRUE(capture.start(*this));
}

TEST_F(PatientKeyCaptureTest, aWayThatLosesAtOnceIsTriedSevenTimesInAMinuteAndThenTwiceAMinute)
{
    way.possible = true;
    keepStartedAndLosing(1min);
    // At 0, 0, 1, 3, 7, 15 and 31 seconds.
    EXPECT_EQ(way.startCount, 7);
    keepStartedAndLosing(10min);
    EXPECT_EQ(way.startCount, 7 + 20);
}

TEST_F(PatientKeyCaptureTest, aWayThatDoesNotEvenStartCountsAsLost)
{
    way.possible = true;
    way.starts = false;
    keepStartedAndLosing(1min);
    EXPECT_EQ(way.startCount, 7);
}

TEST_F(PatientKeyCaptureTest, meanwhileTheUserIsToldAndThereforeHearsOfTheEnd)
{
    way.possible = true;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(capture.start(*this));
        way.lose();
    }
    EXPECT_FALSE(capture.isPossible());
    EXPECT_FALSE(capture.start(*this));
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("lost again as soon as they are captured"));
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    loop.runUntilIdle();
    changes = 0;
    loop.advance(Backoff::shortestPause);
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(capture.isPossible());
    EXPECT_EQ(capture.obstacle(), "");
}

TEST_F(PatientKeyCaptureTest, whatHeldForAWhileIsTriedAgainAtOnce)
{
    way.possible = true;
    keepStartedAndLosing(1min);
    loop.advance(Backoff::longestPause);
    ASSERT_TRUE(capture.start(*this));
    loop.advance(Backoff::probation);
    way.lose();
    EXPECT_TRUE(capture.isPossible());
}

TEST_F(PatientKeyCaptureTest, aWayThatKnowsWhatStandsInItsWayWaitsByItself)
{
    way.possible = true;
    way.why = "free the keys";
    ASSERT_TRUE(capture.start(*this));
    way.lose();
    ASSERT_TRUE(capture.start(*this));
    way.possible = false;
    way.lose();
    EXPECT_EQ(capture.obstacle(), "free the keys");
    way.possible = true;
    EXPECT_TRUE(capture.isPossible());
}

TEST_F(PatientKeyCaptureTest, aTapThatIsMadeAnewTakesTheRunningWayOver)
{
    way.possible = true;
    LinuxEventTaps taps(loop, {&capture});
    const auto note = [](EventType, const TapEvent* event, void* seen) {
        *static_cast<int*>(seen) += 1;
        return event;
    };
    int seen = 0;
    for (int restart = 0; restart < 3; ++restart) {
        const auto tap = taps.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert,
            EventTapOptions::active, EventMask{1} << eventTypeSystemDefined, note, &seen);
        const auto source = tap->createRunLoopSource();
        source->addToMainRunLoop();
        tap->enable(true);
        way.listener->volumeKeyDown(AuxiliaryButton::mute, false);
    }
    EXPECT_EQ(seen, 3);
    EXPECT_EQ(way.startCount, 1);
}

} // namespace
} // namespace quenstal
