#pragma once

#include "core/Preferences.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>
#include <utility>

// How one video gives way to the next, as "transitionType" stores it.
enum class TransitionType { None = 0, Fade = 1, CrossDissolve = 2 };

// How a video fills its screen, as "videoScaling" stores it: fill crops the edges, fit
// letterboxes, stretch ignores the aspect ratio.
enum class ScalingMode { Fill = 0, Fit = 1, Stretch = 2 };

// A stored value of 3 or more (compared unsigned, so a negative one too) is a cross dissolve.
constexpr TransitionType toTransitionType(qint64 stored) {
    return quint64(stored) > quint64(TransitionType::CrossDissolve) ? TransitionType::CrossDissolve
                                                                    : TransitionType(stored);
}

// Any value other than 1 or 2 fills.
constexpr ScalingMode toScalingMode(qint64 stored) {
    switch (stored) {
    case 1:
        return ScalingMode::Fit;
    case 2:
        return ScalingMode::Stretch;
    default:
        return ScalingMode::Fill;
    }
}

// Every key the program keeps in the preferences store, with its type and defaults. Readers and
// writers name a key only through this catalogue; the settings pages take their defaults and
// ranges from it.
namespace Settings {

// How the program reads a key while it is present.
enum class Reading {
    // With the store's typed getter, which converts between booleans and numbers; such keys
    // read as the zero of their type while absent.
    Typed,
    // As the raw object: only a value of the key's own kind counts (a boolean for a boolean, any
    // number for a number); anything else reads as absentValue.
    Object,
};

// The range a settings page offers for a value, and its step.
template <typename T> struct Limits {
    T minimum;
    T maximum;
    T step;
};

// One key holding a boolean, an integer or a double. pageDefault is what a settings page shows
// while the key is absent; absentValue is what the program uses then.
template <typename T> struct Key {
    const char* name;
    T pageDefault;
    T absentValue;
    Reading reading = Reading::Typed;
    std::optional<Limits<T>> limits = std::nullopt;

    static constexpr Preferences::Type storedType() {
        if constexpr (std::is_same_v<T, bool>)
            return Preferences::Type::Bool;
        else if constexpr (std::is_same_v<T, qint64>)
            return Preferences::Type::Integer;
        else
            return Preferences::Type::Double;
    }

    QString key() const { return QString::fromLatin1(name); }

    T read(const Preferences& preferences) const {
        const QVariant value = preferences.objectForKey(key());
        const Preferences::Type stored = Preferences::typeOf(value);
        if (stored == Preferences::Type::Absent)
            return absentValue;
        if (reading == Reading::Object) {
            if (stored == storedType())
                return value.value<T>();
            if (storedType() == Preferences::Type::Double && stored == Preferences::Type::Integer)
                return T(value.toLongLong());
            return absentValue;
        }
        if constexpr (std::is_same_v<T, bool>)
            return preferences.boolForKey(key());
        else if constexpr (std::is_same_v<T, qint64>)
            return preferences.integerForKey(key());
        else
            return preferences.doubleForKey(key());
    }

    bool write(Preferences& preferences, T value) const { return preferences.set(key(), value); }

    // The value within the limits: at or below the minimum gives the minimum.
    T clamped(T value) const {
        if (!limits)
            return value;
        if (!(value > limits->minimum))
            return limits->minimum;
        return value > limits->maximum ? limits->maximum : value;
    }
};

// A key whose value has a format of its own (data, lists), read and written by its owner.
struct OwnedKey {
    const char* name;
    Preferences::Type type;

    QString key() const { return QString::fromLatin1(name); }
};

// A family of keys, one per screen or per hotkey action: prefix + identifier + suffix.
struct KeyPattern {
    const char* prefix;
    const char* suffix;
    Preferences::Type type;

