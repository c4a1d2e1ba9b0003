#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <functional>
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

    /// Windows may be translucent. May change at any time.
    virtual bool isCompositing() = 0;
    /// The window that has the keyboard.
    virtual WindowID focusedWindow() = 0;
    /// Nothing happens when the window is gone.
    virtual void focusWindow(WindowID window) = 0;
    /// Clicks outside the rectangle fall through to what lies below the window.
    virtual void setInputRegion(WindowID window, const PixelRect& region) = 0;
    /// Hears presses of the mouse buttons wherever they happen, without taking them from anyone; `mask` as in
    /// `MouseEventMask`. The handler is told the top-level window under the pointer. Until cancelled; a monitor may be
    /// cancelled from its own handler.
    [[nodiscard]] virtual Cancellation onMouseDown(std::uint32_t mask, std::function<void(WindowID under)> handler) = 0;
};

} // namespace quenstal
