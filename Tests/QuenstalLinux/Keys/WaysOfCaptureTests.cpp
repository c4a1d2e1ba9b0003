// What is made of several ways of capture: one answer to "may it", and taps over the best that is possible.

#include "QuenstalLinux/Keys/FakeWay.hpp"
#include "QuenstalLinux/Keys/LinuxCapturePermission.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalSimulation/SimulatedDesktop.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct WaysOfCaptureTest : testing::Test {
    static const TapEvent* note(EventType type, const TapEvent* event, void* self)
    {
        static_cast<WaysOfCaptureTest*>(self)->told.push_back(type);
        return event;
    }
    std::unique_ptr<EventTap> makeTap()
    {
        return taps.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert, EventTapOptions::active,
            EventMask{1} << eventTypeSystemDefined, note, this);
    }

    SimulatedRunLoop loop;
    SimulatedDesktop desktop;
    FakeWay better{loop, "the better way"};
    FakeWay other{loop, "the other way"};
    LinuxCapturePermission permission{desktop, {&better, &other}};
    LinuxEventTaps taps{loop, {&better, &other}};
    std::vector<EventType> told;
};

// --- The answer ---

TEST_F(WaysOfCaptureTest, onePossibleWayIsEnoughToBeTrusted)
{
    EXPECT_FALSE(permission.mayCaptureKeys());
    other.possible = true;
    EXPECT_TRUE(permission.mayCaptureKeys());
    EXPECT_EQ(permission.advice(), "");
}

TEST_F(WaysOfCaptureTest, theWayThatATapWouldTakeIsTold)
{
    EXPECT_EQ(permission.wayOfCapture(), "");
    other.possible = true;
    EXPECT_EQ(permission.wayOfCapture(), "the other way");
    better.possible = true;
    EXPECT_EQ(permission.wayOfCapture(), "the better way");
}

TEST_F(WaysOfCaptureTest, theAdviceIsWhatStandsInTheWayOfTheFirstThatHasSomethingToSay)
{
    other.why = "plug the keyboard in again";
    EXPECT_EQ(permission.advice(), "plug the keyboard in again");
    better.why = "free the keys";
    EXPECT_EQ(permission.advice(), "free the keys");
}

TEST_F(WaysOfCaptureTest, whenNoWayKnowsWhyThereIsStillAnAnswer)
{
    EXPECT_EQ(permission.advice(), "No keyboard with volume keys is connected.");
}

TEST_F(WaysOfCaptureTest, theUserIsToldOnlyWhenAskedForAndWhenThereIsSomethingToDo)
{
    better.why = "free the keys";
    EXPECT_THAT(desktop.notices(), IsEmpty());
    permission.explainIfMissing();
    EXPECT_THAT(desktop.notices(), ElementsAre("Let Quenstal use the volume keys: free the keys"));
    better.possible = true;
    permission.explainIfMissing();
    EXPECT_EQ(desktop.notices().size(), 1u);
}

TEST_F(WaysOfCaptureTest, aChangeOfAnyWayIsHeardUntilNobodyWaits)
{
    int changes = 0;
    auto waiting = permission.onMayHaveChanged([&] { ++changes; });
    better.changes.notify();
    loop.runUntilIdle();
    EXPECT_EQ(changes, 1);
    other.changes.notify();
    loop.runUntilIdle();
    EXPECT_EQ(changes, 2);
    waiting.reset();
    other.changes.notify();
    loop.runUntilIdle();
    EXPECT_EQ(changes, 2);
}

// --- The taps ---

TEST_F(WaysOfCaptureTest, aTapTakesTheFirstWayThatIsPossible)
{
    EXPECT_EQ(makeTap(), nullptr);
    other.possible = true;
    const auto overTheOther = makeTap();
    overTheOther->enable(true);
    EXPECT_NE(other.listener, nullptr);
    better.possible = true;
    const auto overTheBetter = makeTap();
    overTheBetter->enable(true);
    EXPECT_NE(better.listener, nullptr);
}

TEST_F(WaysOfCaptureTest, aTapThatGoesGivesTheKeysBack)
{
    better.possible = true;
    auto tap = makeTap();
    tap->enable(true);
    tap.reset();
    EXPECT_EQ(better.listener, nullptr);
}

TEST_F(WaysOfCaptureTest, aWayThatDoesNotStartAfterAllDisablesTheTapOnALaterTurn)
{
    better.possible = true;
    better.starts = false;
    const auto tap = makeTap();
    const auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    EXPECT_THAT(told, IsEmpty());
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre(eventTypeTapDisabledByTimeout));
}

TEST_F(WaysOfCaptureTest, aLostWayDisablesTheTapUnlessTheTapWentMeanwhile)
{
    better.possible = true;
    auto tap = makeTap();
    auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    better.listener->captureLost();
    source.reset();
    tap.reset();
    loop.runUntilIdle();
    EXPECT_THAT(told, IsEmpty());
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(WaysOfCaptureTest, offTheRunLoopNothingIsDelivered)
{
    better.possible = true;
    const auto tap = makeTap();
    const auto source = tap->createRunLoopSource();
    tap->enable(true);
    better.listener->volumeKeyDown(AuxiliaryButton::mute, false);
    source->addToMainRunLoop();
    better.listener->volumeKeyDown(AuxiliaryButton::mute, false);
    source->removeFromMainRunLoop();
    better.listener->volumeKeyDown(AuxiliaryButton::mute, false);
    EXPECT_THAT(told, ElementsAre(eventTypeSystemDefined));
}

} // namespace
} // namespace quenstal
