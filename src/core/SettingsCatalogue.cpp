#include "core/SettingsCatalogue.h"

namespace Settings {

namespace {

template <typename T>
void addPageDefault(QList<std::pair<QString, QVariant>>& values, const Key<T>& key) {
    if (key.pageDefault != key.absentValue)
        values.append({key.key(), QVariant::fromValue(key.pageDefault)});
}

} // namespace

QList<std::pair<QString, QVariant>> firstRunValues() {
    QList<std::pair<QString, QVariant>> values;
    const auto add = [&values](const auto&... keys) {
        (addPageDefault(values, keys), ...);
    };
    add(applicationVisibility, autoPlayOnLaunch, pauseOnBattery, preventDisplaySleep,
        pauseOnScreenLock, pauseWhenCovered, launchAtLogin, videoScaling, transitionType,
        transitionDuration, audioMuted, audioVolume, playbackRate, syncDisplays, recursiveScan,
        scheduleEnabled, scheduleStartHour, scheduleStartMinute, scheduleEndHour, scheduleEndMinute,
        globalHotkeysEnabled);
    return values;
}

} // namespace Settings
