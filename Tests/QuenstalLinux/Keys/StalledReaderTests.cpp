// The whole road back after the reader of a keyboard has stalled: from the watchdog to the program's key tap.

#include "QuenstalApp/ShellTest.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/EmulatedKeyboard.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "Support/Eventually.hpp"

#include <linux/input.h>

namespace quenstal {
namespace {

struct StalledReaderTest : ShellTest {
    void SetUp() override
    {
        if (!EmulatedKeyboard::isPossible())
            GTEST_SKIP() << "umockdev is not preloaded";
        keyboard = std::make_unique<EmulatedKeyboard>();
        capture = std::make_unique<EvdevKeyCapture>(loop, firstSeat, EmulatedKeyboard::shortPatience());
        linuxTaps = std::make_unique<LinuxEventTaps>(loop, std::vector<KeyCapture*>{capture.get()});
        playOnSpeakers();
        finishSetupEarlier();
        launch();
        tap = std::make_unique<MediaKeyTap>(*linuxTaps, loop, desk, status);
    }
    void TearDown() override { tap.reset(); }

    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }

    std::unique_ptr<EmulatedKeyboard> keyboard;
    std::unique_ptr<EvdevKeyCapture> capture;
    std::unique_ptr<LinuxEventTaps> linuxTaps;
};

TEST_F(StalledReaderTest, theUserHasTheKeyboardWhileItLastsAndTheTapHasTheKeysAfterwards)
{
    tap->start();
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->stallWriters();
    keyboard->type({{KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 1; }));
    keyboard->type({{KEY_A, 0}});
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed() && keyboard->hasAnsweredAll(); }));
    keyboard->endStall();
    ASSERT_TRUE(eventually([&] { return keyboard->grabs() == 2 && keyboard->isGrabbed(); }));
    EXPECT_EQ(keyboard->clones(), 1);
    EXPECT_TRUE(view().mediaKeyCaptureActive());
    keyboard->type({{KEY_VOLUMEUP, 1}});
    EXPECT_TRUE(eventually([&] { return ports.systemVolume.level == 0.5625; }));
}

} // namespace
} // namespace quenstal
