#include "ui/PlaylistEditor.h"

#include "core/Logging.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "library/VideoMetadataLoader.h"
#include "playback/ScreenIdentifier.h"
#include "playback/SyncManager.h"

#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QSet>

namespace {

const QString kDefaultScreen = ScreenIdentifier::sharedIdentifier();

QString idText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces);
}

std::optional<QUuid> idFromText(const QString& text) {
    const QUuid id = QUuid::fromString(text);
    return id.isNull() ? std::nullopt : std::optional<QUuid>(id);
}

bool isProtected(const NamedPlaylist& playlist) {
    return playlist.name == QLatin1String(PlaylistLibrary::allVideosName);
}

} // namespace

PlaylistEditor::PlaylistEditor(QObject* parent)
    : PlaylistEditor(Preferences::standard(), PlaylistLibrary::shared(), parent) {
}

PlaylistEditor::PlaylistEditor(Preferences& preferences, PlaylistLibrary& library, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_library(library)
    , m_folders(new FolderBookmarkManager(preferences, this))
    , m_items(new PlaylistItemsModel(this)) {
    connect(&m_library, &PlaylistLibrary::playlistsChanged, this, &PlaylistEditor::libraryChanged);
    connect(&SyncManager::shared(), &SyncManager::syncModeDidChange, this, [this] {
        watchAssignment();
        refreshActive();
        Q_EMIT screensChanged();
    });
    connect(m_folders, &FolderBookmarkManager::folderURLsChanged, this,
            &PlaylistEditor::foldersChanged);
    connect(&NotificationCenter::instance(), &NotificationCenter::videoFoldersDidChange, this,
            [this] {
                m_folders->loadBookmarks();
                Q_EMIT foldersChanged();
            });
    auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (application) {
        // Queued: a screen being removed may still be listed while its signal is delivered.
        for (const auto signal : {&QGuiApplication::screenAdded, &QGuiApplication::screenRemoved})
            connect(application, signal, this, &PlaylistEditor::reloadScreens,
                    Qt::QueuedConnection);
        connect(application, &QGuiApplication::primaryScreenChanged, this,
                &PlaylistEditor::reloadScreens, Qt::QueuedConnection);
    }
    reloadScreens();
    libraryChanged();
}

PlaylistEditor::~PlaylistEditor() = default;

// Screens

QVariantList PlaylistEditor::screens() const {
    QVariantList list;
    for (const QString& id : m_screenIds) {
        const QString name = m_screenNames.value(id);
        list.append(QVariantMap{{QStringLiteral("screenId"), id},
                                {QStringLiteral("title"), name.isEmpty() ? id : name},
                                {QStringLiteral("symbol"), id == kDefaultScreen
                                                               ? QStringLiteral("star.fill")
                                                               : QStringLiteral("display")}});
    }
    return list;
}

bool PlaylistEditor::syncEnabled() const {
    return SyncManager::shared().isSyncEnabled();
}

void PlaylistEditor::reloadScreens() {
    QStringList ids{kDefaultScreen};
    QHash<QString, QString> names{{kDefaultScreen, QStringLiteral("Default")}};
    const QList<QScreen*> attached = QGuiApplication::screens();
    for (const QScreen* screen : attached) {
        const QString id = ScreenIdentifier::forScreen(screen);
        if (!ids.contains(id))
            ids.append(id);
        names.insert(id, ScreenIdentifier::displayName(screen));
    }
    m_screenIds = ids;
    m_screenNames = names;
    if (!m_screenIds.contains(m_selectedScreenId)) {
        m_selectedScreenId = kDefaultScreen;
        watchAssignment();
        refreshActive();
    }
    Q_EMIT screensChanged();
}

void PlaylistEditor::selectScreen(const QString& screenId) {
    if (!m_screenIds.contains(screenId) || screenId == m_selectedScreenId)
        return;
    m_selectedScreenId = screenId;
    watchAssignment();
    refreshActive();
    Q_EMIT screensChanged();
}

PlaylistPersistence& PlaylistEditor::currentPersistence() const {
    return syncEnabled() ? PlaylistPersistence::shared()
                         : PlaylistPersistence::forScreen(m_selectedScreenId);
}

void PlaylistEditor::watchAssignment() {
    disconnect(m_assignmentConnection);
    m_assignmentConnection =
        connect(&currentPersistence(), &PlaylistPersistence::assignedPlaylistIdChanged, this,
                &PlaylistEditor::refreshActive);
}

void PlaylistEditor::refreshActive() {
    m_activePlaylistId = currentPersistence().assignedPlaylistId();
    Q_EMIT selectionChanged();
}

// Playlists

QVariantList PlaylistEditor::playlists() const {
    QVariantList list;
    for (const NamedPlaylist& playlist : m_library.playlists()) {
        list.append(QVariantMap{{QStringLiteral("playlistId"), idText(playlist.id)},
                                {QStringLiteral("name"), playlist.name},
                                {QStringLiteral("count"), qlonglong(playlist.enabledCount())},
                                {QStringLiteral("isProtected"), isProtected(playlist)}});
    }
    return list;
}

std::optional<NamedPlaylist> PlaylistEditor::selectedPlaylist() const {
    return m_selectedPlaylistId ? m_library.playlist(*m_selectedPlaylistId) : std::nullopt;
}

QString PlaylistEditor::selectedPlaylistId() const {
    return m_selectedPlaylistId ? idText(*m_selectedPlaylistId) : QString();
}

QString PlaylistEditor::activePlaylistId() const {
    return m_activePlaylistId ? idText(*m_activePlaylistId) : QString();
}

bool PlaylistEditor::selectedIsActive() const {
    return hasSelection() && m_activePlaylistId == m_selectedPlaylistId;
}

bool PlaylistEditor::selectedIsAllVideos() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    return playlist && isProtected(*playlist);
}

