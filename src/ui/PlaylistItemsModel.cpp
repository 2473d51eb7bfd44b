#include "ui/PlaylistItemsModel.h"

#include "ui/ThumbnailImageProvider.h"

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
    const bool sameRows =
        items.size() == m_items.size() &&
        std::equal(items.cbegin(), items.cend(), m_items.cbegin(),
                   [](const PlaylistItem& a, const PlaylistItem& b) { return a.id == b.id; });
    if (!sameRows) {
        const bool countChanges = items.size() != m_items.size();
        beginResetModel();
        m_items = std::move(items);
        endResetModel();
        if (countChanges)
            Q_EMIT countChanged();
        return;
    }
    // The same rows in the same places: only those whose values changed are redrawn, so the
    // rows in sight keep their thumbnails.
    for (qsizetype row = 0; row < items.size(); ++row) {
        if (items[row] == m_items[row])
            continue;
        m_items[row] = items[row];
        const QModelIndex changed = index(int(row));
        Q_EMIT dataChanged(changed, changed);
    }
}

std::optional<PlaylistItem> PlaylistItemsModel::item(int row) const {
    if (row < 0 || row >= m_items.size())
        return std::nullopt;
    return m_items[row];
}

QString PlaylistItemsModel::thumbnailSource(const PlaylistItem& item) {
    return ThumbnailImageProvider::sourceFor(item.fileURL());
}
