#pragma once

#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/RunLoop.hpp"
#include "QuenstalPlatform/WindowSystem.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// An icon in the X server's tray by the system tray protocol, on a connection of its own. It waits for a tray, and for
/// the next one when that one disappears. Main thread.
class X11TrayIcon final : public WindowSystem::TrayIcon {
public:
    /// The connection is there, the run loop outlives this.
    X11TrayIcon(
        XcbConnection connection, int screenNumber, RunLoop& runLoop, WindowSystem::TrayIconUser user, int pixels);

    void show(const std::string& name) override;
    std::optional<WindowSystem::PixelRect> frame() override;

private:
    xcb_atom_t intern(const std::string& name);
    xcb_screen_t* screen() const;
    void lookForTray();
    void createWindow();
    void describeWindow();
    void removeWindow();
    void requestDock();
    std::optional<xcb_visualid_t> translucentVisual();
    std::vector<std::uint32_t> background(xcb_rectangle_t square);
    void paint();
    void dispatch();
    void handle(const xcb_generic_event_t& event);
    void heardOfTray(const xcb_client_message_event_t& message);
    void destroyed(xcb_window_t window);
    void pressed(xcb_button_t button);

    XcbConnection connection_;
    int screenNumber_;
    RunLoop& runLoop_;
    WindowSystem::TrayIconUser user_;
    std::uint32_t leastSize_;
    xcb_atom_t selection_;
    xcb_atom_t manager_;
    std::string name_;
    xcb_window_t tray_ = XCB_NONE;
    xcb_window_t window_ = XCB_NONE;
    xcb_colormap_t colormap_ = XCB_NONE;
    xcb_gcontext_t graphics_ = XCB_NONE;
    std::uint8_t depth_ = 0;
    bool isDocked_ = false;
    int width_ = 0;
    int height_ = 0;
    Cancellation watch_;
    Cancellation later_;
};

} // namespace quenstal
