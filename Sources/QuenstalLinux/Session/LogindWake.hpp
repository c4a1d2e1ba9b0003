#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Session/BusConnection.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <array>
#include <utility>

namespace quenstal {

/// Sleep and wake of the machine as logind tells them, and the screens as the session's screen saver does.
class LogindWake final : public WakeNotifications {
public:
    /// Both outlive this. Without a bus nothing is ever told.
    LogindWake(RunLoop& runLoop, BusConnection& systemBus, BusConnection& sessionBus);

    [[nodiscard]] Cancellation onWillSleep(RunLoop::Task task) override { return willSleep_.add(std::move(task)); }
    [[nodiscard]] Cancellation onDidWake(RunLoop::Task task) override { return didWake_.add(std::move(task)); }
    [[nodiscard]] Cancellation onScreensDidWake(RunLoop::Task task) override
    {
        return screensDidWake_.add(std::move(task));
    }
    /// From whoever else sees the screens.
    void screensDidWake() { screensDidWake_.notify(); }

private:
    static int prepareForSleep(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int screenSaverChanged(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int inhibitorGranted(sd_bus_message* message, void* userData, sd_bus_error* error);

    void requestInhibitor();

    RunLoop& runLoop_;
    BusConnection& systemBus_;
    Notifier<> willSleep_;
    Notifier<> didWake_;
    Notifier<> screensDidWake_;
    /// While this is open the machine waits for us before it sleeps.
    FileDescriptor inhibitor_;
};

} // namespace quenstal
