#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

class Preferences;

// The Advanced page's values: the power and start-up preferences (shown with the page's defaults
// while a key is absent), the daily schedule, the global hotkeys' switch and permission, the
// thumbnail cache and the support report. The parts behind them come from SettingsContext.
class AdvancedSettings : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool pauseOnBattery READ pauseOnBattery WRITE setPauseOnBattery NOTIFY changed)
    Q_PROPERTY(bool pauseWhenCovered READ pauseWhenCovered WRITE setPauseWhenCovered NOTIFY changed)
    // Why covered screens cannot be told on this desktop; empty where they can.
    Q_PROPERTY(QString coverageUnavailableText READ coverageUnavailableText NOTIFY coverageChanged)
    Q_PROPERTY(bool preventDisplaySleep READ preventDisplaySleep WRITE setPreventDisplaySleep NOTIFY
                   changed)
    Q_PROPERTY(
        bool pauseOnScreenLock READ pauseOnScreenLock WRITE setPauseOnScreenLock NOTIFY changed)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY changed)
    Q_PROPERTY(bool autoPlayOnLaunch READ autoPlayOnLaunch WRITE setAutoPlayOnLaunch NOTIFY changed)
    Q_PROPERTY(int applicationVisibility READ applicationVisibility WRITE setApplicationVisibility
                   NOTIFY changed)

    Q_PROPERTY(
        bool scheduleEnabled READ scheduleEnabled WRITE setScheduleEnabled NOTIFY scheduleChanged)
    Q_PROPERTY(int startHour READ startHour WRITE setStartHour NOTIFY scheduleChanged)
    Q_PROPERTY(int startMinute READ startMinute WRITE setStartMinute NOTIFY scheduleChanged)
    Q_PROPERTY(int endHour READ endHour WRITE setEndHour NOTIFY scheduleChanged)
    Q_PROPERTY(int endMinute READ endMinute WRITE setEndMinute NOTIFY scheduleChanged)
    Q_PROPERTY(QList<int> enabledDays READ enabledDays NOTIFY scheduleChanged)
    Q_PROPERTY(QString scheduleFooter READ scheduleFooter NOTIFY scheduleChanged)

    Q_PROPERTY(
        bool hotkeysEnabled READ hotkeysEnabled WRITE setHotkeysEnabled NOTIFY hotkeysChanged)
    Q_PROPERTY(
        bool hasAccessibilityPermission READ hasAccessibilityPermission NOTIFY hotkeysChanged)
    Q_PROPERTY(bool showsHotkeyRows READ showsHotkeyRows NOTIFY hotkeysChanged)
    Q_PROPERTY(QString hotkeysFooter READ hotkeysFooter NOTIFY hotkeysChanged)

    Q_PROPERTY(QString storageText READ storageText NOTIFY storageChanged)
    Q_PROPERTY(bool canClearCache READ canClearCache NOTIFY storageChanged)

    Q_PROPERTY(bool showCopiedFeedback READ showCopiedFeedback NOTIFY showCopiedFeedbackChanged)

public:
    // How long the check mark stays after each copy.
    static constexpr int kCopiedFeedbackMs = 2000;

    explicit AdvancedSettings(QObject* parent = nullptr);
    AdvancedSettings(Preferences& preferences, QObject* parent = nullptr);

    bool pauseOnBattery() const;
    void setPauseOnBattery(bool enabled);
    bool pauseWhenCovered() const;
    void setPauseWhenCovered(bool enabled);
    QString coverageUnavailableText() const;
    bool preventDisplaySleep() const;
    void setPreventDisplaySleep(bool enabled);
    bool pauseOnScreenLock() const;
    void setPauseOnScreenLock(bool enabled);
    bool launchAtLogin() const;
    // Registers or unregisters the program at login, which stores the request.
    void setLaunchAtLogin(bool enabled);
    bool autoPlayOnLaunch() const;
    void setAutoPlayOnLaunch(bool enabled);
    // 0: taskbar and tray, 1: tray only. The settings window follows the stored value at once.
    int applicationVisibility() const;
    void setApplicationVisibility(int visibility);

    // Every schedule edit stores its key and has the schedule manager decide again.
    bool scheduleEnabled() const;
    void setScheduleEnabled(bool enabled);
    int startHour() const;
    void setStartHour(int hour);
    int startMinute() const;
    void setStartMinute(int minute);
    int endHour() const;
    void setEndHour(int hour);
    int endMinute() const;
    void setEndMinute(int minute);
    QList<int> enabledDays() const;
    Q_INVOKABLE void toggleDay(int day);
    // "Playback active: " and the schedule's status while it is on.
    QString scheduleFooter() const;

    bool hotkeysEnabled() const;
    void setHotkeysEnabled(bool enabled);
    bool hasAccessibilityPermission() const;
    // The rows show only while hotkeys are on and permitted.
    bool showsHotkeyRows() const;
    QString hotkeysFooter() const;
    // Asks the hotkey manager again whether the desktop offers global shortcuts.
    Q_INVOKABLE void refreshPermission();
    Q_INVOKABLE void requestAccessibilityPermission();
    // Stores every action's default combination, in action order.
    Q_INVOKABLE void resetHotkeysToDefaults();

    // "12 items (1.1 MB)".
    QString storageText() const;
    bool canClearCache() const;
    Q_INVOKABLE void clearCache();

    // Puts the support report on the clipboard and shows the check mark; each copy takes it
    // away again kCopiedFeedbackMs later.
    Q_INVOKABLE void copySupportInfo();
    bool showCopiedFeedback() const { return m_showCopiedFeedback; }

Q_SIGNALS:
    void changed();
    void coverageChanged();
    void scheduleChanged();
    void hotkeysChanged();
    void storageChanged();
    void showCopiedFeedbackChanged();

private:
    void setShowCopiedFeedback(bool shown);
    // Stores a schedule time field and has the schedule decided again.
    void storeScheduleValue(const QString& key, int value);

    Preferences& m_preferences;
    bool m_showCopiedFeedback = false;
};
