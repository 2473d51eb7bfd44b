// The compositor's toplevels as wlr-foreign-toplevel-management tells them, on Qt's own Wayland
// connection: the outputs a toplevel enters are then the very wl_output objects Qt's native
// interface gives for each screen. Events arrive as Qt dispatches its connection, so changes are
// heard, never polled. A toplevel tells its state and outputs but not where it lies, so only a
// fullscreen or maximized one counts, and it counts as filling every screen it is on.
#include "system/CoverageSource.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QSet>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

#include <algorithm>
#include <unordered_map>

namespace {

// Fullscreen arrived in version 2; version 3's parent is not needed.
constexpr uint32_t kManagerVersion = 2;

// What Qt's Wayland windows give as their app_id: the desktop file's name, else the program's
// file name behind the organization's reversed domain.
QString ownAppId() {
    QString name = QGuiApplication::desktopFileName();
    if (!name.isEmpty()) {
        if (name.endsWith(QLatin1String(".desktop")))
            name.chop(8);
        return name;
    }
    const QString program = QFileInfo(QCoreApplication::applicationFilePath()).baseName();
    QStringList domain = QCoreApplication::organizationDomain().split(u'.', Qt::SkipEmptyParts);
    if (domain.isEmpty())
        return program;
    std::reverse(domain.begin(), domain.end());
    return domain.join(u'.') + u'.' + program;
}

// One toplevel as its handle's events last told it.
struct Toplevel {
    zwlr_foreign_toplevel_handle_v1* handle = nullptr;
    QString appId;
    bool isFullscreen = false;
    bool isMaximized = false;
    bool isMinimized = false;
    QSet<wl_output*> outputs;

    explicit Toplevel(zwlr_foreign_toplevel_handle_v1* told)
        : handle(told) {}
    ~Toplevel() { zwlr_foreign_toplevel_handle_v1_destroy(handle); }
    Toplevel(const Toplevel&) = delete;
    Toplevel& operator=(const Toplevel&) = delete;
};

class WaylandCoverageSource final : public CoverageSource {
public:
    ~WaylandCoverageSource() override { stop(); }

    std::optional<Snapshot> snapshot() override;
    QString unavailableReason() const override { return m_reason; }
    void start() override;
    void stop() override;

private:
    static void handleGlobal(void* data, wl_registry* registry, uint32_t name,
                             const char* interface, uint32_t version);
    static void handleGlobalRemove(void*, wl_registry*, uint32_t) {}
    static constexpr wl_registry_listener kRegistryListener = {handleGlobal, handleGlobalRemove};

    static void handleToplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                               zwlr_foreign_toplevel_handle_v1* handle);
    static void handleFinished(void* data, zwlr_foreign_toplevel_manager_v1*);
    static constexpr zwlr_foreign_toplevel_manager_v1_listener kManagerListener = {handleToplevel,
                                                                                   handleFinished};

    static void handleTitle(void*, zwlr_foreign_toplevel_handle_v1*, const char*) {}
    static void handleAppId(void* data, zwlr_foreign_toplevel_handle_v1* handle, const char* appId);
    static void handleOutputEnter(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                  wl_output* output);
    static void handleOutputLeave(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                  wl_output* output);
    static void handleState(void* data, zwlr_foreign_toplevel_handle_v1* handle, wl_array* state);
    static void handleDone(void* data, zwlr_foreign_toplevel_handle_v1*);
    static void handleClosed(void* data, zwlr_foreign_toplevel_handle_v1* handle);
    static void handleParent(void*, zwlr_foreign_toplevel_handle_v1*,
                             zwlr_foreign_toplevel_handle_v1*) {}
    static constexpr zwlr_foreign_toplevel_handle_v1_listener kHandleListener = {
        handleTitle, handleAppId, handleOutputEnter, handleOutputLeave,
        handleState, handleDone,  handleClosed,      handleParent};

    static Toplevel* toplevelOf(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
        auto* self = static_cast<WaylandCoverageSource*>(data);
        const auto found = self->m_toplevels.find(handle);
        return found == self->m_toplevels.end() ? nullptr : &found->second;
    }
    // The screen whose Qt output the compositor named; none for an output Qt does not show.
    static QScreen* screenOf(wl_output* output);

    wl_display* m_display = nullptr;
    zwlr_foreign_toplevel_manager_v1* m_manager = nullptr;
    std::unordered_map<zwlr_foreign_toplevel_handle_v1*, Toplevel> m_toplevels;
    QString m_ownAppId;
    QString m_reason;
};

void WaylandCoverageSource::start() {
    if (m_manager)
        return;
    QPlatformNativeInterface* native =
        qGuiApp ? QGuiApplication::platformNativeInterface() : nullptr;
    if (native && QGuiApplication::platformName() == QLatin1String("wayland"))
        m_display = static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display"));
    if (!m_display) {
        m_reason = QStringLiteral("covered screens are told only in a Wayland session");
        return;
    }
    m_ownAppId = ownAppId();
    wl_registry* registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(registry, &kRegistryListener, this);
    // The first round trip binds the manager, the second brings its toplevels as they are now.
    wl_display_roundtrip(m_display);
    wl_registry_destroy(registry);
    if (!m_manager) {
        m_reason = QStringLiteral("the compositor does not tell which windows are fullscreen");
        return;
    }
    wl_display_roundtrip(m_display);
}

