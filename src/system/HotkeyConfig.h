#pragma once

#include "system/HotkeyAction.h"

#include <QString>
#include <QtGlobal>

// One key combination of a global hotkey, as it is stored: the key's position-based code in the
// program's own key space (35 is P, 124 the right arrow, whatever the keyboard's layout) and the
// modifier bits below. The desktop's facility maps both to its own keys.
struct HotkeyConfig {
    // Modifier bits, in the order the settings page offers them.
    static constexpr quint64 kControl = 0x40000;
    static constexpr quint64 kOption = 0x80000;
    static constexpr quint64 kShift = 0x20000;
    // The logo key: Super on this desktop.
    static constexpr quint64 kCommand = 0x100000;
    // A key press matches a binding on these bits alone; lock keys never count.
    static constexpr quint64 kMatchingMask = kControl | kOption | kShift | kCommand;
    static constexpr quint64 kDefaultModifiers = kShift | kCommand;

    quint16 keyCode = 0;
    quint64 modifiers = 0;

    bool operator==(const HotkeyConfig&) const = default;

    // Shift + Super with P, the right arrow, the left arrow and M.
    static HotkeyConfig defaultFor(HotkeyAction action);

    // The key's name as the settings page shows it: "P", "→", "F5", "Space"; "Key 24" for a key
    // without a name.
    static QString keyName(quint16 keyCode);
    // The X keysym the key carries on a US layout; 0 for a code that names no key.
    static quint32 keysym(quint16 keyCode);
    // The combination as the log and the settings page write it: "Ctrl+Alt+Shift+Super+P".
    QString label() const;
};
