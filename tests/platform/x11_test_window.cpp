// A bare X11 window whose properties the test chooses, in a process of its own:
//   x11_test_window [--title T] [--wm-name T] [--class INSTANCE,CLASS] [--no-pid] [--icon]
//
// --wm-name sets WM_NAME (typed STRING) instead of _NET_WM_NAME. Prints "window <id>" once mapped and
// lives until its input ends; the tests change the window from outside (xprop, xdotool).
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
xcb_connection_t* conn = nullptr;
xcb_window_t window = 0;

xcb_atom_t atom(const char* name)
{
    xcb_intern_atom_reply_t* reply =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : XCB_NONE;
    free(reply);
    return result;
}

void setProperty(xcb_atom_t property, xcb_atom_t type, uint8_t format, uint32_t length, const void* data)
{
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, property, type, format, length, data);
}
} // namespace

int main(int argc, char** argv)
{
    std::string title = "Test window", wmName, wmClass = "x11_test_window,X11TestWindow";
    bool withPid = true, withIcon = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        std::string* value = arg == "--title"     ? &title
                             : arg == "--wm-name" ? &wmName
                             : arg == "--class"   ? &wmClass
                                                  : nullptr;
        if (value && i + 1 < argc) {
            *value = argv[++i];
        }
        withPid = withPid && arg != "--no-pid";
        withIcon = withIcon || arg == "--icon";
    }

    conn = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(conn)) {
        std::cerr << "x11_test_window: cannot open the display" << std::endl;
        return 1;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(conn)).data; // run-x11.sh has one screen
    window = xcb_generate_id(conn);
    xcb_create_window(conn, XCB_COPY_FROM_PARENT, window, screen->root, 100, 100, 320, 200, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);

    std::replace(wmClass.begin(), wmClass.end(), ',', '\0'); // "instance\0class\0"
    setProperty(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, uint32_t(wmClass.size() + 1), wmClass.c_str());
    if (wmName.empty()) {
        setProperty(atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8, uint32_t(title.size()), title.data());
    } else {
        setProperty(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, uint32_t(wmName.size()), wmName.data());
    }
    if (withPid) {
        const uint32_t pid = uint32_t(getpid());
        setProperty(atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    }
    if (withIcon) {
        // A 16 and a 48 pixel image: the backend should prefer the one of at least 32 pixels.
        std::vector<uint32_t> data;
        for (uint32_t size : {16u, 48u}) {
            data.insert(data.end(), {size, size});
            data.insert(data.end(), size * size, 0xff0000ffu);
        }
        setProperty(atom("_NET_WM_ICON"), XCB_ATOM_CARDINAL, 32, uint32_t(data.size()), data.data());
    }
    xcb_map_window(conn, window);
    free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr)); // a round trip
    std::cout << "window " << window << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    xcb_disconnect(conn);
    return 0;
}
