#pragma once

#include "library/NamedPlaylist.h"
#include "library/PlaylistItem.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

class Preferences;

// One screen's playlist state, kept in the preferences: its own items (what the folders hold,
// with exclusions and a manual order), its shuffle and loop switches, and the named playlist
// assigned to it. Keys: "playlist_<screen>_items", "_shuffle", "_loop", "_assignedPlaylist";
// the metadata of every video seen is cached program-wide under "playlist_global_metadata".
//
// One instance per screen identifier, kept by a registry for the whole run; "default" is the
// shared state of synchronized mode.
class PlaylistPersistence : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString screenId READ screenId CONSTANT)
    Q_PROPERTY(bool shuffleEnabled READ shuffleEnabled WRITE setShuffleEnabled NOTIFY
                   shuffleEnabledChanged)
    Q_PROPERTY(bool loopEnabled READ loopEnabled WRITE setLoopEnabled NOTIFY loopEnabledChanged)

public:
    // The registry's instance for a screen (created on first use, on the user's store).
    static PlaylistPersistence& forScreen(const QString& screenId);
    // The instance for "default".
    static PlaylistPersistence& shared();
    // Clears the assignment of a playlist from every registered instance.
    static void clearAssignments(const QUuid& playlistId);

    // A free-standing instance on a given store (the registry makes its own).
    PlaylistPersistence(const QString& screenId, Preferences& preferences,
                        QObject* parent = nullptr);

    QString screenId() const { return m_screenId; }
    const QList<PlaylistItem>& items() const { return m_items; }
    bool shuffleEnabled() const { return m_shuffleEnabled; }
    void setShuffleEnabled(bool enabled);
    bool loopEnabled() const { return m_loopEnabled; }
    void setLoopEnabled(bool enabled);
    std::optional<QUuid> assignedPlaylistId() const { return m_assignedPlaylistId; }
    // Writes the key at once; none removes it.
    void setAssignedPlaylistId(const std::optional<QUuid>& id);

    // The assigned playlist as the library holds it now; none when unassigned or gone.
    std::optional<NamedPlaylist> assignedPlaylist() const;
    // Not excluded, in play order: custom order first, then oldest first.
    QList<PlaylistItem> enabledItems() const;
    QList<QUrl> playableURLs() const;
    qsizetype excludedCount() const;

    // Merges a folder scan into the items; an empty scan never clears a non-empty list.
    void syncWithFolderContents(const QList<QUrl>& urls);
    void toggleExclusion(const QUuid& id);
    void setAllExcluded(bool excluded);
    // Moves like a list's drag and drop (destination is an offset before the move), then
    // numbers every item's custom order by its new position.
    void moveItems(const QList<qsizetype>& fromOffsets, qsizetype toOffset);
    void resetOrder();
    void copySettings(const PlaylistPersistence& other);

    void loadItems();
    void saveItems();

    // Preference keys of this state.
    static QString itemsKey(const QString& screenId);
    static QString shuffleKey(const QString& screenId);
    static QString loopKey(const QString& screenId);
    static QString assignedPlaylistKey(const QString& screenId);
    static QString metadataCacheKey();

    // Forgets every registered instance. Tests only: the program keeps them for its whole run.
    static void resetRegistryForTesting();

Q_SIGNALS:
    void itemsChanged();
    void shuffleEnabledChanged(bool enabled);
    void loopEnabledChanged(bool enabled);
    void assignedPlaylistIdChanged();

private:
    void print(const QString& message) const;
    // Keeps undecodable stored items aside before a save replaces them; false when they could
    // not be kept (the save must not overwrite them then).
    bool keepUnreadableItems();

    Preferences& m_preferences;
    QString m_screenId;
    QList<PlaylistItem> m_items;
    bool m_shuffleEnabled = false;
    bool m_loopEnabled = true;
    std::optional<QUuid> m_assignedPlaylistId;
    // The stored items as last read when they could not be decoded: kept aside before the
    // first save overwrites them.
    std::optional<QByteArray> m_unreadableItems;
};
