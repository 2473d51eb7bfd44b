#pragma once

#include "library/NamedPlaylist.h"
#include "ui/PlaylistItemsModel.h"

#include <QObject>
#include <QStringList>
#include <QUuid>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

class FolderBookmarkManager;
class PlaylistLibrary;
class PlaylistPersistence;
class Preferences;

// The Playlists page's state and operations: which screen's assignment is edited ("default",
// the shared state, while the screens play in step), which playlist is shown and which one is
// active there, and every edit of a playlist, made through the library and the screens' stored
// state. Nothing here is kept when the page goes; the assignments are.
class PlaylistEditor : public QObject {
    Q_OBJECT
    QML_ELEMENT
    // One entry per screen button: "screenId", "title", "symbol".
    Q_PROPERTY(QVariantList screens READ screens NOTIFY screensChanged)
    Q_PROPERTY(QString selectedScreenId READ selectedScreenId NOTIFY screensChanged)
    Q_PROPERTY(bool syncEnabled READ syncEnabled NOTIFY screensChanged)
    Q_PROPERTY(bool showsScreenStrip READ showsScreenStrip NOTIFY screensChanged)
    // One entry per tab, in library order: "playlistId", "name", "count", "isProtected".
    Q_PROPERTY(QVariantList playlists READ playlists NOTIFY playlistsChanged)
    Q_PROPERTY(QString selectedPlaylistId READ selectedPlaylistId WRITE selectPlaylist NOTIFY
                   selectionChanged)
    Q_PROPERTY(QString activePlaylistId READ activePlaylistId NOTIFY selectionChanged)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectionChanged)
    Q_PROPERTY(bool selectedIsActive READ selectedIsActive NOTIFY selectionChanged)
    Q_PROPERTY(bool selectedIsAllVideos READ selectedIsAllVideos NOTIFY selectionChanged)
    Q_PROPERTY(QString countText READ countText NOTIFY selectionChanged)
    Q_PROPERTY(QString totalText READ totalText NOTIFY selectionChanged)
    Q_PROPERTY(bool shuffleEnabled READ shuffleEnabled NOTIFY selectionChanged)
    Q_PROPERTY(bool loopEnabled READ loopEnabled NOTIFY selectionChanged)
    Q_PROPERTY(int sortOrder READ sortOrder NOTIFY selectionChanged)
    // One entry per sort order, in menu order: "value", "label", "symbol".
    Q_PROPERTY(QVariantList sortOrders READ sortOrders CONSTANT)
    // The last path component of every source folder, in their order.
    Q_PROPERTY(QStringList folderNames READ folderNames NOTIFY foldersChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(PlaylistItemsModel* items READ items CONSTANT)
    // "noPlaylist", "empty", "noMatches" or "list": what the content area shows.
    Q_PROPERTY(QString contentState READ contentState NOTIFY contentChanged)
    Q_PROPERTY(QString emptyHint READ emptyHint NOTIFY selectionChanged)
    Q_PROPERTY(QString noMatchesText READ noMatchesText NOTIFY searchTextChanged)
    // Rows can be dragged only while every item is shown (no search).
    Q_PROPERTY(bool canReorder READ canReorder NOTIFY searchTextChanged)
    // The New Playlist sheet's text, kept while the page lives.
    Q_PROPERTY(QString newPlaylistName MEMBER m_newPlaylistName NOTIFY newPlaylistNameChanged)

public:
    explicit PlaylistEditor(QObject* parent = nullptr);
    PlaylistEditor(Preferences& preferences, PlaylistLibrary& library, QObject* parent = nullptr);
    ~PlaylistEditor() override;

    QVariantList screens() const;
    QString selectedScreenId() const { return m_selectedScreenId; }
    bool syncEnabled() const;
    bool showsScreenStrip() const { return !syncEnabled() && m_screenIds.size() >= 2; }
    QStringList screenIds() const { return m_screenIds; }

    QVariantList playlists() const;
    QString selectedPlaylistId() const;
    QString activePlaylistId() const;
    bool hasSelection() const { return selectedPlaylist().has_value(); }
    bool selectedIsActive() const;
    bool selectedIsAllVideos() const;
    QString countText() const;
    QString totalText() const;
    bool shuffleEnabled() const;
    bool loopEnabled() const;
    int sortOrder() const;
    QVariantList sortOrders() const;
    QStringList folderNames() const;
    QString searchText() const { return m_searchText; }
    void setSearchText(const QString& text);
    PlaylistItemsModel* items() const { return m_items; }
    QString contentState() const;
    QString emptyHint() const;
    QString noMatchesText() const;
    bool canReorder() const { return m_searchText.isEmpty(); }

    std::optional<NamedPlaylist> selectedPlaylist() const;
    // The stored state whose assignment the page edits.
    PlaylistPersistence& currentPersistence() const;

    // Reads the attached screens again; the selected one falls back to "default" when gone.
    Q_INVOKABLE void reloadScreens();
    Q_INVOKABLE void selectScreen(const QString& screenId);
    void selectPlaylist(const QString& playlistId);
    // Assigns the shown playlist to the edited screen and has every screen reload.
    Q_INVOKABLE void setActive();

    // Whether a typed name can make or rename a playlist (not blank).
    Q_INVOKABLE static bool isUsableName(const QString& name);
    // Makes an empty playlist with the name as typed and shows it.
    Q_INVOKABLE void createPlaylist(const QString& name);
    Q_INVOKABLE void renamePlaylist(const QString& playlistId, const QString& name);
    Q_INVOKABLE void duplicatePlaylist(const QString& playlistId);
    // Nothing for "All Videos"; the first remaining playlist is shown when the shown one goes.
    Q_INVOKABLE void deletePlaylist(const QString& playlistId);

    Q_INVOKABLE void toggleShuffle();
    Q_INVOKABLE void toggleLoop();
    Q_INVOKABLE void setSortOrder(int order);
    Q_INVOKABLE void setAllExcluded(bool excluded);
    Q_INVOKABLE void clearAll();
    Q_INVOKABLE void addFromAllFolders();
    Q_INVOKABLE void addFromFolder(int index);
    // Makes "All Videos" hold exactly the videos of the source folders, keeping the state of
    // those it held already.
    Q_INVOKABLE void syncAllVideos();
    Q_INVOKABLE void toggleItem(int row);
    // Moves a shown row to another place: the shown order, with the move, becomes the manual
    // order and every item is numbered by its new position.
    Q_INVOKABLE void moveItem(int from, int to);
    // Asks for a row's duration and size when it lacks them; they arrive through the library.
    Q_INVOKABLE void loadMetadata(int row);

Q_SIGNALS:
    void screensChanged();
    void playlistsChanged();
    void selectionChanged();
    void searchTextChanged();
    void contentChanged();
    void foldersChanged();
    void newPlaylistNameChanged();

private:
    void libraryChanged();
    void refreshActive();
    void refresh();
    void watchAssignment();
    void addFiles(const QList<QUrl>& files);
    // Saves an edited copy of the shown playlist; nothing without one.
    void editSelected(const std::function<void(NamedPlaylist&)>& edit);

    Preferences& m_preferences;
    PlaylistLibrary& m_library;
    FolderBookmarkManager* m_folders = nullptr;
    PlaylistItemsModel* m_items = nullptr;
    QStringList m_screenIds;
    QHash<QString, QString> m_screenNames;
    QString m_selectedScreenId = QStringLiteral("default");
    std::optional<QUuid> m_selectedPlaylistId;
    std::optional<QUuid> m_activePlaylistId;
    QString m_searchText;
    QString m_newPlaylistName;
    QMetaObject::Connection m_assignmentConnection;
};