QString PlaylistEditor::countText() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    if (!playlist)
        return QStringLiteral("No playlist selected");
    return QString::number(playlist->enabledCount()) + QStringLiteral(" videos");
}

QString PlaylistEditor::totalText() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    const std::optional<QString> total = playlist ? playlist->totalDurationText() : std::nullopt;
    return total ? QStringLiteral("Total: ") + *total : QString();
}

bool PlaylistEditor::shuffleEnabled() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    return playlist && playlist->shuffleEnabled;
}

bool PlaylistEditor::loopEnabled() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    return playlist && playlist->loopEnabled;
}

int PlaylistEditor::sortOrder() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    return int(playlist ? playlist->sortOrder : PlaylistSortOrder::Manual);
}

QVariantList PlaylistEditor::sortOrders() const {
    QVariantList list;
    for (const PlaylistSortOrder order : PlaylistSortOrders::all) {
        list.append(QVariantMap{{QStringLiteral("value"), int(order)},
                                {QStringLiteral("label"), PlaylistSortOrders::label(order)},
                                {QStringLiteral("symbol"), PlaylistSortOrders::symbol(order)}});
    }
    return list;
}

QStringList PlaylistEditor::folderNames() const {
    QStringList names;
    const QList<QUrl> folders = m_folders->folderURLs();
    for (const QUrl& folder : folders)
        names.append(QDir::cleanPath(folder.toLocalFile()).section(u'/', -1));
    return names;
}

void PlaylistEditor::setSearchText(const QString& text) {
    if (text == m_searchText)
        return;
    m_searchText = text;
    Q_EMIT searchTextChanged();
    refresh();
}

QString PlaylistEditor::contentState() const {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    if (!playlist)
        return QStringLiteral("noPlaylist");
    if (playlist->items.isEmpty())
        return QStringLiteral("empty");
    if (m_items->count() == 0)
        return QStringLiteral("noMatches");
    return QStringLiteral("list");
}

QString PlaylistEditor::emptyHint() const {
    return selectedIsAllVideos() ? QStringLiteral("Add video folders in Video Folders")
                                 : QStringLiteral("Add videos from Video Folders or All Videos "
                                                  "playlist");
}

QString PlaylistEditor::noMatchesText() const {
    return QStringLiteral("No matches for \"%1\"").arg(m_searchText);
}

void PlaylistEditor::libraryChanged() {
    if (!m_selectedPlaylistId && !m_library.playlists().isEmpty())
        m_selectedPlaylistId = m_library.playlists().first().id;
    Q_EMIT playlistsChanged();
    refreshActive();
    refresh();
}

void PlaylistEditor::refresh() {
    m_items->show(selectedPlaylist(), m_searchText);
    Q_EMIT selectionChanged();
    Q_EMIT contentChanged();
}

void PlaylistEditor::selectPlaylist(const QString& playlistId) {
    const std::optional<QUuid> id = idFromText(playlistId);
    if (id == m_selectedPlaylistId)
        return;
    m_selectedPlaylistId = id;
    refresh();
}

void PlaylistEditor::setActive() {
    const std::optional<NamedPlaylist> playlist = selectedPlaylist();
    if (!playlist)
        return;
    currentPersistence().setAssignedPlaylistId(playlist->id);
    m_activePlaylistId = playlist->id;
    Q_EMIT NotificationCenter::instance().playlistDidChange();
    refreshActive();
}

bool PlaylistEditor::isUsableName(const QString& name) {
    return !name.trimmed().isEmpty();
}

void PlaylistEditor::createPlaylist(const QString& name) {
    if (!isUsableName(name)) {
        qCWarning(lcApp, "A playlist needs a name that is not blank");
        return;
    }
    const NamedPlaylist created = m_library.createPlaylist(name, {});
    selectPlaylist(idText(created.id));
}

void PlaylistEditor::renamePlaylist(const QString& playlistId, const QString& name) {
    const std::optional<QUuid> id = idFromText(playlistId);
    if (id && isUsableName(name))
        m_library.renamePlaylist(*id, name);
}

void PlaylistEditor::duplicatePlaylist(const QString& playlistId) {
    const std::optional<QUuid> id = idFromText(playlistId);
    const std::optional<NamedPlaylist> playlist = id ? m_library.playlist(*id) : std::nullopt;
    if (playlist)
        m_library.duplicatePlaylist(*playlist);
}

