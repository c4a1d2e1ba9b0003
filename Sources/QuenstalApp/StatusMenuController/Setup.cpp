// First run, and the permission to capture keys.

#include "QuenstalApp/StatusMenuController.hpp"

namespace quenstal {

void StatusMenuController::presentFirstRunSetupIfNeeded()
{
    if (setupPreferences_.isCompleted())
        return;
    firstRunSetupPending_ = true;
    tasks_.post([this] { tryFirstRunSetup(1); });
}

void StatusMenuController::tryFirstRunSetup(int attempt)
{
    if (!firstRunSetupPending_ || showPendingFirstRunSetupIfPossible() || attempt >= firstRunAttempts)
        return;
    firstRunRetry_ = platform_.runLoop.after(firstRunRetryDelay, [this, attempt] { tryFirstRunSetup(attempt + 1); });
}

bool StatusMenuController::showPendingFirstRunSetupIfPossible()
{
    if (!firstRunSetupPending_ || setupPreferences_.isCompleted() || !statusItem_->isPlaced())
        return false;
    firstRunSetupPending_ = false;
    desk_->refreshAtOnce();
    switchToSetupScreen();
    openPanel(std::nullopt);
    return true;
}

void StatusMenuController::switchToSetupScreen()
{
    viewState_.setShowsMoreActions(false);
    viewState_.setScreen(Screen::setup);
    viewState_.onScreenChanged();
}

void StatusMenuController::requestAccessibility()
{
    if (!isGranted(desk_->state().permissions.accessibility))
        platform_.permission.explainIfMissing();
    platform_.desktop.open(GlassDialSettingsDestination::accessibilitySettingsURLString);
    desk_->scheduleRefresh();
    scheduleAccessibilityRefreshRetries();
}

/// One chain at a time: a new request starts it anew.
void StatusMenuController::scheduleAccessibilityRefreshRetries()
{
    accessibilityRetry_ = platform_.runLoop.after(accessibilityRetryDelay, [this] { retryAccessibility(1); });
}

void StatusMenuController::retryAccessibility(int attempt)
{
    desk_->refreshAtOnce();
    if (isGranted(desk_->state().permissions.accessibility) || attempt >= accessibilityRetries)
        return;
    accessibilityRetry_
        = platform_.runLoop.after(accessibilityRetryDelay, [this, attempt] { retryAccessibility(attempt + 1); });
}

} // namespace quenstal
