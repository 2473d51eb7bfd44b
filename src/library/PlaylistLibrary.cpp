#include "library/PlaylistLibrary.h"

#include "core/AppPaths.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "core/StandardOutput.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistPersistence.h"
#include "library/StoredJson.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QPointer>
#include <QSet>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace {

QPointer<PlaylistLibrary> g_shared;

const QString kNotData =
    QStringLiteral("The data couldn\u2019t be read because it isn\u2019t in the "
                   "correct format. (the stored value is not data)");

// The bytes under a key meant to hold data; for a value of another type, its readable form.
std::optional<QByteArray> storedBytes(const Preferences& preferences, const QString& key,
                                      bool* isData) {
    const QVariant value = preferences.objectForKey(key);
    *isData = Preferences::typeOf(value) == Preferences::Type::Data;
    if (!value.isValid())
        return std::nullopt;
    if (*isData)
        return value.toByteArray();
    return QCborValue::fromVariant(value).toDiagnosticNotation().toUtf8();
}

QSet<QString> lookupKeys(const QList<PlaylistItem>& items) {
    QSet<QString> keys;
    keys.reserve(items.size());
    for (const PlaylistItem& item : items)
        keys.insert(item.lookupKey());
    return keys;
}

} // namespace

PlaylistLibrary& PlaylistLibrary::shared() {
    if (!g_shared) {
        // Owned by the application object, so it goes (waiting for a scan in flight) before Qt.
        g_shared = new PlaylistLibrary(Preferences::standard(), QCoreApplication::instance());
    }
    return *g_shared;
}

QString PlaylistLibrary::userDefaultsKey() const {
    return Settings::playlistLibrary.key();
}

PlaylistLibrary* PlaylistLibrary::sharedIfCreated() {
    return g_shared.data();
}

PlaylistLibrary::PlaylistLibrary(Preferences& preferences, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences) {
    load();
    if (m_playlists.isEmpty())
        migrateFromScreenLists();
    connect(&NotificationCenter::instance(), &NotificationCenter::videoFoldersDidChange, this,
            &PlaylistLibrary::scheduleAllVideosSync);
    scheduleAllVideosSync();
}

PlaylistLibrary::~PlaylistLibrary() {
    // The scan reads the store and posts its result to this object: let it end first. Its
    // result, still queued, goes with this object.
    m_syncFuture.waitForFinished();
}

void PlaylistLibrary::print(const QString& message) {
    StandardOutput::printLine(QStringLiteral("PlaylistLibrary: ") + message);
}

std::optional<NamedPlaylist> PlaylistLibrary::playlist(const QUuid& id) const {
    for (const NamedPlaylist& playlist : m_playlists) {
        if (playlist.id == id)
            return playlist;
    }
    return std::nullopt;
}

NamedPlaylist* PlaylistLibrary::findPlaylist(const QUuid& id) {
    const auto it =
        std::find_if(m_playlists.begin(), m_playlists.end(),
                     [&id](const NamedPlaylist& playlist) { return playlist.id == id; });
    return it == m_playlists.end() ? nullptr : &*it;
}

void PlaylistLibrary::postPlaylistDidChange() {
    Q_EMIT NotificationCenter::instance().playlistDidChange();
    Q_EMIT playlistDidChange();
}

NamedPlaylist PlaylistLibrary::createPlaylist(const QString& name,
                                              const QList<PlaylistItem>& items) {
    NamedPlaylist playlist;
    playlist.id = QUuid::createUuid();
    playlist.name = name;
    playlist.items = items;
    playlist.shuffleEnabled = false;
    playlist.loopEnabled = true;
    playlist.sortOrder = PlaylistSortOrder::Manual;
    playlist.createdDate = Timestamp::now();
    playlist.modifiedDate = playlist.createdDate;
    m_playlists.append(playlist);
    Q_EMIT playlistsChanged();
    save();
    return playlist;
}

void PlaylistLibrary::updatePlaylist(const NamedPlaylist& playlist) {
    NamedPlaylist* stored = findPlaylist(playlist.id);
    if (!stored)
        return;
    *stored = playlist;
    stored->modifiedDate = Timestamp::now();
    Q_EMIT playlistsChanged();
    save();
    postPlaylistDidChange();
}

