// The volume keys of a USB keyboard through the kernel's own input stack, on an emulated machine: the real capture,
// the real clone, and a holder that is killed, stopped or loses its keyboard.

#include "Machine/Emulator.hpp"
#include "Machine/Keyboards.hpp"
#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <csignal>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Key = KeyboardReader::Key;
using Press = std::pair<std::int64_t, bool>;

class PressLog final : public KeyCaptureListener {
public:
    void volumeKeyDown(std::int64_t button, bool isRepeat) override { presses.emplace_back(button, isRepeat); }
    void captureLost() override { ++losses; }

    std::vector<Press> presses;
    int losses = 0;
};

/// A process that holds the keyboard as the program does, until it is killed.
class Holder {
public:
    Holder()
        : process_(fork())
    {
        if (process_ == 0) {
            MachineLoop loop;
            PressLog log;
            EvdevKeyCapture capture(loop);
            if (!capture.start(log))
                _exit(1);
            loop.runUntil([] { return false; }, 120s);
            _exit(2);
        }
    }
    ~Holder() { end(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    /// Returns once none of its threads runs any more.
    void stop()
    {
        kill(process_, SIGSTOP);
        waitpid(process_, nullptr, WUNTRACED);
    }
    void end()
    {
        if (process_ <= 0)
            return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

private:
    pid_t process_;
};

struct MachineKeyboardTest : testing::Test {
    static void SetUpTestSuite()
    {
        if (Emulator::isPresent())
            loadModules("uinput");
    }

    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        ASSERT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
        keyboard = std::make_unique<UsbKeyboard>(machine());
    }

    static Emulator& machine()
    {
        static Emulator emulator;
        return emulator;
    }

    std::unique_ptr<UsbKeyboard> keyboard;
    MachineLoop loop;
    PressLog log;
};

TEST_F(MachineKeyboardTest, volumeKeysAreSwallowedAndAllOthersReachTheClone)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.isPossible()) << capture.obstacle();
    ASSERT_TRUE(capture.start(log));
    const auto clone = keyboard->openCloneOnceGrabbed();
    for (const char* key : {"a", "volumeup", "volumedown", "audiomute", "b"})
        machine().press(key);
    EXPECT_TRUE(loop.runUntil([&] { return log.presses.size() >= 3; }));
    EXPECT_THAT(log.presses,
        ElementsAre(Press(AuxiliaryButton::soundUp, false), Press(AuxiliaryButton::soundDown, false),
            Press(AuxiliaryButton::mute, false)));
    EXPECT_THAT(clone->keys(4), ElementsAre(Key(KEY_A, 1), Key(KEY_A, 0), Key(KEY_B, 1), Key(KEY_B, 0)));
    EXPECT_THAT(keyboard->itself().keys(), IsEmpty());
    EXPECT_EQ(log.losses, 0);
}

TEST_F(MachineKeyboardTest, aHeldVolumeKeyRepeatsAndAHeldLetterRepeatsOnTheClone)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    const auto clone = keyboard->openCloneOnceGrabbed();
    machine().keyDown("volumedown");
    EXPECT_TRUE(loop.runUntil([&] { return log.presses.size() >= 3; }));
    machine().keyUp("volumedown");
    ASSERT_GE(log.presses.size(), 2u);
    EXPECT_EQ(log.presses[0], Press(AuxiliaryButton::soundDown, false));
    EXPECT_EQ(log.presses[1], Press(AuxiliaryButton::soundDown, true));
    EXPECT_THAT(clone->keys(), IsEmpty());
    machine().keyDown("a");
    const std::vector<Key> repeated = clone->keys(3);
    machine().keyUp("a");
    ASSERT_GE(repeated.size(), 3u);
    EXPECT_EQ(repeated[0], Key(KEY_A, 1));
    EXPECT_EQ(repeated[1], Key(KEY_A, 2));
}

TEST_F(MachineKeyboardTest, stoppingGivesAllKeysBack)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    keyboard->openCloneOnceGrabbed();
    capture.stop();
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
    machine().press("volumeup");
    EXPECT_THAT(keyboard->itself().keys(2), ElementsAre(Key(KEY_VOLUMEUP, 1), Key(KEY_VOLUMEUP, 0)));
    loop.runFor(100ms);
    EXPECT_THAT(log.presses, IsEmpty());
}

