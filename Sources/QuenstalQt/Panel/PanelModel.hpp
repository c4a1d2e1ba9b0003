#pragma once

#include "QuenstalApp/StatusMenuController/GlassArcDial.hpp"
#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

namespace quenstal {

/// The view state as the QML views read it: properties with change signals, in the user's language. It holds nothing
/// of its own but the current press on the dial. Main thread.
class PanelModel : public QObject, private GlassDialViewState::Observer {
    Q_OBJECT
    // The dial screen.
    Q_PROPERTY(QString outputName READ outputName NOTIFY snapshotChanged)
    Q_PROPERTY(QString modeLabel READ modeLabel NOTIFY snapshotChanged)
    Q_PROPERTY(QString modeKind READ modeKind NOTIFY snapshotChanged)
    Q_PROPERTY(QString statusTitle READ statusTitle NOTIFY snapshotChanged)
    Q_PROPERTY(QString statusSymbol READ statusSymbol NOTIFY snapshotChanged)
    Q_PROPERTY(int levelPercent READ levelPercent NOTIFY snapshotChanged)
    Q_PROPERTY(bool muted READ isMuted NOTIFY snapshotChanged)
    Q_PROPERTY(bool enabled READ isEnabled NOTIFY snapshotChanged)
    Q_PROPERTY(bool controllable READ isControllable NOTIFY snapshotChanged)
    Q_PROPERTY(bool showsDDCBanner READ showsDDCBanner NOTIFY snapshotChanged)
    Q_PROPERTY(QString primaryDiagnostic READ primaryDiagnostic NOTIFY snapshotChanged)
    Q_PROPERTY(QString eqChipSubtitle READ eqChipSubtitle NOTIFY snapshotChanged)
    Q_PROPERTY(bool eqEnabled READ isEQEnabled NOTIFY snapshotChanged)
    Q_PROPERTY(bool eqAvailable READ isEQAvailable NOTIFY snapshotChanged)
    // The equalizer screen.
    Q_PROPERTY(bool eqCanSwitchToSoftware READ eqCanSwitchToSoftware NOTIFY snapshotChanged)
    Q_PROPERTY(bool eqNeedsAudioPermission READ eqNeedsAudioPermission NOTIFY snapshotChanged)
    Q_PROPERTY(QString eqUnavailableReason READ eqUnavailableReason NOTIFY snapshotChanged)
    Q_PROPERTY(bool boostHintVisible READ isBoostHintVisible NOTIFY snapshotChanged)
    Q_PROPERTY(QStringList presetNames READ presetNames CONSTANT)
    Q_PROPERTY(int presetIndex READ presetIndex NOTIFY profileChanged)
    Q_PROPERTY(QList<int> bandIDs READ bandIDs NOTIFY profileChanged)
    Q_PROPERTY(QStringList bandHertz READ bandHertz NOTIFY profileChanged)
    Q_PROPERTY(QStringList bandLabels READ bandLabels NOTIFY profileChanged)
    Q_PROPERTY(QList<qreal> bandGains READ bandGains NOTIFY profileChanged)
    Q_PROPERTY(qreal preampDB READ preampDB NOTIFY profileChanged)
    Q_PROPERTY(QList<qreal> response READ response NOTIFY profileChanged)
    Q_PROPERTY(int focusedBandID READ focusedBandID NOTIFY focusedBandChanged)
    Q_PROPERTY(qreal levelL READ levelL NOTIFY levelsChanged)
    Q_PROPERTY(qreal levelR READ levelR NOTIFY levelsChanged)
    Q_PROPERTY(qreal peakL READ peakL NOTIFY levelsChanged)
    Q_PROPERTY(qreal peakR READ peakR NOTIFY levelsChanged)
    Q_PROPERTY(bool clipping READ isClipping NOTIFY levelsChanged)
    // The setup guide.
    Q_PROPERTY(QString outputSummary READ outputSummary NOTIFY setupChanged)
    Q_PROPERTY(QString hardwareSummary READ hardwareSummary NOTIFY setupChanged)
    Q_PROPERTY(QString softwareSummary READ softwareSummary NOTIFY setupChanged)
    Q_PROPERTY(QString accessibilityStatus READ accessibilityStatus NOTIFY setupChanged)
    Q_PROPERTY(QString accessibilityActionTitle READ accessibilityActionTitle NOTIFY setupChanged)
    Q_PROPERTY(QString audioCaptureStatus READ audioCaptureStatus NOTIFY setupChanged)
    Q_PROPERTY(QString audioCaptureActionTitle READ audioCaptureActionTitle NOTIFY setupChanged)
    Q_PROPERTY(bool accessibilityGranted READ isAccessibilityGranted NOTIFY setupChanged)
    Q_PROPERTY(bool audioCaptureNeeded READ isAudioCaptureNeeded NOTIFY setupChanged)
    Q_PROPERTY(bool captureActive READ isCaptureActive NOTIFY captureChanged)
    Q_PROPERTY(bool keyCaptured READ hasCapturedKey NOTIFY captureChanged)
    Q_PROPERTY(QString lastCapture READ lastCapture NOTIFY captureChanged)
    Q_PROPERTY(QString captureAdvice READ captureAdvice NOTIFY captureChanged)
    Q_PROPERTY(QString monitorAdvice READ monitorAdvice NOTIFY monitorAdviceChanged)
    // Navigation.
    Q_PROPERTY(QString screen READ screen NOTIFY screenChanged)
    Q_PROPERTY(bool showsMoreActions READ showsMoreActions NOTIFY moreActionsChanged)
    /// Off when the user asked the desktop for reduced motion, and while the panel is hidden.
    Q_PROPERTY(bool motion READ motion NOTIFY motionChanged)
    /// The user moves between controls with the keyboard, so the focus has to be visible.
    Q_PROPERTY(bool keyboardInUse READ isKeyboardInUse NOTIFY keyboardInUseChanged)

public:
    /// The state must outlive the model.
    explicit PanelModel(GlassDialViewState& state, QObject* parent = nullptr);
    ~PanelModel() override;