void PlaylistLibrary::deletePlaylist(const QUuid& id) {
    const qsizetype removed =
        m_playlists.removeIf([&id](const NamedPlaylist& playlist) { return playlist.id == id; });
    PlaylistPersistence::clearAssignments(id);
    if (removed > 0)
        Q_EMIT playlistsChanged();
    save();
    postPlaylistDidChange();
}

NamedPlaylist PlaylistLibrary::duplicatePlaylist(const NamedPlaylist& playlist,
                                                 const std::optional<QString>& name) {
    NamedPlaylist copy = playlist;
    copy.id = QUuid::createUuid();
    copy.name = name.value_or(playlist.name + QStringLiteral(" Copy"));
    copy.createdDate = Timestamp::now();
    copy.modifiedDate = copy.createdDate;
    m_playlists.append(copy);
    Q_EMIT playlistsChanged();
    save();
    return copy;
}

void PlaylistLibrary::renamePlaylist(const QUuid& id, const QString& name) {
    NamedPlaylist* playlist = findPlaylist(id);
    if (!playlist)
        return;
    playlist->name = name;
    playlist->modifiedDate = Timestamp::now();
    Q_EMIT playlistsChanged();
    save();
    postPlaylistDidChange();
}

void PlaylistLibrary::addItems(const QList<PlaylistItem>& items, const QUuid& playlistId) {
    NamedPlaylist* playlist = findPlaylist(playlistId);
    if (!playlist)
        return;
    // Taken once: two given items with the same key are both added.
    const QSet<QString> present = lookupKeys(playlist->items);
    for (const PlaylistItem& item : items) {
        if (!present.contains(item.lookupKey()))
            playlist->items.append(item);
    }
    playlist->modifiedDate = Timestamp::now();
    Q_EMIT playlistsChanged();
    save();
    postPlaylistDidChange();
}

void PlaylistLibrary::toggleItemExclusion(const QUuid& itemId, const QUuid& playlistId) {
    NamedPlaylist* playlist = findPlaylist(playlistId);
    if (!playlist)
        return;
    const auto item =
        std::find_if(playlist->items.begin(), playlist->items.end(),
                     [&itemId](const PlaylistItem& candidate) { return candidate.id == itemId; });
    if (item == playlist->items.end())
        return;
    item->isExcluded = !item->isExcluded;
    playlist->modifiedDate = Timestamp::now();
    Q_EMIT playlistsChanged();
    save();
    postPlaylistDidChange();
}

void PlaylistLibrary::scheduleAllVideosSync() {
    if (m_isSyncing)
        return;
    m_isSyncing = true;
    Q_EMIT isSyncingChanged(true);

    QPointer<PlaylistLibrary> library(this);
    Preferences* preferences = &m_preferences;
    m_syncFuture = QtConcurrent::run([library, preferences] {
        QList<PlaylistItem> items;
        {
            // A folder manager of this thread's own: it reads the store, which is safe from
            // any thread, and ends its folder access when it goes.
            FolderBookmarkManager folders(*preferences);
            folders.loadBookmarks();
            const QList<QUrl> videos = folders.loadVideos();
            items.reserve(videos.size());
            for (const QUrl& url : videos)
                items.append(PlaylistItem::forFile(url));
        }
        // The library waits for this task before it goes, so it is still here to post to.
        if (PlaylistLibrary* target = library.data()) {
            QMetaObject::invokeMethod(
                target,
                [library, items = std::move(items)] {
                    if (library)
                        library->finishAllVideosSync(items);
                },
                Qt::QueuedConnection);
        }
    });
}

void PlaylistLibrary::finishPendingSync() {
    m_syncFuture.waitForFinished();
    // The scan's result is a queued call to this object.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void PlaylistLibrary::finishAllVideosSync(const QList<PlaylistItem>& newItems) {
    syncAllVideos(newItems);
    m_isSyncing = false;
    Q_EMIT isSyncingChanged(false);
    Q_EMIT allVideosSynced();
}

