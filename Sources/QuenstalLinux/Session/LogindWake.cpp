#include "QuenstalLinux/Session/LogindWake.hpp"

#include <memory>

#include <fcntl.h>

namespace quenstal {

namespace {

constexpr const char* logind = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindManager = "org.freedesktop.login1.Manager";

/// Of whichever object: desktops differ in it.
constexpr ServiceSignal::Source activeChangedOf(const char* screenSaver)
{
    return {screenSaver, nullptr, screenSaver, "ActiveChanged"};
}

/// None if the message does not have the contents that belong to its name.
std::optional<bool> flagIn(sd_bus_message* message)
{
    int value = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &value) <= 0)
        return std::nullopt;
    return value != 0;
}

} // namespace

LogindWake::LogindWake(RunLoop& runLoop, DBusConnection& systemBus, DBusConnection& sessionBus)
    : runLoop_(runLoop)
    , systemBus_(systemBus)
    , willSleep_(runLoop)
    , didWake_(runLoop)
    , screensDidWake_(runLoop)
    , sleep_(systemBus, {logind, logindPath, logindManager, "PrepareForSleep"},
          [this](sd_bus_message* signal) { prepareForSleep(signal); })
    , screenSavers_{{
          {sessionBus, activeChangedOf("org.freedesktop.ScreenSaver"),
              [this](auto* signal) { screenSaverChanged(signal); }},
          {sessionBus, activeChangedOf("org.gnome.ScreenSaver"), [this](auto* signal) { screenSaverChanged(signal); }},
          {sessionBus, activeChangedOf("org.cinnamon.ScreenSaver"),
              [this](auto* signal) { screenSaverChanged(signal); }},
          {sessionBus, activeChangedOf("org.mate.ScreenSaver"), [this](auto* signal) { screenSaverChanged(signal); }},
      }}
{
    requestInhibitor();
}

void LogindWake::requestInhibitor()
{
    if (!systemBus_)
        return;
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus_.get(), &slot, logind, logindPath, logindManager, "Inhibit", inhibitorGranted,
        this, "ssss", "sleep", "Quenstal", "Finishes setting the monitor's volume", "delay");
    inhibitorCall_.reset(slot);
}

int LogindWake::inhibitorGranted(sd_bus_message* message, void* userData, sd_bus_error*)
{
    int descriptor = -1;
    // Refused or no logind: the machine then sleeps without waiting.
    if (sd_bus_message_is_method_error(message, nullptr) == 0
        && sd_bus_message_read_basic(message, SD_BUS_TYPE_UNIX_FD, &descriptor) > 0)
        static_cast<LogindWake*>(userData)->inhibitor_ = FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    return 0;
}

void LogindWake::prepareForSleep(sd_bus_message* signal)
{
    const auto isGoingToSleep = flagIn(signal);
    if (isGoingToSleep)
        *isGoingToSleep ? fallAsleep() : wakeUp();
}

void LogindWake::fallAsleep()
{
    asleepSince_ = runLoop_.steadyNow();
    willSleep_.notify();
    // After the observers: notifications are delivered in the order in which they are posted.
    runLoop_.post([inhibitor = std::make_shared<FileDescriptor>(std::move(inhibitor_))] {});
}

void LogindWake::wakeUp()
{
    asleepSince_.reset();
    didWake_.notify();
    requestInhibitor();
}

void LogindWake::keyPressed()
{
    // The clock stands still while the machine sleeps.
    if (asleepSince_ && runLoop_.steadyNow() - *asleepSince_ >= longestFallingAsleep)
        wakeUp();
}

void LogindWake::screenSaverChanged(sd_bus_message* signal)
{
    const auto isActive = flagIn(signal);
    if (isActive && !*isActive)
        screensDidWake_.notify();
}

} // namespace quenstal