void WaylandCoverageSource::stop() {
    m_toplevels.clear();
    if (m_manager) {
        // The compositor's closing answer finds the object gone and is dropped.
        zwlr_foreign_toplevel_manager_v1_stop(m_manager);
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(m_manager));
        wl_display_flush(m_display);
    }
    m_manager = nullptr;
}

std::optional<CoverageSource::Snapshot> WaylandCoverageSource::snapshot() {
    if (!m_manager)
        return std::nullopt;
    Snapshot result;
    for (const auto& [handle, toplevel] : m_toplevels) {
        if ((!toplevel.isFullscreen && !toplevel.isMaximized) || toplevel.appId == m_ownAppId)
            continue;
        for (wl_output* output : toplevel.outputs) {
            const QScreen* screen = screenOf(output);
            if (!screen)
                continue;
            // The screen whole, in the pixels CoverageMonitor's areas are given in.
            const QRect geometry = screen->geometry();
            Window window;
            window.frame = QRect(geometry.topLeft(), geometry.size() * screen->devicePixelRatio());
            window.isFullscreen = toplevel.isFullscreen;
            window.isMaximized = toplevel.isMaximized;
            window.isHidden = toplevel.isMinimized;
            result.windows.append(window);
        }
    }
    return result;
}

QScreen* WaylandCoverageSource::screenOf(wl_output* output) {
    QPlatformNativeInterface* native = QGuiApplication::platformNativeInterface();
    const QList<QScreen*> screens = QGuiApplication::screens();
    const auto found = std::find_if(screens.begin(), screens.end(), [&](QScreen* screen) {
        return native->nativeResourceForScreen("output", screen) == output;
    });
    return found == screens.end() ? nullptr : *found;
}

void WaylandCoverageSource::handleGlobal(void* data, wl_registry* registry, uint32_t name,
                                         const char* interface, uint32_t version) {
    auto* self = static_cast<WaylandCoverageSource*>(data);
    if (qstrcmp(interface, zwlr_foreign_toplevel_manager_v1_interface.name) != 0 ||
        self->m_manager || version < kManagerVersion)
        return;
    self->m_manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(wl_registry_bind(
        registry, name, &zwlr_foreign_toplevel_manager_v1_interface, kManagerVersion));
    zwlr_foreign_toplevel_manager_v1_add_listener(self->m_manager, &kManagerListener, self);
}

void WaylandCoverageSource::handleToplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                                           zwlr_foreign_toplevel_handle_v1* handle) {
    auto* self = static_cast<WaylandCoverageSource*>(data);
    self->m_toplevels.try_emplace(handle, handle);
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kHandleListener, self);
}

void WaylandCoverageSource::handleFinished(void* data, zwlr_foreign_toplevel_manager_v1* manager) {
    auto* self = static_cast<WaylandCoverageSource*>(data);
    self->m_toplevels.clear();
    wl_proxy_destroy(reinterpret_cast<wl_proxy*>(manager));
    self->m_manager = nullptr;
    self->m_reason = QStringLiteral("the compositor stopped telling which windows are fullscreen");
    Q_EMIT self->changed();
}

void WaylandCoverageSource::handleAppId(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                        const char* appId) {
    if (Toplevel* toplevel = toplevelOf(data, handle))
        toplevel->appId = QString::fromUtf8(appId);
}

void WaylandCoverageSource::handleOutputEnter(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                              wl_output* output) {
    if (Toplevel* toplevel = toplevelOf(data, handle))
        toplevel->outputs.insert(output);
}

void WaylandCoverageSource::handleOutputLeave(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                              wl_output* output) {
    if (Toplevel* toplevel = toplevelOf(data, handle))
        toplevel->outputs.remove(output);
}

void WaylandCoverageSource::handleState(void* data, zwlr_foreign_toplevel_handle_v1* handle,
                                        wl_array* state) {
    Toplevel* toplevel = toplevelOf(data, handle);
    if (!toplevel)
        return;
    const auto* begin = static_cast<const uint32_t*>(state->data);
    const auto* end = begin + state->size / sizeof(uint32_t);
    const auto holds = [&](uint32_t value) {
        return std::find(begin, end, value) != end;
    };
    toplevel->isFullscreen = holds(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_FULLSCREEN);
    toplevel->isMaximized = holds(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MAXIMIZED);
    toplevel->isMinimized = holds(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED);
}

void WaylandCoverageSource::handleDone(void* data, zwlr_foreign_toplevel_handle_v1*) {
    Q_EMIT static_cast<WaylandCoverageSource*>(data)->changed();
}

void WaylandCoverageSource::handleClosed(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
    auto* self = static_cast<WaylandCoverageSource*>(data);
    self->m_toplevels.erase(handle);
    Q_EMIT self->changed();
}

} // namespace

std::unique_ptr<CoverageSource> CoverageSource::createWayland() {
    return std::make_unique<WaylandCoverageSource>();
}
