// Keyboard shortcuts of the open panel.

#include "QuenstalApp/StatusMenuController.hpp"

#include <optional>

namespace quenstal {

namespace {

constexpr double bandStepDB = 0.5;
constexpr double largeBandStepDB = 2.0;

/// The one character the key types, lower case; 0 for anything longer. Caps Lock and Shift do not matter.
char letterOf(const KeyEvent& event)
{
    if (event.characters.size() != 1)
        return 0;
    const char character = event.characters.front();
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool hasCommandModifier(const KeyEvent& event)
{
    return event.control || event.alt || event.super;
}

bool isQuit(const KeyEvent& event)
{
    return event.control && !event.alt && !event.super && letterOf(event) == 'q';
}

/// "1" to "6" are the presets in their order.
std::optional<std::int64_t> presetIndexOf(const KeyEvent& event)
{
    const char digit = letterOf(event);
    if (digit < '1' || digit > '6')
        return std::nullopt;
    return digit - '1';
}

} // namespace

bool StatusMenuController::handleKeyDown(const KeyEvent& event)
{
    if (!panel_->isVisible())
        return false;
    if (isQuit(event)) {
        closePanel();
        platform_.desktop.terminate();
        return true;
    }
    if (hasCommandModifier(event))
        return false;
    switch (viewState_.screen()) {
    case Screen::dial:
        return handleDialKeyDown(event);
    case Screen::equalizer:
        return handleEqualizerKeyDown(event);
    case Screen::setup:
        break;
    }
    if (event.keyCode != KeyCode::escape)
        return false;
    viewState_.showDial();
    return true;
}

bool StatusMenuController::handleDialKeyDown(const KeyEvent& event)
{
    switch (event.keyCode) {
    case KeyCode::escape:
        closePanel();
        return true;
    case KeyCode::leftArrow:
    case KeyCode::downArrow:
        stepVolume(GlassDialStepDirection::down, event.shift);
        return true;
    case KeyCode::rightArrow:
    case KeyCode::upArrow:
        stepVolume(GlassDialStepDirection::up, event.shift);
        return true;
    default:
        break;
    }
    if (letterOf(event) != 'm')
        return false;
    if (!event.isRepeat)
        toggleMute();
    return true;
}

void StatusMenuController::stepVolume(GlassDialStepDirection direction, bool largeStep)
{
    setVolume(GlassDialInteraction::steppedPercent(viewState_.snapshot().levelPercent, direction, largeStep));
}

bool StatusMenuController::handleEqualizerKeyDown(const KeyEvent& event)
{
    const double step = event.shift ? largeBandStepDB : bandStepDB;
    switch (event.keyCode) {
    case KeyCode::upArrow:
        viewState_.adjustFocusedEQBand(step);
        return true;
    case KeyCode::downArrow:
        viewState_.adjustFocusedEQBand(-step);
        return true;
    case KeyCode::escape:
        viewState_.showDial();
        return true;
    default:
        break;
    }
    if (const auto index = presetIndexOf(event)) {
        viewState_.selectPresetByIndex(*index);
        return true;
    }
    if (letterOf(event) != 'r')
        return false;
    if (!event.isRepeat)
        resetEQ(true);
    return true;
}

} // namespace quenstal
