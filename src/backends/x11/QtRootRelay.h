#pragma once
#include <xcb/xcb.h>

// Every Qt program on X hears each property change of the root window, and a window manager changes
// several at every switch of the front window: each one wakes Qt's event thread and then the main
// thread, which is most of what a recorder costs while the user works. The probe's own connection
// hears those changes anyway, so Qt's connection stops listening to them and the probe passes on the
// two Qt acts on (the work area and the window manager's supported hints). Qt's listening is given
// back when the relay goes.
class QtRootRelay
{
public:
    // `workArea` and `supported` are the atoms _NET_WORKAREA and _NET_SUPPORTED (atoms are the server's, the same
    // on every connection).
    QtRootRelay(xcb_connection_t* qt, xcb_window_t root, xcb_atom_t workArea, xcb_atom_t supported);
    ~QtRootRelay();
    QtRootRelay(const QtRootRelay&) = delete;
    QtRootRelay& operator=(const QtRootRelay&) = delete;

    // A property change of the root the probe heard; those Qt needs go on to Qt's connection.
    void relay(const xcb_property_notify_event_t& change);

private:
    xcb_connection_t* qt;
    xcb_window_t root;
    bool quietened = false;
    xcb_window_t mailbox = XCB_NONE;
    xcb_atom_t workArea;
    xcb_atom_t supported;
};
