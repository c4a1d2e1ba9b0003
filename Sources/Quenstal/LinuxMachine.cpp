#include "Quenstal/LinuxMachine.hpp"

#include "Quenstal/SessionEnvironment.hpp"

namespace quenstal {

LinuxMachine::LinuxMachine(RunLoop& runLoop, DBusConnection& sessionBus)
    : runLoop_(runLoop)
    , monitors_(runLoop, [this] { return audio_.currentMonitor(); })
    , audio_(runLoop)
    , systemBus_(runLoop, DBusConnection::Which::system)
    , wake_(runLoop, systemBus_, sessionBus)
    , screens_(runLoop, [this] { wake_.screensDidWake(); })
    , preferences_(runLoop, PreferencesFile::defaultPath())
    , x11Keys_(isWaylandSession() ? nullptr : std::make_unique<X11KeyCapture>(runLoop))
    , evdevKeys_(runLoop, currentSeat())
    , serviceKeys_(runLoop, systemBus_, evdevKeys_)
    , patientX11Keys_(x11Keys_ ? std::make_unique<PatientKeyCapture>(runLoop, *x11Keys_) : nullptr)
    , patientServiceKeys_(runLoop, serviceKeys_)
    , patientEvdevKeys_(runLoop, evdevKeys_)
    , windowSystem_(connectToX11(runLoop))
    , desktop_(windowSystem_.get())
    , eventTaps_(runLoop, waysOfCapture())
    , permission_(desktop_, waysOfCapture())
{
}

AppPlatform LinuxMachine::platform()
{
    return {
        .runLoop = runLoop_,
        .sound = {.objects = audio_.objects(), .taps = audio_.taps()},
        .monitors = {.displays = monitors_.displays(), .buses = monitors_.buses(), .watch = monitors_.watch()},
        .keys = {.taps = eventTaps_, .permission = permission_},
        .session = {.desktop = desktop_, .views = desktop_, .sleepAndWake = wake_, .preferences = preferences_},
    };
}

/// The better way first: the X server gives the keys without anyone reading the keyboard; the key service reads it in
/// this program's place.
std::vector<KeyCapture*> LinuxMachine::waysOfCapture()
{
    if (patientX11Keys_)
        return {patientX11Keys_.get(), &patientServiceKeys_, &patientEvdevKeys_};
    return {&patientServiceKeys_, &patientEvdevKeys_};
}

} // namespace quenstal
