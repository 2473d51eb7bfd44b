// The playback schedule on the real preference store, with a clock the test sets.

#include "SettableClock.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "system/ScheduleManager.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// 2024-05-13 is a Monday.
QDateTime at(int dayOfMonth, int hour, int minute) {
    return QDateTime(QDate(2024, 5, dayOfMonth), QTime(hour, minute));
}
constexpr int kWednesday = 15;
constexpr int kFriday = 17;
constexpr int kSaturday = 18;

class ScheduleTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        m_preferences = std::make_unique<Preferences>(m_dir.filePath("preferences.sqlite3"));
        ASSERT_TRUE(m_preferences->isOpen());
    }

    ScheduleManager& createManager() {
        auto clock = std::make_unique<SettableClock>(at(kWednesday, 12, 0));
        m_clock = clock.get();
        m_manager = std::make_unique<ScheduleManager>(*m_preferences, std::move(clock));
        return *m_manager;
    }

    // Writes and enables a span, then creates the manager.
    ScheduleManager& createWithSpan(int startHour, int startMinute, int endHour, int endMinute,
                                    const QVariantList& days) {
        m_preferences->set("scheduleEnabled", true);
        m_preferences->set("scheduleStartHour", startHour);
        m_preferences->set("scheduleStartMinute", startMinute);
        m_preferences->set("scheduleEndHour", endHour);
        m_preferences->set("scheduleEndMinute", endMinute);
        m_preferences->set("scheduleEnabledDays", days);
        return createManager();
    }

    bool insideAt(int dayOfMonth, int hour, int minute) {
        m_clock->set(at(dayOfMonth, hour, minute));
        m_manager->checkSchedule();
        return m_manager->isWithinSchedule();
    }

    // Checks times of one day, each written "H:MM+" (inside) or "H:MM-" (outside).
    void expectInside(int dayOfMonth, const char* times) {
        for (const QString& time : QString::fromLatin1(times).split(u' ')) {
            const QTime t = QTime::fromString(time.chopped(1), u"H:mm"_s);
            ASSERT_TRUE(t.isValid()) << time.toStdString();
            EXPECT_EQ(insideAt(dayOfMonth, t.hour(), t.minute()), time.endsWith(u'+'))
                << dayOfMonth << ' ' << time.toStdString();
        }
    }

    QTemporaryDir m_dir;
    std::unique_ptr<Preferences> m_preferences;
    SettableClock* m_clock = nullptr;
    std::unique_ptr<ScheduleManager> m_manager;
};

const QVariantList kWeekdays{1, 2, 3, 4, 5};
const QVariantList kEveryDay{0, 1, 2, 3, 4, 5, 6};

} // namespace

TEST_F(ScheduleTest, FreshInstallationGetsEndAndDaysOnly) {
    ScheduleManager& manager = createManager();
    EXPECT_EQ(m_preferences->objectForKey("scheduleEndHour"), QVariant(qint64(23)));
    EXPECT_EQ(m_preferences->objectForKey("scheduleEndMinute"), QVariant(qint64(59)));
    EXPECT_EQ(m_preferences->objectForKey("scheduleEnabledDays"),
              QVariant(QVariantList{qint64(1), qint64(2), qint64(3), qint64(4), qint64(5)}));
    for (const char* key : {"scheduleEnabled", "scheduleStartHour", "scheduleStartMinute"})
        EXPECT_FALSE(m_preferences->objectForKey(key).isValid()) << key;
    EXPECT_EQ(manager.scheduleEnabledKey(), u"scheduleEnabled"_s);
    EXPECT_EQ(manager.scheduleEnabledDaysKey(), u"scheduleEnabledDays"_s);

    EXPECT_TRUE(manager.isWithinSchedule());
    EXPECT_EQ(manager.statusText(), u"Schedule disabled"_s);
    m_preferences->set("scheduleEnabled", true);
    EXPECT_EQ(manager.statusText(), u"0:00 - 23:59, weekdays"_s);
}

