// The hints as X11 window properties. X11's headers come after Qt's: they define macros (Bool,
// None, Status) that break Qt's.
#include "playback/WindowHints.h"

#include <QGuiApplication>
#include <QList>
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

// The root window of the window's screen, where the window manager listens.
xcb_window_t rootWindow(xcb_connection_t* connection, xcb_window_t window) {
    xcb_query_tree_reply_t* reply =
        xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr);
    if (!reply)
        return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const xcb_window_t root = reply->root;
    free(reply);
    return root;
}

// _NET_WM_STATE's actions in a client message.
constexpr uint32_t kStateRemove = 0;
constexpr uint32_t kStateAdd = 1;
// The message comes from an ordinary application.
constexpr uint32_t kSourceApplication = 1;

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

void WindowHints::setSkipTaskbar(QWindow* window, bool skip) {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return;
    xcb_connection_t* connection = x11->connection();
    const xcb_window_t id = xcb_window_t(window->winId());
    const xcb_atom_t state = internAtom(connection, "_NET_WM_STATE");
    const std::array<xcb_atom_t, 2> skipping = {
        internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
        internAtom(connection, "_NET_WM_STATE_SKIP_PAGER"),
    };

    if (window->isVisible()) {
        // A mapped window's state belongs to the window manager: it is asked, as EWMH has it.
        xcb_client_message_event_t message = {};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = id;
        message.type = state;
        message.data.data32[0] = skip ? kStateAdd : kStateRemove;
        message.data.data32[1] = skipping[0];
        message.data.data32[2] = skipping[1];
        message.data.data32[3] = kSourceApplication;
        xcb_send_event(connection, 0, rootWindow(connection, id),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(connection);
        return;
    }

    // Before mapping the property is the client's own; Qt keeps the atoms it finds there when
    // it adds its own at the next show.
    QList<xcb_atom_t> atoms;
    const xcb_get_property_cookie_t cookie =
        xcb_get_property(connection, 0, id, state, XCB_ATOM_ATOM, 0, 1024);
    if (xcb_get_property_reply_t* reply = xcb_get_property_reply(connection, cookie, nullptr)) {
        if (reply->format == 32 && reply->type == XCB_ATOM_ATOM) {
            const auto* data = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
            atoms = QList<xcb_atom_t>(data, data + xcb_get_property_value_length(reply) / 4);
        }
        free(reply);
    }
    for (const xcb_atom_t atom : skipping) {
        atoms.removeAll(atom);
        if (skip)
            atoms.append(atom);
    }
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, state, XCB_ATOM_ATOM, 32,
                        uint32_t(atoms.size()), atoms.data());
    xcb_flush(connection);
}
