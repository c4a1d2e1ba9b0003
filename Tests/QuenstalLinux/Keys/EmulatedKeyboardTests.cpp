// The real capture against emulated keyboards: the device nodes are answered by the test, in place of the kernel.

#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/EmulatedKeyboard.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

namespace {

std::atomic<bool> isOutOfProcesses = false;

} // namespace

/// In place of the system's own, for whoever asks for a process here.
extern "C" pid_t fork() noexcept
{
    static const auto systemsOwn = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"));
    errno = EAGAIN;
    return isOutOfProcesses ? -1 : systemsOwn();
}

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct EmulatedKeyboardTest : testing::Test, KeyCaptureListener {
    void SetUp() override
    {
        if (!EmulatedKeyboard::isPossible())
            GTEST_SKIP() << "umockdev is not preloaded";
        keyboard = std::make_unique<EmulatedKeyboard>();
    }

    void volumeKeyDown(std::int64_t button, bool isRepeat) override { presses.emplace_back(button, isRepeat); }
    void captureLost() override { ++losses; }

    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }

    std::unique_ptr<EmulatedKeyboard> keyboard;
    SimulatedRunLoop loop;
    std::vector<std::pair<std::int64_t, bool>> presses;
    int losses = 0;
};

TEST_F(EmulatedKeyboardTest, volumeKeysAreSwallowedAndEverythingElseReachesTheClone)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.isPossible());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    EXPECT_EQ(keyboard->clones(), 1);
    keyboard->type({{KEY_A, 1}, {KEY_A, 0}, {KEY_VOLUMEUP, 1}, {KEY_VOLUMEUP, 2}, {KEY_VOLUMEUP, 0}, {KEY_B, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 4; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0", "1 115 0", "1 48 1"));
    EXPECT_TRUE(eventually([&] { return presses.size() == 2; }));
    EXPECT_THAT(
        presses, ElementsAre(std::pair(AuxiliaryButton::soundUp, false), std::pair(AuxiliaryButton::soundUp, true)));
}

TEST_F(EmulatedKeyboardTest, stoppingFreesTheKeyboardAndRemovesTheClone)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    capture.stop();
    EXPECT_FALSE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->clones(), 0);
    EXPECT_TRUE(capture.isPossible());
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, theKeyboardIsNotTakenWhileAKeyIsHeld)
{
    keyboard->holdKey(true);
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    poll(nullptr, 0, 100);
    EXPECT_FALSE(keyboard->isGrabbed());
    keyboard->holdKey(false);
    keyboard->type({{KEY_A, 0}});
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, aKeyHeldForEverIsALossThatMakesNoCloneAndEndsWhenItIsLetGoOf)
{
    keyboard->holdKey(true);
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    loop.runUntilIdle();
    changes = 0;
    loop.advance(1h);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(keyboard->clonesEver(), 0);
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("A key is being held down"));
    keyboard->holdKey(false);
    keyboard->type({{KEY_A, 0}});
    ASSERT_TRUE(eventually([&] { return changes == 1; }));
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, whatIsNoKeyPassesToo)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->tell({{EV_MSC, MSC_SCAN, 30}, {EV_MSC, MSC_RAW, 7}, {EV_KEY, KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return presses.size() == 1; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("4 4 30", "4 3 7"));
}

TEST_F(EmulatedKeyboardTest, theKeyboardShowsTheLightsOfItsClone)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->setLight(LED_CAPSL, true);
    ASSERT_TRUE(eventually([&] { return keyboard->lights().size() == 1; }));
    keyboard->setLight(LED_CAPSL, false);
    ASSERT_TRUE(eventually([&] { return keyboard->lights().size() == 2; }));
    EXPECT_THAT(keyboard->lights(), ElementsAre("17 1 1", "17 1 0"));
    // The reader waits for the next light no longer than for the next key.
    keyboard->type({{KEY_A, 1}});
    EXPECT_TRUE(eventually([&] { return keyboard->passed().size() == 1; }));
}

TEST_F(EmulatedKeyboardTest, aReleaseThatTheKernelDroppedIsMadeUpFor)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->tell({{EV_KEY, KEY_A, 1}, {EV_SYN, SYN_DROPPED, 0}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 2; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0"));
    EXPECT_TRUE(keyboard->isGrabbed());
    EXPECT_EQ(losses, 0);
}

TEST_F(EmulatedKeyboardTest, aKeyboardPulledOutWithAKeyDownIsALossAndItsCloneGoes)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->pullOutAfterAKey();
    keyboard->type({{KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 1; }));
    keyboard->tell({{EV_SYN, SYN_DROPPED, 0}});
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0"));
    EXPECT_EQ(keyboard->clones(), 0);
}

TEST_F(EmulatedKeyboardTest, theAnnouncedRemovalOfTheLastKeyboardIsALoss)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->announceRemoval();
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture.isPossible());
    EXPECT_EQ(capture.obstacle(), "No keyboard with volume keys is connected.");
    EXPECT_EQ(keyboard->clones(), 0);
}

