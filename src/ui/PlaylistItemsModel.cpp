#include "ui/PlaylistItemsModel.h"

#include "ui/ThumbnailImageProvider.h"

namespace {

bool sameRows(const QList<PlaylistItem>& a, const QList<PlaylistItem>& b) {
    return a.size() == b.size() &&
           std::equal(a.cbegin(), a.cend(), b.cbegin(),
                      [](const PlaylistItem& x, const PlaylistItem& y) { return x.id == y.id; });
}

// Where one row went, when that move is all that tells the two orders apart.
std::optional<std::pair<int, int>> singleMove(const QList<PlaylistItem>& before,
                                              const QList<PlaylistItem>& after) {
    if (before.size() != after.size())
        return std::nullopt;
    qsizetype first = 0;
    while (first < before.size() && before[first].id == after[first].id)
        ++first;
    if (first == before.size())
        return std::nullopt;
    qsizetype last = before.size() - 1;
    while (before[last].id == after[last].id)
        --last;
    bool down = after[last].id == before[first].id;
    for (qsizetype i = first; down && i < last; ++i)
        down = after[i].id == before[i + 1].id;
    if (down)
        return std::pair{int(first), int(last)};
    bool up = after[first].id == before[last].id;
    for (qsizetype i = first + 1; up && i <= last; ++i)
        up = after[i].id == before[i - 1].id;
    if (up)
        return std::pair{int(last), int(first)};
    return std::nullopt;
}

} // namespace

PlaylistItemsModel::PlaylistItemsModel(QObject* parent)
    : QAbstractListModel(parent) {
}

int PlaylistItemsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant PlaylistItemsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_items.size())
        return {};
    const PlaylistItem& item = m_items[index.row()];
    switch (role) {
    case ItemIdRole:
        return item.id.toString(QUuid::WithoutBraces);
    case FilenameRole:
        return item.filename;
    case ExcludedRole:
        return item.isExcluded;
    case DurationTextRole:
        return item.durationText().value_or(QString());
    case ResolutionTextRole:
        return item.resolutionText().value_or(QString());
    case AspectTextRole:
        return item.aspectText().value_or(QString());
    case ThumbnailRole:
        return thumbnailSource(item);
    case NeedsMetadataRole:
        return !item.duration || !item.width || !item.height;
    default:
        return {};
    }
}

QHash<int, QByteArray> PlaylistItemsModel::roleNames() const {
    return {{ItemIdRole, "itemId"},
            {FilenameRole, "filename"},
            {ExcludedRole, "excluded"},
            {DurationTextRole, "durationText"},
            {ResolutionTextRole, "resolutionText"},
            {AspectTextRole, "aspectText"},
            {ThumbnailRole, "thumbnail"},
            {NeedsMetadataRole, "needsMetadata"}};
}

void PlaylistItemsModel::show(const std::optional<NamedPlaylist>& playlist,
                              const QString& searchText) {
    QList<PlaylistItem> items;
    if (playlist) {
        items = playlist->sortedItems();
        if (!searchText.isEmpty()) {
            items.removeIf([&searchText](const PlaylistItem& item) {
                return !item.filename.contains(searchText, Qt::CaseInsensitive);
            });
        }
    }
    if (!sameRows(items, m_items)) {
        // A row dragged elsewhere is told as a move, so the views keep their rows and focus.
        const std::optional<std::pair<int, int>> move = singleMove(m_items, items);
        if (!move) {
            const bool countChanges = items.size() != m_items.size();
            beginResetModel();
            m_items = std::move(items);
            endResetModel();
            if (countChanges)
                Q_EMIT countChanged();
            return;
        }
        const auto [from, to] = *move;
        beginMoveRows({}, from, from, {}, to > from ? to + 1 : to);
        m_items.move(from, to);
        endMoveRows();
    }
    // The same rows in the same places: only the span whose values changed is redrawn, so the
    // rows in sight keep their thumbnails.
    qsizetype firstChanged = -1;
    qsizetype lastChanged = -1;
    for (qsizetype row = 0; row < items.size(); ++row) {
        if (items[row] == m_items[row])
            continue;
        m_items[row] = items[row];
        if (firstChanged < 0)
            firstChanged = row;
        lastChanged = row;
    }
    if (firstChanged >= 0)
        Q_EMIT dataChanged(index(int(firstChanged)), index(int(lastChanged)));
}

std::optional<PlaylistItem> PlaylistItemsModel::item(int row) const {
    if (row < 0 || row >= m_items.size())
        return std::nullopt;
    return m_items[row];
}

QString PlaylistItemsModel::thumbnailSource(const PlaylistItem& item) {
    return ThumbnailImageProvider::sourceFor(item.fileURL());
}
