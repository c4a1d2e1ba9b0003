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
    viewState_.onRefreshOutput = [this] { refreshAndSync(); };
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
    viewState_.onEQToggle = [this](bool enabled) { sync(controller_->setEQEnabled(enabled)); };
    viewState_.onEQPreset = [this](EQPresetName preset) { sync(controller_->selectEQPreset(preset)); };
    viewState_.onEQBandChange = [this](std::int64_t id, double gainDB) { sync(controller_->updateEQBand(id, gainDB)); };
    viewState_.onEQPreampChange = [this](double gainDB) { sync(controller_->updateEQPreamp(gainDB)); };
    viewState_.onEQReset = [this](bool confirm) { resetEQ(confirm); };
    viewState_.onDismissBoostHint = [this] { sync(controller_->dismissEQBoostHint()); };
    viewState_.onSwitchToSoftwareProcessing = [this] { sync(controller_->switchCurrentOutputToSoftwareProcessing()); };
}

void StatusMenuController::setVolume(std::int64_t percent)
{
    desk_->handle(GlassDialInteraction::command(percent));
    sync(controller_->state());
}

void StatusMenuController::toggleMute()
{
    desk_->handle(GlassDialInteraction::muteCommand());
    sync(controller_->state());
}

void StatusMenuController::toggleEnabled()
{
    const bool enabled = !controller_->isEnabled();
    const QuenstalState state = controller_->setEnabled(enabled);
    if (onEnabledChanged)
        onEnabledChanged(enabled);
    sync(state);
}

void StatusMenuController::openSoundSettings()
{
    platform_.desktop.open(GlassDialSettingsDestination::soundSettingsURLString);
}

void StatusMenuController::resetEQ(bool confirm)
{
    if (alertShown_)
        return;
    if (!confirm || controller_->state().audioProcessing.profile == EQProfile::defaultProfile()) {
        performEQReset();
        return;
    }
    alertShown_ = true;
    const Alert alert{"Reset equalizer?", "This restores the Flat preset for the current output.", {"Reset", "Cancel"}};
    const auto answered = [this](AlertResponse response) {
        alertShown_ = false;
        if (response == alertFirstButtonReturn)
            performEQReset();
    };
    platform_.desktop.showAlert(alert, tasks_.whileOwned(answered));
}

void StatusMenuController::performEQReset()
{
    sync(controller_->resetEQProfile());
}

void StatusMenuController::copyDiagnostics()
{
    platform_.desktop.clearPasteboard();
    platform_.desktop.setPasteboardString(diagnosticsReport());
}

std::string StatusMenuController::diagnosticsReport() const
{
    const bool isTrusted = isGranted(controller_->state().permissions.accessibility);
    std::string report = controller_->exportedDiagnostics();
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
    publishSetup(controller_->state());
}

void StatusMenuController::recordMediaKeyCapture(MediaKeyRouter::Key key)
{
    const RunLoop::WallTime now = platform_.runLoop.wallNow();
    const std::string label(captureLabel(key));
    lastMediaKeyCaptureDescription_ = label + " at " + localTimeOfDay(now);
    platform_.userDefaults.setString(lastMediaKeyKey, label);
    platform_.userDefaults.setNumber(lastMediaKeyTimestampKey, secondsSince1970(now));
    viewState_.updateMediaKeyCapture(mediaKeyCaptureActive_, lastMediaKeyCaptureDescription_);
}

void StatusMenuController::showKeyFeedback(bool isApplied)
{
    if (panel_->isVisible())
        return;
    const GlassDialSnapshot snapshot(controller_->state());
    KeyFeedback feedback{snapshot.statusSymbolName, snapshot.statusTitle, std::nullopt, snapshot.outputName};
    if (isApplied)
        feedback.percent = static_cast<int>(snapshot.levelPercent);
    else
        feedback.text = snapshot.primaryDiagnostic.value_or(snapshot.modeLabel);
    platform_.desktop.showKeyFeedback(feedback);
}

} // namespace quenstal
