#pragma once

#include "system/HotkeyConfig.h"

#include <QObject>

#include <memory>

// The desktop's facility for key combinations that reach the program whichever application is
// in front. HotkeyManager decides what to take and what a press does; an implementation only
// takes combinations and reports their presses. The X11 one is in hotkeys_x11.cpp.
class GlobalShortcuts : public QObject {
    Q_OBJECT

public:
    enum class GrabResult {
        Grabbed,
        // Another program holds the combination.
        Taken,
        // The keyboard has no such key, or the desktop refused for another reason.
        Unavailable,
    };

    using QObject::QObject;

    // The session's facility; null where the program has none (a Wayland session without an X
    // connection).
    static std::unique_ptr<GlobalShortcuts> createDefault();
    // Grabs on the root window through the application's own X connection; null without one.
    static std::unique_ptr<GlobalShortcuts> createX11();

    // Takes the combination in addition to those already taken; taking one twice is harmless.
    virtual GrabResult grab(const HotkeyConfig& combination) = 0;
    // Gives every combination back.
    virtual void releaseAll() = 0;
    // After the screens changed: true when the connection the combinations were taken on has
    // been replaced, which lost them; they are forgotten and must be taken again.
    virtual bool reconnect() = 0;

Q_SIGNALS:
    // A taken combination was pressed, in whichever application.
    void activated(const HotkeyConfig& combination);
};
