#pragma once

#include <QString>
#include <QtGlobal>

#include <array>

// What a global hotkey does. The raw values name the action's preference keys ("hotkey_" +
// raw value), so they never change.
enum class HotkeyAction { PlayPause, NextVideo, PreviousVideo, MuteToggle };

// Every action, in the order the settings page lists them.
inline constexpr std::array<HotkeyAction, 4> kHotkeyActions = {
    HotkeyAction::PlayPause, HotkeyAction::NextVideo, HotkeyAction::PreviousVideo,
    HotkeyAction::MuteToggle};

namespace hotkeyaction {

struct Names {
    const char* rawValue;
    // What the settings page shows.
    const char* displayName;
    // The key of the default binding, with Shift + Super: P, the right and left arrows, M.
    quint16 defaultKeyCode;
};

// In the order of the enumeration.
inline constexpr std::array<Names, 4> kNames = {{{"playPause", "Play / Pause", 35},
                                                 {"nextVideo", "Next Video", 124},
                                                 {"previousVideo", "Previous Video", 123},
                                                 {"muteToggle", "Mute Toggle", 46}}};

} // namespace hotkeyaction

inline QString rawValue(HotkeyAction action) {
    return QLatin1String(hotkeyaction::kNames[std::size_t(action)].rawValue);
}

inline QString displayName(HotkeyAction action) {
    return QLatin1String(hotkeyaction::kNames[std::size_t(action)].displayName);
}
