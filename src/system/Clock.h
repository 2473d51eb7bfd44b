#pragma once

#include <QDateTime>

#include <optional>

// Where time-dependent logic learns the present moment, so that tests can set it.
class Clock {
public:
    // Calendar fields of a moment in local time. weekday counts from 1 (Sunday) to 7 (Saturday).
    struct Fields {
        int hour = 0;
        int minute = 0;
        int weekday = 0;
    };

    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    virtual QDateTime now() const = 0;

    // The fields of now(); none when the clock has no valid time to give.
    std::optional<Fields> calendarFields() const;
};
