// The user's windows as an EWMH window manager lists them, read through an X connection of the
// program's own, so that none of this waits behind Qt's traffic. Changes are heard, never polled:
// property changes on the root window (the window list, the workspace, the window manager
// itself) and on each listed window (its state, workspace and frame), and each window's moves and
// resizes. X11's headers come after Qt's: they define macros that break Qt's.
#include "system/CoverageSource.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QSet>
#include <QSocketNotifier>

#include <xcb/xcb.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

enum Atom {
    NetSupportingWmCheck,
    NetClientListStacking,
    NetCurrentDesktop,
    NetWmDesktop,
    NetWmState,
    NetWmStateFullscreen,
    NetWmStateMaximizedVert,
    NetWmStateMaximizedHorz,
    NetWmStateHidden,
    NetFrameExtents,
    GtkFrameExtents,
    NetWmPid,
    NetWmWindowType,
    NetWmWindowTypeDesktop,
    NetWmWindowTypeDock,
    AtomCount
};

constexpr std::array<const char*, AtomCount> kAtomNames = {
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_CURRENT_DESKTOP",
    "_NET_WM_DESKTOP",
    "_NET_WM_STATE",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_STATE_MAXIMIZED_VERT",
    "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_HIDDEN",
    "_NET_FRAME_EXTENTS",
    "_GTK_FRAME_EXTENTS",
    "_NET_WM_PID",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
};

// The properties whose change can change what covers a screen.
constexpr std::array<Atom, 7> kWatchedProperties = {
    NetSupportingWmCheck, NetClientListStacking, NetCurrentDesktop, NetWmDesktop,
    NetWmState,           NetFrameExtents,       GtkFrameExtents};

constexpr quint32 kOnEveryWorkspace = 0xFFFFFFFF;
constexpr uint32_t kPropertyLength = 4096;
constexpr uint32_t kClientEvents = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

// The cardinals, atoms or windows a property holds; none when the property is absent.
std::optional<std::vector<uint32_t>> values(xcb_connection_t* connection,
                                            xcb_get_property_cookie_t cookie) {
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->type == XCB_NONE)
        return std::nullopt;
    if (reply->format != 32)
        return std::vector<uint32_t>();
    const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    return std::vector<uint32_t>(data, data + xcb_get_property_value_length(reply.get()) / 4);
}

bool holds(const std::optional<std::vector<uint32_t>>& list, uint32_t value) {
    return list && std::find(list->begin(), list->end(), value) != list->end();
}

// Left, right, top and bottom, as both frame-extent properties store them.
struct Extents {
    int left = 0, right = 0, top = 0, bottom = 0;

    explicit Extents(const std::optional<std::vector<uint32_t>>& stored) {
        if (!stored || stored->size() < 4)
            return;
        left = int((*stored)[0]);
        right = int((*stored)[1]);
        top = int((*stored)[2]);
        bottom = int((*stored)[3]);
    }
};

class X11CoverageSource final : public CoverageSource {
public:
    ~X11CoverageSource() override { stop(); }

    std::optional<Snapshot> snapshot() override;
    QString unavailableReason() const override { return m_reason; }
    void start() override;
    void stop() override;

private:
    // The requests for one listed window, sent together and answered together.
    struct Pending {
        xcb_window_t window;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t origin;
        std::array<xcb_get_property_cookie_t, 6> properties;
    };

    xcb_get_property_cookie_t ask(xcb_window_t window, Atom property) const {
        return xcb_get_property(m_connection, 0, window, m_atoms[property],
                                XCB_GET_PROPERTY_TYPE_ANY, 0, kPropertyLength);
    }
    std::optional<Window> answer(const Pending& pending) const;
    bool hasWindowManager(const std::optional<std::vector<uint32_t>>& check) const;
    void watch(const std::vector<uint32_t>& clients);
    void readEvents();
    bool matters(const xcb_generic_event_t* event) const;

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    std::array<xcb_atom_t, AtomCount> m_atoms{};
    std::unique_ptr<QSocketNotifier> m_notifier;
    QSet<xcb_window_t> m_watched;
    QString m_reason;
};

void X11CoverageSource::start() {
    if (m_connection)
        return;
    const auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (gui && QGuiApplication::platformName() != QLatin1String("xcb")) {
        m_reason = QStringLiteral("covered screens are told only in an X11 session");
        return;
    }
    int screenNumber = 0;
    m_connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(m_connection)) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        m_reason = QStringLiteral("no X server to ask");
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; i < screenNumber && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;

    std::array<xcb_intern_atom_cookie_t, AtomCount> cookies{};
    for (int i = 0; i < AtomCount; ++i)
        cookies[i] =
            xcb_intern_atom(m_connection, 0, uint16_t(std::strlen(kAtomNames[i])), kAtomNames[i]);
    for (int i = 0; i < AtomCount; ++i) {
        Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
        m_atoms[i] = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }
    const uint32_t rootEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &rootEvents);
    xcb_flush(m_connection);
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection),
                                                   QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11CoverageSource::readEvents);
}

void X11CoverageSource::stop() {
    m_notifier.reset();
    m_watched.clear();
    if (m_connection)
        xcb_disconnect(m_connection);
    m_connection = nullptr;
}

