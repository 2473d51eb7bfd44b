#include "system/Clock.h"

std::optional<Clock::Fields> Clock::calendarFields() const {
    const QDateTime moment = now().toLocalTime();
    if (!moment.isValid())
        return std::nullopt;
    const QTime time = moment.time();
    // Qt counts Monday 1 to Sunday 7; the schedule counts Sunday 1 to Saturday 7.
    const int weekday = moment.date().dayOfWeek() % 7 + 1;
    return Fields{time.hour(), time.minute(), weekday};
}
