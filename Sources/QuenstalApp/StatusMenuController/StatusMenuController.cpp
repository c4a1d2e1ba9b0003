#include "QuenstalApp/StatusMenuController.hpp"

#include "QuenstalApp/NativeAdapters/Problems.hpp"
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
    , setupPreferences_(platform.preferences)
    , viewState_(GlassDialSnapshot(desk_->state()), SetupGuideSnapshot(desk_->state()))
    , panel_(platform.desktop.createPanel(QuenstalPanel::settings(currentWindowSize())))
    , shownOutput_(VolumeDesk::outputOf(desk_->state()))
    , publishedStates_(desk_->onPublished([this](const QuenstalState& state) { sync(state); }))
    , keyFeedback_(desk_->onKeyFeedback([this](const KeyFeedback& feedback) { showKeyFeedback(feedback); }))
{
    refreshStatusButton(viewState_.snapshot());
    viewState_.setPermissionNeeds(permissionNeeds(desk_->state()));
    hostingController_ = platform_.views.host(*panel_, viewState_);
    configureActions();
    presentFirstRunSetupIfNeeded();
}

StatusMenuController::~StatusMenuController() = default;

void StatusMenuController::sync(const QuenstalState& state)
{
    if (onEnabledChanged && state.isEnabled != viewState_.snapshot().isEnabled)
        onEnabledChanged(state.isEnabled);
    GlassDialSnapshot snapshot(state);
    refreshStatusButton(snapshot);
    viewState_.update(std::move(snapshot));
    publishSetup(state);
    viewState_.setMonitorProblems(monitorProblems(platform_.monitors));
    updatePanelSize(false, true);
    updateLevelTimer();
    shownOutput_ = VolumeDesk::outputOf(state);
}

void StatusMenuController::publishSetup(const QuenstalState& state)
{
    viewState_.updateSetupSnapshot(SetupGuideSnapshot(state));
    viewState_.setPermissionNeeds(permissionNeeds(state));
    viewState_.setCaptureAdvice(platform_.permission.advice());
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
        .isMuted = snapshot.isMuted,
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
    desk_->carryOut({VolumeDesk::Origin::tray, VolumeDesk::Order::always(GlassDialInteraction::muteCommand())});
}

void StatusMenuController::statusItemScrolled(int notches)
{
    const VolumeCommand step = notches > 0 ? VolumeCommand::stepUp() : VolumeCommand::stepDown();
    const auto times = static_cast<std::size_t>(std::abs(notches));
    desk_->carryOut({VolumeDesk::Origin::tray, VolumeDesk::Order::always(step, times)});
}

} // namespace quenstal
