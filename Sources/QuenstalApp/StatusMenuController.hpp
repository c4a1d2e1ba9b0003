#pragma once

#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"
#include "QuenstalApp/StatusMenuController/PanelGeometry.hpp"
#include "QuenstalApp/StatusMenuController/PanelViewHosting.hpp"
#include "QuenstalApp/StatusMenuController/SetupGuidePreferences.hpp"
#include "QuenstalApp/VolumeDesk.hpp"
#include "QuenstalPlatform/CapturePermission.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/OwnedTasks.hpp"
#include "QuenstalPlatform/Preferences.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// Owns the status item and the panel that opens under it. Gives what the user does to the desk, and keeps the
/// status button and the panel in step with what that publishes. Main thread.
class StatusMenuController final : private StatusItemHandler {
public:
    /// What it needs of the platform; all of it outlives the controller.
    struct Platform {
        RunLoop& runLoop;
        Desktop& desktop;
        Preferences& preferences;
        CapturePermission& permission;
        MonitorWatch& monitors;
        PanelViewHosting& views;
    };

    static constexpr auto levelInterval = std::chrono::milliseconds(100);
    static constexpr auto accessibilityRetryDelay = std::chrono::seconds(1);
    static constexpr int accessibilityRetries = 30;
    static constexpr auto firstRunRetryDelay = std::chrono::milliseconds(100);
    static constexpr int firstRunAttempts = 12;
    /// Trays report the click on their icon when the button is let go; by then its press has closed the panel.
    static constexpr auto reopenGuard = std::chrono::milliseconds(400);

    static constexpr std::string_view lastMediaKeyKey = "QuenstalLastMediaKey";
    static constexpr std::string_view lastMediaKeyTimestampKey = "QuenstalLastMediaKeyTimestamp";

    /// Shows the item at once, from the state as it is. The setup guide opens by itself until the user has
    /// finished it once.
    StatusMenuController(const Platform& platform, std::shared_ptr<VolumeDesk> desk);
    ~StatusMenuController();
    StatusMenuController(const StatusMenuController&) = delete;
    StatusMenuController& operator=(const StatusMenuController&) = delete;

    /// Called after the user switched the program on or off, with the new value.
    std::function<void(bool isEnabled)> onEnabledChanged;

    /// Reports whether the key tap is running.
    void updateMediaKeyCapture(bool isActive);
    /// Notes a captured key, for the panel, the report and the preferences.
    void recordMediaKeyCapture(MediaKeyRouter::Key key);
    /// Opens the panel, or brings the open one to the front.
    void showPanel(std::optional<Point> activatedAt = std::nullopt);

    const GlassDialViewState& viewState() const { return viewState_; }

private:
    using Screen = GlassDialViewState::Screen;

    void statusItemActivated(std::optional<Point> at) override;
    void statusItemSecondaryActivated() override;
    void statusItemScrolled(int notches) override;
    void statusItemOpenChosen() override { showPanel(); }
    void statusItemQuitChosen() override { viewState_.quit(); }

    void configureActions();
    void configureNavigationActions();
    void configureEQActions();

    void sync(const QuenstalState& state);
    void publishSetup(const QuenstalState& state);
    void refreshStatusButton(const GlassDialSnapshot& snapshot);

    void showKeyFeedback(const KeyFeedback& feedback);
    void order(const VolumeCommand& command);
    void setVolume(std::int64_t percent);
    void toggleMute();
    void toggleEnabled();
    void resetEQ(bool confirm);
    void copyDiagnostics();
    std::string diagnosticsReport() const;
    void openSoundSettings();

    void requestAccessibility();
    void scheduleAccessibilityRefreshRetries();
    void retryAccessibility(int attempt);

    void presentFirstRunSetupIfNeeded();
    void tryFirstRunSetup(int attempt);
    bool showPendingFirstRunSetupIfPossible();
    void switchToSetupScreen();

    void togglePanel(std::optional<Point> activatedAt);
    void closePanel();
    void openPanel(std::optional<Point> activatedAt);
    Size currentWindowSize() const;
    void updatePanelSize(bool force, bool preserveWindowFrame);
    void positionPanel(std::optional<Point> activatedAt);
    PanelGeometry::Placement panelPlacement(std::optional<Point> activatedAt);
    void installOutsideClickMonitor();
    void updateLevelTimer();

    bool handleKeyDown(const KeyEvent& event);
    bool handleDialKeyDown(const KeyEvent& event);
    bool handleEqualizerKeyDown(const KeyEvent& event);
    void stepVolume(GlassDialStepDirection direction, bool largeStep);

    Platform platform_;
    OwnedTasks tasks_;
    std::unique_ptr<StatusItem> statusItem_;
    std::shared_ptr<VolumeDesk> desk_;
    SetupGuidePreferences setupPreferences_;
    GlassDialViewState viewState_;
    std::unique_ptr<PanelWindow> panel_;
    std::unique_ptr<Interface> hostingController_;
    Cancellation keyMonitor_;
    Cancellation outsideClickMonitor_;
    Cancellation levelTimer_;
    bool firstRunSetupPending_ = false;
    bool mediaKeyCaptureActive_ = false;
    std::string lastMediaKeyCaptureDescription_ = noMediaKeyCapturedDescription;

    Cancellation accessibilityRetry_;
    Cancellation firstRunRetry_;
    PanelGeometry::BarSide barSide_ = PanelGeometry::BarSide::top;
    std::optional<RunLoop::SteadyTime> closedByOutsideClickAt_;
    bool alertShown_ = false;
    /// Of the state that the panel shows.
    std::string shownOutput_;
    Cancellation publishedStates_;
    Cancellation keyFeedback_;
};

} // namespace quenstal