void PlaylistLibrary::syncAllVideos(const QList<PlaylistItem>& newItems) {
    const QString allVideos = QString::fromLatin1(allVideosName);
    const auto found = std::find_if(
        m_playlists.begin(), m_playlists.end(),
        [&allVideos](const NamedPlaylist& playlist) { return playlist.name == allVideos; });
    std::optional<QUuid> syncedId;
    if (found != m_playlists.end()) {
        // Entries already there keep their id, exclusion, order, date and metadata.
        const QSet<QString> before = lookupKeys(found->items);
        QList<PlaylistItem> items = found->items;
        for (const PlaylistItem& item : newItems) {
            if (!before.contains(item.lookupKey()))
                items.append(item);
        }
        const QSet<QString> scanned = lookupKeys(newItems);
        items.removeIf(
            [&scanned](const PlaylistItem& item) { return !scanned.contains(item.lookupKey()); });
        found->items = std::move(items);
        found->modifiedDate = Timestamp::now();
        syncedId = found->id;
        const qsizetype count = found->items.size();
        Q_EMIT playlistsChanged();
        save();
        print(QStringLiteral("Synced All Videos playlist, %1 videos").arg(count));
    } else if (!newItems.isEmpty()) {
        syncedId = createPlaylist(allVideos, newItems).id;
        print(QStringLiteral("Created All Videos playlist with %1 videos").arg(newItems.size()));
    }

    if (syncedId) {
        // An assignment the user made is never replaced.
        PlaylistPersistence& sharedState = PlaylistPersistence::shared();
        if (!sharedState.assignedPlaylistId()) {
            sharedState.setAssignedPlaylistId(*syncedId);
            print(QStringLiteral("Auto-assigned All Videos playlist to shared persistence"));
        }
    }
    postPlaylistDidChange();
}

void PlaylistLibrary::load() {
    m_unreadableDocument.reset();
    bool isData = false;
    const std::optional<QByteArray> bytes = storedBytes(m_preferences, userDefaultsKey(), &isData);
    std::optional<QList<NamedPlaylist>> playlists;
    if (bytes) {
        QString error = kNotData;
        if (isData)
            playlists = StoredJson::decodePlaylists(*bytes, &error);
        if (!playlists) {
            print(QStringLiteral("Failed to decode playlists: ") + error);
            m_unreadableDocument = *bytes;
        }
    }
    m_playlists = playlists.value_or(QList<NamedPlaylist>());
    Q_EMIT playlistsChanged();
}

bool PlaylistLibrary::keepUnreadableDocument() {
    if (!m_unreadableDocument)
        return true;
    const QString key = userDefaultsKey();
    bool isData = false;
    // Only the unreadable value as it was read is ours to keep; once it is gone or replaced,
    // this save overwrites nothing of it.
    if (storedBytes(m_preferences, key, &isData) == m_unreadableDocument) {
        const QString kept = AppPaths::keepDamagedData(key, *m_unreadableDocument);
        if (kept.isEmpty()) {
            print(QStringLiteral("Could not keep unreadable playlists aside; they are not "
                                 "overwritten"));
            return false;
        }
        print(QStringLiteral("Kept unreadable playlists in ") + kept);
    }
    m_unreadableDocument.reset();
    return true;
}

void PlaylistLibrary::save() {
    QString error;
    const std::optional<QByteArray> data = StoredJson::encodePlaylists(m_playlists, &error);
    if (!data) {
        print(QStringLiteral("Failed to encode playlists: ") + error);
        return;
    }
    if (!keepUnreadableDocument())
        return;
    m_preferences.set(userDefaultsKey(), *data);
}

void PlaylistLibrary::migrateFromScreenLists() {
    QList<PlaylistItem> taken;
    QSet<QString> takenKeys;
    for (const QString& key : m_preferences.allKeys()) {
        if (!Settings::playlistItems.matches(key))
            continue;
        bool isData = false;
        const std::optional<QByteArray> bytes = storedBytes(m_preferences, key, &isData);
        if (!bytes)
            continue;
        QString error = kNotData;
        std::optional<QList<PlaylistItem>> items;
        if (isData)
            items = StoredJson::decodeItems(*bytes, &error);
        if (!items) {
            print(QStringLiteral("Failed to migrate playlist from ") + key + QStringLiteral(": ") +
                  error);
            continue;
        }
        // The first screen that has a file decides its exclusion and order.
        for (PlaylistItem& item : *items) {
            const QString lookupKey = item.lookupKey();
            if (takenKeys.contains(lookupKey))
                continue;
            takenKeys.insert(lookupKey);
            taken.append(std::move(item));
        }
    }
    if (taken.isEmpty())
        return;
    createPlaylist(QString::fromLatin1(allVideosName), taken);
    print(QStringLiteral("Migrated %1 videos to All Videos playlist").arg(taken.size()));
}
