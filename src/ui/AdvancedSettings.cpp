#include "ui/AdvancedSettings.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/ThumbnailCache.h"
#include "system/HotkeyManager.h"
#include "system/LaunchAtLoginManager.h"
#include "system/ScheduleManager.h"
#include "ui/PageValue.h"
#include "ui/SettingsContext.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>

namespace {

// A stored time field as its picker shows it: within the picker's range.
int pickerValue(qint64 stored, int maximum) {
    return int(std::clamp<qint64>(stored, 0, maximum));
}

} // namespace

AdvancedSettings::AdvancedSettings(QObject* parent)
    : AdvancedSettings(Preferences::standard(), parent) {
}

AdvancedSettings::AdvancedSettings(Preferences& preferences, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences) {
    connect(&m_preferences, &Preferences::valueChanged, this, [this](const QString& key) {
        static const QStringList kKeys = {
            Settings::pauseOnBattery.key(),       Settings::pauseWhenCovered.key(),
            Settings::preventDisplaySleep.key(),  Settings::pauseOnScreenLock.key(),
            Settings::launchAtLogin.key(),        Settings::autoPlayOnLaunch.key(),
            Settings::applicationVisibility.key()};
        static const QStringList kScheduleKeys = {
            Settings::scheduleEnabled.key(),     Settings::scheduleStartHour.key(),
            Settings::scheduleStartMinute.key(), Settings::scheduleEndHour.key(),
            Settings::scheduleEndMinute.key(),   Settings::scheduleEnabledDays.key()};
        if (kKeys.contains(key))
            Q_EMIT changed();
        else if (kScheduleKeys.contains(key))
            Q_EMIT scheduleChanged();
    });
    HotkeyManager& hotkeys = SettingsContext::shared().hotkeys();
    connect(&hotkeys, &HotkeyManager::isEnabledChanged, this, &AdvancedSettings::hotkeysChanged);
    connect(&hotkeys, &HotkeyManager::hasAccessibilityPermissionChanged, this,
            &AdvancedSettings::hotkeysChanged);
    connect(&SettingsContext::shared().thumbnails(), &ThumbnailCache::cachedURLsChanged, this,
            &AdvancedSettings::storageChanged);
    // The controller lives above this layer: its signal is reached by name.
    QObject* controller = SettingsContext::shared().controller();
    if (controller && controller->metaObject()->indexOfSignal("coverageAvailabilityChanged()") >= 0)
        connect(controller, SIGNAL(coverageAvailabilityChanged()), this, SIGNAL(coverageChanged()));
}

bool AdvancedSettings::pauseWhenCovered() const {
    return pagevalue::read(m_preferences, Settings::pauseWhenCovered);
}

void AdvancedSettings::setPauseWhenCovered(bool enabled) {
    pagevalue::write(m_preferences, Settings::pauseWhenCovered, enabled);
}

QString AdvancedSettings::coverageUnavailableText() const {
    const QObject* controller = SettingsContext::shared().controller();
    if (!controller || controller->property("canTellCoverage").toBool())
        return {};
    QString reason = controller->property("coverageUnavailableReason").toString();
    if (!reason.isEmpty())
        reason[0] = reason[0].toUpper();
    return reason.isEmpty() ? reason : reason + u'.';
}

bool AdvancedSettings::pauseOnBattery() const {
    return pagevalue::read(m_preferences, Settings::pauseOnBattery);
}

void AdvancedSettings::setPauseOnBattery(bool enabled) {
    pagevalue::write(m_preferences, Settings::pauseOnBattery, enabled);
}

bool AdvancedSettings::preventDisplaySleep() const {
    return pagevalue::read(m_preferences, Settings::preventDisplaySleep);
}

void AdvancedSettings::setPreventDisplaySleep(bool enabled) {
    pagevalue::write(m_preferences, Settings::preventDisplaySleep, enabled);
}

bool AdvancedSettings::pauseOnScreenLock() const {
    return pagevalue::read(m_preferences, Settings::pauseOnScreenLock);
}

void AdvancedSettings::setPauseOnScreenLock(bool enabled) {
    pagevalue::write(m_preferences, Settings::pauseOnScreenLock, enabled);
}

bool AdvancedSettings::launchAtLogin() const {
    return pagevalue::read(m_preferences, Settings::launchAtLogin);
}

void AdvancedSettings::setLaunchAtLogin(bool enabled) {
    if (enabled != launchAtLogin())
        SettingsContext::shared().launchAtLogin().setEnabled(enabled);
}

bool AdvancedSettings::autoPlayOnLaunch() const {
    return pagevalue::read(m_preferences, Settings::autoPlayOnLaunch);
}

void AdvancedSettings::setAutoPlayOnLaunch(bool enabled) {
    pagevalue::write(m_preferences, Settings::autoPlayOnLaunch, enabled);
}

int AdvancedSettings::applicationVisibility() const {
    // Any value other than 1 shows the window in the taskbar.
    return pagevalue::read(m_preferences, Settings::applicationVisibility) == 1 ? 1 : 0;
}

void AdvancedSettings::setApplicationVisibility(int visibility) {
    pagevalue::write(m_preferences, Settings::applicationVisibility, qint64(visibility == 1));
}

