#include "ui/DisplayListModel.h"

#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "playback/VideoPlayerManager.h"

DisplayListModel::DisplayListModel(QObject* parent)
    : QAbstractListModel(parent) {
    if (PlaylistLibrary* library = PlaylistLibrary::sharedIfCreated()) {
        connect(library, &PlaylistLibrary::playlistsChanged, this,
                &DisplayListModel::updatePlaylistNames);
    }
}

void DisplayListModel::setEntries(const QList<Entry>& entries) {
    for (const QMetaObject::Connection& connection : std::as_const(m_connections))
        disconnect(connection);
    m_connections.clear();
    const int before = int(m_rows.size());
    beginResetModel();
    m_rows.clear();
    for (const Entry& entry : entries) {
        m_rows.append({entry.screenName, entry.manager});
        if (!entry.manager)
            continue;
        m_connections.append(connect(entry.manager, &VideoPlayerManager::totalVideoCountChanged,
                                     this, &DisplayListModel::updateContent));
        m_connections.append(connect(&PlaylistPersistence::forScreen(entry.manager->screenId()),
                                     &PlaylistPersistence::assignedPlaylistIdChanged, this,
                                     &DisplayListModel::updatePlaylistNames));
    }
    endResetModel();
    if (before != m_rows.size())
        Q_EMIT countChanged();
    updateContent();
}

int DisplayListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant DisplayListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    switch (role) {
    case ScreenNameRole:
        return m_rows[index.row()].screenName;
    case ManagerRole:
        return QVariant::fromValue<QObject*>(m_rows[index.row()].manager.data());
    case PlaylistNameRole:
        return playlistNameAt(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> DisplayListModel::roleNames() const {
    return {{ScreenNameRole, "screenName"},
            {ManagerRole, "manager"},
            {PlaylistNameRole, "playlistName"}};
}

QObject* DisplayListModel::managerAt(int row) const {
    return row >= 0 && row < m_rows.size() ? m_rows[row].manager.data() : nullptr;
}

QString DisplayListModel::playlistNameAt(int row) const {
    const VideoPlayerManager* manager = qobject_cast<VideoPlayerManager*>(managerAt(row));
    if (!manager)
        return {};
    const std::optional<NamedPlaylist> playlist =
        PlaylistPersistence::forScreen(manager->screenId()).assignedPlaylist();
    return playlist ? playlist->name : QString();
}

void DisplayListModel::togglePlayback(int row) {
    auto* manager = qobject_cast<VideoPlayerManager*>(managerAt(row));
    if (!manager)
        return;
    if (manager->isPlaying()) {
        for (Player* player : {manager->playerA(), manager->playerB()}) {
            if (player)
                player->pause();
        }
        manager->setIsPlaying(false);
    } else {
        manager->play();
    }
}

void DisplayListModel::updateContent() {
    QList<int> counts;
    for (const Row& row : std::as_const(m_rows))
        counts.append(row.manager ? row.manager->totalVideoCount() : 0);
    const ViewRules::Content content = ViewRules::nowPlayingContent(counts);
    if (content != m_content) {
        m_content = content;
        Q_EMIT contentChanged();
    }
}

void DisplayListModel::updatePlaylistNames() {
    if (!m_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1), {PlaylistNameRole});
}
