#pragma once

#include "library/NamedPlaylist.h"
#include "library/PlaylistItem.h"

#include <QByteArray>
#include <QFuture>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

class Preferences;

// Every named playlist, stored as one JSON document under "playlistLibrary". Keeps the playlist
// named "All Videos" in step with the source folders: a scan on a worker thread (one at a time)
// after each change of the folders, its result applied on the main thread.
class PlaylistLibrary : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isSyncing READ isSyncing NOTIFY isSyncingChanged)

public:
    static constexpr const char* allVideosName = "All Videos";

    // The program's library on the user's store, created on first use.
    static PlaylistLibrary& shared();
    // The shared instance if it was created already; null otherwise.
    static PlaylistLibrary* sharedIfCreated();

    // Loads, migrates the per-screen lists when empty, follows the folders and schedules the
    // first synchronisation.
    explicit PlaylistLibrary(Preferences& preferences, QObject* parent = nullptr);
    ~PlaylistLibrary() override;

    const QList<NamedPlaylist>& playlists() const { return m_playlists; }
    std::optional<NamedPlaylist> playlist(const QUuid& id) const;
    QString userDefaultsKey() const;
    bool isSyncing() const { return m_isSyncing; }

    NamedPlaylist createPlaylist(const QString& name, const QList<PlaylistItem>& items);
    void updatePlaylist(const NamedPlaylist& playlist);
    void deletePlaylist(const QUuid& id);
    NamedPlaylist duplicatePlaylist(const NamedPlaylist& playlist,
                                    const std::optional<QString>& name = std::nullopt);
    void renamePlaylist(const QUuid& id, const QString& name);
    void addItems(const QList<PlaylistItem>& items, const QUuid& playlistId);
    void toggleItemExclusion(const QUuid& itemId, const QUuid& playlistId);
    void scheduleAllVideosSync();
    // Waits for the synchronisation in flight and applies its result now.
    void finishPendingSync();

    void load();
    void save();
    // Applies a scan's fresh items to "All Videos" (creating it when missing and there are
    // videos) and offers it to the shared state when nothing is assigned there.
    void syncAllVideos(const QList<PlaylistItem>& newItems);

Q_SIGNALS:
    void playlistsChanged();
    void isSyncingChanged(bool syncing);
    // Mirrors NotificationCenter::playlistDidChange, which the library also posts.
    void playlistDidChange();
    // A synchronisation has been applied (tests and views wait for it).
    void allVideosSynced();

private:
    void migrateFromScreenLists();
    void postPlaylistDidChange();
    void finishAllVideosSync(const QList<PlaylistItem>& newItems);
    NamedPlaylist* findPlaylist(const QUuid& id);
    // Keeps an undecodable stored document aside before a save replaces it; false when it
    // could not be kept (the save must not overwrite it then).
    bool keepUnreadableDocument();
    static void print(const QString& message);

    Preferences& m_preferences;
    QList<NamedPlaylist> m_playlists;
    bool m_isSyncing = false;
    // The scan in flight; the destructor waits for it, since it reads the store and posts here.
    QFuture<void> m_syncFuture;
    // The stored document as last read when it could not be decoded.
    std::optional<QByteArray> m_unreadableDocument;
};
