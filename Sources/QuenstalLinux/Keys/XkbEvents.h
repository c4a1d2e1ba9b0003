#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <xcb/xcb.h>

// Written in C: XCB's header of the keyboard extension names a field with a keyword of C++.

#ifdef __cplusplus
extern "C" {
#endif

/// Has the server tell when keyboards or their maps change, and lets held keys repeat without a release. The type of
/// its events; 0 without the extension.
uint8_t selectKeymapEvents(xcb_connection_t* connection);

/// Whether an event of that type tells of another keymap.
bool isKeymapChange(const xcb_generic_event_t* event);

#ifdef __cplusplus
}
#endif
