// The layer role through our own protocol code on Qt's Wayland connection: Qt's native interface
// hands out the connection, the window's surface and each screen's output. Qt tells its window's
// surface comings and goings through its Wayland window's wlSurfaceCreated and wlSurfaceDestroyed
// signals, reached by name: the class itself is private to Qt's Wayland plugin.
#include "playback/LayerSurface.h"

#include "core/Logging.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>
#include <qpa/qplatformwindow.h>

#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace {

// A wallpaper's surface, in the names compositors and panels show.
constexpr char kNamespace[] = "wallpaper";

// The compositor's globals the roles need, bound on Qt's connection while a role exists.
struct Globals {
    wl_display* display = nullptr;
    zwlr_layer_shell_v1* layerShell = nullptr;
    wl_compositor* compositor = nullptr;

    ~Globals() {
        if (layerShell) {
            if (zwlr_layer_shell_v1_get_version(layerShell) >=
                ZWLR_LAYER_SHELL_V1_DESTROY_SINCE_VERSION)
                zwlr_layer_shell_v1_destroy(layerShell);
            else
                wl_proxy_destroy(reinterpret_cast<wl_proxy*>(layerShell));
        }
        if (compositor)
            wl_compositor_destroy(compositor);
    }
};

void handleGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface,
                  uint32_t version) {
    auto* globals = static_cast<Globals*>(data);
    if (qstrcmp(interface, zwlr_layer_shell_v1_interface.name) == 0 && !globals->layerShell) {
        globals->layerShell = static_cast<zwlr_layer_shell_v1*>(wl_registry_bind(
            registry, name, &zwlr_layer_shell_v1_interface, std::min(version, 3u)));
    } else if (qstrcmp(interface, wl_compositor_interface.name) == 0 && !globals->compositor) {
        globals->compositor = static_cast<wl_compositor*>(
            wl_registry_bind(registry, name, &wl_compositor_interface, 1));
    }
}

void handleGlobalRemove(void*, wl_registry*, uint32_t) {
}

const wl_registry_listener kRegistryListener = {handleGlobal, handleGlobalRemove};

QPlatformNativeInterface* nativeInterface() {
    return qGuiApp ? QGuiApplication::platformNativeInterface() : nullptr;
}

// Shared by every role, and released with the last, before Qt's connection closes at exit.
std::shared_ptr<Globals> acquireGlobals() {
    static std::weak_ptr<Globals> s_globals;
    if (std::shared_ptr<Globals> globals = s_globals.lock())
        return globals;
    auto globals = std::make_shared<Globals>();
    QPlatformNativeInterface* native = nativeInterface();
    if (!native || QGuiApplication::platformName() != QLatin1String("wayland"))
        return globals;
    globals->display = static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display"));
    if (!globals->display)
        return globals;
    wl_registry* registry = wl_display_get_registry(globals->display);
    wl_registry_add_listener(registry, &kRegistryListener, globals.get());
    wl_display_roundtrip(globals->display);
    wl_registry_destroy(registry);
    s_globals = globals;
    return globals;
}

} // namespace

struct LayerSurface::Role {
    std::shared_ptr<Globals> globals;
    zwlr_layer_surface_v1* surface = nullptr;
    bool configured = false;

    ~Role() {
        if (surface)
            zwlr_layer_surface_v1_destroy(surface);
    }

    static void handleConfigure(void* data, zwlr_layer_surface_v1*, uint32_t serial, uint32_t width,
                                uint32_t height) {
        static_cast<LayerSurface*>(data)->configure(serial, QSize(int(width), int(height)));
    }
    // The output went: the window follows its screen's controller out.
    static void handleClosed(void* data, zwlr_layer_surface_v1*) {
        static_cast<LayerSurface*>(data)->detach();
    }
    static constexpr zwlr_layer_surface_v1_listener kListener = {handleConfigure, handleClosed};
};

bool LayerSurface::isAvailable() {
    static std::optional<bool> s_available;
    if (!s_available) {
        if (!qGuiApp)
            return false;
        const std::shared_ptr<Globals> globals = acquireGlobals();
        s_available = qEnvironmentVariableIsSet("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT") &&
                      globals->layerShell && globals->compositor;
    }
    return *s_available;
}

LayerSurface::LayerSurface(QWindow* window)
    : m_window(window) {
    auto* platformWindow = window ? dynamic_cast<QObject*>(window->handle()) : nullptr;
    if (!platformWindow) {
        qCCritical(lcPlayback,
                   "The desktop window has no Wayland window to place on the background");
        return;
    }
    connect(platformWindow, SIGNAL(wlSurfaceCreated()), this, SLOT(attach()), Qt::DirectConnection);
    connect(platformWindow, SIGNAL(wlSurfaceDestroyed()), this, SLOT(detach()),
            Qt::DirectConnection);
    // A window already shown has its surface.
    attach();
}

LayerSurface::~LayerSurface() = default;

void LayerSurface::attach() {
    QPlatformNativeInterface* native = nativeInterface();
    if (m_role || !m_window || !native)
        return;
    auto* surface = static_cast<wl_surface*>(native->nativeResourceForWindow("surface", m_window));
    if (!surface)
        return;
    std::shared_ptr<Globals> globals = acquireGlobals();
    if (!globals->layerShell || !globals->compositor)
        return;
    QScreen* screen = m_window->screen();
    auto* output = screen
                       ? static_cast<wl_output*>(native->nativeResourceForScreen("output", screen))
                       : nullptr;

    m_role = std::make_unique<Role>();
    m_role->globals = globals;
    m_role->surface = zwlr_layer_shell_v1_get_layer_surface(
        globals->layerShell, surface, output, ZWLR_LAYER_SHELL_V1_LAYER_BACKGROUND, kNamespace);
    zwlr_layer_surface_v1_add_listener(m_role->surface, &Role::kListener, this);
    // Size 0 × 0 and all four edges: the compositor gives the whole output.
    zwlr_layer_surface_v1_set_anchor(m_role->surface, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP |
                                                          ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                                                          ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT |
                                                          ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
    // Under panels too, never moved aside for them.
    zwlr_layer_surface_v1_set_exclusive_zone(m_role->surface, -1);
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        m_role->surface, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    // Qt's Wayland platform leaves the input region whole whatever the window's flags say.
    wl_region* nothing = wl_compositor_create_region(globals->compositor);
    wl_surface_set_input_region(surface, nothing);
    wl_region_destroy(nothing);
    wl_surface_commit(surface);
    // The compositor answers the commit with the first size, which must be acknowledged before
    // a buffer is attached: Qt draws only once this returns.
    if (wl_display_roundtrip(globals->display) < 0 || !m_role->configured) {
        qCCritical(lcPlayback, "The compositor gave the desktop window on %s no size",
                   qUtf8Printable(screen ? screen->name() : QString()));
    }
}

void LayerSurface::detach() {
    m_role.reset();
}

void LayerSurface::configure(quint32 serial, QSize size) {
    if (!m_role)
        return;
    zwlr_layer_surface_v1_ack_configure(m_role->surface, serial);
    m_role->configured = true;
    if (!size.isEmpty() && m_window && m_window->size() != size)
        m_window->resize(size);
}
