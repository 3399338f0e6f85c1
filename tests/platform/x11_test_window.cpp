// A bare X11 client for the platform tests: one window whose properties the test chooses, in a
// process of its own so its pid and executable differ from the test's.
//
//   x11_test_window [--title T] [--wm-name T] [--class INSTANCE,CLASS] [--no-pid] [--icon]
//
// Prints "window <id>" once the window is mapped, then obeys one command per line on stdin,
// answering "ok" after the server has seen the change: "title <text>" (sets _NET_WM_NAME), "unmap",
// "map", "quit" (so does the end of input).
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
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

void setText(xcb_atom_t property, xcb_atom_t type, const std::string& text)
{
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, property, type, 8, uint32_t(text.size()), text.data());
}

// Latin-1 bytes of a UTF-8 text (characters outside Latin-1 become '?'): lead bytes 0xC2 and 0xC3
// start the two-byte sequences of U+0080 to U+00FF; other continuation bytes are dropped.
std::string toLatin1(const std::string& utf8)
{
    std::string out;
    for (size_t i = 0; i < utf8.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        if ((c == 0xC2 || c == 0xC3) && i + 1 < utf8.size()) {
            out += char(((c & 0x1F) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3F));
        } else if (c < 0x80 || (c & 0xC0) != 0x80) {
            out += c < 0x80 ? char(c) : '?';
        }
    }
    return out;
}

void roundTrip()
{
    free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr));
}

std::vector<uint32_t> icon()
{
    // A 16x16 red and a 48x48 blue image: the backend should prefer the one of at least 32 pixels.
    std::vector<uint32_t> data;
    for (uint32_t size : {16u, 48u}) {
        data.push_back(size);
        data.push_back(size);
        data.insert(data.end(), size * size, size == 16 ? 0xffff0000u : 0xff0000ffu);
    }
    return data;
}
} // namespace

int main(int argc, char** argv)
{
    std::string title = "Test window";
    std::string wmName;
    std::string wmClass = "x11_test_window,X11TestWindow";
    bool setPid = true;
    bool withIcon = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--title" && hasValue) {
            title = argv[++i];
        } else if (arg == "--wm-name" && hasValue) {
            wmName = argv[++i];
        } else if (arg == "--class" && hasValue) {
            wmClass = argv[++i];
        } else if (arg == "--no-pid") {
            setPid = false;
        } else if (arg == "--icon") {
            withIcon = true;
        }
    }

    int screenNumber = 0;
    conn = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(conn)) {
        std::fprintf(stderr, "x11_test_window: cannot open the display\n");
        return 1;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn));
    for (int i = 0; i < screenNumber; ++i) {
        xcb_screen_next(&it);
    }
    xcb_screen_t* screen = it.data;
    window = xcb_generate_id(conn);
    const uint32_t values[] = {screen->white_pixel};
    xcb_create_window(conn, XCB_COPY_FROM_PARENT, window, screen->root, 100, 100, 320, 200, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL, values);

    const xcb_atom_t utf8 = atom("UTF8_STRING");
    const xcb_atom_t netWmName = atom("_NET_WM_NAME");
    std::string classValue = wmClass;
    const size_t comma = classValue.find(',');
    if (comma != std::string::npos) {
        classValue[comma] = '\0';
    }
    classValue.push_back('\0');
    setText(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, classValue);
    if (wmName.empty()) {
        setText(netWmName, utf8, title);
    } else {
        setText(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, toLatin1(wmName));
    }
    if (setPid) {
        const uint32_t pid = uint32_t(getpid());
        xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    }
    if (withIcon) {
        const std::vector<uint32_t> data = icon();
        xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_ICON"), XCB_ATOM_CARDINAL, 32,
                            uint32_t(data.size()), data.data());
    }
    xcb_map_window(conn, window);
    roundTrip();
    std::cout << "window " << window << std::endl;

    std::string line;
    while (std::getline(std::cin, line)) {
        if (line.rfind("title ", 0) == 0) {
            setText(netWmName, utf8, line.substr(6));
        } else if (line == "unmap") {
            xcb_unmap_window(conn, window);
        } else if (line == "map") {
            xcb_map_window(conn, window);
        } else if (line == "quit") {
            break;
        }
        roundTrip();
        std::cout << "ok" << std::endl;
    }
    xcb_disconnect(conn);
    return 0;
}
