// What the panel's controls do.

#include "QuenstalApp/StatusMenuController.hpp"

#include <ctime>
#include <string>
#include <utility>

namespace quenstal {

namespace {

std::string localTimeOfDay(RunLoop::WallTime now)
{
    const time_t seconds = RunLoop::WallTime::clock::to_time_t(now);
    tm local{};
    localtime_r(&seconds, &local);
    char text[sizeof "HH:MM:SS"];
    strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

double secondsSince1970(RunLoop::WallTime now)
{
    return std::chrono::duration<double>(now.time_since_epoch()).count();
}

} // namespace

void StatusMenuController::configureActions()
{
    viewState_.onVolumeChange = [this](std::int64_t percent) { setVolume(percent); };
    viewState_.onToggleMute = [this] { toggleMute(); };
    viewState_.onToggleEnable = [this] { toggleEnabled(); };
    viewState_.onRefreshOutput = [this] { desk_->refresh(); };
    viewState_.onCopyDiagnostics = [this] { copyDiagnostics(); };
    configureNavigationActions();
    configureEQActions();
}

void StatusMenuController::configureNavigationActions()
{
    viewState_.onOpenSettings = [this] { openSoundSettings(); };
    viewState_.onOpenSetupGuide = [this] { viewState_.showSetupGuide(); };
    viewState_.onFinishSetup = [this] {
        setupPreferences_.setCompleted();
        viewState_.showDial();
    };
    viewState_.onRequestAccessibility = [this] { requestAccessibility(); };
    viewState_.onOpenAudioSettings = [this] { openSoundSettings(); };
    viewState_.onScreenChanged = [this] {
        updatePanelSize(false, true);
        updateLevelTimer();
    };
    viewState_.onQuit = [this] {
        closePanel();
        platform_.desktop.terminate();
    };
}

void StatusMenuController::configureEQActions()
{
    const auto changing = [this](auto operation) {
        return [this, operation](auto... arguments) { desk_->change(operation, arguments...); };
    };
    viewState_.onEQToggle = changing(&QuenstalController::setEQEnabled);
    viewState_.onEQPreset = changing(&QuenstalController::selectEQPreset);
    viewState_.onEQBandChange = changing(&QuenstalController::updateEQBand);
    viewState_.onEQPreampChange = changing(&QuenstalController::updateEQPreamp);
    viewState_.onEQReset = [this](bool confirm) { resetEQ(confirm); };
    viewState_.onDismissBoostHint = changing(&QuenstalController::dismissEQBoostHint);
    viewState_.onSwitchToSoftwareProcessing = changing(&QuenstalController::switchCurrentOutputToSoftwareProcessing);
}

/// For the output that the panel shows: another one that came meanwhile has a volume of its own.
void StatusMenuController::order(const VolumeCommand& command)
{
    desk_->carryOut({VolumeDesk::Origin::panel, VolumeDesk::Order::always(command), shownOutput_});
}

void StatusMenuController::setVolume(std::int64_t percent)
{
    order(GlassDialInteraction::command(percent));
}

void StatusMenuController::toggleMute()
{
    order(GlassDialInteraction::muteCommand());
}

void StatusMenuController::toggleEnabled()
{
    desk_->change(&QuenstalController::setEnabled, !desk_->state().isEnabled);
}

void StatusMenuController::openSoundSettings()
{
    platform_.desktop.open(GlassDialSettingsDestination::soundSettingsURLString);
}

void StatusMenuController::resetEQ(bool confirm)
{
    if (alertShown_)
        return;
    const auto reset = [this] { desk_->change(&QuenstalController::resetEQProfile); };
    if (!confirm || desk_->state().audioProcessing.profile == EQProfile::defaultProfile())
        return reset();
    alertShown_ = true;
    const Alert alert{"Reset equalizer?", "This restores the Flat preset for the current output.", {"Reset", "Cancel"}};
    const auto answered = [this, reset](AlertResponse response) {
        alertShown_ = false;
        if (response == alertFirstButtonReturn)
            reset();
    };
    platform_.desktop.showAlert(alert, tasks_.whileOwned(answered));
}

void StatusMenuController::copyDiagnostics()
{
    platform_.desktop.clearPasteboard();
    platform_.desktop.setPasteboardString(diagnosticsReport());
}

std::string StatusMenuController::diagnosticsReport() const
{
    const bool isTrusted = isGranted(desk_->state().permissions.accessibility);
    std::string report = desk_->controller()->exportedDiagnostics();
    report += "\n[info] accessibilityPermission: Running app sees Accessibility permission as ";
    report += isTrusted ? "granted" : "not granted";
    report += ".\n[info] mediaKeyCapture: F10/F11/F12 listener is ";
    report += mediaKeyCaptureActive_ ? "active" : "inactive";
    report += ". Last event: " + lastMediaKeyCaptureDescription_ + ".";
    if (isTrusted && lastMediaKeyCaptureDescription_ == noMediaKeyCapturedDescription)
        report += "\n[info] mediaKeyTroubleshooting: If F keys do not work, remove stale Quenstal entries from "
                  "Accessibility, quit Quenstal, reopen it from Applications, then enable the installed app.";
    return report;
}

void StatusMenuController::updateMediaKeyCapture(bool isActive)
{
    mediaKeyCaptureActive_ = isActive;
    viewState_.updateMediaKeyCapture(mediaKeyCaptureActive_, lastMediaKeyCaptureDescription_);
    publishSetup(desk_->state());
}

void StatusMenuController::recordMediaKeyCapture(MediaKeyRouter::Key key)
{
    const RunLoop::WallTime now = platform_.runLoop.wallNow();
    const std::string label(captureLabel(key));
    lastMediaKeyCaptureDescription_ = label + " at " + localTimeOfDay(now);
    platform_.preferences.setString(lastMediaKeyKey, label);
    platform_.preferences.setNumber(lastMediaKeyTimestampKey, secondsSince1970(now));
    viewState_.updateMediaKeyCapture(mediaKeyCaptureActive_, lastMediaKeyCaptureDescription_);
}

void StatusMenuController::showKeyFeedback(const KeyFeedback& feedback)
{
    if (!panel_->isVisible())
        platform_.desktop.showKeyFeedback(feedback);
}

} // namespace quenstal
