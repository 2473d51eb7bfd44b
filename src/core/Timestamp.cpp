#include "core/Timestamp.h"

namespace {
// 2001-01-01 00:00:00 UTC in Unix time.
constexpr qint64 kReferenceDateUnixSeconds = 978307200;
} // namespace

Timestamp Timestamp::now() {
    return fromDateTime(QDateTime::currentDateTimeUtc());
}

Timestamp Timestamp::fromDateTime(const QDateTime& dateTime) {
    const qint64 ms = dateTime.toMSecsSinceEpoch() - kReferenceDateUnixSeconds * 1000;
    return {double(ms) / 1000.0};
}

QDateTime Timestamp::toDateTime() const {
    const double ms = (secondsSinceReferenceDate + double(kReferenceDateUnixSeconds)) * 1000.0;
    return QDateTime::fromMSecsSinceEpoch(qint64(ms), Qt::UTC);
}
