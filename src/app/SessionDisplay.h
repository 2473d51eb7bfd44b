#pragma once

// Where the desktop windows can live in this session. On X11 they are desktop-type windows
// below every other one. On a Wayland session whose compositor offers wlr-layer-shell (wlroots
// compositors, KDE Plasma) the program runs natively and its desktop windows are surfaces of the
// background layer; elsewhere (GNOME) it draws through XWayland when an X server is there (GNOME
// and KDE keep a desktop-type X window at the bottom), and shows no desktop window otherwise.
class SessionDisplay {
public:
    // Picks Qt's platform for this session, before the application object exists. A platform
    // the user chose (QT_QPA_PLATFORM) is kept.
    static void choosePlatform();

    // Whether the chosen platform has a display to reach: false where Qt could not start.
    static bool hasDisplay();

    // Whether desktop windows can be placed below the others on Qt's platform, once the
    // application object exists.
    static bool canShowDesktopWindows();

private:
    static bool isWaylandSession();
    static bool canReachWaylandDisplay();
    // Whether the Wayland compositor offers wlr-layer-shell, asked on a connection of its own.
    static bool compositorOffersLayerShell();
    // Whether the X server named by DISPLAY accepts a connection.
    static bool canReachXServer();
};
