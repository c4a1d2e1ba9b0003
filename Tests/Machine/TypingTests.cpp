// Whoever types loses nothing: a keyboard of the machine, a desktop that takes its time, and captures that come and go
// between them.

#include "Machine/Desk.hpp"
#include "Machine/Emulator.hpp"
#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keyboards/GrabbedKeyboard.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/PatientKeyCapture.hpp"

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

/// All letters one after the other; so many in thirty are capitals.
std::string longText(std::size_t length, std::size_t capitals)
{
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += static_cast<char>((i % 30 < capitals ? 'A' : 'a') + i % 26);
    return text;
}

/// Types on a thread of its own, as fast as the desktop can follow: each letter when it has heard the one before.
class Typist {
public:
    Typist(Typewriter& typewriter, const Desk& desk, const std::string& text)
        : typewriter_(typewriter)
        , desk_(desk)
        , thread_([this, text] { type(text); })
    {
    }
    ~Typist() { thread_.join(); }

    bool isDone() const { return isDone_; }

private:
    void type(const std::string& text)
    {
        for (const char letter : text) {
            const bool isCapital = letter < 'a';
            hold(isCapital);
            const std::uint16_t key = keyOf(static_cast<char>(isCapital ? letter - 'A' + 'a' : letter));
            typewriter_.key(key, true);
            // No keyboard tells of a shorter one.
            std::this_thread::sleep_for(1ms);
            typewriter_.key(key, false);
            ++typed_;
            waitForDesk();
        }
        hold(false);
        isDone_ = true;
    }

    void hold(bool isShifted)
    {
        if (isShifted != isShifted_)
            typewriter_.key(KEY_LEFTSHIFT, isShifted);
        isShifted_ = isShifted;
    }

    /// What does not come in a second has been lost.
    void waitForDesk()
    {
        const auto limit = std::chrono::steady_clock::now() + slowed(1s);
        while (typed_ > desk_.typed() + lost_) {
            if (std::chrono::steady_clock::now() > limit)
                lost_ = typed_ - desk_.typed();
            std::this_thread::sleep_for(100us);
        }
    }

    Typewriter& typewriter_;
    const Desk& desk_;
    bool isShifted_ = false;
    std::size_t typed_ = 0;
    std::size_t lost_ = 0;
    std::atomic<bool> isDone_ = false;
    std::thread thread_;
};

/// The program's way to the keys, from the tap to the keyboards.
class Program {
public:
    explicit Program(RunLoop& loop)
        : keyboards_(loop)
        , way_(loop, keyboards_)
        , taps_(loop, {&way_})
    {
    }

    void start()
    {
        tap_ = taps_.createEventTap(
            EventTapLocation::session, EventTapPlacement::headInsert, EventTapOptions::active,
            EventMask{1} << eventTypeSystemDefined, [](EventType, const TapEvent* event, void*) { return event; },
            nullptr);
        if (tap_)
            tap_->enable(true);
    }
    void stop() { tap_.reset(); }
    /// What it does after every wake of the machine or its screens.
    void restart()
    {
        stop();
        start();
    }

private:
    EvdevKeyCapture keyboards_;
    PatientKeyCapture way_;
    LinuxEventTaps taps_;
    std::unique_ptr<EventTap> tap_;
};

struct MachineTypingTest : testing::Test {
    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        loadModules("uinput");
    }

    MachineLoop loop;
};

TEST_F(MachineTypingTest, tenThousandLettersComeThroughRestartsWakesAndHotplug)
{
    Desk desk;
    Typewriter typewriter;
    ASSERT_TRUE(loop.runUntil([&] { return desk.keyboards() == 1; }));
    const std::string text = longText(10'000, 4);
    int captures = 0;
    {
        const Typist typist(typewriter, desk, text);
        while (!typist.isDone()) {
            Program program(loop);
            program.start();
            captures += loop.runUntil([&] { return desk.keyboards() == 2; }) ? 1 : 0;
            loop.runFor(1200ms);
            program.restart();
            loop.runFor(50ms);
            {
                const Typewriter another;
                loop.runUntil([&] { return desk.keyboards() == 4 || typist.isDone(); }, 2s);
                program.restart();
            }
            loop.runFor(50ms);
            program.stop();
            loop.runFor(200ms);
        }
    }
    EXPECT_TRUE(loop.runUntil([&] { return desk.typed() >= text.size() && desk.keysDown() == 0; }));
    EXPECT_EQ(desk.text(), text);
    EXPECT_EQ(desk.namesOfKeysDown(), "");
    std::printf("%zu letters through %d captures\n", text.size(), captures);
}

TEST_F(MachineTypingTest, aKeyThatIsPressedAsAKeyboardIsGrabbedComesUpForEveryone)
{
    Desk desk;
    Typewriter typewriter;
    ASSERT_TRUE(loop.runUntil([&] { return desk.keyboards() == 1; }));
    GrabbedKeyboard keyboard(typewriter.node(), [](std::int64_t, bool) {});
    ASSERT_TRUE(keyboard.makeClone());
    ASSERT_TRUE(loop.runUntil([&] { return desk.keyboards() == 2; }));
    const std::string text = longText(3'000, 0);
    int grabs = 0;
    {
        const Typist typist(typewriter, desk, text);
        while (!typist.isDone()) {
            keyboard.tryToGrab();
            grabs += keyboard.state() == GrabbedKeyboard::State::grabbed ? 1 : 0;
            keyboard.letGo();
        }
    }
    keyboard.readEvents();
    EXPECT_TRUE(loop.runUntil([&] { return desk.keysDown() == 0; }));
    EXPECT_EQ(desk.text(), text);
    EXPECT_EQ(desk.namesOfKeysDown(), "");
    std::printf("%d grabs\n", grabs);
}

} // namespace
} // namespace quenstal