    QString key(const QString& screenId) const {
        return QLatin1String(prefix) + screenId + QLatin1String(suffix);
    }
    bool matches(const QString& stored) const {
        return stored.startsWith(QLatin1String(prefix)) && stored.endsWith(QLatin1String(suffix));
    }
};

// Startup, power and display sleep. applicationVisibility: 0 shows the application in the
// taskbar and the tray, 1 in the tray only; any value other than 1 counts as 0.
inline constexpr Key<qint64> applicationVisibility{
    .name = "applicationVisibility", .pageDefault = 0, .absentValue = 0, .limits = {{0, 1, 1}}};
inline constexpr Key<bool> autoPlayOnLaunch{
    .name = "autoPlayOnLaunch", .pageDefault = true, .absentValue = false};
inline constexpr Key<bool> pauseOnBattery{
    .name = "pauseOnBattery", .pageDefault = false, .absentValue = false};
inline constexpr Key<bool> preventDisplaySleep{
    .name = "preventDisplaySleep", .pageDefault = false, .absentValue = false};
// Mutes every player while the screen is locked.
inline constexpr Key<bool> pauseOnScreenLock{
    .name = "pauseOnScreenLock", .pageDefault = true, .absentValue = false};
// Pauses a screen's player while ordinary windows hide that screen.
inline constexpr Key<bool> pauseWhenCovered{
    .name = "pauseWhenCovered", .pageDefault = true, .absentValue = true};
// The last request to start at login, whether or not it succeeded.
inline constexpr Key<bool> launchAtLogin{
    .name = "launchAtLogin", .pageDefault = false, .absentValue = false};

// Display.
inline constexpr Key<qint64> videoScaling{.name = "videoScaling",
                                          .pageDefault = qint64(ScalingMode::Fill),
                                          .absentValue = qint64(ScalingMode::Fill),
                                          .limits = {{0, 2, 1}}};
inline constexpr Key<qint64> transitionType{.name = "transitionType",
                                            .pageDefault = qint64(TransitionType::CrossDissolve),
                                            .absentValue = qint64(TransitionType::None),
                                            .limits = {{0, 2, 1}}};
// Seconds; the playback clamps it (an absent key runs 0.5 s), the support report does not.
inline constexpr Key<double> transitionDuration{.name = "transitionDuration",
                                                .pageDefault = 1.5,
                                                .absentValue = 0.0,
                                                .limits = {{0.5, 5.0, 0.1}}};
// An absent key, or one holding anything but a boolean, counts as muted.
inline constexpr Key<bool> audioMuted{
    .name = "audioMuted", .pageDefault = true, .absentValue = true, .reading = Reading::Object};
inline constexpr Key<double> audioVolume{.name = "audioVolume",
                                         .pageDefault = 0.5,
                                         .absentValue = 0.5,
                                         .reading = Reading::Object,
                                         .limits = {{0.0, 1.0, 0.05}}};
// Clamped when applied.
inline constexpr Key<double> playbackRate{.name = "playbackRate",
                                          .pageDefault = 1.0,
                                          .absentValue = 1.0,
                                          .reading = Reading::Object,
                                          .limits = {{0.5, 2.0, 0.25}}};
// Read once, when the sync manager is made; its toggle binds to the manager, not the key.
inline constexpr Key<bool> syncDisplays{
    .name = "syncDisplays", .pageDefault = false, .absentValue = false};

// Sources.
inline constexpr Key<bool> recursiveScan{
    .name = "recursiveScan", .pageDefault = false, .absentValue = false};
inline constexpr OwnedKey videoFoldersBookmarks{"videoFoldersBookmarks", Preferences::Type::Array};

// Playlists: each screen's own, the shared metadata cache and the named playlists.
inline constexpr KeyPattern playlistItems{"playlist_", "_items", Preferences::Type::Data};
inline constexpr KeyPattern playlistShuffle{"playlist_", "_shuffle", Preferences::Type::Bool};
inline constexpr KeyPattern playlistLoop{"playlist_", "_loop", Preferences::Type::Bool};
inline constexpr KeyPattern playlistAssigned{"playlist_", "_assignedPlaylist",
                                             Preferences::Type::String};
inline constexpr OwnedKey playlistMetadataCache{"playlist_global_metadata",
                                                Preferences::Type::Data};
inline constexpr OwnedKey playlistLibrary{"playlistLibrary", Preferences::Type::Data};

// The daily schedule. The schedule manager writes the end (23:59) and the days (Monday to
// Friday) when they are absent, and reads a stored end hour of 0 as 23.
inline constexpr Key<bool> scheduleEnabled{
    .name = "scheduleEnabled", .pageDefault = false, .absentValue = false};
inline constexpr Key<qint64> scheduleStartHour{
    .name = "scheduleStartHour", .pageDefault = 0, .absentValue = 0, .limits = {{0, 23, 1}}};
inline constexpr Key<qint64> scheduleStartMinute{
    .name = "scheduleStartMinute", .pageDefault = 0, .absentValue = 0, .limits = {{0, 59, 1}}};
inline constexpr Key<qint64> scheduleEndHour{
    .name = "scheduleEndHour", .pageDefault = 0, .absentValue = 0, .limits = {{0, 23, 1}}};
inline constexpr Key<qint64> scheduleEndMinute{
    .name = "scheduleEndMinute", .pageDefault = 0, .absentValue = 0, .limits = {{0, 59, 1}}};
// Day numbers 0 (Sunday) to 6 (Saturday).
inline constexpr OwnedKey scheduleEnabledDays{"scheduleEnabledDays", Preferences::Type::Array};

// Global hotkeys: the switch, and for each action (its raw value after the prefix) the key code
// and the modifier bits; either one absent or not an integer reads as the action's default.
inline constexpr Key<bool> globalHotkeysEnabled{
    .name = "globalHotkeysEnabled", .pageDefault = false, .absentValue = false};
inline constexpr KeyPattern hotkeyKeyCode{"hotkey_", "", Preferences::Type::Integer};
inline constexpr KeyPattern hotkeyModifiers{"hotkeyModifiers_", "", Preferences::Type::Integer};

// The keys whose page default differs from what the program uses while they are absent, with
// that page default: what a new installation writes so the program behaves as its pages show.
QList<std::pair<QString, QVariant>> firstRunValues();

} // namespace Settings
