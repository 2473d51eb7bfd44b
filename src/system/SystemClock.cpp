#include "system/SystemClock.h"

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTime();
}
