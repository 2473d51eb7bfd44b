// The hints as X11 window properties. X11's headers come after Qt's: they define macros (Bool,
// None, Status) that break Qt's.
#include "playback/WindowHints.h"

#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <array>

namespace {

xcb_atom_t internAtom(xcb_connection_t* connection, const char* name) {
    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    if (!reply)
        return XCB_ATOM_NONE;
    const xcb_atom_t atom = reply->atom;
    free(reply);
    return atom;
}

} // namespace

void WindowHints::apply(QWindow* window, Role role) {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return;
    xcb_connection_t* connection = x11->connection();
    const xcb_window_t id = xcb_window_t(window->winId());
    const bool desktop = role == Role::Desktop;

    const xcb_atom_t type = internAtom(connection, "_NET_WM_WINDOW_TYPE");
    const xcb_atom_t typeValue = internAtom(connection, desktop ? "_NET_WM_WINDOW_TYPE_DESKTOP"
                                                                : "_NET_WM_WINDOW_TYPE_UTILITY");
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, type, XCB_ATOM_ATOM, 32, 1,
                        &typeValue);

    // Set before mapping, the state needs no messages to the window manager.
    const std::array<xcb_atom_t, 4> states = {
        internAtom(connection, desktop ? "_NET_WM_STATE_BELOW" : "_NET_WM_STATE_ABOVE"),
        internAtom(connection, "_NET_WM_STATE_STICKY"),
        internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
        internAtom(connection, "_NET_WM_STATE_SKIP_PAGER"),
    };
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id,
                        internAtom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                        uint32_t(states.size()), states.data());

    // On every virtual desktop.
    const uint32_t allDesktops = 0xFFFFFFFF;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id,
                        internAtom(connection, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 32, 1,
                        &allDesktops);
    xcb_flush(connection);
}
