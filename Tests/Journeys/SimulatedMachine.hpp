#pragma once

// A whole machine that exists in memory, with the program running on it. Time is moved by hand.

#include "QuenstalApp/AppDelegate.hpp"
#include "QuenstalSimulation/SimulatedAudioObjects.hpp"
#include "QuenstalSimulation/SimulatedAudioTaps.hpp"
#include "QuenstalSimulation/SimulatedCapturePermission.hpp"
#include "QuenstalSimulation/SimulatedDesktop.hpp"
#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedDisplays.hpp"
#include "QuenstalSimulation/SimulatedEventTaps.hpp"
#include "QuenstalSimulation/SimulatedMonitorWatch.hpp"
#include "QuenstalSimulation/SimulatedPreferences.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <memory>

namespace quenstal {

class SimulatedMachine {
public:
    SimulatedMachine()
    {
        permission.setTrusted(true);
        preferences.setBoolean(SetupGuidePreferences::key, true);
    }

    /// Speakers of the machine's own, with a volume and a mute.
    AudioObjectID plugInSpeakers()
    {
        return audio.addOutput({.name = "Speakers",
            .transport = AudioTransportCode::builtIn,
            .uid = "speakers-uid",
            .volumes = {{audioElementMain, {.value = 0.5F, .settable = true}}},
            .mute = SimulatedAudioControl{.value = 0, .settable = true}});
    }
    /// A monitor's sound output: its volume is fixed.
    AudioObjectID plugInMonitorOutput()
    {
        return audio.addOutput({.name = "Monitor", .transport = AudioTransportCode::hdmi, .uid = "monitor-uid"});
    }
    /// The monitor's picture, and its bus.
    std::shared_ptr<SimulatedMonitor> plugInMonitor(MonitorDescription description = {})
    {
        auto monitor = std::make_shared<SimulatedMonitor>(std::move(description));
        displays.displays.push_back({1, false});
        buses.framebuffers.push_back({monitor});
        return monitor;
    }

    AppPlatform platform()
    {
        return {
            .runLoop = loop,
            .sound = {.objects = audio, .taps = taps},
            .monitors = {.displays = displays, .buses = buses, .watch = monitorWatch},
            .keys = {.taps = keys, .permission = permission},
            .session = {.desktop = desktop, .views = views, .sleepAndWake = sleepAndWake, .preferences = preferences},
        };
    }
    void launch()
    {
        delegate = std::make_unique<AppDelegate>(platform());
        delegate->applicationDidFinishLaunching();
        loop.runUntilIdle();
    }
    void quit()
    {
        delegate->applicationWillTerminate();
        delegate.reset();
    }

    void press(std::int64_t button)
    {
        keys.press(button);
        loop.runUntilIdle();
    }
    const QuenstalState& state() const { return delegate->controller()->state(); }
    const GlassDialViewState& view() const { return *views.viewState; }
    GlassDialViewState& view() { return *views.viewState; }

private:
    struct NoViews final : PanelViewHosting {
        std::unique_ptr<Interface> host(PanelWindow&, GlassDialViewState& state) override
        {
            viewState = &state;
            return nullptr;
        }
        GlassDialViewState* viewState = nullptr;
    };

public:
    SimulatedRunLoop loop;
    SimulatedAudioObjects audio{loop};
    SimulatedAudioTaps taps{audio, loop};
    SimulatedDisplays displays;
    SimulatedDisplayBuses buses{loop};
    SimulatedMonitorWatch monitorWatch;
    SimulatedEventTaps keys;
    SimulatedCapturePermission permission;
    SimulatedPreferences preferences;
    SimulatedDesktop desktop;
    SimulatedSleepAndWake sleepAndWake;
    NoViews views;
    std::unique_ptr<AppDelegate> delegate;
};

} // namespace quenstal
