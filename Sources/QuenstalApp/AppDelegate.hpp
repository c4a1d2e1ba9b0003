#pragma once

#include "QuenstalApp/MachineReport.hpp"
#include "QuenstalApp/MediaKeyTap.hpp"
#include "QuenstalApp/StatusMenuController.hpp"
#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"
#include "QuenstalPlatform/AudioTaps.hpp"
#include "QuenstalPlatform/CapturePermission.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Displays.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalPlatform/Preferences.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <memory>
#include <vector>

namespace quenstal {

/// The machine that the program runs on.
struct AppPlatform {
    struct Sound {
        AudioObjects& objects;
        AudioTaps& taps;
    };
    struct Monitors {
        Displays& displays;
        DisplayBuses& buses;
        MonitorWatch& watch;
    };
    struct Keys {
        EventTaps& taps;
        CapturePermission& permission;
    };
    struct Session {
        Desktop& desktop;
        PanelViewHosting& views;
        SleepAndWake& sleepAndWake;
        Preferences& preferences;
    };

    RunLoop& runLoop;
    Sound sound;
    Monitors monitors;
    Keys keys;
    Session session;
};

/// Composes the program when launching has finished, follows wake and changes of the machine, and ends it. Main
/// thread: a call from any other is a programming error.
class AppDelegate {
public:
    /// The step of one key press: one sixteenth.
    static constexpr double volumeStep = 0.0625;

    /// Everything in `platform` outlives the delegate.
    explicit AppDelegate(const AppPlatform& platform)
        : platform_(platform)
    {
    }
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    /// The program was started a second time: opens the panel.
    void applicationShouldReopen();

    /// Only after launching has finished.
    MachineReport machineReport() const;
    /// Called whenever `machineReport` may have changed.
    std::function<void()> onReportChanged;

    /// None before launching has finished.
    std::shared_ptr<const QuenstalController> controller() const { return desk_ ? desk_->controller() : nullptr; }

private:
    void requireMainThread() const;
    std::shared_ptr<QuenstalController> makeController() const;
    void applyTapPolicy();
    void tapPolicyMayHaveChanged(const QuenstalState& state);
    void observeSleepAndWake();
    void observeMachine();
    void tellOfPreferences();
    void workspaceDidWake();
    void workspaceScreensDidWake();
    void wake();

    AppPlatform platform_;
    std::shared_ptr<VolumeDesk> desk_;
    std::shared_ptr<StatusMenuController> statusController_;
    std::shared_ptr<MediaKeyTap> mediaKeyTap_;
    /// The policy's last answer.
    bool tapShouldRun_ = false;
    std::vector<Cancellation> observers_;
};

} // namespace quenstal
