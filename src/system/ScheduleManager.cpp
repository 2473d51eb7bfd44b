#include "system/ScheduleManager.h"

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "system/Clock.h"
#include "system/SystemClock.h"

#include <QStringList>
#include <QTimer>

#include <algorithm>
#include <array>
#include <climits>

namespace {

constexpr int kCheckIntervalMs = 60 * 1000;

const QList<int> kWeekdays{1, 2, 3, 4, 5};
const QList<int> kWeekends{0, 6};
const QList<int> kEveryDay{0, 1, 2, 3, 4, 5, 6};

constexpr std::array<const char*, 7> kDayNames{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

QString timeText(qint64 hour, qint64 minute) {
    return QStringLiteral("%1:%2").arg(hour).arg(minute, 2, 10, QLatin1Char('0'));
}

} // namespace

ScheduleManager::ScheduleManager(Preferences& preferences, std::unique_ptr<Clock> clock,
                                 QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_clock(std::move(clock))
    , m_scheduleEnabledKey(Settings::scheduleEnabled.key())
    , m_scheduleStartHourKey(Settings::scheduleStartHour.key())
    , m_scheduleStartMinuteKey(Settings::scheduleStartMinute.key())
    , m_scheduleEndHourKey(Settings::scheduleEndHour.key())
    , m_scheduleEndMinuteKey(Settings::scheduleEndMinute.key())
    , m_scheduleEnabledDaysKey(Settings::scheduleEnabledDays.key()) {
    if (!m_clock)
        m_clock = std::make_unique<SystemClock>();
    // Only the end and the days get defaults; the start and the switch stay absent (0:00, off).
    if (!m_preferences.objectForKey(m_scheduleEndHourKey).isValid()) {
        m_preferences.set(m_scheduleEndHourKey, 23);
        m_preferences.set(m_scheduleEndMinuteKey, 59);
    }
    if (!m_preferences.objectForKey(m_scheduleEnabledDaysKey).isValid())
        m_preferences.set(m_scheduleEnabledDaysKey, QVariantList{1, 2, 3, 4, 5});
}

ScheduleManager::~ScheduleManager() = default;

ScheduleManager& ScheduleManager::shared() {
    // Never destroyed: its timer must not outlive the event loop's teardown at exit.
    static ScheduleManager* const instance =
        new ScheduleManager(Preferences::standard(), std::make_unique<SystemClock>());
    return *instance;
}

void ScheduleManager::startMonitoring() {
    if (m_timer)
        m_timer->stop();
    checkSchedule();
    if (!m_timer) {
        // A child of the manager: it can never call into a destroyed one.
        m_timer = new QTimer(this);
        m_timer->setInterval(kCheckIntervalMs);
        connect(m_timer, &QTimer::timeout, this, &ScheduleManager::checkSchedule);
    }
    m_timer->start();
}

void ScheduleManager::checkSchedule() {
    if (!m_preferences.boolForKey(m_scheduleEnabledKey)) {
        // A schedule that is off allows playback, silently.
        if (!m_isWithinSchedule) {
            m_isWithinSchedule = true;
            Q_EMIT isWithinScheduleChanged(true);
        }
        return;
    }

    const std::optional<Clock::Fields> fields = m_clock->calendarFields();
    if (!fields)
        return;

    const int day = fields->weekday - 1;
    if (!enabledDays().contains(day)) {
        updateState(false);
        return;
    }

    const qint64 now = 60 * qint64(fields->hour) + fields->minute;
    const qint64 start = 60 * m_preferences.integerForKey(m_scheduleStartHourKey) +
                         m_preferences.integerForKey(m_scheduleStartMinuteKey);
    const qint64 end = 60 * endHour() + endMinute();
    // Both ends are inside. A span whose end comes before its start runs across midnight; the
    // day test above always uses the current day.
    const bool inside = end >= start ? (start <= now && now <= end) : (now >= start || now <= end);
    updateState(inside);
}

void ScheduleManager::updateState(bool withinSchedule) {
    if (withinSchedule == m_isWithinSchedule)
        return;
    m_isWithinSchedule = withinSchedule;
    Q_EMIT isWithinScheduleChanged(withinSchedule);
    Q_EMIT NotificationCenter::instance().scheduleStateDidChange(withinSchedule);
}

QList<int> ScheduleManager::enabledDays() const {
    const QVariant stored = m_preferences.objectForKey(m_scheduleEnabledDaysKey);
    if (Preferences::typeOf(stored) != Preferences::Type::Array)
        return kWeekdays;
    QList<int> days;
    const QVariantList elements = stored.toList();
    for (const QVariant& element : elements) {
        if (Preferences::typeOf(element) != Preferences::Type::Integer)
            return kWeekdays;
        const qint64 day = element.toLongLong();
        // Numbers no int can hold can never be a day; keep them out rather than wrap them.
        if (day < INT_MIN || day > INT_MAX)
            continue;
        days.append(int(day));
    }
    std::sort(days.begin(), days.end());
    days.erase(std::unique(days.begin(), days.end()), days.end());
    return days;
}

void ScheduleManager::toggleDay(int day) {
    QList<int> days = enabledDays();
    if (days.contains(day))
        days.removeAll(day);
    else
        days.append(day);
    std::sort(days.begin(), days.end());
    QVariantList stored;
    for (int value : std::as_const(days))
        stored.append(qint64(value));
    m_preferences.set(m_scheduleEnabledDaysKey, stored);
    checkSchedule();
}

qint64 ScheduleManager::endHour() const {
    const qint64 hour = m_preferences.integerForKey(m_scheduleEndHourKey);
    return hour == 0 ? 23 : hour;
}

qint64 ScheduleManager::endMinute() const {
    const qint64 minute = m_preferences.integerForKey(m_scheduleEndMinuteKey);
    if (minute == 0 && m_preferences.integerForKey(m_scheduleEndHourKey) == 0)
        return 59;
    return minute;
}

QString ScheduleManager::statusText() const {
    if (!m_preferences.boolForKey(m_scheduleEnabledKey))
        return QStringLiteral("Schedule disabled");

    const QString start = timeText(m_preferences.integerForKey(m_scheduleStartHourKey),
                                   m_preferences.integerForKey(m_scheduleStartMinuteKey));
    const QString end = timeText(endHour(), endMinute());

    const QList<int> days = enabledDays();
    QString dayText;
    if (days == kWeekdays) {
        dayText = QStringLiteral("weekdays");
    } else if (days == kWeekends) {
        dayText = QStringLiteral("weekends");
    } else if (days == kEveryDay) {
        dayText = QStringLiteral("every day");
    } else {
        QStringList names;
        // Numbers outside 0 to 6 have no name and are left out.
        for (int day : days) {
            if (day >= 0 && day < int(kDayNames.size()))
                names.append(QString::fromLatin1(kDayNames[std::size_t(day)]));
        }
        dayText = names.join(QStringLiteral(", "));
    }
    return start + QStringLiteral(" - ") + end + QStringLiteral(", ") + dayText;
}
