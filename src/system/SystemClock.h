#pragma once

#include "system/Clock.h"

// The machine's own clock.
class SystemClock : public Clock {
public:
    QDateTime now() const override;
};
