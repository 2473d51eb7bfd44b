#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class Clock;
class Preferences;
class QTimer;

// Decides, once a minute, whether now lies inside the user's daily playback span on one of the
// enabled weekdays. It only decides; the application controller acts on isWithinSchedule.
//
// Days are numbered 0 (Sunday) to 6 (Saturday). A stored end hour of 0 reads as 23 everywhere.
class ScheduleManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isWithinSchedule READ isWithinSchedule NOTIFY isWithinScheduleChanged)
    Q_PROPERTY(QString statusText READ statusText)

public:
    // Writes the end time and the enabled days when they are absent, so that a fresh
    // installation has 0:00 to 23:59 on Monday to Friday (switched off).
    ScheduleManager(Preferences& preferences, std::unique_ptr<Clock> clock,
                    QObject* parent = nullptr);
    ~ScheduleManager() override;

    // The process's instance on the standard preferences and the system clock, created on first
    // use and kept until the process ends.
    static ScheduleManager& shared();

    const QString& scheduleEnabledKey() const { return m_scheduleEnabledKey; }
    const QString& scheduleStartHourKey() const { return m_scheduleStartHourKey; }
    const QString& scheduleStartMinuteKey() const { return m_scheduleStartMinuteKey; }
    const QString& scheduleEndHourKey() const { return m_scheduleEndHourKey; }
    const QString& scheduleEndMinuteKey() const { return m_scheduleEndMinuteKey; }
    const QString& scheduleEnabledDaysKey() const { return m_scheduleEnabledDaysKey; }

    bool isWithinSchedule() const { return m_isWithinSchedule; }

    // Restarts the minute timer and evaluates at once.
    void startMonitoring();
    // Evaluates now; what every timer tick and every schedule edit calls.
    void checkSchedule();

    // The enabled days, ascending, without repeats; Monday to Friday when the stored value is
    // missing or malformed.
    QList<int> enabledDays() const;
    void toggleDay(int day);
    // The end minute as the schedule reads it: a stored 0 with a stored end hour of 0 is 59.
    qint64 endMinute() const;
    // One line such as "9:00 - 17:30, weekdays".
    QString statusText() const;

Q_SIGNALS:
    void isWithinScheduleChanged(bool isWithinSchedule);

private:
    qint64 endHour() const;
    void updateState(bool withinSchedule);

    Preferences& m_preferences;
    std::unique_ptr<Clock> m_clock;
    bool m_isWithinSchedule = true;
    const QString m_scheduleEnabledKey;
    const QString m_scheduleStartHourKey;
    const QString m_scheduleStartMinuteKey;
    const QString m_scheduleEndHourKey;
    const QString m_scheduleEndMinuteKey;
    const QString m_scheduleEnabledDaysKey;
    QTimer* m_timer = nullptr;
};