std::optional<CoverageSource::Snapshot> X11CoverageSource::snapshot() {
    if (!m_connection)
        return std::nullopt;
    if (xcb_connection_has_error(m_connection)) {
        m_reason = QStringLiteral("the connection to the X server was lost");
        return std::nullopt;
    }
    const xcb_get_property_cookie_t checkCookie = ask(m_root, NetSupportingWmCheck);
    const xcb_get_property_cookie_t listCookie = ask(m_root, NetClientListStacking);
    const xcb_get_property_cookie_t workspaceCookie = ask(m_root, NetCurrentDesktop);
    const auto check = values(m_connection, checkCookie);
    const auto clients = values(m_connection, listCookie);
    const auto workspace = values(m_connection, workspaceCookie);
    if (!hasWindowManager(check)) {
        m_reason = QStringLiteral("no EWMH window manager is running");
        return std::nullopt;
    }
    if (!clients) {
        m_reason = QStringLiteral("the window manager does not list its windows");
        return std::nullopt;
    }
    watch(*clients);

    std::vector<Pending> pending;
    pending.reserve(clients->size());
    for (const uint32_t window : *clients) {
        pending.push_back({window,
                           xcb_get_window_attributes(m_connection, window),
                           xcb_get_geometry(m_connection, window),
                           xcb_translate_coordinates(m_connection, window, m_root, 0, 0),
                           {ask(window, NetWmPid), ask(window, NetWmWindowType),
                            ask(window, NetWmState), ask(window, NetWmDesktop),
                            ask(window, NetFrameExtents), ask(window, GtkFrameExtents)}});
    }
    Snapshot result;
    result.currentWorkspace = workspace && !workspace->empty() ? workspace->front() : 0;
    for (const Pending& request : pending) {
        if (std::optional<Window> window = answer(request))
            result.windows.append(*window);
    }
    xcb_flush(m_connection);
    // Events that came in with the answers wait in the connection, where the socket no longer
    // tells of them.
    QMetaObject::invokeMethod(this, &X11CoverageSource::readEvents, Qt::QueuedConnection);
    return result;
}

std::optional<CoverageSource::Window> X11CoverageSource::answer(const Pending& request) const {
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(m_connection, request.attributes, nullptr));
    Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(m_connection, request.geometry, nullptr));
    Reply<xcb_translate_coordinates_reply_t> origin(
        xcb_translate_coordinates_reply(m_connection, request.origin, nullptr));
    std::array<std::optional<std::vector<uint32_t>>, 6> properties;
    for (size_t i = 0; i < properties.size(); ++i)
        properties[i] = values(m_connection, request.properties[i]);
    const auto& [pid, type, state, desktop, frameExtents, clientShadows] = properties;
    // Gone meanwhile; the window list's change that follows says so.
    if (!attributes || !geometry || !origin)
        return std::nullopt;
    if (pid && !pid->empty() && pid->front() == uint32_t(::getpid()))
        return std::nullopt;
    if (holds(type, m_atoms[NetWmWindowTypeDesktop]) || holds(type, m_atoms[NetWmWindowTypeDock]))
        return std::nullopt;

    Window window;
    const Extents frame(frameExtents);
    const Extents shadows(clientShadows);
    window.frame =
        QRect(origin->dst_x - frame.left + shadows.left, origin->dst_y - frame.top + shadows.top,
              geometry->width + frame.left + frame.right - shadows.left - shadows.right,
              geometry->height + frame.top + frame.bottom - shadows.top - shadows.bottom);
    window.isFullscreen = holds(state, m_atoms[NetWmStateFullscreen]);
    window.isMaximized = holds(state, m_atoms[NetWmStateMaximizedVert]) &&
                         holds(state, m_atoms[NetWmStateMaximizedHorz]);
    window.isHidden =
        holds(state, m_atoms[NetWmStateHidden]) || attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    if (desktop && !desktop->empty() && desktop->front() != kOnEveryWorkspace)
        window.workspace = desktop->front();
    return window;
}

bool X11CoverageSource::hasWindowManager(const std::optional<std::vector<uint32_t>>& check) const {
    if (!check || check->empty())
        return false;
    // A window manager that died leaves the root's property behind; its own window answers only
    // while it runs.
    const xcb_window_t window = check->front();
    const auto own = values(m_connection, ask(window, NetSupportingWmCheck));
    return own && !own->empty() && own->front() == window;
}

void X11CoverageSource::watch(const std::vector<uint32_t>& clients) {
    QSet<xcb_window_t> listed;
    for (const uint32_t window : clients) {
        listed.insert(window);
        if (!m_watched.contains(window))
            xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &kClientEvents);
    }
    // A window the manager let go of may live on; what it does no longer matters.
    const uint32_t none = XCB_EVENT_MASK_NO_EVENT;
    for (const xcb_window_t window : std::as_const(m_watched)) {
        if (!listed.contains(window))
            xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &none);
    }
    m_watched = listed;
}

void X11CoverageSource::readEvents() {
    if (!m_connection)
        return;
    bool changedNow = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
        changedNow = changedNow || matters(event);
        std::free(event);
    }
    if (changedNow || xcb_connection_has_error(m_connection))
        Q_EMIT changed();
}

bool X11CoverageSource::matters(const xcb_generic_event_t* event) const {
    switch (event->response_type & 0x7f) {
    case XCB_PROPERTY_NOTIFY: {
        const xcb_atom_t atom = reinterpret_cast<const xcb_property_notify_event_t*>(event)->atom;
        return std::any_of(kWatchedProperties.begin(), kWatchedProperties.end(),
                           [&](Atom watched) { return m_atoms[watched] == atom; });
    }
    case XCB_CONFIGURE_NOTIFY:
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
    case XCB_DESTROY_NOTIFY:
        return true;
    default:
        // Errors about windows that went away while being asked about among them.
        return false;
    }
}

} // namespace

std::unique_ptr<CoverageSource> CoverageSource::createX11() {
    return std::make_unique<X11CoverageSource>();
}