TEST_F(ScheduleTest, PresentEndHourKeepsTheEndMinuteAbsent) {
    m_preferences->set("scheduleEndHour", 17);
    m_preferences->set("scheduleEnabledDays", QVariantList{0});
    createManager();
    EXPECT_EQ(m_preferences->integerForKey("scheduleEndHour"), 17);
    EXPECT_FALSE(m_preferences->objectForKey("scheduleEndMinute").isValid());
    EXPECT_EQ(m_preferences->objectForKey("scheduleEnabledDays"), QVariant(QVariantList{0}));
}

TEST_F(ScheduleTest, SpansIncludeBothEndsAndNoDayIsAlwaysOutside) {
    createWithSpan(9, 0, 17, 0, kWeekdays);
    expectInside(kWednesday, "8:59- 9:00+ 17:00+ 17:01-");
    expectInside(kSaturday, "12:00-");
    EXPECT_EQ(m_manager->statusText(), u"9:00 - 17:00, weekdays"_s);

    // Equal start and end is one minute.
    createWithSpan(12, 0, 12, 0, kWeekdays);
    expectInside(kWednesday, "11:59- 12:00+ 12:01-");

    // No day enabled is always outside.
    createWithSpan(0, 0, 23, 59, {});
    expectInside(kWednesday, "12:00-");
    expectInside(kSaturday, "0:00-");
    EXPECT_EQ(m_manager->statusText(), u"0:00 - 23:59, "_s);
}

TEST_F(ScheduleTest, SpanAcrossMidnightUsesTheCurrentDay) {
    createWithSpan(22, 0, 6, 0, kEveryDay);
    expectInside(kWednesday, "23:30+ 3:00+ 6:00+ 6:01- 21:59-");
    EXPECT_EQ(m_manager->statusText(), u"22:00 - 6:00, every day"_s);

    // Friday only: the small hours belong to Friday's own morning, not to Thursday's evening.
    m_preferences->set("scheduleEndHour", 2);
    m_preferences->set("scheduleEnabledDays", QVariantList{5});
    expectInside(kFriday, "1:00+ 22:00+ 12:00-");
    expectInside(kSaturday, "1:00-");
}

TEST_F(ScheduleTest, EndHourZeroReadsAsTwentyThree) {
    createWithSpan(9, 5, 0, 0, kWeekdays);
    EXPECT_EQ(m_manager->endMinute(), 59);
    EXPECT_EQ(m_manager->statusText(), u"9:05 - 23:59, weekdays"_s);
    EXPECT_TRUE(insideAt(kWednesday, 23, 59));

    m_preferences->set("scheduleEndMinute", 30);
    EXPECT_EQ(m_manager->endMinute(), 30);
    EXPECT_EQ(m_manager->statusText(), u"9:05 - 23:30, weekdays"_s);
    EXPECT_FALSE(insideAt(kWednesday, 23, 31));

    m_preferences->set("scheduleEndHour", 17);
    m_preferences->set("scheduleEndMinute", 0);
    EXPECT_EQ(m_manager->endMinute(), 0);
}

TEST_F(ScheduleTest, SummaryNamesTheDays) {
    createWithSpan(9, 0, 17, 30, kWeekdays);
    EXPECT_EQ(m_manager->statusText(), u"9:00 - 17:30, weekdays"_s);

    m_preferences->set("scheduleStartHour", 22);
    m_preferences->set("scheduleEndHour", 6);
    m_preferences->set("scheduleEndMinute", 0);
    m_preferences->set("scheduleEnabledDays", QVariantList{6, 5});
    EXPECT_EQ(m_manager->statusText(), u"22:00 - 6:00, Fri, Sat"_s);
    m_preferences->set("scheduleEnabledDays", QVariantList{6, 0});
    EXPECT_EQ(m_manager->statusText(), u"22:00 - 6:00, weekends"_s);
    // Numbers without a day name are left out of the text and never match today.
    m_preferences->set("scheduleEnabledDays", QVariantList{9, 1, -1, 1});
    EXPECT_EQ(m_manager->statusText(), u"22:00 - 6:00, Mon"_s);

    // A malformed day list falls back to Monday to Friday.
    m_preferences->set("scheduleEnabledDays", QVariantList{1, u"2"_s});
    EXPECT_EQ(m_manager->enabledDays(), (QList<int>{1, 2, 3, 4, 5}));
    m_preferences->set("scheduleEnabledDays", u"0,6"_s);
    EXPECT_EQ(m_manager->statusText(), u"22:00 - 6:00, weekdays"_s);
}

