#include "QuenstalLinux/Keys/XkbEvents.h"

#include <stdlib.h>
#include <xcb/xkb.h>

static bool useExtension(xcb_connection_t* connection)
{
    xcb_xkb_use_extension_reply_t* const reply
        = xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), NULL);
    const bool isSupported = reply && reply->supported;
    free(reply);
    return isSupported;
}

/* Without it a repeat looks like the key being let go and pressed again. */
static void detectRepeats(xcb_connection_t* connection)
{
    const uint32_t repeats = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    free(xcb_xkb_per_client_flags_reply(
        connection, xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, repeats, repeats, 0, 0, 0), NULL));
}

uint8_t selectKeymapEvents(xcb_connection_t* connection)
{
    const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(connection, &xcb_xkb_id);
    if (!extension || !extension->present || !useExtension(connection))
        return 0;
    detectRepeats(connection);
    const uint16_t changes = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const uint16_t everyPart = 0xFF;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, everyPart, everyPart, NULL);
    xcb_flush(connection);
    return extension->first_event;
}

bool isKeymapChange(const xcb_generic_event_t* event)
{
    /* One member of the union of the extension's events, told apart by the second byte. */
    return event->pad0 == XCB_XKB_NEW_KEYBOARD_NOTIFY || event->pad0 == XCB_XKB_MAP_NOTIFY;
}
