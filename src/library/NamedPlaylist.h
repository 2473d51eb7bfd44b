#pragma once

#include "library/PlaylistItem.h"
#include "library/PlaylistSortOrder.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

// A user's playlist: an ordered selection of videos with its own switches and sort order.
struct NamedPlaylist {
    QUuid id;
    QString name;
    QList<PlaylistItem> items;
    bool shuffleEnabled = false;
    bool loopEnabled = true;
    PlaylistSortOrder sortOrder = PlaylistSortOrder::Manual;
    Timestamp createdDate;
    Timestamp modifiedDate;

    // items ordered by sortOrder (a stable sort; the name order is locale-aware and
    // case-insensitive).
    QList<PlaylistItem> sortedItems() const;
    // The files of the sorted items that are not excluded.
    QList<QUrl> playableURLs() const;
    qsizetype enabledCount() const;
    // Sum of the known durations of the items that are not excluded; none when none is known.
    std::optional<double> totalDuration() const;
    // "45m" below an hour, else "1h 5m"; none without a total.
    std::optional<QString> totalDurationText() const;

    // Sorts items (stable) by one of the orders.
    static QList<PlaylistItem> sorted(QList<PlaylistItem> items, PlaylistSortOrder order);

    bool operator==(const NamedPlaylist&) const = default;
};
