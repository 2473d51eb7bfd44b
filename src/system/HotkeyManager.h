#pragma once

#include "system/GlobalShortcuts.h"
#include "system/HotkeyAction.h"
#include "system/HotkeyConfig.h"

#include <QMap>
#include <QObject>

#include <memory>

class MediaKeyTarget;
class Preferences;

// Global hotkeys: one key combination for each action, kept in the preferences, that controls
// playback whichever application is in front. Presses reach the manager through the desktop's
// global shortcuts; "permission" is having such a facility at all (an X connection). The
// manager is made at launch, so that stored bindings work before any settings page is shown.
class HotkeyManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setEnabled NOTIFY isEnabledChanged)
    Q_PROPERTY(bool hasAccessibilityPermission READ hasAccessibilityPermission WRITE
                   setHasAccessibilityPermission NOTIFY hasAccessibilityPermissionChanged)

public:
    // On the user's store and the session's global shortcuts.
    static HotkeyManager& shared();

    // Without shortcuts (null) there is no permission and nothing is ever taken.
    HotkeyManager(Preferences& preferences, std::unique_ptr<GlobalShortcuts> shortcuts,
                  QObject* parent = nullptr);
    ~HotkeyManager() override;

    static QString keyName(quint16 keyCode) { return HotkeyConfig::keyName(keyCode); }

    // Writing it stores "globalHotkeysEnabled", then starts watching when enabled with
    // permission and stops otherwise.
    bool isEnabled() const { return m_isEnabled; }
    void setEnabled(bool enabled);
    // Every action's binding.
    const QMap<HotkeyAction, HotkeyConfig>& hotkeys() const { return m_hotkeys; }
    bool hasAccessibilityPermission() const { return m_hasAccessibilityPermission; }
    void setHasAccessibilityPermission(bool granted);
    // Sets and stores the action's binding; while watching, presses follow it at once.
    void updateHotkey(const HotkeyConfig& config, HotkeyAction action);
    // Checks again whether the desktop offers global shortcuts. It starts nothing itself.
    void requestAccessibilityPermission();
    // Whether the desktop offers global shortcuts now, asked without a log line: what the
    // settings page sets hasAccessibilityPermission to whenever it comes back into view.
    bool checkAccessibilityPermission() const { return m_shortcuts != nullptr; }

    // Takes every binding from the desktop; nothing while already watching.
    void startMonitoring();
    // Gives every binding back.
    void stopMonitoring();
    bool isMonitoring() const { return m_isMonitoring; }
    // After the screens were rebuilt: takes the bindings again if the X connection changed.
    void screensDidChange();

    // Where the actions go: the application controller, cleared before it goes away. While it
    // is empty presses do nothing, the mute toggle included.
    void setController(MediaKeyTarget* controller) { m_controller = controller; }

Q_SIGNALS:
    void isEnabledChanged(bool enabled);
    void hotkeysChanged();
    void hasAccessibilityPermissionChanged(bool granted);

private:
    void loadHotkeys();
    void grabAll();
    // Runs the action of the first binding, in action order, that the press matches.
    void handleKeyEvent(const HotkeyConfig& pressed);
    void perform(HotkeyAction action);

    Preferences& m_preferences;
    std::unique_ptr<GlobalShortcuts> m_shortcuts;
    bool m_isInitialized = false;
    bool m_isEnabled = false;
    QMap<HotkeyAction, HotkeyConfig> m_hotkeys;
    bool m_hasAccessibilityPermission = false;
    bool m_isMonitoring = false;
    MediaKeyTarget* m_controller = nullptr;
};
