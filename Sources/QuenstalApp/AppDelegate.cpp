#include "QuenstalApp/AppDelegate.hpp"

#include "QuenstalApp/NativeAdapters/CoreAudioDeviceProvider.hpp"
#include "QuenstalApp/NativeAdapters/CoreAudioSystemVolumeController.hpp"
#include "QuenstalApp/NativeAdapters/CoreAudioTapSoftwareVolumeController.hpp"
#include "QuenstalApp/NativeAdapters/CoreGraphicsDisplayProvider.hpp"
#include "QuenstalApp/NativeAdapters/MacPermissionProvider.hpp"
#include "QuenstalApp/NativeAdapters/NativeDDCVolumeController.hpp"
#include "QuenstalApp/NativeAdapters/UserDefaultsEQProfileStore.hpp"
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
    auto audioDevices = std::make_shared<CoreAudioDeviceProvider>(platform_.audioObjects);
    auto displays = std::make_shared<CoreGraphicsDisplayProvider>(platform_.displays, platform_.displayBuses);
    auto permissions = std::make_shared<MacPermissionProvider>(platform_.trust);
    auto systemVolume = std::make_shared<CoreAudioSystemVolumeController>(platform_.audioObjects);
    auto softwareVolume = std::make_shared<CoreAudioTapSoftwareVolumeController>(platform_.audioTaps);
    auto ddcVolume = std::make_shared<NativeDDCVolumeController>(platform_.displayBuses);
    auto eqProfileStore = std::make_shared<UserDefaultsEQProfileStore>(platform_.userDefaults);
    return std::make_shared<QuenstalController>(std::move(audioDevices), std::move(displays), std::move(permissions),
        std::move(systemVolume), std::move(ddcVolume), std::move(softwareVolume), std::move(eqProfileStore),
        ModeSelector(), VolumeReducer(volumeStep), VolumeSnapshot::defaultAudible());
}

void AppDelegate::applicationDidFinishLaunching()
{
    requireMainThread();
    desk_ = std::make_shared<VolumeDesk>(platform_.runLoop, platform_.displayBusHealth, makeController());
    statusController_ = std::make_shared<StatusMenuController>(
        StatusMenuController::Platform{platform_.runLoop, platform_.desktop, platform_.userDefaults, platform_.trust,
            platform_.displayBusHealth, platform_.views},
        desk_);
    mediaKeyTap_ = std::make_shared<MediaKeyTap>(platform_.eventTaps, platform_.runLoop, desk_, statusController_);
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
        if (onFindingsChanged)
            onFindingsChanged();
    }));
    observeWorkspace();
    observeMachine();
}

void AppDelegate::applyTapPolicy()
{
    tapShouldRun_ = MediaKeyTapActivationPolicy::shouldEnableTap(desk_->state());
    tapShouldRun_ ? mediaKeyTap_->start() : mediaKeyTap_->stop();
}

/// Keys work the moment access is given, and are the system's again the moment it is withdrawn. A tap that was refused
/// is asked for again: what refused it may have gone without a word.
void AppDelegate::tapPolicyMayHaveChanged(const QuenstalState& state)
{
    const bool shouldRun = MediaKeyTapActivationPolicy::shouldEnableTap(state);
    if (shouldRun != tapShouldRun_ || (shouldRun && !mediaKeyTap_->isRunning()))
        applyTapPolicy();
}

void AppDelegate::observeWorkspace()
{
    observers_.push_back(platform_.workspace.onDidWake([this] { workspaceDidWake(); }));
    observers_.push_back(platform_.workspace.onScreensDidWake([this] { workspaceScreensDidWake(); }));
    mediaKeyTap_->onKeyDown = [this] { platform_.workspace.keyPressed(); };
    observers_.push_back(platform_.workspace.onWillSleep([this] { platform_.displayBusHealth.machineWillSleep(); }));
}

/// What changes by other hands than the user's on the panel shows a turn later.
void AppDelegate::observeMachine()
{
    const auto refresh = [this](auto...) { desk_->scheduleRefresh(); };
    observers_.push_back(platform_.audioObjects.onOutputsChanged(refresh));
    observers_.push_back(platform_.audioObjects.onVolumeChangedElsewhere(refresh));
    observers_.push_back(platform_.audioTaps.onTapChanged(refresh));
    observers_.push_back(platform_.displayBusHealth.observeChanges(refresh));
    observers_.push_back(platform_.trust.onMayHaveChanged(refresh));
    observers_.push_back(platform_.userDefaults.onProblemChanged([this] { tellOfPreferences(); }));
}

void AppDelegate::tellOfPreferences()
{
    if (const auto problem = platform_.userDefaults.problem())
        platform_.desktop.showNotice(PreferencesAdvice::title, PreferencesAdvice::textFor(problem->kind));
    if (onFindingsChanged)
        onFindingsChanged();
}

void AppDelegate::workspaceDidWake()
{
    requireMainThread();
    platform_.displayBusHealth.machineDidWake();
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
    // Always made anew: the system may have let go of the tap in its sleep.
    tapShouldRun_ ? mediaKeyTap_->restart() : mediaKeyTap_->stop();
    desk_->scheduleRefresh();
}

Findings AppDelegate::findings() const
{
    requireMainThread();
    return {desk_->state(), statusController_->viewState().mediaKeyCaptureActive(), platform_.trust.wayOfCapture(),
        platform_.trust.advice(), platform_.displayBusHealth.problems(), platform_.userDefaults.problem()};
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
    // The sound first, then what else must not be lost: the rest may be held up by whatever is frozen.
    if (desk_)
        desk_->shutdown();
    platform_.audioTaps.giveSoundBack();
    platform_.userDefaults.saveNow();
    if (mediaKeyTap_)
        mediaKeyTap_->stop();
    platform_.displayBusHealth.stop();
}

} // namespace quenstal