TEST_F(EmulatedKeyboardTest, aKeyboardThatComesAfterTheLastOneWentIsToldAndTaken)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    keyboard->announceRemoval();
    ASSERT_TRUE(eventually([&] { return changes == 1; }));
    EXPECT_FALSE(capture.isPossible());
    keyboard->plugInAnother();
    ASSERT_TRUE(eventually([&] { return changes == 2; }));
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, theGuardStandsBeforeTheKeyboardIsGrabbed)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    capture.stop();
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    EXPECT_TRUE(keyboard->wasAlwaysGuarded());
}

TEST_F(EmulatedKeyboardTest, withoutAGuardNothingIsGrabbedAndTheKeyboardsAreLeftAloneForAWhile)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    isOutOfProcesses = true;
    ASSERT_TRUE(capture.start(*this));
    const bool isLost = eventually([&] { return losses == 1; });
    isOutOfProcesses = false;
    EXPECT_TRUE(isLost);
    EXPECT_EQ(keyboard->grabs(), 0);
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("out of processes"));
    loop.advance(EvdevKeyCapture::pause);
    EXPECT_TRUE(capture.isPossible());
}

TEST_F(EmulatedKeyboardTest, aKeyboardWithoutACloneIsNotGrabbedAndLeftAloneForAWhile)
{
    keyboard->refuseClones(true);
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_EQ(keyboard->grabs(), 0);
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("cannot create a copy of the keyboard (uinput)"));
    keyboard->refuseClones(false);
    loop.advance(EvdevKeyCapture::pause);
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, aSecondKeyboardIsTakenTooWhileTheKeysAreCaptured)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed() && keyboard->clones() == 1; }));
    keyboard->plugInAnother();
    EXPECT_TRUE(eventually([&] { return keyboard->grabs() == 2 && keyboard->clones() == 2; }));
    EXPECT_EQ(keyboard->clonesEver(), 2);
    keyboard->type({{KEY_MUTE, 1}});
    EXPECT_TRUE(eventually([&] { return presses.size() == 1; }));
    EXPECT_EQ(losses, 0);
}

TEST_F(EmulatedKeyboardTest, aNodeWithOneOfTheKeysIsTakenToo)
{
    keyboard->plugInAnother(EmulatedKeyboard::muteAlone);
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->grabs() == 2 && keyboard->clones() == 2; }));
}

TEST_F(EmulatedKeyboardTest, withoutUinputNothingIsGrabbedAndTheUserIsToldWhatHelps)
{
    keyboard->removeUinput();
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("Quenstal does not have access to the keyboard."));
    EXPECT_FALSE(capture.start(*this));
    EXPECT_FALSE(keyboard->isGrabbed());
}

TEST_F(EmulatedKeyboardTest, aReaderThatStallsLosesTheKeyboardToItsUser)
{
    std::promise<void> endOfStall;
    std::atomic<int> stalls = 0;
    std::atomic<bool> isStalled = false;
    const auto stall = [&, end = endOfStall.get_future().share()](std::int64_t, bool) {
        isStalled = true;
        end.wait();
    };
    const auto count = [&](KeyGrabber::Loss loss) { stalls += loss == KeyGrabber::Loss::stalled ? 1 : 0; };
    const KeyGrabber grabber(EmulatedKeyboard::node, EmulatedKeyboard::shortPatience(), {stall, count});
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->type({{KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return isStalled.load(); }));
    keyboard->type({{KEY_A, 1}});
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed() && keyboard->hasAnsweredAll(); }));
    endOfStall.set_value();
    EXPECT_TRUE(eventually([&] { return stalls == 1 && keyboard->clones() == 0; }));
}

TEST_F(EmulatedKeyboardTest, aLostKeyboardDisablesTheTapByTimeout)
{
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    LinuxEventTaps taps(loop, {&capture});
    std::vector<EventType> told;
    const auto note = [](EventType type, const TapEvent* event, void* userInfo) {
        static_cast<std::vector<EventType>*>(userInfo)->push_back(type);
        return event;
    };
    const auto tap = taps.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert,
        EventTapOptions::active, EventMask(1) << eventTypeSystemDefined, note, &told);
    ASSERT_NE(tap, nullptr);
    const auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->pullOutAfterAKey();
    keyboard->type({{KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 1; }));
    keyboard->tell({{EV_SYN, SYN_DROPPED, 0}});
    EXPECT_TRUE(eventually([&] { return !told.empty(); }));
    EXPECT_THAT(told, ElementsAre(eventTypeTapDisabledByTimeout));
}

TEST_F(EmulatedKeyboardTest, aKeyboardThatAnotherProgramHasTakenIsALossAndLeftAloneForAWhile)
{
    keyboard->refuseGrab(true);
    EvdevKeyCapture capture(loop, firstSeat, EmulatedKeyboard::shortPatience());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("Another program has taken over the keyboard"));
    EXPECT_FALSE(capture.start(*this));
    EXPECT_EQ(keyboard->clones(), 0);
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    loop.advance(EvdevKeyCapture::pause);
    EXPECT_EQ(changes, 1);
    keyboard->refuseGrab(false);
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

} // namespace
} // namespace quenstal
