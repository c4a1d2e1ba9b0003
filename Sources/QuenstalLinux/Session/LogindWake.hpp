#pragma once

#include "QuenstalLinux/Bus/ServiceSignal.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <array>
#include <chrono>
#include <optional>
#include <utility>

namespace quenstal {

/// The machine's sleep and wake as logind reports them, and the screens' as the session's screen saver does.
class LogindWake final : public SleepAndWake {
public:
    /// Between the announcement of a sleep and the sleep itself, in time that the machine is up. Logind waits five
    /// seconds for programs that delay it.
    static constexpr auto longestFallingAsleep = std::chrono::seconds(10);

    /// All outlive this. Without a bus nothing is ever reported.
    LogindWake(RunLoop& runLoop, DBusConnection& systemBus, DBusConnection& sessionBus);

    [[nodiscard]] Cancellation onWillSleep(RunLoop::Task task) override { return willSleep_.add(std::move(task)); }
    [[nodiscard]] Cancellation onDidWake(RunLoop::Task task) override { return didWake_.add(std::move(task)); }
    [[nodiscard]] Cancellation onScreensDidWake(RunLoop::Task task) override
    {
        return screensDidWake_.add(std::move(task));
    }
    void keyPressed() override;
    /// For other observers of the screens.
    void screensDidWake() { screensDidWake_.notify(); }

private:
    static int inhibitorGranted(sd_bus_message* message, void* userData, sd_bus_error* error);

    void requestInhibitor();
    void prepareForSleep(sd_bus_message* signal);
    void fallAsleep();
    void wakeUp();
    void screenSaverChanged(sd_bus_message* signal);

    RunLoop& runLoop_;
    DBusConnection& systemBus_;
    Notifier<> willSleep_;
    Notifier<> didWake_;
    Notifier<> screensDidWake_;
    std::optional<RunLoop::SteadyTime> asleepSince_;
    /// While this is open the machine waits for us before it sleeps.
    FileDescriptor inhibitor_;
    BusSlot inhibitorCall_;
    ServiceSignal sleep_;
    /// Each desktop announces its screens under a name of its own.
    std::array<ServiceSignal, 4> screenSavers_;
};

} // namespace quenstal
