#pragma once

// The desktop as the program uses it: its icon in the tray, its panel, and the few services around them. All of it is
// main thread only, and handlers run on turns of the main run loop. A monitor may be cancelled from its own handler.

#include "QuenstalPlatform/Geometry.hpp"
#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal {

// --- The status item ---

enum class ImagePosition { imageLeading = 7 };
/// Default follows the bar; secondary is the colour of less important text.
enum class StatusTint { standard, secondaryLabel };

/// What the status item shows.
struct StatusButtonAppearance {
    /// One of "speaker.fill", "speaker.slash.fill", "speaker.wave.2.fill".
    std::string symbolName;
    std::string accessibilityDescription;
    double symbolPointSize = 0;
    /// Beside the symbol where the tray can show text, else in the tool tip (there without the leading space).
    std::string title;
    ImagePosition imagePosition = ImagePosition::imageLeading;
    StatusTint tint = StatusTint::standard;
    /// For the menu's checkmark.
    bool isMuted = false;

    bool operator==(const StatusButtonAppearance&) const = default;
};

/// What the user did to the status item.
class StatusItemHandler {
public:
    /// A click or a key press. `at` is where, when the desktop knows. A desktop that has no place for status items
    /// reports one activation at start, so that the program can be reached.
    virtual void statusItemActivated(std::optional<Point> at) = 0;
    /// A middle click, or "Mute" in the item's menu.
    virtual void statusItemSecondaryActivated() = 0;
    /// Notches of the wheel over the item, up positive, at most `WheelNotches::most` either way.
    virtual void statusItemScrolled(int notches) = 0;
    /// "Open" in the item's menu: an open panel stays open.
    virtual void statusItemOpenChosen() = 0;
    /// "Quit" in the item's menu.
    virtual void statusItemQuitChosen() = 0;

protected:
    ~StatusItemHandler() = default;
};

/// The program's item in the tray, of variable length. Removed when destroyed.
class StatusItem : public Interface {
public:
    virtual void setAppearance(const StatusButtonAppearance& appearance) = 0;
    /// The desktop has given the item its place. Some desktops do so a moment after creation.
    virtual bool isPlaced() = 0;
    /// Where the item is; none if it has no place or the desktop does not report it.
    virtual std::optional<Rect> frame() = 0;
};

// --- The panel ---

/// Bits of the panel's style and behaviour.
struct PanelFlag {
    static constexpr std::uint32_t nonactivatingPanel = 1u << 7;
    static constexpr std::uint32_t fullSizeContentView = 1u << 15;
    static constexpr std::uint32_t collectionTransient = 1u << 3;
    static constexpr std::uint32_t collectionIgnoresCycle = 1u << 6;
    static constexpr std::uint32_t collectionFullScreenAuxiliary = 1u << 8;
};

/// How the panel's window is created. A field's default is that of a plain window.
struct PanelSettings {
    Rect contentRect;
    /// `PanelFlag` without the collection bits.
    std::uint32_t styleMask = 0;
    bool isBuffered = true;
    bool isDeferred = true;
    bool hasClearBackground = false;
    bool isOpaque = true;
    bool hasShadow = false;
    bool isFloatingPanel = false;
    bool isReleasedWhenClosed = true;
    bool hidesOnDeactivate = true;
    /// 0 is a plain window, 101 a pop-up menu.
    int windowLevel = 0;
    /// `PanelFlag`'s collection bits.
    std::uint32_t collectionBehavior = 0;
    bool canBecomeKey = false;
    bool canBecomeMain = true;

    bool operator==(const PanelSettings&) const = default;
};

/// The panel's window, without its content. The frame is the visible glass, without any margin for the shadow.
class PanelWindow : public Interface {
public:
    virtual bool isVisible() = 0;
    virtual Rect frame() = 0;
    virtual void setFrame(const Rect& frame) = 0;
    /// Shows it above everything, whichever program is active.
    virtual void orderFrontRegardless() = 0;
    /// Takes the keyboard focus. The desktop remembers which window had it.
    virtual void makeKey() = 0;
    /// Hides it and returns the keyboard focus, unless the user has moved it to another window meanwhile.
    virtual void orderOut() = 0;
};

// --- Events of the panel ---

