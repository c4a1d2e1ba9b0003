#pragma once

// The shell on a simulated desktop, over a controller whose ports are fakes.

#include "QuenstalApp/MediaKeyTap.hpp"
#include "QuenstalApp/PrintGeometry.hpp"
#include "QuenstalApp/StatusMenuController.hpp"
#include "QuenstalCore/Controller/ControllerTest.hpp"
#include "QuenstalSimulation/SimulatedCapturePermission.hpp"
#include "QuenstalSimulation/SimulatedDesktop.hpp"
#include "QuenstalSimulation/SimulatedEventTaps.hpp"
#include "QuenstalSimulation/SimulatedMonitorWatch.hpp"
#include "QuenstalSimulation/SimulatedPreferences.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

namespace quenstal {

/// Views that nobody looks at.
class NoViews final : public PanelViewHosting {
public:
    std::unique_ptr<Interface> host(PanelWindow&, GlassDialViewState& viewState) override
    {
        this->viewState = &viewState;
        return nullptr;
    }

    GlassDialViewState* viewState = nullptr;
};

inline KeyEvent keyPress(std::uint16_t code)
{
    KeyEvent event;
    event.keyCode = code;
    return event;
}

inline KeyEvent keyPress(std::string characters)
{
    KeyEvent event;
    event.characters = std::move(characters);
    return event;
}

inline KeyEvent withShift(KeyEvent event)
{
    event.shift = true;
    return event;
}

struct ShellTest : ControllerTest {
    /// A user who has finished the set-up guide.
    void finishSetupEarlier() { preferences.setBoolean(SetupGuidePreferences::key, true); }

    /// Starts the shell as the delegate does. The journal of the ports is empty afterwards.
    void launch()
    {
        controller = ports.makeController();
        desk = std::make_shared<VolumeDesk>(loop, monitorWatch, controller);
        status = std::make_shared<StatusMenuController>(
            StatusMenuController::Platform{loop, desktop, preferences, permission, monitorWatch, views}, desk);
        tap = std::make_unique<MediaKeyTap>(taps, loop, desk, status);
        ports.takeCalls();
    }

    /// Starts the shell with the set-up guide done and the panel open on the dial.
    void launchWithOpenPanel()
    {
        finishSetupEarlier();
        launch();
        desktop.clickStatusItem();
        loop.runUntilIdle();
        ports.takeCalls();
    }

    GlassDialViewState& view() { return *views.viewState; }
    std::size_t refreshes() { return countOf(ports.takeCalls(), "defaultOutputDevice"); }
    static std::size_t countOf(const Calls& calls, const std::string& call)
    {
        return static_cast<std::size_t>(std::ranges::count(calls, call));
    }

    SimulatedRunLoop loop;
    SimulatedDesktop desktop;
    SimulatedPreferences preferences;
    SimulatedCapturePermission permission;
    SimulatedMonitorWatch monitorWatch;
    SimulatedEventTaps taps;
    NoViews views;
    std::shared_ptr<QuenstalController> controller;
    std::shared_ptr<VolumeDesk> desk;
    std::shared_ptr<StatusMenuController> status;
    std::unique_ptr<MediaKeyTap> tap;
};

} // namespace quenstal
