#include "QuenstalLinux/Session/LogindWake.hpp"

#include <fcntl.h>

namespace quenstal {

namespace {

constexpr const char* logind = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindManager = "org.freedesktop.login1.Manager";

/// Each desktop tells of its screens by a name of its own.
constexpr std::array screenSavers{
    "org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver", "org.cinnamon.ScreenSaver", "org.mate.ScreenSaver"};

/// False when the message does not carry what its name promises.
bool readFlag(sd_bus_message* message, bool& flag)
{
    int value = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &value) <= 0)
        return false;
    flag = value != 0;
    return true;
}

} // namespace

LogindWake::LogindWake(RunLoop& runLoop, BusConnection& systemBus, BusConnection& sessionBus)
    : runLoop_(runLoop)
    , systemBus_(systemBus)
    , willSleep_(runLoop)
    , didWake_(runLoop)
    , screensDidWake_(runLoop)
{
    systemBus.addSignal(logindManager, "PrepareForSleep", prepareForSleep, this);
    for (const char* screenSaver : screenSavers)
        sessionBus.addSignal(screenSaver, "ActiveChanged", screenSaverChanged, this);
    requestInhibitor();
}

void LogindWake::requestInhibitor()
{
    if (systemBus_)
        sd_bus_call_method_async(systemBus_.get(), nullptr, logind, logindPath, logindManager, "Inhibit",
            inhibitorGranted, this, "ssss", "sleep", "Quenstal", "Finishes what the monitor was told", "delay");
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

int LogindWake::prepareForSleep(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* wake = static_cast<LogindWake*>(userData);
    bool isGoingToSleep = false;
    if (!readFlag(message, isGoingToSleep))
        return 0;
    if (!isGoingToSleep) {
        wake->didWake_.notify();
        wake->requestInhibitor();
        return 0;
    }
    wake->willSleep_.notify();
    // After everyone has been told: notices are delivered in the order in which they are posted.
    wake->runLoop_.post([inhibitor = std::make_shared<FileDescriptor>(std::move(wake->inhibitor_))] {});
    return 0;
}

int LogindWake::screenSaverChanged(sd_bus_message* message, void* userData, sd_bus_error*)
{
    bool isActive = true;
    if (readFlag(message, isActive) && !isActive)
        static_cast<LogindWake*>(userData)->screensDidWake_.notify();
    return 0;
}

} // namespace quenstal
