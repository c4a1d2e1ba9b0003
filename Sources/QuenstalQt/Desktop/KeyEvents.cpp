#include "QuenstalQt/Desktop/KeyEvents.hpp"

namespace quenstal {

namespace {

std::uint16_t keyCodeOf(int key)
{
    switch (key) {
    case Qt::Key_Escape:
        return KeyCode::escape;
    case Qt::Key_Left:
        return KeyCode::leftArrow;
    case Qt::Key_Right:
        return KeyCode::rightArrow;
    case Qt::Key_Down:
        return KeyCode::downArrow;
    case Qt::Key_Up:
        return KeyCode::upArrow;
    default:
        return KeyCode::none;
    }
}

/// With Control held the text is a control character: the key itself gives the letter.
std::string charactersOf(const QKeyEvent& event)
{
    const int key = event.key();
    if (key >= Qt::Key_Space && key <= Qt::Key_ydiaeresis)
        return QString(QChar(key)).toLower().toStdString();
    return event.text().toStdString();
}

} // namespace

KeyEvent keyEventOf(const QKeyEvent& event)
{
    const Qt::KeyboardModifiers modifiers = event.modifiers();
    const std::uint16_t keyCode = keyCodeOf(event.key());
    return {
        .keyCode = keyCode,
        .characters = keyCode == KeyCode::none ? charactersOf(event) : std::string(),
        .shift = modifiers.testFlag(Qt::ShiftModifier),
        .control = modifiers.testFlag(Qt::ControlModifier),
        .alt = modifiers.testFlag(Qt::AltModifier),
        .super = modifiers.testFlag(Qt::MetaModifier),
        .isRepeat = event.isAutoRepeat(),
    };
}

} // namespace quenstal