TEST_F(MachineKeyboardTest, aLightSetOnTheCloneShinesOnTheKeyboard)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    const auto clone = keyboard->openCloneOnceGrabbed();
    for (const bool isLit : {true, false}) {
        clone->light(LED_CAPSL, isLit);
        EXPECT_TRUE(loop.runUntil([&] { return keyboard->itself().isLit(LED_CAPSL) == isLit; })) << isLit;
    }
}

TEST_F(MachineKeyboardTest, lightsStayAsTheyAreWhenTheKeyboardIsTakenAndGivenBack)
{
    keyboard->itself().light(LED_CAPSL, true);
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    const auto clone = keyboard->openCloneOnceGrabbed();
    EXPECT_TRUE(clone->isLit(LED_CAPSL));
    EXPECT_TRUE(keyboard->itself().isLit(LED_CAPSL));
    capture.stop();
    EXPECT_TRUE(keyboard->itself().isLit(LED_CAPSL));
    keyboard->itself().light(LED_CAPSL, false);
}

TEST_F(MachineKeyboardTest, aKilledHolderLeavesTheKeyboardFree)
{
    Holder holder;
    keyboard->openCloneOnceGrabbed();
    holder.end();
    EXPECT_TRUE(keyboard->becomesFree());
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
}

TEST_F(MachineKeyboardTest, aStoppedHolderLosesTheKeyboardToItsUser)
{
    Holder holder;
    const auto clone = keyboard->openCloneOnceGrabbed();
    holder.stop();
    machine().press("a");
    EXPECT_THAT(keyboard->itself().keys(), IsEmpty());
    EXPECT_TRUE(keyboard->becomesFree());
    EXPECT_THAT(clone->keys(), IsEmpty());
}

TEST_F(MachineKeyboardTest, aKeyboardPulledOutIsALossAndPluggedInAgainItCanBeCapturedAnew)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    keyboard->openCloneOnceGrabbed();
    int changes = 0;
    const Cancellation watch = capture.onMayHaveChanged([&] { ++changes; });
    machine().pullOut("keyboard");
    EXPECT_TRUE(loop.runUntil([&] { return log.losses == 1; }));
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
    EXPECT_TRUE(loop.runUntil([&] { return !capture.isPossible(); }));
    const int changesBefore = changes;
    machine().plugInKeyboard("keyboard");
    EXPECT_TRUE(loop.runUntil([&] { return changes > changesBefore && capture.isPossible(); }));
    keyboard = std::make_unique<UsbKeyboard>(machine());
    ASSERT_TRUE(capture.start(log));
    keyboard->openCloneOnceGrabbed();
    machine().press("audiomute");
    EXPECT_TRUE(loop.runUntil([&] { return !log.presses.empty(); }));
    EXPECT_THAT(log.presses, ElementsAre(Press(AuxiliaryButton::mute, false)));
    EXPECT_EQ(log.losses, 1);
}

TEST_F(MachineKeyboardTest, anotherKeyboardComesAndGoesWhileTheFirstStaysCaptured)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    keyboard->openCloneOnceGrabbed();
    machine().plugInKeyboard("another");
    EXPECT_TRUE(loop.runUntil([] { return keyboardNodes(UsbKeyboard::cloneName).size() == 2; }));
    machine().pullOut("another");
    EXPECT_TRUE(loop.runUntil([] { return keyboardNodes(UsbKeyboard::name).size() == 1; }));
    EXPECT_TRUE(loop.runUntil([] { return keyboardNodes(UsbKeyboard::cloneName).size() == 1; }));
    keyboard->openCloneOnceGrabbed();
    machine().press("volumeup");
    EXPECT_TRUE(loop.runUntil([&] { return !log.presses.empty(); }));
    EXPECT_THAT(log.presses, ElementsAre(Press(AuxiliaryButton::soundUp, false)));
    EXPECT_EQ(log.losses, 0);
}

TEST_F(MachineKeyboardTest, aKeyboardPulledOutWithAKeyDownLeavesNoKeyStuck)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(log));
    const auto clone = keyboard->openCloneOnceGrabbed();
    machine().keyDown("a");
    EXPECT_THAT(clone->keys(1), testing::Contains(Key(KEY_A, 1)));
    machine().pullOut("keyboard");
    EXPECT_TRUE(loop.runUntil([&] { return log.losses == 1; }));
    // The kernel lets go of what a vanishing device held down.
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
    machine().plugInKeyboard("keyboard");
    EXPECT_NE(keyboardNode(UsbKeyboard::name), "");
}

} // namespace
} // namespace quenstal
