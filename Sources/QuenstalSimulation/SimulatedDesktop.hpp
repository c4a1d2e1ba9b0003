#pragma once

#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/Handlers.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// A desktop with a tray, a keyboard focus and a pointer, moved by hand. One program at a time.
class SimulatedDesktop final : public Desktop {
public:
    /// One screen of 1440 by 900 with a bar of 24 at the top.
    SimulatedDesktop();

    std::unique_ptr<StatusItem> createStatusItem(StatusItemHandler& handler) override;
    std::unique_ptr<PanelWindow> createPanel(const PanelSettings& settings) override;
    [[nodiscard]] Cancellation addLocalKeyDownMonitor(std::function<bool(const KeyEvent&)> handler) override;
    [[nodiscard]] Cancellation addGlobalMouseMonitor(std::uint32_t mask, std::function<void()> handler) override;
    std::vector<DesktopScreen> screens() override { return screens_; }
    std::optional<Point> pointerLocation() override { return pointer_; }
    void showAlert(const Alert& alert, std::function<void(AlertResponse)> answered) override;
    void showNotice(std::string_view title, std::string_view text) override;
    void showKeyFeedback(const KeyFeedback& feedback) override { feedback_.push_back(feedback); }
    void clearPasteboard() override { pasteboard_.reset(); }
    void setPasteboardString(std::string_view text) override { pasteboard_ = std::string(text); }
    bool open(std::string_view url) override;
    void terminate() override { isTerminated_ = true; }

    // The user's hands.
    /// True when the program consumed it; keys go nowhere while the panel has not the keyboard or an alert is up.
    bool pressKey(const KeyEvent& event);
    void clickOutside();
    /// Presses the button on the item and lets it go: one activation.
    void clickStatusItem();
    void middleClickStatusItem();
    void scrollStatusItem(int notches);
    void chooseOpenInMenu();
    void chooseQuitInMenu();
    void answerAlert(AlertResponse response);

    // The desktop's own behaviour.
    void setPointer(std::optional<Point> pointer) { pointer_ = pointer; }
    /// Whether the tray has given the item its place, and whether it tells where.
    void placeStatusItem(bool isPlaced) { isPlaced_ = isPlaced; }
    void setStatusItemFrame(std::optional<Rect> frame) { statusItemFrame_ = frame; }

    // What the user sees.
    const std::optional<StatusButtonAppearance>& statusButton() const { return appearance_; }
    bool isPanelVisible() const { return isPanelVisible_; }
    bool panelHasKeyboard() const { return panelHasKeyboard_; }
    Rect panelFrame() const { return panelFrame_; }
    const std::optional<Alert>& alert() const { return alert_; }
    const std::vector<KeyFeedback>& keyFeedback() const { return feedback_; }
    const std::vector<std::string>& notices() const { return notices_; }
    const std::vector<std::string>& openedAddresses() const { return openedAddresses_; }
    const std::optional<std::string>& pasteboard() const { return pasteboard_; }
    bool isTerminated() const { return isTerminated_; }
    std::size_t keyMonitors() const { return keyMonitors_.size(); }
    std::size_t mouseMonitors() const { return mouseMonitors_.size(); }
    /// The buttons that the newest monitor asked for.
    std::uint32_t mouseMask() const { return mouseMask_; }

private:
    class Item;
    class Panel;

    StatusItemHandler* handler_ = nullptr;
    std::optional<StatusButtonAppearance> appearance_;
    bool isPlaced_ = true;
    std::optional<Rect> statusItemFrame_;
    Rect panelFrame_;
    bool isPanelVisible_ = false;
    bool panelHasKeyboard_ = false;
    Handlers<std::function<bool(const KeyEvent&)>> keyMonitors_;
    Handlers<std::function<void()>> mouseMonitors_;
    std::uint32_t mouseMask_ = 0;
    std::vector<DesktopScreen> screens_;
    std::optional<Point> pointer_;
    std::optional<Alert> alert_;
    std::function<void(AlertResponse)> alertAnswered_;
    std::vector<KeyFeedback> feedback_;
    std::vector<std::string> notices_;
    std::vector<std::string> openedAddresses_;
    std::optional<std::string> pasteboard_;
    bool isTerminated_ = false;
};

/// Sleep and wake by hand.
class SimulatedSleepAndWake final : public SleepAndWake {
public:
    [[nodiscard]] Cancellation onWillSleep(RunLoop::Task task) override { return willSleep_.add(std::move(task)); }
    [[nodiscard]] Cancellation onDidWake(RunLoop::Task task) override { return didWake_.add(std::move(task)); }
    [[nodiscard]] Cancellation onScreensDidWake(RunLoop::Task task) override
    {
        return screensDidWake_.add(std::move(task));
    }

    void keyPressed() override
    {
        if (isAsleep_)
            didWake();
    }

    void willSleep()
    {
        isAsleep_ = true;
        willSleep_.call();
    }
    void didWake()
    {
        isAsleep_ = false;
        didWake_.call();
    }
    void screensDidWake() const { screensDidWake_.call(); }

private:
    Handlers<RunLoop::Task> willSleep_;
    Handlers<RunLoop::Task> didWake_;
    Handlers<RunLoop::Task> screensDidWake_;
    bool isAsleep_ = false;
};

} // namespace quenstal