/// Hardware virtual key codes of the keys that have no character.
struct KeyCode {
    static constexpr std::uint16_t escape = 53;
    static constexpr std::uint16_t leftArrow = 123;
    static constexpr std::uint16_t rightArrow = 124;
    static constexpr std::uint16_t downArrow = 125;
    static constexpr std::uint16_t upArrow = 126;
    /// Any other key; `characters` identifies it.
    static constexpr std::uint16_t none = 0xFFFF;
};

/// One key going down, auto-repeats included. Lock keys are no modifiers.
struct KeyEvent {
    std::uint16_t keyCode = KeyCode::none;
    /// What the key types without modifiers; Caps Lock and Shift may leave capitals. UTF-8.
    std::string characters;
    bool shift = false;
    bool control = false;
    bool alt = false;
    bool super = false;
    bool isRepeat = false;

    bool operator==(const KeyEvent&) const = default;
};

/// Bits of the mouse events that a monitor may ask for.
struct MouseEventMask {
    static constexpr std::uint32_t leftMouseDown = 1u << 1;
    static constexpr std::uint32_t rightMouseDown = 1u << 3;
    static constexpr std::uint32_t otherMouseDown = 1u << 25;
};

// --- Alert, feedback ---

/// A question to the user, modal to the panel.
struct Alert {
    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons;

    bool operator==(const Alert&) const = default;
};

/// The answer: 1000 is the first button, 1001 the second. Closing the alert answers with the last one.
using AlertResponse = int;
inline constexpr AlertResponse alertFirstButtonReturn = 1000;

/// What a captured key did, for the moment in which the panel is closed.
struct KeyFeedback {
    /// As in `StatusButtonAppearance`.
    std::string symbolName;
    /// "42%" or "Muted".
    std::string title;
    /// 0 to 100; none if the output could not be controlled.
    std::optional<int> percent;
    /// The output's name, or why the key did nothing.
    std::string text;

    bool operator==(const KeyFeedback&) const = default;
};

struct DesktopScreen {
    Rect frame;
    /// Without the desktop's bars.
    Rect visibleFrame;

    bool operator==(const DesktopScreen&) const = default;
};

class Desktop : public Interface {
public:
    /// The handler must outlive the item.
    virtual std::unique_ptr<StatusItem> createStatusItem(StatusItemHandler& handler) = 0;
    virtual std::unique_ptr<PanelWindow> createPanel(const PanelSettings& settings) = 0;

    /// Gets the key-downs in the panel before any of its controls; returning true consumes the event. Gets nothing
    /// while an alert is shown.
    [[nodiscard]] virtual Cancellation addLocalKeyDownMonitor(std::function<bool(const KeyEvent&)> handler) = 0;
    /// Gets the mouse-downs outside this program. The panel, its alert and the status item count as inside.
    [[nodiscard]] virtual Cancellation addGlobalMouseMonitor(std::uint32_t mask, std::function<void()> handler) = 0;

    /// The main screen first; empty when there is none.
    virtual std::vector<DesktopScreen> screens() = 0;
    /// None if the desktop does not report it.
    virtual std::optional<Point> pointerLocation() = 0;

    /// Shows the alert and answers later, once. Never answers after the desktop is gone.
    virtual void showAlert(const Alert& alert, std::function<void(AlertResponse)> answered) = 0;
    /// Shows an explanation to be read and closed. A second one replaces the first. Does not wait.
    virtual void showNotice(std::string_view title, std::string_view text) = 0;
    /// Shows the level for a moment, replacing the previous one. Takes no focus.
    virtual void showKeyFeedback(const KeyFeedback& feedback) = 0;

    virtual void clearPasteboard() = 0;
    virtual void setPasteboardString(std::string_view text) = 0;
    /// Opens a page of the system's settings, or any other address. False when nothing can open it.
    virtual bool open(std::string_view url) = 0;
    /// Ends the main run loop; the program's owner then releases everything.
    virtual void terminate() = 0;
};

/// The computer goes to sleep and wakes. Each task runs until it is cancelled. Main thread.
class SleepAndWake : public Interface {
public:
    /// The computer waits a moment for the task to end.
    [[nodiscard]] virtual Cancellation onWillSleep(RunLoop::Task task) = 0;
    [[nodiscard]] virtual Cancellation onDidWake(RunLoop::Task task) = 0;
    [[nodiscard]] virtual Cancellation onScreensDidWake(RunLoop::Task task) = 0;
    /// Somebody is using the keys: a sleep that began a while ago without a reported end is over.
    virtual void keyPressed() = 0;
};

} // namespace quenstal
