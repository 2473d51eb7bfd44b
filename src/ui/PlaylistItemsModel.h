#pragma once

#include "library/NamedPlaylist.h"

#include <QAbstractListModel>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

// The rows of the playlist editor: a playlist's items in its sort order, narrowed to the file
// names that contain the search text (case-insensitive). Built for large playlists: the views
// create rows only as they scroll into sight, and an edit that keeps the rows in place only
// tells the rows that changed.
class PlaylistItemsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The playlist editor owns its rows")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        ItemIdRole = Qt::UserRole + 1,
        FilenameRole,
        ExcludedRole,
        DurationTextRole,
        ResolutionTextRole,
        AspectTextRole,
        ThumbnailRole,
        NeedsMetadataRole
    };

    explicit PlaylistItemsModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return rowCount(); }
    // The rows of a playlist (none when absent) under a search.
    void show(const std::optional<NamedPlaylist>& playlist, const QString& searchText);
    const QList<PlaylistItem>& items() const { return m_items; }
    // The item of a row; none outside the rows.
    std::optional<PlaylistItem> item(int row) const;

    // The address a row's thumbnail is asked for at ("image://thumbnail/<file URL>").
    static QString thumbnailSource(const PlaylistItem& item);

Q_SIGNALS:
    void countChanged();

private:
    QList<PlaylistItem> m_items;
};