    QString outputName() const;
    QString modeLabel() const { return shownText(snapshot().modeLabel); }
    QString modeKind() const;
    QString statusTitle() const { return shownText(snapshot().statusTitle); }
    QString statusSymbol() const { return QString::fromStdString(snapshot().statusSymbolName); }
    int levelPercent() const { return static_cast<int>(snapshot().levelPercent); }
    bool isMuted() const { return snapshot().isMuted; }
    bool isEnabled() const { return snapshot().isEnabled; }
    bool isControllable() const { return snapshot().isControllable; }
    bool showsDDCBanner() const { return snapshot().showsDDCBanner; }
    QString primaryDiagnostic() const { return shownText(snapshot().primaryDiagnostic.value_or("")); }
    QString eqChipSubtitle() const { return shownText(snapshot().eqChipSubtitle); }
    bool isEQEnabled() const { return snapshot().eqEnabled; }
    bool isEQAvailable() const { return snapshot().eqAvailable; }
    bool eqCanSwitchToSoftware() const { return snapshot().eqCanSwitchToSoftware; }
    bool eqNeedsAudioPermission() const { return snapshot().eqNeedsAudioPermission; }
    QString eqUnavailableReason() const;
    bool isBoostHintVisible() const { return snapshot().eqBoostHintVisible; }

    static QStringList presetNames();
    int presetIndex() const;
    QList<int> bandIDs() const;
    QStringList bandHertz() const;
    QStringList bandLabels() const;
    QList<qreal> bandGains() const;
    qreal preampDB() const { return snapshot().eqProfile.preampDB; }
    QList<qreal> response() const;
    int focusedBandID() const { return static_cast<int>(state_.focusedEQBandID().value_or(-1)); }
    qreal levelL() const;
    qreal levelR() const;
    qreal peakL() const;
    qreal peakR() const;
    bool isClipping() const { return snapshot().eqLevels.clipping; }

    QString outputSummary() const;
    QString hardwareSummary() const { return shownText(setup().hardwareSummary); }
    QString softwareSummary() const { return shownText(setup().softwareSummary); }
    QString accessibilityStatus() const { return shownText(setup().accessibilityStatus); }
    QString accessibilityActionTitle() const { return shownText(setup().accessibilityActionTitle); }
    QString audioCaptureStatus() const { return shownText(setup().audioCaptureStatus); }
    QString audioCaptureActionTitle() const { return shownText(setup().audioCaptureActionTitle); }
    bool isAccessibilityGranted() const { return !state_.permissionNeeds().accessibility; }
    bool isAudioCaptureNeeded() const { return state_.permissionNeeds().audioCapture; }
    bool isCaptureActive() const { return state_.mediaKeyCaptureActive(); }
    bool hasCapturedKey() const;
    QString lastCapture() const;
    QString captureAdvice() const { return shownText(state_.captureAdvice()); }
    QString monitorAdvice() const;

