#include "QuenstalLinux/Desktop/X11Screens.hpp"

#include <utility>

#include <xcb/screensaver.h>

namespace quenstal {

X11Screens::X11Screens(RunLoop& runLoop, RunLoop::Task didWake, const std::string& display)
    : didWake_(std::move(didWake))
{
    int screenNumber = 0;
    connection_ = connectToX11(display, screenNumber);
    if (!connection_)
        return;
    selectChanges(rootWindow(connection_.get(), screenNumber));
    watch_ = runLoop.watchReadable(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); });
}

void X11Screens::selectChanges(xcb_window_t root)
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_.get(), &xcb_screensaver_id);
    if (!extension || !extension->present)
        return;
    notify_ = static_cast<std::uint8_t>(extension->first_event + XCB_SCREENSAVER_NOTIFY);
    // Not its cycles: they happen while the screens are off.
    xcb_screensaver_select_input(connection_.get(), root, XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
    const auto present = owned(xcb_screensaver_query_info_reply(
        connection_.get(), xcb_screensaver_query_info(connection_.get(), root), nullptr));
    areOff_ = present && present->state == XCB_SCREENSAVER_STATE_ON;
}

void X11Screens::dispatch()
{
    while (const auto event = owned(xcb_poll_for_event(connection_.get()))) {
        if (notify_ == 0 || event->response_type != notify_)
            continue;
        const auto& change = reinterpret_cast<const xcb_screensaver_notify_event_t&>(*event);
        // The server also reports screens that are turned on when they were on already.
        const bool wereOff = std::exchange(areOff_, change.state == XCB_SCREENSAVER_STATE_ON);
        if (wereOff && !areOff_)
            didWake_();
    }
    // The descriptor of a server that has gone stays readable for ever.
    if (xcb_connection_has_error(connection_.get()) != 0)
        watch_.reset();
}

} // namespace quenstal
