#pragma once

#include <QDateTime>

#include <compare>

// A moment as stored in playlists: seconds (with fraction) since 2001-01-01 00:00:00 UTC. Kept
// as that double, so stored documents read and write back without losing precision.
struct Timestamp {
    double secondsSinceReferenceDate = 0.0;

    static Timestamp now();
    static Timestamp fromDateTime(const QDateTime& dateTime);
    QDateTime toDateTime() const;

    auto operator<=>(const Timestamp&) const = default;
    bool operator==(const Timestamp&) const = default;
};