    /// "dial", "setup" or "equalizer".
    QString screen() const;
    bool showsMoreActions() const { return state_.showsMoreActions(); }

    bool motion() const { return motion_; }
    void setMotion(bool motion);
    bool isKeyboardInUse() const { return keyboardInUse_; }
    void setKeyboardInUse(bool inUse);

    // The user's actions.
    Q_INVOKABLE void pressDial(qreal x, qreal y);
    Q_INVOKABLE void moveOnDial(qreal x, qreal y);
    Q_INVOKABLE void releaseDial();
    Q_INVOKABLE void stepDial(bool up);
    Q_INVOKABLE void setVolumePercent(int percent);
    /// Notches of the wheel, up positive.
    Q_INVOKABLE void scrollDial(int notches);
    Q_INVOKABLE void toggleMute() { state_.toggleMute(); }
    Q_INVOKABLE void toggleEnable() { state_.toggleEnable(); }
    Q_INVOKABLE void refreshOutput();
    Q_INVOKABLE void showDial() { state_.showDial(); }
    Q_INVOKABLE void showEqualizer() { state_.showEqualizer(); }
    Q_INVOKABLE void showSetupGuide() { state_.showSetupGuide(); }
    Q_INVOKABLE void toggleMoreActions() { state_.toggleMoreActions(); }
    Q_INVOKABLE void hideMoreActions() { state_.hideMoreActions(); }
    Q_INVOKABLE void openSettings() { state_.openSettingsFromMore(); }
    Q_INVOKABLE void openSetupGuide() { state_.openSetupGuideFromMore(); }
    Q_INVOKABLE void copyDiagnostics() { state_.copyDiagnosticsFromMore(); }
    Q_INVOKABLE void setEQEnabled(bool enabled) { state_.setEQEnabled(enabled); }
    Q_INVOKABLE void selectPreset(int index) { state_.selectPresetByIndex(index); }
    Q_INVOKABLE void setBand(int id, qreal gainDB) { state_.setEQBand(id, gainDB); }
    Q_INVOKABLE void focusBand(int id) { state_.setFocusedEQBandID(id); }
    Q_INVOKABLE void setPreamp(qreal gainDB) { state_.setEQPreamp(gainDB); }
    Q_INVOKABLE void resetEQ() { state_.resetEQ(true); }
    Q_INVOKABLE void dismissBoostHint() { state_.dismissBoostHint(); }
    Q_INVOKABLE void switchToSoftware() { state_.switchToSoftwareProcessing(); }
    Q_INVOKABLE void requestAccessibility() { state_.requestAccessibility(); }
    Q_INVOKABLE void openAudioSettings() { state_.openAudioSettings(); }
    Q_INVOKABLE void audioCaptureAction();
    Q_INVOKABLE void finishSetup() { state_.finishSetup(); }
    Q_INVOKABLE void quit() { state_.quit(); }

signals:
    void snapshotChanged();
    void profileChanged();
    void levelsChanged();
    void setupChanged();
    void captureChanged();
    void monitorAdviceChanged();
    void screenChanged();
    void moreActionsChanged();
    void focusedBandChanged();
    void motionChanged();
    void keyboardInUseChanged();

private:
    void propertyWillChange(GlassDialViewState::Property property) override;
    void propertyDidChange(GlassDialViewState::Property property) override;
    void announceSnapshot();

    const GlassDialSnapshot& snapshot() const { return state_.snapshot(); }
    const SetupGuideSnapshot& setup() const { return state_.setupSnapshot(); }
    GlassArcDial dial();

    GlassDialViewState& state_;
    GlassDialSnapshot announced_;
    GlassArcDialGesture gesture_;
    bool motion_ = true;
    bool keyboardInUse_ = false;
};

} // namespace quenstal
