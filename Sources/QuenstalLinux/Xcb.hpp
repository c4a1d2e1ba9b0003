#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <xcb/xcb.h>

namespace quenstal {

struct DisconnectXcb {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
/// A connection to an X server.
using XcbConnection = std::unique_ptr<xcb_connection_t, DisconnectXcb>;

struct FreeXcbReply {
    void operator()(void* memory) const { std::free(memory); }
};
/// A reply, an event or an error; null when there is none.
template <typename T>
using XcbReply = std::unique_ptr<T, FreeXcbReply>;

template <typename T>
XcbReply<T> owned(T* reply)
{
    return XcbReply<T>(reply);
}

/// Connects to the display, "" for the one of the environment. Null without a server.
inline XcbConnection connectToX11(const std::string& display, int& screenNumber)
{
    XcbConnection connection(xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber));
    if (xcb_connection_has_error(connection.get()) != 0)
        connection.reset();
    return connection;
}

/// The number by which the server knows a name; none when it cannot be asked.
inline xcb_atom_t atomOf(xcb_connection_t* connection, const std::string& name)
{
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const auto reply = owned(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

inline xcb_screen_t* screenOf(xcb_connection_t* connection, int screenNumber)
{
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screenNumber > 0; --screenNumber)
        xcb_screen_next(&screen);
    return screen.data;
}

inline xcb_window_t rootWindow(xcb_connection_t* connection, int screenNumber)
{
    return screenOf(connection, screenNumber)->root;
}

} // namespace quenstal
