#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"

#include "QuenstalLinux/Desktop/X11TrayIcon.hpp"
#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/Undo.hpp"

#include <string>
#include <utility>

#include <xcb/shape.h>
#include <xcb/xinput.h>

namespace quenstal {

namespace {

std::uint32_t maskOf(std::uint32_t button)
{
    switch (button) {
    case XCB_BUTTON_INDEX_1:
        return MouseEventMask::leftMouseDown;
    case XCB_BUTTON_INDEX_3:
        return MouseEventMask::rightMouseDown;
    // To the user the wheel is not a button.
    case XCB_BUTTON_INDEX_4:
    case XCB_BUTTON_INDEX_5:
    case 6:
    case 7:
        return 0;
    default:
        return MouseEventMask::otherMouseDown;
    }
}

class X11WindowSystem final : public WindowSystem {
public:
    X11WindowSystem(XcbConnection connection, int screenNumber, RunLoop& runLoop, std::string display)
        : connection_(std::move(connection))
        , runLoop_(runLoop)
        , display_(std::move(display))
        , root_(rootWindow(connection_.get(), screenNumber))
        , compositorSelection_(atomOf(connection_.get(), "_NET_WM_CM_S" + std::to_string(screenNumber)))
        , watch_(runLoop.watchReadable(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); }))
    {
    }

    bool isCompositing() override
    {
        const auto reply = owned(xcb_get_selection_owner_reply(
            connection_.get(), xcb_get_selection_owner(connection_.get(), compositorSelection_), nullptr));
        dispatchLater();
        return reply && reply->owner != XCB_NONE;
    }

    WindowID focusedWindow() override
    {
        const auto reply
            = owned(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
        dispatchLater();
        return reply && reply->focus != XCB_INPUT_FOCUS_POINTER_ROOT ? reply->focus : XCB_NONE;
    }

    void focusWindow(WindowID window) override
    {
        if (window == XCB_NONE)
            return;
        xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
        xcb_flush(connection_.get());
    }

    void setInputRegion(WindowID window, const PixelRect& region) override
    {
        const xcb_rectangle_t rectangle{static_cast<std::int16_t>(region.x), static_cast<std::int16_t>(region.y),
            static_cast<std::uint16_t>(region.width), static_cast<std::uint16_t>(region.height)};
        xcb_shape_rectangles(connection_.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
            window, 0, 0, 1, &rectangle);
        xcb_flush(connection_.get());
    }

    Cancellation onMouseDown(std::uint32_t mask, std::function<void(const MousePress&)> handler) override
    {
        auto monitor = std::make_shared<Monitor>(Monitor{mask, std::move(handler)});
        monitors_.push_back(monitor);
        selectPresses(true);
        return std::make_unique<Undo>([this, monitor] { removeMonitor(monitor); });
    }

    std::unique_ptr<TrayIcon> createTrayIcon(TrayIconUser user, int pixels) override
    {
        int screenNumber = 0;
        XcbConnection connection = connectToX11(display_, screenNumber);
        if (!connection)
            return nullptr;
        return std::make_unique<X11TrayIcon>(std::move(connection), screenNumber, runLoop_, std::move(user), pixels);
    }

private:
    struct Monitor {
        std::uint32_t mask;
        std::function<void(const MousePress&)> handler;
    };

    void removeMonitor(const std::shared_ptr<Monitor>& monitor)
    {
        // The dispatch in progress may still hold the monitor.
        monitor->handler = nullptr;
        std::erase(monitors_, monitor);
        if (monitors_.empty())
            selectPresses(false);
    }

    /// Raw events arrive even when another program has grabbed the pointer.
    void selectPresses(bool wanted)
    {
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t mask;
        } selection{
            {XCB_INPUT_DEVICE_ALL_MASTER, 1}, wanted ? std::uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS} : 0u};
        xcb_input_xi_select_events(connection_.get(), root_, 1, &selection.head);
        xcb_flush(connection_.get());
    }

    /// Events that arrived with an answer are in memory already, so the descriptor does not report them.
    void dispatchLater()
    {
        later_ = runLoop_.after({}, [this] { dispatch(); });
    }

    void dispatch()
    {
        while (const auto event = owned(xcb_poll_for_event(connection_.get()))) {
            if ((event->response_type & 0x7F) != XCB_GE_GENERIC)
                continue;
            const auto* press = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event.get());
            if (press->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
                tell(maskOf(press->detail), press->time);
        }
        // The descriptor of a server that has gone stays readable for ever.
        if (xcb_connection_has_error(connection_.get()) != 0)
            watch_.reset();
    }

    void tell(std::uint32_t button, std::uint32_t time)
    {
        const auto reply
            = owned(xcb_query_pointer_reply(connection_.get(), xcb_query_pointer(connection_.get(), root_), nullptr));
        const MousePress press{reply ? reply->child : 0, time};
        for (const auto& monitor : std::vector(monitors_)) {
            if (monitor->handler && (monitor->mask & button) != 0)
                std::function(monitor->handler)(press);
        }
    }

    XcbConnection connection_;
    RunLoop& runLoop_;
    std::string display_;
    xcb_window_t root_;
    xcb_atom_t compositorSelection_;
    std::vector<std::shared_ptr<Monitor>> monitors_;
    Cancellation watch_;
    Cancellation later_;
};

bool hasRawPresses(xcb_connection_t* connection)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (!extension || !extension->present)
        return false;
    const auto version
        = owned(xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
    return version && version->major_version >= 2;
}

} // namespace

std::unique_ptr<WindowSystem> connectToX11(RunLoop& runLoop, const std::string& display)
{
    int screenNumber = 0;
    XcbConnection connection = connectToX11(display, screenNumber);
    if (!connection || !hasRawPresses(connection.get()))
        return nullptr;
    return std::make_unique<X11WindowSystem>(std::move(connection), screenNumber, runLoop, display);
}

} // namespace quenstal
