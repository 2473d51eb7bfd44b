#pragma once

#include <QString>

#include <array>

// What a global hotkey does. The raw values name the action's preference keys ("hotkey_" +
// raw value), so they never change.
enum class HotkeyAction { PlayPause, NextVideo, PreviousVideo, MuteToggle };

// Every action, in the order the settings page lists them.
inline constexpr std::array<HotkeyAction, 4> kHotkeyActions = {
    HotkeyAction::PlayPause, HotkeyAction::NextVideo, HotkeyAction::PreviousVideo,
    HotkeyAction::MuteToggle};

inline QString rawValue(HotkeyAction action) {
    switch (action) {
    case HotkeyAction::PlayPause:
        return QStringLiteral("playPause");
    case HotkeyAction::NextVideo:
        return QStringLiteral("nextVideo");
    case HotkeyAction::PreviousVideo:
        return QStringLiteral("previousVideo");
    case HotkeyAction::MuteToggle:
        break;
    }
    return QStringLiteral("muteToggle");
}

// The name the settings page shows.
inline QString displayName(HotkeyAction action) {
    switch (action) {
    case HotkeyAction::PlayPause:
        return QStringLiteral("Play / Pause");
    case HotkeyAction::NextVideo:
        return QStringLiteral("Next Video");
    case HotkeyAction::PreviousVideo:
        return QStringLiteral("Previous Video");
    case HotkeyAction::MuteToggle:
        break;
    }
    return QStringLiteral("Mute Toggle");
}
