#include "QuenstalApp/AppDelegate.hpp"

#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalApp/PreferencesAdvice.hpp"
#include "QuenstalCore/ProgrammingError.hpp"

#include <utility>

namespace quenstal {

void AppDelegate::requireMainThread() const
{
    if (!platform_.runLoop.isMainThread())
        programmingError("the application delegate was called from another thread than the main one");
}

std::shared_ptr<QuenstalController> AppDelegate::makeController() const
{
    auto audioDevices = std::make_shared<CoreAudioDeviceProvider>(platform_.sound.objects);
    auto displays
        = std::make_shared<CoreGraphicsDisplayProvider>(platform_.monitors.displays, platform_.monitors.buses);
    auto permissions = std::make_shared<MacPermissionProvider>(platform_.keys.permission);
    auto systemVolume = std::make_shared<CoreAudioSystemVolumeController>(platform_.sound.objects);
    auto softwareVolume = std::make_shared<CoreAudioTapSoftwareVolumeController>(platform_.sound.taps);
    auto ddcVolume = std::make_shared<NativeDDCVolumeController>(platform_.monitors.buses);
    auto eqProfileStore = std::make_shared<UserDefaultsEQProfileStore>(platform_.session.preferences);
    return std::make_shared<QuenstalController>(std::move(audioDevices), std::move(displays), std::move(permissions),
        std::move(systemVolume), std::move(ddcVolume), std::move(softwareVolume), std::move(eqProfileStore),
        ModeSelector(), VolumeReducer(volumeStep), VolumeSnapshot::defaultAudible());
}

void AppDelegate::applicationDidFinishLaunching()
{
    requireMainThread();
    desk_ = std::make_shared<VolumeDesk>(platform_.runLoop, platform_.monitors.watch, makeController());
    const StatusMenuController::Platform shown{
        .runLoop = platform_.runLoop,
        .desktop = platform_.session.desktop,
        .preferences = platform_.session.preferences,
        .permission = platform_.keys.permission,
        .monitors = platform_.monitors.watch,
        .views = platform_.session.views,
    };
    statusController_ = std::make_shared<StatusMenuController>(shown, desk_);
    mediaKeyTap_ = std::make_shared<MediaKeyTap>(platform_.keys.taps, platform_.runLoop, desk_, statusController_);
    statusController_->onEnabledChanged = [this, weakTap = std::weak_ptr(mediaKeyTap_)](bool isEnabled) {
        const auto tap = weakTap.lock();
        if (!tap)
            return;
        tapShouldRun_ = MediaKeyTapActivationPolicy::shouldEnableTap(desk_->state());
        isEnabled ? tap->start() : tap->stop();
    };
    applyTapPolicy();
    observers_.push_back(desk_->onPublished([this](const QuenstalState& state) {
        tapPolicyMayHaveChanged(state);
        if (onReportChanged)
            onReportChanged();
    }));
    observeSleepAndWake();
    observeMachine();
}

void AppDelegate::applyTapPolicy()
{
    tapShouldRun_ = MediaKeyTapActivationPolicy::shouldEnableTap(desk_->state());
    tapShouldRun_ ? mediaKeyTap_->start() : mediaKeyTap_->stop();
}

/// Keys work the moment access is given, and go back to the system the moment it is withdrawn. A tap that was refused
/// is requested again: the reason for the refusal may have gone without notice.
void AppDelegate::tapPolicyMayHaveChanged(const QuenstalState& state)
{
    const bool shouldRun = MediaKeyTapActivationPolicy::shouldEnableTap(state);
    if (shouldRun != tapShouldRun_ || (shouldRun && !mediaKeyTap_->isRunning()))
        applyTapPolicy();
}

void AppDelegate::observeSleepAndWake()
{
    observers_.push_back(platform_.session.sleepAndWake.onDidWake([this] { workspaceDidWake(); }));
    observers_.push_back(platform_.session.sleepAndWake.onScreensDidWake([this] { workspaceScreensDidWake(); }));
    mediaKeyTap_->onKeyDown = [this] { platform_.session.sleepAndWake.keyPressed(); };
    observers_.push_back(
        platform_.session.sleepAndWake.onWillSleep([this] { platform_.monitors.watch.machineWillSleep(); }));
}

/// Changes that do not come from the panel are shown a turn later.
void AppDelegate::observeMachine()
{
    const auto refresh = [this](auto...) { desk_->scheduleRefresh(); };
    observers_.push_back(platform_.sound.objects.onOutputsChanged(refresh));
    observers_.push_back(platform_.sound.objects.onVolumeChangedElsewhere(refresh));
    observers_.push_back(platform_.sound.taps.onTapChanged(refresh));
    observers_.push_back(platform_.monitors.watch.observeChanges(refresh));
    observers_.push_back(platform_.keys.permission.onMayHaveChanged(refresh));
    observers_.push_back(platform_.session.preferences.onProblemChanged([this] { tellOfPreferences(); }));
}

void AppDelegate::tellOfPreferences()
{
    if (const auto problem = platform_.session.preferences.problem())
        platform_.session.desktop.showNotice(PreferencesAdvice::title, PreferencesAdvice::textFor(problem->kind));
    if (onReportChanged)
        onReportChanged();
}

void AppDelegate::workspaceDidWake()
{
    requireMainThread();
    platform_.monitors.watch.machineDidWake();
    wake();
}

void AppDelegate::workspaceScreensDidWake()
{
    requireMainThread();
    wake();
}

void AppDelegate::wake()
{
    desk_->refresh();
    tapShouldRun_ = MediaKeyTapActivationPolicy::shouldEnableTap(desk_->state());
    // Always made anew: the system may have dropped the tap while it slept.
    tapShouldRun_ ? mediaKeyTap_->restart() : mediaKeyTap_->stop();
    desk_->scheduleRefresh();
}

MachineReport AppDelegate::machineReport() const
{
    requireMainThread();
    return {desk_->state(), statusController_->viewState().mediaKeyCaptureActive(),
        platform_.keys.permission.wayOfCapture(), platform_.keys.permission.advice(),
        monitorProblems(platform_.monitors.watch), preferencesProblem(platform_.session.preferences)};
}

void AppDelegate::applicationShouldReopen()
{
    requireMainThread();
    if (statusController_)
        statusController_->showPanel();
}

void AppDelegate::applicationWillTerminate()
{
    requireMainThread();
    // The sound first, then whatever else must not be lost: a frozen server may hold up the rest.
    if (desk_)
        desk_->shutdown();
    platform_.sound.taps.giveSoundBack();
    platform_.session.preferences.saveNow();
    if (mediaKeyTap_)
        mediaKeyTap_->stop();
    platform_.monitors.watch.stop();
}

} // namespace quenstal
