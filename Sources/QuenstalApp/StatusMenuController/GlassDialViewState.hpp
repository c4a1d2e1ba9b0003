#pragma once

#include "QuenstalCore/MenuPresenter.hpp"
#include "QuenstalCore/Models.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// The view model behind the panel: the latest snapshots, the panel's own navigation, and one optional callback a
/// user action, called on the caller's turn. Every published property announces its change before the change, and
/// once more after it; setting an equal value announces nothing. Main thread.
class GlassDialViewState {
public:
    enum class Screen { dial, setup, equalizer };
    enum class Property {
        snapshot,
        setupSnapshot,
        screen,
        showsMoreActions,
        mediaKeyCaptureActive,
        lastMediaKeyCaptureDescription,
        focusedEQBandID,
        permissionNeeds,
        captureAdvice,
        monitorProblems,
    };

    /// Neither may add or remove observers.
    class Observer {
    public:
        /// The property still has its old value.
        virtual void propertyWillChange(Property) { }
        virtual void propertyDidChange(Property) { }

    protected:
        ~Observer() = default;
    };

    GlassDialViewState(GlassDialSnapshot snapshot, SetupGuideSnapshot setupSnapshot);
    GlassDialViewState(const GlassDialViewState&) = delete;
    GlassDialViewState& operator=(const GlassDialViewState&) = delete;

    void addObserver(Observer& observer);
    void removeObserver(Observer& observer);

    // The published properties.
    const GlassDialSnapshot& snapshot() const { return snapshot_; }
    const SetupGuideSnapshot& setupSnapshot() const { return setupSnapshot_; }
    Screen screen() const { return screen_; }
    bool showsMoreActions() const { return showsMoreActions_; }
    bool mediaKeyCaptureActive() const { return mediaKeyCaptureActive_; }
    const std::string& lastMediaKeyCaptureDescription() const { return lastMediaKeyCaptureDescription_; }
    /// The `EQBand.id` that the keyboard moves.
    std::optional<std::int64_t> focusedEQBandID() const { return focusedEQBandID_; }
    const PermissionNeeds& permissionNeeds() const { return permissionNeeds_; }
    /// What keeps the volume keys from being captured and what to do about it; empty when nothing does.
    const std::string& captureAdvice() const { return captureAdvice_; }
    /// What keeps monitors from being controlled, and what to do about it.
    const std::vector<DisplayBusProblem>& monitorProblems() const { return monitorProblems_; }

    /// Set by the status controller: a direct assignment, without closing the tray or telling of a new screen.
    void setScreen(Screen screen);
    void setShowsMoreActions(bool shows);
    void setFocusedEQBandID(std::optional<std::int64_t> id);
    void setPermissionNeeds(PermissionNeeds needs);
    void setCaptureAdvice(std::string advice);
    void setMonitorProblems(std::vector<DisplayBusProblem> problems);

    std::function<void(std::int64_t percent)> onVolumeChange;
    std::function<void()> onToggleMute;
    std::function<void()> onToggleEnable;
    std::function<void()> onRefreshOutput;
    std::function<void()> onCopyDiagnostics;
    std::function<void()> onOpenSettings;
    std::function<void()> onOpenSetupGuide;
    std::function<void()> onFinishSetup;
    std::function<void()> onRequestAccessibility;
    std::function<void()> onOpenAudioSettings;
    std::function<void()> onScreenChanged;
    std::function<void(bool enabled)> onEQToggle;
    std::function<void(EQPresetName preset)> onEQPreset;
    std::function<void(std::int64_t id, double gainDB)> onEQBandChange;
    std::function<void(double gainDB)> onEQPreampChange;
    std::function<void(bool confirm)> onEQReset;
    std::function<void()> onDismissBoostHint;
    std::function<void()> onSwitchToSoftwareProcessing;
    std::function<void()> onQuit;

    void update(GlassDialSnapshot snapshot);
    void updateSetupSnapshot(SetupGuideSnapshot setupSnapshot);
    void updateMediaKeyCapture(bool isActive, std::string lastEventDescription);

    // Navigation: each closes the tray, and tells of a new screen when it is another than the one shown.
    void showDial();
    void showEqualizer();
    void showSetupGuide();
    void toggleMoreActions();
    void hideMoreActions();

    // Actions: each forwards to its callback when there is one.
    void setVolumePercent(std::int64_t percent);
    void toggleMute();
    void toggleEnable();
    void refreshOutput();
    void setEQEnabled(bool enabled);
    void selectPreset(EQPresetName preset);
    void setEQBand(std::int64_t id, double gainDB);
    void setEQPreamp(double gainDB);
    void resetEQ(bool confirm);
    void dismissBoostHint();
    void switchToSoftwareProcessing();
    void requestAccessibility();
    void openAudioSettings();
    void finishSetup();
    void quit();

    // Entries of the more-actions tray: each closes the tray before its callback.
    void openSettingsFromMore();
    void openSetupGuideFromMore();
    void copyDiagnosticsFromMore();

    // Keyboard.
    /// Moves the focused band, or the first one, which then takes the focus. The sum is not clamped here.
    void adjustFocusedEQBand(double delta);
    /// Nothing happens beyond the list of presets.
    void selectPresetByIndex(std::int64_t index);

private:
    template <typename T>
    void publish(Property property, T& field, T value);
    void show(Screen screen);

    GlassDialSnapshot snapshot_;
    SetupGuideSnapshot setupSnapshot_;
    Screen screen_ = Screen::dial;
    bool showsMoreActions_ = false;
    bool mediaKeyCaptureActive_ = false;
    std::string lastMediaKeyCaptureDescription_;
    std::optional<std::int64_t> focusedEQBandID_;
    PermissionNeeds permissionNeeds_;
    std::string captureAdvice_;
    std::vector<DisplayBusProblem> monitorProblems_;
    std::vector<Observer*> observers_;
};

/// Shown until a volume key was captured.
inline constexpr const char* noMediaKeyCapturedDescription = "No F-key events captured yet";

} // namespace quenstal
