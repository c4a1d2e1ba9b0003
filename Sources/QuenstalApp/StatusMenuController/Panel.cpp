// The panel's window: when it opens and closes, where it is and how large.

#include "QuenstalApp/StatusMenuController.hpp"

namespace quenstal {

Size StatusMenuController::currentWindowSize() const
{
    return PanelGeometry::windowSize(viewState_.screen(), viewState_.snapshot());
}

void StatusMenuController::togglePanel(std::optional<Point> activatedAt)
{
    if (panel_->isVisible())
        closePanel();
    else
        showPanel(activatedAt);
}

void StatusMenuController::showPanel(std::optional<Point> activatedAt)
{
    if (panel_->isVisible()) {
        panel_->makeKey();
        return;
    }
    desk_->refreshAtOnce();
    if (firstRunSetupPending_ && !setupPreferences_.isCompleted()) {
        firstRunSetupPending_ = false;
        switchToSetupScreen();
    }
    openPanel(activatedAt);
}

void StatusMenuController::openPanel(std::optional<Point> activatedAt)
{
    closedByOutsideClickAt_.reset();
    updatePanelSize(true, false);
    positionPanel(activatedAt);
    panel_->orderFrontRegardless();
    panel_->makeKey();
    keyMonitor_
        = platform_.desktop.addLocalKeyDownMonitor([this](const KeyEvent& event) { return handleKeyDown(event); });
    // A turn later: the click that opens the panel must not close it.
    tasks_.post([this] { installOutsideClickMonitor(); });
    updateLevelTimer();
}

void StatusMenuController::closePanel()
{
    if (!panel_->isVisible())
        return;
    panel_->orderOut();
    keyMonitor_.reset();
    outsideClickMonitor_.reset();
    levelTimer_.reset();
    viewState_.setShowsMoreActions(false);
    viewState_.showDial();
}

void StatusMenuController::installOutsideClickMonitor()
{
    if (!panel_->isVisible() || outsideClickMonitor_)
        return;
    constexpr std::uint32_t anyButton
        = MouseEventMask::leftMouseDown | MouseEventMask::rightMouseDown | MouseEventMask::otherMouseDown;
    static_assert(anyButton == 0x200000A);
    outsideClickMonitor_ = platform_.desktop.addGlobalMouseMonitor(anyButton, [this] {
        closedByOutsideClickAt_ = platform_.runLoop.steadyNow();
        closePanel();
    });
}

/// A frame that is kept stays put at the edge next to the bar; without force an unchanged size moves nothing.
void StatusMenuController::updatePanelSize(bool force, bool preserveWindowFrame)
{
    const Size size = currentWindowSize();
    const Rect frame = panel_->frame();
    if (!force && frame.size() == size)
        return;
    if (preserveWindowFrame) {
        const auto screen = PanelGeometry::screenOf(frame, platform_.desktop.screens());
        panel_->setFrame(PanelGeometry::resized(frame, size, barSide_, screen));
    } else {
        panel_->setFrame({frame.x, frame.y, size.width, size.height});
    }
}

void StatusMenuController::positionPanel(std::optional<Point> activatedAt)
{
    const PanelGeometry::Placement placement = panelPlacement(activatedAt);
    barSide_ = placement.side;
    panel_->setFrame(placement.frame);
}

PanelGeometry::Placement StatusMenuController::panelPlacement(std::optional<Point> activatedAt)
{
    const std::vector<DesktopScreen> screens = platform_.desktop.screens();
    std::optional<Rect> anchor = statusItem_->frame();
    if (!anchor) {
        const std::optional<Point> point = activatedAt ? activatedAt : platform_.desktop.pointerLocation();
        if (point)
            anchor = Rect{point->x, point->y, 0, 0};
    }
    if (!anchor) {
        const auto main = PanelGeometry::screenOf({}, screens);
        return PanelGeometry::unanchoredPlacement(main, currentWindowSize());
    }
    return PanelGeometry::placement(*anchor, PanelGeometry::screenOf(*anchor, screens), currentWindowSize());
}

/// The meters move exactly while they can be seen.
void StatusMenuController::updateLevelTimer()
{
    const bool isNeeded
        = panel_->isVisible() && viewState_.screen() == Screen::equalizer && viewState_.snapshot().eqAvailable;
    if (!isNeeded)
        levelTimer_.reset();
    else if (!levelTimer_)
        levelTimer_ = platform_.runLoop.repeat(levelInterval, [this] { tasks_.post([this] { desk_->refresh(); }); });
}

} // namespace quenstal
