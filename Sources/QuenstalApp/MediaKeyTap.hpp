#pragma once

#include "QuenstalApp/VolumeDesk.hpp"
#include "QuenstalCore/MenuPresenter.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalPlatform/OwnedTasks.hpp"

#include <functional>
#include <memory>

namespace quenstal {

class StatusMenuController;

/// Owns the one event tap of the program: takes the presses of the volume keys out of the event stream and gives
/// orders to the desk for them. Either stopped (no tap, no source) or running. Main thread.
class MediaKeyTap {
public:
    MediaKeyTap(EventTaps& eventTaps, RunLoop& runLoop, std::shared_ptr<VolumeDesk> desk,
        std::weak_ptr<StatusMenuController> statusController);
    MediaKeyTap(const MediaKeyTap&) = delete;
    MediaKeyTap& operator=(const MediaKeyTap&) = delete;

    /// Creates the tap unless there is one, and tells the status controller whether keys are captured. A tap that
    /// cannot be made leaves this stopped.
    void start();
    /// Gives the keys back to the system.
    void stop();
    void restart();
    bool isRunning() const { return eventTap_ != nullptr; }

    /// Called for each key that is taken out, before anything is done with it.
    std::function<void()> onKeyDown;

private:
    static const TapEvent* quenstalMediaKeyCallback(EventType type, const TapEvent* event, void* userInfo);

    bool createTap();
    void release();
    void restartIfRunning();
    void handle(MediaKeyRouter::Key mediaKey);
    void reportCapture(bool isActive);

    EventTaps& eventTaps_;
    OwnedTasks tasks_;
    std::shared_ptr<VolumeDesk> desk_;
    std::weak_ptr<StatusMenuController> statusController_;
    MediaKeyRouter router_;
    std::unique_ptr<EventTap> eventTap_;
    std::unique_ptr<EventTapSource> runLoopSource_;
};

} // namespace quenstal
