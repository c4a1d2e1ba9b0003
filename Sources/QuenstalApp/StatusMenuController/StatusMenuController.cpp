#include "QuenstalApp/StatusMenuController.hpp"

#include "QuenstalApp/RecentVolume.hpp"
#include "QuenstalApp/StatusMenuController/QuenstalPanel.hpp"

#include <utility>

namespace quenstal {

namespace {

constexpr double symbolPointSize = 13;

} // namespace

StatusMenuController::StatusMenuController(const Platform& platform, std::shared_ptr<VolumeDesk> desk)
    : platform_(platform)
    , tasks_(platform.runLoop)
    , statusItem_(platform.desktop.createStatusItem(*this))
    , desk_(std::move(desk))
    , controller_(desk_->controller())
    , setupPreferences_(platform.userDefaults)
    , viewState_(GlassDialSnapshot(controller_->state()), SetupGuideSnapshot(controller_->state()))
    , panel_(platform.desktop.createPanel(QuenstalPanel::settings(currentWindowSize())))
    , softwareStay_(desk_)
{
    refreshStatusButton(viewState_.snapshot());
    viewState_.setPermissionNeeds(permissionNeeds(controller_->state()));
    hostingController_ = platform_.views.host(*panel_, viewState_);
    configureActions();
    stateDidChange();
    presentFirstRunSetupIfNeeded();
}

StatusMenuController::~StatusMenuController() = default;

void StatusMenuController::sync(const QuenstalState& state)
{
    GlassDialSnapshot snapshot(state);
    refreshStatusButton(snapshot);
    viewState_.update(std::move(snapshot));
    publishSetup(state);
    viewState_.setMonitorProblems(platform_.displayBusHealth.problems());
    updatePanelSize(false, true);
    updateLevelTimer();
    stateDidChange();
}

void StatusMenuController::publishSetup(const QuenstalState& state)
{
    viewState_.updateSetupSnapshot(SetupGuideSnapshot(state));
    viewState_.setPermissionNeeds(permissionNeeds(state));
    viewState_.setCaptureAdvice(platform_.trust.advice());
}

void StatusMenuController::refreshAndSync()
{
    sync(controller_->refresh());
}

void StatusMenuController::scheduleRefresh()
{
    if (refreshScheduled_)
        return;
    refreshScheduled_ = true;
    tasks_.post([this] {
        refreshScheduled_ = false;
        refreshAndSync();
    });
}

void StatusMenuController::stateDidChange()
{
    // Not a refresh, which would ask a monitor again that has just refused.
    if (softwareStay_.follow())
        tasks_.post([this] { sync(controller_->state()); });
    if (onStateChanged)
        onStateChanged(controller_->state());
}

void StatusMenuController::refreshStatusButton(const GlassDialSnapshot& snapshot)
{
    statusItem_->setAppearance({
        .symbolName = snapshot.statusSymbolName,
        .accessibilityDescription = "Quenstal",
        .symbolPointSize = symbolPointSize,
        .title = " " + snapshot.statusTitle,
        .imagePosition = ImagePosition::imageLeading,
        .tint = snapshot.isEnabled ? StatusTint::standard : StatusTint::secondaryLabel,
    });
}

void StatusMenuController::statusItemActivated(std::optional<Point> at)
{
    const auto now = platform_.runLoop.steadyNow();
    const bool closedByThisClick = closedByOutsideClickAt_ && now - *closedByOutsideClickAt_ < reopenGuard;
    closedByOutsideClickAt_.reset();
    if (!closedByThisClick)
        togglePanel(at);
}

void StatusMenuController::statusItemSecondaryActivated()
{
    withRecentVolume(*controller_, platform_.displayBusHealth, tasks_.whileOwned([this] { toggleMute(); }));
}

void StatusMenuController::statusItemScrolled(int notches)
{
    const VolumeCommand step = notches > 0 ? VolumeCommand::stepUp() : VolumeCommand::stepDown();
    const auto scroll = [this, step, notches] {
        for (int remaining = std::abs(notches); remaining > 0; --remaining)
            desk_->handle(step);
        sync(controller_->state());
    };
    withRecentVolume(*controller_, platform_.displayBusHealth, tasks_.whileOwned(scroll));
}

} // namespace quenstal
