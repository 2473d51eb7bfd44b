#include "app/SessionDisplay.h"

#include "core/Logging.h"

#include <QGuiApplication>
#include <QtGlobal>

void SessionDisplay::choosePlatform() {
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || !isWaylandSession())
        return;
    if (canReachXServer()) {
        qCInfo(lcApp, "Wayland session: the desktop is drawn through XWayland");
        qputenv("QT_QPA_PLATFORM", "xcb");
        return;
    }
    qCInfo(lcApp, "Wayland session without an X server: no desktop window is shown");
}

bool SessionDisplay::canShowDesktopWindows() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

bool SessionDisplay::isWaylandSession() {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           qgetenv("XDG_SESSION_TYPE") == "wayland";
}