void PlaylistEditor::deletePlaylist(const QString& playlistId) {
    const std::optional<QUuid> id = idFromText(playlistId);
    const std::optional<NamedPlaylist> playlist = id ? m_library.playlist(*id) : std::nullopt;
    if (!playlist || isProtected(*playlist))
        return;
    if (m_selectedPlaylistId == id)
        m_selectedPlaylistId.reset();
    // The library's change notice selects the first remaining playlist.
    m_library.deletePlaylist(*id);
    if (!m_selectedPlaylistId)
        libraryChanged();
}

// Edits of the shown playlist

void PlaylistEditor::editSelected(const std::function<void(NamedPlaylist&)>& edit) {
    std::optional<NamedPlaylist> playlist = selectedPlaylist();
    if (!playlist)
        return;
    edit(*playlist);
    m_library.updatePlaylist(*playlist);
}

void PlaylistEditor::toggleShuffle() {
    editSelected(
        [](NamedPlaylist& playlist) { playlist.shuffleEnabled = !playlist.shuffleEnabled; });
}

void PlaylistEditor::toggleLoop() {
    editSelected([](NamedPlaylist& playlist) { playlist.loopEnabled = !playlist.loopEnabled; });
}

void PlaylistEditor::setSortOrder(int order) {
    const std::optional<PlaylistSortOrder> sortOrder = PlaylistSortOrders::fromValue(order);
    if (!sortOrder) {
        qCWarning(lcApp, "No sort order %d", order);
        return;
    }
    editSelected([sortOrder](NamedPlaylist& playlist) { playlist.sortOrder = *sortOrder; });
}

void PlaylistEditor::setAllExcluded(bool excluded) {
    editSelected([excluded](NamedPlaylist& playlist) {
        for (PlaylistItem& item : playlist.items)
            item.isExcluded = excluded;
    });
}

void PlaylistEditor::clearAll() {
    editSelected([](NamedPlaylist& playlist) { playlist.items.clear(); });
}

void PlaylistEditor::addFiles(const QList<QUrl>& files) {
    if (!m_selectedPlaylistId)
        return;
    QList<PlaylistItem> items;
    items.reserve(files.size());
    for (const QUrl& file : files)
        items.append(PlaylistItem::forFile(file));
    m_library.addItems(items, *m_selectedPlaylistId);
}

void PlaylistEditor::addFromAllFolders() {
    m_folders->loadBookmarks();
    addFiles(m_folders->loadVideos());
}

void PlaylistEditor::addFromFolder(int index) {
    const QList<QUrl> folders = m_folders->folderURLs();
    if (index < 0 || index >= folders.size())
        return;
    addFiles(m_folders->scanFolder(folders[index], Settings::recursiveScan.read(m_preferences)));
}

void PlaylistEditor::syncAllVideos() {
    const QList<NamedPlaylist>& all = m_library.playlists();
    const auto found = std::find_if(all.cbegin(), all.cend(), isProtected);
    if (found == all.cend())
        return;
    NamedPlaylist playlist = *found;
    m_folders->loadBookmarks();
    const QList<QUrl> files = m_folders->loadVideos();
    QSet<QString> fileKeys;
    QSet<QString> itemKeys;
    for (const QUrl& file : files)
        fileKeys.insert(PlaylistItem::lookupKey(file));
    playlist.items.removeIf(
        [&](const PlaylistItem& item) { return !fileKeys.contains(item.lookupKey()); });
    for (const PlaylistItem& item : std::as_const(playlist.items))
        itemKeys.insert(item.lookupKey());
    for (const QUrl& file : files) {
        if (!itemKeys.contains(PlaylistItem::lookupKey(file))) {
            playlist.items.append(PlaylistItem::forFile(file));
            itemKeys.insert(PlaylistItem::lookupKey(file));
        }
    }
    m_library.updatePlaylist(playlist);
}

void PlaylistEditor::toggleItem(int row) {
    const std::optional<PlaylistItem> item = m_items->item(row);
    if (item && m_selectedPlaylistId)
        m_library.toggleItemExclusion(item->id, *m_selectedPlaylistId);
}

void PlaylistEditor::moveItem(int from, int to) {
    const QList<PlaylistItem>& shown = m_items->items();
    if (!canReorder() || from < 0 || from >= shown.size() || to < 0 || to >= shown.size() ||
        from == to)
        return;
    editSelected([&shown, from, to](NamedPlaylist& playlist) {
        // Without a search the rows are every item in the shown order; that order, with the
        // move, is the new manual one.
        QList<PlaylistItem> items = shown;
        items.move(from, to);
        for (qsizetype position = 0; position < items.size(); ++position)
            items[position].customOrder = position;
        playlist.items = items;
        playlist.sortOrder = PlaylistSortOrder::Manual;
    });
}

void PlaylistEditor::loadMetadata(int row) {
    const std::optional<PlaylistItem> item = m_items->item(row);
    if (!item || !m_selectedPlaylistId || (item->duration && item->width && item->height))
        return;
    VideoMetadataLoader::shared().loadMetadata(item->fileURL(), m_library, *m_selectedPlaylistId,
                                               item->id);
}