TEST_F(ScheduleTest, ChangesAreAnnouncedOnlyWhenTheResultChanges) {
    createWithSpan(9, 0, 17, 0, kWeekdays);
    QSignalSpy own(m_manager.get(), &ScheduleManager::isWithinScheduleChanged);
    QSignalSpy posted(&NotificationCenter::instance(), &NotificationCenter::scheduleStateDidChange);

    // Monitoring evaluates at once and again on each start; nothing is evaluated before.
    m_clock->set(at(kSaturday, 12, 0));
    EXPECT_TRUE(m_manager->isWithinSchedule());
    m_manager->startMonitoring();
    EXPECT_FALSE(m_manager->isWithinSchedule());
    m_clock->set(at(kWednesday, 12, 0));
    m_manager->startMonitoring();
    EXPECT_TRUE(m_manager->isWithinSchedule());
    own.clear();
    posted.clear();

    // What each minute's tick does, with the clock moved on.
    EXPECT_FALSE(insideAt(kWednesday, 17, 1));
    ASSERT_EQ(posted.count(), 1);
    EXPECT_EQ(posted.at(0).at(0).toBool(), false);
    ASSERT_EQ(own.count(), 1);
    EXPECT_EQ(own.at(0).at(0).toBool(), false);
    EXPECT_FALSE(insideAt(kWednesday, 17, 2));
    EXPECT_EQ(posted.count(), 1);

    // Switching the schedule off allows playback again, without a posting.
    m_preferences->set("scheduleEnabled", false);
    m_manager->checkSchedule();
    EXPECT_TRUE(m_manager->isWithinSchedule());
    ASSERT_EQ(own.count(), 2);
    EXPECT_EQ(own.at(1).at(0).toBool(), true);
    EXPECT_EQ(posted.count(), 1);
    EXPECT_EQ(m_manager->statusText(), u"Schedule disabled"_s);

    m_preferences->set("scheduleEnabled", true);
    EXPECT_TRUE(insideAt(kWednesday, 9, 30));
    EXPECT_EQ(posted.count(), 1);
    EXPECT_FALSE(insideAt(kSaturday, 9, 30));
    ASSERT_EQ(posted.count(), 2);
}

TEST_F(ScheduleTest, TogglingADayStoresItAndEvaluates) {
    createWithSpan(0, 0, 23, 59, kWeekdays);
    ASSERT_FALSE(insideAt(kSaturday, 10, 0));
    QSignalSpy posted(&NotificationCenter::instance(), &NotificationCenter::scheduleStateDidChange);

    m_manager->toggleDay(6);
    EXPECT_TRUE(m_manager->isWithinSchedule());
    EXPECT_EQ(posted.count(), 1);
    EXPECT_EQ(
        m_preferences->objectForKey("scheduleEnabledDays"),
        QVariant(QVariantList{qint64(1), qint64(2), qint64(3), qint64(4), qint64(5), qint64(6)}));

    m_manager->toggleDay(6);
    m_manager->toggleDay(1);
    EXPECT_FALSE(m_manager->isWithinSchedule());
    EXPECT_EQ(m_manager->enabledDays(), (QList<int>{2, 3, 4, 5}));
    EXPECT_EQ(m_manager->statusText(), u"0:00 - 23:59, Tue, Wed, Thu, Fri"_s);
}
