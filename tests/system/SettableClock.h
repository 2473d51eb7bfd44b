#pragma once

#include "system/Clock.h"

// A clock that shows whatever time the test last set.
class SettableClock : public Clock {
public:
    explicit SettableClock(QDateTime now)
        : m_now(std::move(now)) {}

    QDateTime now() const override { return m_now; }
    void set(const QDateTime& now) { m_now = now; }

private:
    QDateTime m_now;
};
