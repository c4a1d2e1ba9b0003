#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// A top-level window of any program; 0 is none.
using WindowID = std::uint32_t;

/// What a toolkit's own windows need of the window system and the toolkit does not offer. Main thread.
class WindowSystem : public Interface {
public:
    /// A rectangle in pixels of a window.
    struct PixelRect {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
    };

    /// An icon in the tray of the window system.
    class TrayIcon : public Interface {
    public:
        /// Requests the picture again. The name is what assistive technology reads.
        virtual void show(const std::string& name) = 0;
        /// Where it is on the screen, in pixels; nowhere while no tray has accepted it.
        virtual std::optional<PixelRect> frame() = 0;
    };

    /// What a tray icon reports and requests. It is not destroyed during a call.
    struct TrayIconUser {
        std::function<void()> activated;
        std::function<void()> secondaryActivated;
        /// Notches of the wheel, upwards positive.
        std::function<void(int notches)> scrolled;
        /// A square picture: ARGB, alpha multiplied in, one number a pixel.
        std::function<std::vector<std::uint32_t>(int pixels)> paint;
    };

    /// A button of the mouse went down.
    struct MousePress {
        /// The top-level window under the pointer at the time of the report.
        WindowID under = 0;
        /// When it went down, in milliseconds of the window system's clock, which the toolkit's own events use too.
        std::uint32_t time = 0;
    };

    /// Windows may be translucent. May change at any time.
    virtual bool isCompositing() = 0;
    /// The window that has the keyboard focus.
    virtual WindowID focusedWindow() = 0;
    /// Nothing happens when the window is gone.
    virtual void focusWindow(WindowID window) = 0;
    /// Clicks outside the rectangle fall through to what lies below the window.
    virtual void setInputRegion(WindowID window, const PixelRect& region) = 0;
    /// Reports presses of the mouse buttons anywhere, without taking them from other programs; `mask` as in
    /// `MouseEventMask`. Until cancelled; a monitor may be cancelled from its own handler.
    [[nodiscard]] virtual Cancellation onMouseDown(std::uint32_t mask, std::function<void(const MousePress&)> handler)
        = 0;
    /// At least `pixels` wide and high. It waits for a tray. Null when there can be none.
    virtual std::unique_ptr<TrayIcon> createTrayIcon(TrayIconUser user, int pixels) = 0;
};

} // namespace quenstal
