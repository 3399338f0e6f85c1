#include "x11/QtRootRelay.h"

#include "x11/X11Platform.h"

#include <cstdlib>
#include <cstring>

namespace {
uint32_t rootMask(xcb_connection_t* connection, xcb_window_t root, bool* ok)
{
    xcb_get_window_attributes_reply_t* reply =
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root), nullptr);
    *ok = reply != nullptr;
    const uint32_t mask = reply ? reply->your_event_mask : 0;
    std::free(reply);
    return mask;
}
} // namespace

QtRootRelay::QtRootRelay(xcb_connection_t* qt, xcb_window_t root, xcb_atom_t workArea, xcb_atom_t supported)
    : qt(qt), root(root), workArea(workArea), supported(supported)
{
    bool ok = false;
    const uint32_t mask = rootMask(qt, root, &ok);
    if (!ok || !(mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) {
        return;
    }
    // A window made on Qt's connection: an event sent to it with an empty mask goes to its creator,
    // Qt, alone, and not to every program that listens on the root.
    mailbox = xcb_generate_id(qt);
    xcb_create_window(qt, 0, mailbox, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0,
                      nullptr);
    const uint32_t quiet = mask & ~uint32_t(XCB_EVENT_MASK_PROPERTY_CHANGE);
    xcb_change_window_attributes(qt, root, XCB_CW_EVENT_MASK, &quiet);
    xcb_flush(qt);
    quietened = true;
}

QtRootRelay::~QtRootRelay()
{
    // At the program's end Qt may have closed its connection first.
    if (!quietened || X11Platform::qtConnection() != qt || xcb_connection_has_error(qt)) {
        return;
    }
    bool ok = false;
    const uint32_t mask = rootMask(qt, root, &ok) | XCB_EVENT_MASK_PROPERTY_CHANGE;
    if (ok) {
        xcb_change_window_attributes(qt, root, XCB_CW_EVENT_MASK, &mask);
    }
    xcb_destroy_window(qt, mailbox);
    xcb_flush(qt);
}

void QtRootRelay::relay(const xcb_property_notify_event_t& change)
{
    if (!quietened || change.window != root || (change.atom != workArea && change.atom != supported)) {
        return;
    }
    // Events go over the wire as 32 bytes whatever their type.
    char event[32] = {};
    std::memcpy(event, &change, sizeof change);
    xcb_send_event(qt, 0, mailbox, XCB_EVENT_MASK_NO_EVENT, event);
    xcb_flush(qt);
}