bool AdvancedSettings::scheduleEnabled() const {
    return pagevalue::read(m_preferences, Settings::scheduleEnabled);
}

void AdvancedSettings::setScheduleEnabled(bool enabled) {
    ScheduleManager& schedule = SettingsContext::shared().schedule();
    // The page's switch and the schedule's own key are one key.
    m_preferences.set(schedule.scheduleEnabledKey(), enabled);
    schedule.checkSchedule();
}

int AdvancedSettings::startHour() const {
    return pickerValue(
        m_preferences.integerForKey(SettingsContext::shared().schedule().scheduleStartHourKey()),
        23);
}

void AdvancedSettings::setStartHour(int hour) {
    storeScheduleValue(SettingsContext::shared().schedule().scheduleStartHourKey(), hour);
}

int AdvancedSettings::startMinute() const {
    return pickerValue(
        m_preferences.integerForKey(SettingsContext::shared().schedule().scheduleStartMinuteKey()),
        59);
}

void AdvancedSettings::setStartMinute(int minute) {
    storeScheduleValue(SettingsContext::shared().schedule().scheduleStartMinuteKey(), minute);
}

int AdvancedSettings::endHour() const {
    return pickerValue(
        m_preferences.integerForKey(SettingsContext::shared().schedule().scheduleEndHourKey()), 23);
}

void AdvancedSettings::setEndHour(int hour) {
    storeScheduleValue(SettingsContext::shared().schedule().scheduleEndHourKey(), hour);
}

int AdvancedSettings::endMinute() const {
    // With the schedule's own fallback for a day that ends at 0:00.
    return pickerValue(SettingsContext::shared().schedule().endMinute(), 59);
}

void AdvancedSettings::setEndMinute(int minute) {
    storeScheduleValue(SettingsContext::shared().schedule().scheduleEndMinuteKey(), minute);
}

void AdvancedSettings::storeScheduleValue(const QString& key, int value) {
    m_preferences.set(key, qint64(value));
    SettingsContext::shared().schedule().checkSchedule();
}

QList<int> AdvancedSettings::enabledDays() const {
    return SettingsContext::shared().schedule().enabledDays();
}

void AdvancedSettings::toggleDay(int day) {
    SettingsContext::shared().schedule().toggleDay(day);
}

QString AdvancedSettings::scheduleFooter() const {
    if (!scheduleEnabled())
        return QStringLiteral("Automatically start and stop playback at specific times.");
    return QStringLiteral("Playback active: ") + SettingsContext::shared().schedule().statusText();
}

bool AdvancedSettings::hotkeysEnabled() const {
    return SettingsContext::shared().hotkeys().isEnabled();
}

void AdvancedSettings::setHotkeysEnabled(bool enabled) {
    SettingsContext::shared().hotkeys().setEnabled(enabled);
}

bool AdvancedSettings::hasAccessibilityPermission() const {
    return SettingsContext::shared().hotkeys().hasAccessibilityPermission();
}

bool AdvancedSettings::showsHotkeyRows() const {
    return hotkeysEnabled() && hasAccessibilityPermission();
}

QString AdvancedSettings::hotkeysFooter() const {
    if (hasAccessibilityPermission())
        return QStringLiteral("Control playback from any app using keyboard shortcuts.");
    return QStringLiteral(
        "Grant Accessibility permission in System Settings to enable global hotkeys.");
}

void AdvancedSettings::refreshPermission() {
    HotkeyManager& hotkeys = SettingsContext::shared().hotkeys();
    hotkeys.setHasAccessibilityPermission(hotkeys.checkAccessibilityPermission());
}

void AdvancedSettings::requestAccessibilityPermission() {
    SettingsContext::shared().hotkeys().requestAccessibilityPermission();
}

void AdvancedSettings::resetHotkeysToDefaults() {
    HotkeyManager& hotkeys = SettingsContext::shared().hotkeys();
    for (const HotkeyAction action : kHotkeyActions)
        hotkeys.updateHotkey(HotkeyConfig::defaultFor(action), action);
}

QString AdvancedSettings::storageText() const {
    const ThumbnailCache& cache = SettingsContext::shared().thumbnails();
    return QStringLiteral("%1 items (%2)")
        .arg(qlonglong(cache.cachedURLs().size()))
        .arg(cache.cacheSizeText());
}

bool AdvancedSettings::canClearCache() const {
    return !SettingsContext::shared().thumbnails().cachedURLs().isEmpty();
}

void AdvancedSettings::clearCache() {
    SettingsContext::shared().thumbnails().clearCache();
}

void AdvancedSettings::copySupportInfo() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(SettingsContext::shared().supportReport());
    setShowCopiedFeedback(true);
    // Each copy its own reset: a later copy does not keep the mark longer.
    QTimer::singleShot(kCopiedFeedbackMs, this, [this] { setShowCopiedFeedback(false); });
}

void AdvancedSettings::setShowCopiedFeedback(bool shown) {
    if (shown == m_showCopiedFeedback)
        return;
    m_showCopiedFeedback = shown;
    Q_EMIT showCopiedFeedbackChanged();
}
