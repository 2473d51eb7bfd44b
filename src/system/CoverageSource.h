#pragma once

#include <QList>
#include <QObject>
#include <QRect>
#include <QString>

#include <memory>
#include <optional>

// Where CoverageMonitor learns which windows lie over the desktop. The X11 implementation is in
// coveragesource_x11.cpp, the Wayland one in coveragesource_wayland.cpp.
class CoverageSource : public QObject {
    Q_OBJECT

public:
    // One of the user's windows, in the X server's pixels. Desktop and dock windows, and the
    // program's own, are never listed.
    struct Window {
        // The part the user sees: the frame the window manager draws around it included, the
        // shadows a client draws around itself left out.
        QRect frame;
        bool isFullscreen = false;
        // Maximized both ways.
        bool isMaximized = false;
        // Minimized, shaded or otherwise not shown.
        bool isHidden = false;
        // The workspace the window is on; none when it is on every one.
        std::optional<quint32> workspace = std::nullopt;
    };

    struct Snapshot {
        quint32 currentWorkspace = 0;
        QList<Window> windows;
    };

    using QObject::QObject;

    // The windows as they are now; none when this desktop cannot say, and unavailableReason()
    // tells why.
    virtual std::optional<Snapshot> snapshot() = 0;
    virtual QString unavailableReason() const = 0;
    // Begins watching; changed() follows from then on, until stop().
    virtual void start() = 0;
    virtual void stop() = 0;

    // The window manager's view of the X11 session, through a connection of its own. Outside an
    // X11 session it can never tell.
    static std::unique_ptr<CoverageSource> createX11();
    // The compositor's list of toplevels (wlr-foreign-toplevel-management), on Qt's own Wayland
    // connection. A toplevel has no geometry there: one that is fullscreen or maximized is listed
    // as filling each screen it is on, and the others are not listed.
    static std::unique_ptr<CoverageSource> createWayland();

Q_SIGNALS:
    // What snapshot() gives may have changed.
    void changed();
};
