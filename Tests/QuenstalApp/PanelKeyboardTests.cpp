#include "QuenstalApp/ShellTest.hpp"

namespace quenstal {
namespace {

using Screen = GlassDialViewState::Screen;

KeyEvent with(KeyEvent event, bool KeyEvent::*modifier)
{
    event.*modifier = true;
    return event;
}

struct PanelKeyboardTest : ShellTest {
    PanelKeyboardTest()
    {
        playOnSilentMonitor();
        launchWithOpenPanel();
    }
};

TEST_F(PanelKeyboardTest, whatIsHandledOnEachScreen)
{
    struct Row {
        const char* what;
        KeyEvent key;
        bool onDial;
        bool onSetup;
        bool onEqualizer;
    };
    const Row rows[]{
        {"Escape", keyPress(KeyCode::escape), true, true, true},
        {"left", keyPress(KeyCode::leftArrow), true, false, false},
        {"right", keyPress(KeyCode::rightArrow), true, false, false},
        {"up", keyPress(KeyCode::upArrow), true, false, true},
        {"down", keyPress(KeyCode::downArrow), true, false, true},
        {"m", keyPress("m"), true, false, false},
        {"M", keyPress("M"), true, false, false},
        {"r", keyPress("r"), false, false, true},
        {"R", withShift(keyPress("R")), false, false, true},
        {"1", keyPress("1"), false, false, true},
        {"6", keyPress("6"), false, false, true},
        {"0", keyPress("0"), false, false, false},
        {"7", keyPress("7"), false, false, false},
        {"-1", keyPress("-1"), false, false, false},
        {"q", keyPress("q"), false, false, false},
        {"x", keyPress("x"), false, false, false},
        {"no character", keyPress(""), false, false, false},
        {"Control-m", with(keyPress("m"), &KeyEvent::control), false, false, false},
        {"Alt-up", with(keyPress(KeyCode::upArrow), &KeyEvent::alt), false, false, false},
        {"Super-Escape", with(keyPress(KeyCode::escape), &KeyEvent::super), false, false, false},
        {"Control-Alt-q", with(with(keyPress("q"), &KeyEvent::control), &KeyEvent::alt), false, false, false},
        {"Control-q", with(keyPress("q"), &KeyEvent::control), true, true, true},
        {"Control-Q", with(withShift(keyPress("Q")), &KeyEvent::control), true, true, true},
    };
    const auto isHandled = [this](Screen screen, const KeyEvent& key) {
        status->showPanel();
        view().setScreen(screen);
        const bool handled = desktop.pressKey(key);
        if (desktop.alert())
            desktop.answerAlert(1001);
        return handled;
    };
    for (const Row& row : rows) {
        EXPECT_EQ(isHandled(Screen::dial, row.key), row.onDial) << row.what;
        EXPECT_EQ(isHandled(Screen::setup, row.key), row.onSetup) << row.what;
        EXPECT_EQ(isHandled(Screen::equalizer, row.key), row.onEqualizer) << row.what;
    }
}

TEST_F(PanelKeyboardTest, arrowsStepTheVolumeByTwoAndWithShiftByTen)
{
    struct Row {
        std::uint16_t code;
        bool shift;
        double level;
    };
    const Row rows[]{
        {KeyCode::upArrow, false, 0.52},
        {KeyCode::rightArrow, false, 0.54},
        {KeyCode::leftArrow, false, 0.52},
        {KeyCode::downArrow, false, 0.50},
        {KeyCode::upArrow, true, 0.60},
        {KeyCode::rightArrow, true, 0.70},
        {KeyCode::leftArrow, true, 0.60},
        {KeyCode::downArrow, true, 0.50},
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(desktop.pressKey(row.shift ? withShift(keyPress(row.code)) : keyPress(row.code)));
        EXPECT_EQ(ports.softwareVolume.level, row.level);
    }
}

TEST_F(PanelKeyboardTest, arrowsRepeatButMAndRDoNot)
{
    KeyEvent up = keyPress(KeyCode::upArrow);
    up.isRepeat = true;
    desktop.pressKey(up);
    EXPECT_EQ(ports.softwareVolume.level, 0.52);
    KeyEvent m = keyPress("m");
    m.isRepeat = true;
    EXPECT_TRUE(desktop.pressKey(m));
    EXPECT_FALSE(ports.softwareVolume.isMuted);
    view().selectPreset(EQPresetName::movie);
    view().showEqualizer();
    KeyEvent r = keyPress("r");
    r.isRepeat = true;
    EXPECT_TRUE(desktop.pressKey(r));
    EXPECT_EQ(desktop.alert(), std::nullopt);
}

TEST_F(PanelKeyboardTest, mMutes)
{
    desktop.pressKey(keyPress("m"));
    EXPECT_TRUE(ports.softwareVolume.isMuted);
    desktop.pressKey(keyPress("m"));
    EXPECT_FALSE(ports.softwareVolume.isMuted);
}

TEST_F(PanelKeyboardTest, escapeLeadsToTheDialAndFromThereOut)
{
    view().showEqualizer();
    desktop.pressKey(keyPress(KeyCode::escape));
    EXPECT_EQ(view().screen(), Screen::dial);
    view().showSetupGuide();
    desktop.pressKey(keyPress(KeyCode::escape));
    EXPECT_EQ(view().screen(), Screen::dial);
    view().toggleMoreActions();
    desktop.pressKey(keyPress(KeyCode::escape));
    EXPECT_FALSE(desktop.isPanelVisible());
}

TEST_F(PanelKeyboardTest, theFocusedBandMovesByHalfADecibelAndWithShiftByTwo)
{
    view().showEqualizer();
    view().setFocusedEQBandID(2);
    const auto gain = [this] { return view().snapshot().eqProfile.bands[2].gainDB; };
    desktop.pressKey(keyPress(KeyCode::upArrow));
    EXPECT_EQ(gain(), 0.5);
    desktop.pressKey(withShift(keyPress(KeyCode::upArrow)));
    EXPECT_EQ(gain(), 2.5);
    desktop.pressKey(keyPress(KeyCode::downArrow));
    EXPECT_EQ(gain(), 2);
    desktop.pressKey(withShift(keyPress(KeyCode::downArrow)));
    EXPECT_EQ(gain(), 0);
}

TEST_F(PanelKeyboardTest, digitsSelectThePresetsInTheirOrder)
{
    view().showEqualizer();
    const char* names[]{"Flat", "Voice", "Movie", "Music", "Night", "Custom"};
    for (int digit = 1; digit <= 6; ++digit) {
        desktop.pressKey(keyPress(std::to_string(digit)));
        EXPECT_EQ(view().snapshot().eqPresetName, names[digit - 1]);
    }
}

TEST_F(PanelKeyboardTest, rAsksBeforeItResets)
{
    view().selectPreset(EQPresetName::movie);
    view().showEqualizer();
    desktop.pressKey(keyPress("r"));
    ASSERT_TRUE(desktop.alert());
    EXPECT_FALSE(desktop.pressKey(keyPress(KeyCode::escape)));
    desktop.answerAlert(1000);
    EXPECT_EQ(view().snapshot().eqPresetName, "Flat");
}

TEST_F(PanelKeyboardTest, controlQQuits)
{
    desktop.pressKey(with(keyPress("q"), &KeyEvent::control));
    EXPECT_FALSE(desktop.isPanelVisible());
    EXPECT_TRUE(desktop.isTerminated());
}

TEST_F(PanelKeyboardTest, withThePanelClosedNoKeyIsHandled)
{
    desktop.clickStatusItem();
    EXPECT_FALSE(desktop.pressKey(keyPress("m")));
    EXPECT_FALSE(ports.softwareVolume.isMuted);
}

} // namespace
} // namespace quenstal
