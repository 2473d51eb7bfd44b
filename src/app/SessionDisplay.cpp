#include "app/SessionDisplay.h"

#include "core/Logging.h"
#include "playback/LayerSurface.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QtGlobal>

void SessionDisplay::choosePlatform() {
    if (!isWaylandSession())
        return;
    // Qt then leaves the desktop windows (Qt::BypassWindowManagerHint) without a shell role of
    // its own, so that they can take the layer role.
    qputenv("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT", "1");
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return;
    if (canReachWaylandDisplay() && compositorOffersLayerShell()) {
        qCInfo(lcApp, "Wayland session: the desktop is drawn on the compositor's background layer");
        // XWayland stays the way out where Qt's Wayland platform is not installed.
        qputenv("QT_QPA_PLATFORM", canReachXServer() ? "wayland;xcb" : "wayland");
        return;
    }
    if (canReachXServer()) {
        qCInfo(lcApp, "Wayland session: the desktop is drawn through XWayland");
        qputenv("QT_QPA_PLATFORM", "xcb");
        return;
    }
    qCInfo(lcApp, "Wayland session without an X server: no desktop window is shown");
}

bool SessionDisplay::hasDisplay() {
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (platform.startsWith("xcb"))
        return canReachXServer();
    if (platform.startsWith("wayland"))
        return canReachWaylandDisplay();
    // Any other platform the user chose (offscreen, vnc, eglfs) needs no display server.
    if (!platform.isEmpty())
        return true;
    return canReachXServer() || canReachWaylandDisplay();
}

bool SessionDisplay::canShowDesktopWindows() {
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("xcb") ||
           (platform == QLatin1String("wayland") && LayerSurface::isAvailable());
}

bool SessionDisplay::canReachWaylandDisplay() {
    const QString name = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (name.isEmpty())
        return false;
    // A relative name lives in the runtime folder.
    const QString socket = QDir::isAbsolutePath(name)
                               ? name
                               : qEnvironmentVariable("XDG_RUNTIME_DIR") + QLatin1Char('/') + name;
    return QFileInfo(socket).exists();
}

bool SessionDisplay::isWaylandSession() {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           qgetenv("XDG_SESSION_TYPE") == "wayland";
}
