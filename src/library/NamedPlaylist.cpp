#include "library/NamedPlaylist.h"

#include <QCollator>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

double durationForSorting(const PlaylistItem& item) {
    // Unknown first; a non-number would break the ordering, so it counts as unknown.
    if (!item.duration || std::isnan(*item.duration))
        return 0.0;
    return *item.duration;
}

double pixelCount(const PlaylistItem& item) {
    return double(item.width.value_or(0)) * double(item.height.value_or(0));
}

template <typename Less> QList<PlaylistItem> stableSorted(QList<PlaylistItem> items, Less less) {
    std::stable_sort(items.begin(), items.end(), less);
    return items;
}

} // namespace

QList<PlaylistItem> NamedPlaylist::sorted(QList<PlaylistItem> items, PlaylistSortOrder order) {
    switch (order) {
    case PlaylistSortOrder::Manual: {
        // An absent custom order counts as the largest, so such an item never moves ahead.
        return stableSorted(std::move(items), [](const PlaylistItem& a, const PlaylistItem& b) {
            constexpr qint64 largest = std::numeric_limits<qint64>::max();
            return a.customOrder.value_or(largest) < b.customOrder.value_or(largest);
        });
    }
    case PlaylistSortOrder::Name: {
        // Sort keys are made once per item: comparing through the collator each time costs
        // several times more on long playlists.
        QCollator collator;
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        collator.setNumericMode(false);
        std::vector<QCollatorSortKey> keys;
        keys.reserve(size_t(items.size()));
        for (const PlaylistItem& item : std::as_const(items))
            keys.push_back(collator.sortKey(item.filename));
        std::vector<qsizetype> positions(size_t(items.size()));
        std::iota(positions.begin(), positions.end(), 0);
        std::stable_sort(positions.begin(), positions.end(), [&keys](qsizetype a, qsizetype b) {
            return keys[size_t(a)].compare(keys[size_t(b)]) < 0;
        });
        QList<PlaylistItem> result;
        result.reserve(items.size());
        for (qsizetype index : positions)
            result.append(std::move(items[index]));
        return result;
    }
    case PlaylistSortOrder::Duration:
        return stableSorted(std::move(items), [](const PlaylistItem& a, const PlaylistItem& b) {
            return durationForSorting(a) < durationForSorting(b);
        });
    case PlaylistSortOrder::DateAdded:
        return stableSorted(std::move(items), [](const PlaylistItem& a, const PlaylistItem& b) {
            return a.addedDate < b.addedDate;
        });
    case PlaylistSortOrder::Resolution:
        return stableSorted(std::move(items), [](const PlaylistItem& a, const PlaylistItem& b) {
            return pixelCount(a) > pixelCount(b);
        });
    }
    return items;
}

QList<PlaylistItem> NamedPlaylist::sortedItems() const {
    return sorted(items, sortOrder);
}

QList<QUrl> NamedPlaylist::playableURLs() const {
    QList<QUrl> urls;
    for (const PlaylistItem& item : sortedItems()) {
        if (!item.isExcluded)
            urls.append(item.fileURL());
    }
    return urls;
}

qsizetype NamedPlaylist::enabledCount() const {
    return std::count_if(items.cbegin(), items.cend(),
                         [](const PlaylistItem& item) { return !item.isExcluded; });
}

std::optional<double> NamedPlaylist::totalDuration() const {
    std::optional<double> total;
    for (const PlaylistItem& item : items) {
        if (!item.isExcluded && item.duration && std::isfinite(*item.duration))
            total = total.value_or(0.0) + *item.duration;
    }
    return total;
}

std::optional<QString> NamedPlaylist::totalDurationText() const {
    const std::optional<double> total = totalDuration();
    if (!total)
        return std::nullopt;
    const auto seconds = static_cast<long long>(*total);
    const long long hours = seconds / 3600;
    const long long minutes = (seconds % 3600) / 60;
    if (seconds < 3600)
        return QString::asprintf("%lldm", minutes);
    return QString::asprintf("%lldh %lldm", hours, minutes);
}
