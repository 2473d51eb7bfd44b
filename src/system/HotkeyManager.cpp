#include "system/HotkeyManager.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "system/GlobalShortcuts.h"
#include "system/MediaKeyTarget.h"

#include <QLoggingCategory>
#include <QStringList>
#include <QTimer>

#include <limits>

Q_LOGGING_CATEGORY(lcHotkeys, "com.orvanta.hotkeys", QtInfoMsg)

namespace {

// The stored number when it is an integer within [0, maximum].
std::optional<quint64> storedNumber(const Preferences& preferences, const QString& key,
                                    quint64 maximum) {
    const QVariant value = preferences.objectForKey(key);
    if (Preferences::typeOf(value) != Preferences::Type::Integer)
        return std::nullopt;
    const qint64 number = value.toLongLong();
    if (number < 0 || quint64(number) > maximum)
        return std::nullopt;
    return quint64(number);
}

} // namespace

HotkeyManager& HotkeyManager::shared() {
    // Never destroyed, as the other process-wide managers: nothing at exit depends on it.
    static HotkeyManager* const instance =
        new HotkeyManager(Preferences::standard(), GlobalShortcuts::createDefault());
    return *instance;
}

HotkeyManager::HotkeyManager(Preferences& preferences, std::unique_ptr<GlobalShortcuts> shortcuts,
                             QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_shortcuts(std::move(shortcuts)) {
    // Queued: an action may rebuild windows, which is not for the middle of the desktop's event
    // delivery.
    if (m_shortcuts) {
        connect(m_shortcuts.get(), &GlobalShortcuts::activated, this,
                &HotkeyManager::handleKeyEvent, Qt::QueuedConnection);
    }
    loadHotkeys();
    m_hasAccessibilityPermission = checkAccessibilityPermission();
    m_isEnabled = Settings::globalHotkeysEnabled.read(m_preferences);
    m_isInitialized = true;
    if (m_isEnabled && !m_hasAccessibilityPermission)
        qCInfo(lcHotkeys, "Global hotkeys are on, but this desktop offers no global shortcuts");
    // Just after creation rather than during it.
    if (m_isEnabled && m_hasAccessibilityPermission)
        QTimer::singleShot(0, this, &HotkeyManager::startMonitoring);
}

HotkeyManager::~HotkeyManager() {
    stopMonitoring();
}

void HotkeyManager::setEnabled(bool enabled) {
    const bool changed = enabled != m_isEnabled;
    m_isEnabled = enabled;
    if (changed)
        Q_EMIT isEnabledChanged(enabled);
    if (!m_isInitialized)
        return;
    Settings::globalHotkeysEnabled.write(m_preferences, enabled);
    if (m_isEnabled && m_hasAccessibilityPermission)
        startMonitoring();
    else
        stopMonitoring();
}

void HotkeyManager::setHasAccessibilityPermission(bool granted) {
    if (granted == m_hasAccessibilityPermission)
        return;
    m_hasAccessibilityPermission = granted;
    Q_EMIT hasAccessibilityPermissionChanged(granted);
}

void HotkeyManager::requestAccessibilityPermission() {
    setHasAccessibilityPermission(checkAccessibilityPermission());
    if (!m_hasAccessibilityPermission)
        qCInfo(lcHotkeys,
               "Global hotkeys need global shortcuts, which this desktop does not offer");
}

void HotkeyManager::loadHotkeys() {
    QMap<HotkeyAction, HotkeyConfig> loaded;
    for (const HotkeyAction action : kHotkeyActions) {
        HotkeyConfig config = HotkeyConfig::defaultFor(action);
        const QString name = rawValue(action);
        // Field by field: a bad key code keeps the stored modifiers and the other way round.
        if (const auto keyCode = storedNumber(m_preferences, Settings::hotkeyKeyCode.key(name),
                                              std::numeric_limits<quint16>::max()))
            config.keyCode = quint16(*keyCode);
        if (const auto modifiers = storedNumber(m_preferences, Settings::hotkeyModifiers.key(name),
                                                std::numeric_limits<qint64>::max()))
            config.modifiers = *modifiers;
        loaded.insert(action, config);
    }
    m_hotkeys = loaded;
    Q_EMIT hotkeysChanged();
}

void HotkeyManager::updateHotkey(const HotkeyConfig& config, HotkeyAction action) {
    m_hotkeys.insert(action, config);
    const QString name = rawValue(action);
    m_preferences.set(Settings::hotkeyKeyCode.key(name), qint64(config.keyCode));
    m_preferences.set(Settings::hotkeyModifiers.key(name), qint64(config.modifiers));
    Q_EMIT hotkeysChanged();
    if (m_isMonitoring) {
        m_shortcuts->releaseAll();
        grabAll();
    }
}

void HotkeyManager::startMonitoring() {
    if (m_isMonitoring || !m_shortcuts)
        return;
    m_isMonitoring = true;
    grabAll();
}

void HotkeyManager::stopMonitoring() {
    if (!m_isMonitoring)
        return;
    m_isMonitoring = false;
    m_shortcuts->releaseAll();
    qCInfo(lcHotkeys, "Global hotkeys off");
}

void HotkeyManager::screensDidChange() {
    if (m_isMonitoring && m_shortcuts->reconnect())
        grabAll();
}

void HotkeyManager::grabAll() {
    QStringList taken;
    for (const HotkeyAction action : kHotkeyActions) {
        const HotkeyConfig config = m_hotkeys.value(action);
        const QString label = config.label();
        const QString name = displayName(action);
        if (config.modifiers & ~HotkeyConfig::kMatchingMask) {
            qCCritical(lcHotkeys,
                       "Global hotkey %s for %s holds modifier flags 0x%llx that no key "
                       "press can match",
                       qUtf8Printable(label), qUtf8Printable(name), config.modifiers);
            continue;
        }
        switch (m_shortcuts->grab(config)) {
        case GlobalShortcuts::GrabResult::Grabbed:
            taken.append(QStringLiteral("%1 (%2)").arg(name, label));
            break;
        case GlobalShortcuts::GrabResult::Taken:
            qCCritical(lcHotkeys, "Global hotkey %s for %s is taken by another program",
                       qUtf8Printable(label), qUtf8Printable(name));
            break;
        case GlobalShortcuts::GrabResult::Unavailable:
            qCCritical(lcHotkeys, "Global hotkey %s for %s has no key on this keyboard",
                       qUtf8Printable(label), qUtf8Printable(name));
            break;
        }
    }
    qCInfo(lcHotkeys, "Global hotkeys on: %s",
           taken.isEmpty() ? "none" : qUtf8Printable(taken.join(QStringLiteral(", "))));
}

void HotkeyManager::handleKeyEvent(const HotkeyConfig& pressed) {
    const quint64 modifiers = pressed.modifiers & HotkeyConfig::kMatchingMask;
    for (auto it = m_hotkeys.cbegin(); it != m_hotkeys.cend(); ++it) {
        if (it->keyCode == pressed.keyCode && it->modifiers == modifiers) {
            perform(it.key());
            return;
        }
    }
}

void HotkeyManager::perform(HotkeyAction action) {
    if (!m_controller)
        return;
    switch (action) {
    case HotkeyAction::PlayPause:
        m_controller->togglePlayPause();
        break;
    case HotkeyAction::NextVideo:
        m_controller->nextVideo();
        break;
    case HotkeyAction::PreviousVideo:
        m_controller->previousVideo();
        break;
    case HotkeyAction::MuteToggle:
        // The players follow through the store's change signal.
        Settings::audioMuted.write(m_preferences, !Settings::audioMuted.read(m_preferences));
        break;
    }
}
