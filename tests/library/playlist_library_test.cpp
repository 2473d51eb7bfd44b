// The playlist library on the user's store: its operations with what they save and announce,
// the stored document, the migration of per-screen lists and the "All Videos" playlist kept in
// step with real folders by the background scan.

#include "library/PlaylistLibrary.h"

#include "core/AppPaths.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistPersistence.h"
#include "library/StoredJson.h"
#include "support/StdoutCapture.h"
#include "support/TestUtil.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

namespace {

const QString kLibraryKey = "playlistLibrary";
const QString kAllVideos = "All Videos";
const QString kAutoAssigned = "Auto-assigned All Videos playlist to shared persistence";

class PlaylistLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        testutil::resetUserStore();
        ASSERT_TRUE(m_dir.isValid());
    }
    void TearDown() override { PlaylistPersistence::resetRegistryForTesting(); }

    static Preferences& prefs() { return Preferences::standard(); }

    // A library whose first synchronisation has been applied.
    static std::unique_ptr<PlaylistLibrary> makeLibrary() {
        auto library = std::make_unique<PlaylistLibrary>(prefs());
        EXPECT_TRUE(testutil::waitUntil([&] { return !library->isSyncing(); }));
        return library;
    }

    // A real folder holding files with video names (their type is told by name).
    QString folder(const QString& name, const QStringList& files) {
        const QString path = m_dir.filePath(name);
        EXPECT_TRUE(QDir().mkpath(path));
        for (const QString& file : files)
            testutil::writeFile(path + u'/' + file, "video");
        return path;
    }
    PlaylistItem item(const QString& relativePath, double addedDate = 1) {
        PlaylistItem result =
            PlaylistItem::forFile(QUrl::fromLocalFile(m_dir.filePath(relativePath)));
        result.addedDate = Timestamp{addedDate};
        return result;
    }

    static QList<NamedPlaylist> stored() {
        return StoredJson::decodePlaylists(prefs().dataForKey(kLibraryKey).value_or(""))
            .value_or(QList<NamedPlaylist>());
    }
    // The library's printed lines, without their "PlaylistLibrary: " prefix.
    static QStringList libraryLines(const StdoutCapture& out) {
        const QRegularExpression prefix("^PlaylistLibrary: ");
        return out.lines().filter(prefix).replaceInStrings(prefix, QString());
    }

    // Runs a change and waits for the synchronisation it causes.
    static bool syncAfter(PlaylistLibrary& library, const std::function<void()>& change) {
        QSignalSpy synced(&library, &PlaylistLibrary::allVideosSynced);
        change();
        return testutil::waitUntil([&] { return synced.count() == 1; });
    }

    QTemporaryDir m_dir;
};

// Counts what the library saves and announces (to everyone and through its own signal).
struct Effects {
    explicit Effects(PlaylistLibrary& library)
        : saves(&Preferences::standard(), &Preferences::valueChanged)
        , posts(&NotificationCenter::instance(), &NotificationCenter::playlistDidChange)
        , ownPosts(&library, &PlaylistLibrary::playlistDidChange) {}
    int saveCount() const {
        return int(std::count_if(saves.begin(), saves.end(), [](const QList<QVariant>& arguments) {
            return arguments.at(0).toString() == kLibraryKey;
        }));
    }
    int announced() const {
        EXPECT_EQ(ownPosts.count(), posts.count());
        return int(posts.count());
    }
    void clear() { saves.clear(), posts.clear(), ownPosts.clear(); }
    QSignalSpy saves, posts, ownPosts;
};

TEST_F(PlaylistLibraryTest, CreatingAndDuplicatingSaveWithoutAnnouncing) {
    auto library = makeLibrary();
    EXPECT_TRUE(library->playlists().isEmpty());
    Effects effects(*library);

    const Timestamp before = Timestamp::now();
    const NamedPlaylist evening =
        library->createPlaylist("Evening", {item("a.mp4"), item("b.mp4")});
    EXPECT_FALSE(evening.id.isNull());
    EXPECT_EQ(evening.name, "Evening");
    EXPECT_EQ(testutil::fileNames(evening.items), (QStringList{"a.mp4", "b.mp4"}));
    EXPECT_FALSE(evening.shuffleEnabled);
    EXPECT_TRUE(evening.loopEnabled);
    EXPECT_EQ(evening.sortOrder, PlaylistSortOrder::Manual);
    EXPECT_GE(evening.createdDate, before);
    EXPECT_EQ(evening.modifiedDate, evening.createdDate);
    EXPECT_EQ(stored(), QList<NamedPlaylist>{evening});

    NamedPlaylist changed = evening;
    changed.shuffleEnabled = true;
    changed.loopEnabled = false;
    changed.sortOrder = PlaylistSortOrder::Resolution;
    library->updatePlaylist(changed);
    effects.clear();

    // A copy has its own id, name and dates; its entries keep their ids.
    const NamedPlaylist copy = library->duplicatePlaylist(library->playlists().at(0));
    EXPECT_NE(copy.id, evening.id);
    EXPECT_GE(copy.createdDate, evening.createdDate);
    NamedPlaylist expected = changed;
    expected.id = copy.id, expected.name = "Evening Copy";
    expected.createdDate = expected.modifiedDate = copy.createdDate;
    EXPECT_EQ(copy, expected);
    EXPECT_EQ(library->duplicatePlaylist(copy).name, "Evening Copy Copy");
    EXPECT_EQ(library->duplicatePlaylist(copy, "Night").name, "Night");
    ASSERT_EQ(library->playlists().size(), 4);
    EXPECT_EQ(library->playlists().at(3).name, "Night");
    EXPECT_EQ(stored(), library->playlists());
    EXPECT_EQ(effects.saveCount(), 3);
    EXPECT_EQ(effects.announced(), 0);
}

TEST_F(PlaylistLibraryTest, ChangesSaveAndAnnounceOnce) {
    auto library = makeLibrary();
    const NamedPlaylist evening =
        library->createPlaylist("Evening", {item("a.mp4"), item("b.mp4")});
    Effects effects(*library);
    const auto expectSavedAndAnnounced = [&](const char* what) {
        EXPECT_EQ(effects.saveCount(), 1) << what;
        EXPECT_EQ(effects.announced(), 1) << what;
        EXPECT_EQ(stored(), library->playlists()) << what;
        EXPECT_GT(library->playlists().at(0).modifiedDate, evening.createdDate) << what;
        effects.clear();
    };

    NamedPlaylist changed = evening;
    changed.name = "Late";
    changed.modifiedDate = Timestamp{0};
    // So that "now" is later than the creation.
    ASSERT_TRUE(testutil::waitUntil([&] { return Timestamp::now() > evening.createdDate; }));
    library->updatePlaylist(changed);
    EXPECT_EQ(library->playlists().at(0).name, "Late");
    expectSavedAndAnnounced("update");

    library->renamePlaylist(evening.id, "Evening");
    EXPECT_EQ(library->playlists().at(0).name, "Evening");
    expectSavedAndAnnounced("rename");

    const QUuid firstItem = evening.items.at(0).id;
    library->toggleItemExclusion(firstItem, evening.id);
    EXPECT_TRUE(library->playlists().at(0).items.at(0).isExcluded);
    expectSavedAndAnnounced("toggle");
    library->toggleItemExclusion(firstItem, evening.id);
    EXPECT_FALSE(library->playlists().at(0).items.at(0).isExcluded);
    expectSavedAndAnnounced("toggle back");

    // Files already there are skipped; two new entries for one file are both added.
    library->addItems({item("b.mp4"), item("c.mp4"), item("d.mp4"), item("c.mp4")}, evening.id);
    EXPECT_EQ(testutil::fileNames(library->playlists().at(0).items),
              (QStringList{"a.mp4", "b.mp4", "c.mp4", "d.mp4", "c.mp4"}));
    EXPECT_EQ(library->playlists().at(0).items.at(1).id, evening.items.at(1).id);
    expectSavedAndAnnounced("add");

    // Unknown playlists and items change nothing.
    const QList<NamedPlaylist> before = library->playlists();
    NamedPlaylist unknown = evening;
    unknown.id = QUuid::createUuid();
    library->updatePlaylist(unknown);
    library->renamePlaylist(unknown.id, "x");
    library->toggleItemExclusion(firstItem, unknown.id);
    library->toggleItemExclusion(QUuid::createUuid(), evening.id);
    library->addItems({item("e.mp4")}, unknown.id);
    EXPECT_EQ(library->playlists(), before);
    EXPECT_EQ(effects.saveCount(), 0);
    EXPECT_EQ(effects.announced(), 0);
    EXPECT_FALSE(library->playlist(unknown.id));
    EXPECT_EQ(library->playlist(evening.id), before.at(0));
}

TEST_F(PlaylistLibraryTest, DeletingAPlaylistClearsItFromEveryScreen) {
    auto library = makeLibrary();
    const NamedPlaylist evening = library->createPlaylist("Evening", {});
    const NamedPlaylist morning = library->createPlaylist("Morning", {});
    const QStringList screens = {"default", "1", "2"};
    for (const QString& screen : screens)
        PlaylistPersistence::forScreen(screen).setAssignedPlaylistId(evening.id);
    PlaylistPersistence::forScreen("3").setAssignedPlaylistId(morning.id);
    Effects effects(*library);

    library->deletePlaylist(evening.id);
    EXPECT_EQ(library->playlists(), QList<NamedPlaylist>{morning});
    EXPECT_EQ(stored(), library->playlists());
    EXPECT_EQ(effects.saveCount(), 1);
    EXPECT_EQ(effects.announced(), 1);
    for (const QString& screen : screens)
        EXPECT_FALSE(
            prefs().objectForKey(PlaylistPersistence::assignedPlaylistKey(screen)).isValid())
            << screen.toStdString();
    EXPECT_EQ(PlaylistPersistence::forScreen("3").assignedPlaylistId(), morning.id);

    // Every playlist with the id goes.
    prefs().set(kLibraryKey, *StoredJson::encodePlaylists({morning, morning}));
    library->load();
    ASSERT_EQ(library->playlists().size(), 2);
    library->deletePlaylist(morning.id);
    EXPECT_TRUE(library->playlists().isEmpty());
    EXPECT_FALSE(PlaylistPersistence::forScreen("3").assignedPlaylistId());
}

TEST_F(PlaylistLibraryTest, AnUnreadableDocumentIsKeptAsideBeforeItIsOverwritten) {
    // Readable JSON, but a sort order outside 0 to 4 makes all of it unreadable.
    NamedPlaylist evening;
    evening.id = QUuid::createUuid();
    const QByteArray damaged =
        StoredJson::encodePlaylists({evening})->replace("\"sortOrder\":0", "\"sortOrder\":5");
    ASSERT_TRUE(damaged.contains("\"sortOrder\":5"));
    prefs().set(kLibraryKey, damaged);

    StdoutCapture out;
    auto library = makeLibrary();
    EXPECT_TRUE(library->playlists().isEmpty());
    ASSERT_EQ(libraryLines(out).size(), 1) << out.text().toStdString();
    EXPECT_TRUE(
        libraryLines(out).at(0).startsWith("Failed to decode playlists: The data couldn\u2019t be "
                                           "read because it isn\u2019t in the correct format."));
    EXPECT_EQ(prefs().dataForKey(kLibraryKey), damaged);

    out.clear();
    library->createPlaylist("Morning", {});
    const QString prefix = "Kept unreadable playlists in ";
    ASSERT_EQ(libraryLines(out).size(), 1) << out.text().toStdString();
    ASSERT_TRUE(
        libraryLines(out).at(0).startsWith(prefix + AppPaths::damagedDataDirectory() + u'/'))
        << out.text().toStdString();
    QFile kept(libraryLines(out).at(0).mid(prefix.size()));
    EXPECT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), damaged);
    EXPECT_EQ(stored(), library->playlists());

    out.clear();
    library->createPlaylist("Night", {});
    EXPECT_TRUE(libraryLines(out).isEmpty()) << out.text().toStdString();
}

TEST_F(PlaylistLibraryTest, PerScreenListsBecomeOneAllVideosPlaylist) {
    const QString videos = folder("videos", {"a.mp4", "b.mp4", "c.mp4", "d.mp4"});
    FolderBookmarkManager(prefs()).addFolder(QUrl::fromLocalFile(videos));

    PlaylistItem a1 = item("videos/a.mp4", 10);
    a1.isExcluded = true;
    a1.customOrder = 2;
    a1.duration = 12.0;
    PlaylistItem b1 = item("videos/b.mp4", 20);
    b1.customOrder = 0;
    PlaylistItem b2 = item("videos/b.mp4", 30);
    PlaylistItem c2 = item("videos/c.mp4", 40);
    c2.isExcluded = true;
    PlaylistItem a3 = item("videos/a.mp4", 50);
    PlaylistItem d3 = item("videos/d.mp4", 60);
    prefs().set("playlist_1_items", *StoredJson::encodeItems({a1, b1}));
    prefs().set("playlist_2_items", *StoredJson::encodeItems({b2, c2}));
    prefs().set("playlist_3_items", QByteArray("[not json"));
    prefs().set("playlist_default_items", *StoredJson::encodeItems({a3, d3}));

    StdoutCapture out;
    PlaylistLibrary library(prefs());
    // Before the first synchronisation is applied: the migrated lists as they were.
    ASSERT_EQ(library.playlists().size(), 1);
    const NamedPlaylist migrated = library.playlists().at(0);
    EXPECT_EQ(migrated.name, kAllVideos);
    EXPECT_EQ(migrated.items, (QList<PlaylistItem>{a1, b1, c2, d3}));
    EXPECT_EQ(stored(), library.playlists());
    const QStringList lines = libraryLines(out);
    ASSERT_EQ(lines.size(), 2) << out.text().toStdString();
    EXPECT_TRUE(lines.at(0).startsWith("Failed to migrate playlist from playlist_3_items: "));
    EXPECT_EQ(lines.at(1), "Migrated 4 videos to All Videos playlist");
    // The per-screen lists stay.
    for (const char* key :
         {"playlist_1_items", "playlist_2_items", "playlist_3_items", "playlist_default_items"})
        EXPECT_TRUE(prefs().dataForKey(QString::fromLatin1(key))) << key;

    // The first synchronisation finds the same files and keeps each entry as migrated.
    out.clear();
    ASSERT_TRUE(testutil::waitUntil([&] { return !library.isSyncing(); }));
    EXPECT_EQ(library.playlists().at(0).items, migrated.items);
    EXPECT_EQ(libraryLines(out),
              (QStringList{"Synced All Videos playlist, 4 videos", kAutoAssigned}));
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), migrated.id);

    // Only an empty library takes the per-screen lists: a new one reads the stored playlist.
    out.clear();
    const auto again = makeLibrary();
    ASSERT_EQ(again->playlists().size(), 1);
    EXPECT_EQ(again->playlists().at(0).items, migrated.items);
    EXPECT_EQ(libraryLines(out), QStringList{"Synced All Videos playlist, 4 videos"});
}

TEST_F(PlaylistLibraryTest, AllVideosGrowsAndShrinksWithTheFolders) {
    StdoutCapture out;
    auto library = makeLibrary();
    Effects effects(*library);
    // No folders and no lists: nothing made, saved or assigned, but the change is announced.
    ASSERT_TRUE(syncAfter(*library, [&] { library->scheduleAllVideosSync(); }));
    EXPECT_TRUE(library->playlists().isEmpty());
    EXPECT_FALSE(prefs().objectForKey(kLibraryKey).isValid());
    EXPECT_FALSE(PlaylistPersistence::shared().assignedPlaylistId());
    EXPECT_TRUE(libraryLines(out).isEmpty()) << out.text().toStdString();
    EXPECT_EQ(effects.announced(), 1);

    // The first folder with videos creates the playlist and gives it to the shared state.
    const QString evening = folder("evening", {"b.mp4", "a.mp4", "notes.txt"});
    FolderBookmarkManager folders(prefs());
    ASSERT_TRUE(syncAfter(*library, [&] { folders.addFolder(QUrl::fromLocalFile(evening)); }));
    ASSERT_EQ(library->playlists().size(), 1);
    const NamedPlaylist created = library->playlists().at(0);
    EXPECT_EQ(created.name, kAllVideos);
    EXPECT_EQ(testutil::fileNames(created.items), (QStringList{"a.mp4", "b.mp4"}));
    EXPECT_EQ(created.items.at(0).folderPath, evening);
    EXPECT_EQ(stored(), library->playlists());
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), created.id);
    EXPECT_EQ(libraryLines(out),
              (QStringList{"Created All Videos playlist with 2 videos", kAutoAssigned}));
    EXPECT_EQ(effects.announced(), 2);

    // More files and a second folder: existing entries stay as they are.
    library->toggleItemExclusion(created.items.at(1).id, created.id);
    out.clear();
    testutil::writeFile(evening + "/c.mp4", "video");
    const QString morning = folder("morning", {"d.mkv"});
    ASSERT_TRUE(syncAfter(*library, [&] { folders.addFolder(QUrl::fromLocalFile(morning)); }));
    NamedPlaylist grown = library->playlists().at(0);
    EXPECT_EQ(testutil::fileNames(grown.items), (QStringList{"a.mp4", "b.mp4", "c.mp4", "d.mkv"}));
    EXPECT_EQ(grown.items.at(0), created.items.at(0));
    EXPECT_EQ(grown.items.at(1).id, created.items.at(1).id);
    EXPECT_TRUE(grown.items.at(1).isExcluded);
    EXPECT_GE(grown.modifiedDate, created.modifiedDate);
    EXPECT_EQ(libraryLines(out), QStringList{"Synced All Videos playlist, 4 videos"});

    // A file deleted and a folder removed: their entries go, the others keep their place.
    out.clear();
    ASSERT_TRUE(QFile::remove(evening + "/a.mp4"));
    ASSERT_TRUE(syncAfter(*library, [&] { library->scheduleAllVideosSync(); }));
    EXPECT_EQ(testutil::fileNames(library->playlists().at(0).items),
              (QStringList{"b.mp4", "c.mp4", "d.mkv"}));
    ASSERT_TRUE(syncAfter(*library, [&] { folders.removeFolder(0); }));
    EXPECT_EQ(testutil::fileNames(library->playlists().at(0).items), QStringList{"d.mkv"});
    EXPECT_EQ(stored(), library->playlists());

    // No folders left: the playlist empties, unlike a screen's own list.
    ASSERT_TRUE(syncAfter(*library, [&] { folders.removeFolder(0); }));
    ASSERT_EQ(library->playlists().size(), 1);
    EXPECT_TRUE(library->playlists().at(0).items.isEmpty());
    EXPECT_EQ(libraryLines(out), (QStringList{"Synced All Videos playlist, 3 videos",
                                              "Synced All Videos playlist, 1 videos",
                                              "Synced All Videos playlist, 0 videos"}));
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), created.id);
    // Each synchronisation and the exclusion were announced.
    EXPECT_EQ(effects.announced(), 7);
}

TEST_F(PlaylistLibraryTest, RenamingAllVideosMakesTheNextSyncCreateOneAndNoAssignmentIsReplaced) {
    // An assignment made before (even to a playlist the library lacks) is never replaced.
    const QUuid chosen = QUuid::createUuid();
    PlaylistPersistence::shared().setAssignedPlaylistId(chosen);
    FolderBookmarkManager(prefs()).addFolder(QUrl::fromLocalFile(folder("videos", {"a.mp4"})));
    const QStringList created{"Created All Videos playlist with 1 videos"};
    StdoutCapture out;
    auto library = makeLibrary();
    ASSERT_EQ(library->playlists().size(), 1);
    const NamedPlaylist original = library->playlists().at(0);
    EXPECT_EQ(libraryLines(out), created);
    library->renamePlaylist(original.id, "Favourites");

    out.clear();
    ASSERT_TRUE(syncAfter(*library, [&] { library->scheduleAllVideosSync(); }));
    ASSERT_EQ(library->playlists().size(), 2);
    EXPECT_EQ(library->playlists().at(0).name, "Favourites");
    EXPECT_EQ(library->playlists().at(0).items, original.items);
    EXPECT_EQ(library->playlists().at(1).name, kAllVideos);
    EXPECT_NE(library->playlists().at(1).id, original.id);
    EXPECT_EQ(libraryLines(out), created);
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), chosen);

    // Of two playlists with the name, only the first is synchronised.
    const NamedPlaylist second = library->createPlaylist(kAllVideos, {item("other.mp4")});
    ASSERT_TRUE(syncAfter(*library, [&] { library->scheduleAllVideosSync(); }));
    EXPECT_EQ(testutil::fileNames(library->playlists().at(1).items), QStringList{"a.mp4"});
    EXPECT_EQ(library->playlists().at(2), second);
    // A new library reads them all back in order.
    EXPECT_EQ(PlaylistLibrary(prefs()).playlists(), library->playlists());
}

TEST_F(PlaylistLibraryTest, RequestsWhileAScanIsUnderWayAreDropped) {
    folder("videos", {"a.mp4"});
    FolderBookmarkManager(prefs()).addFolder(QUrl::fromLocalFile(m_dir.filePath("videos")));
    auto library = makeLibrary();
    QSignalSpy synced(library.get(), &PlaylistLibrary::allVideosSynced);
    QSignalSpy syncing(library.get(), &PlaylistLibrary::isSyncingChanged);

    library->scheduleAllVideosSync();
    EXPECT_TRUE(library->isSyncing());
    library->scheduleAllVideosSync();
    Q_EMIT NotificationCenter::instance().videoFoldersDidChange();
    ASSERT_TRUE(testutil::waitUntil([&] { return synced.count() >= 1; }));
    EXPECT_FALSE(library->isSyncing());
    testutil::settle();
    EXPECT_EQ(synced.count(), 1);
    EXPECT_EQ(QList<QList<QVariant>>(syncing), (QList<QList<QVariant>>{{true}, {false}}));

    // Once it is done, the next request runs.
    ASSERT_TRUE(syncAfter(*library, [&] { library->scheduleAllVideosSync(); }));
}

TEST_F(PlaylistLibraryTest, ALibraryGoneWhileItsScanRunsIsLeftAlone) {
    // Enough files that the scan is still running when the library goes.
    QStringList files;
    for (int n = 0; n < 2000; ++n)
        files.append(QStringLiteral("clip%1.mp4").arg(n));
    folder("many", files);
    FolderBookmarkManager(prefs()).addFolder(QUrl::fromLocalFile(m_dir.filePath("many")));

    StdoutCapture out;
    for (int round = 0; round < 3; ++round) {
        auto library = std::make_unique<PlaylistLibrary>(prefs());
        EXPECT_TRUE(library->isSyncing());
        library.reset();
        testutil::settle();
    }
    // No scan result was applied: nothing created, saved or assigned.
    EXPECT_TRUE(libraryLines(out).isEmpty()) << out.text().toStdString();
    EXPECT_FALSE(prefs().objectForKey(kLibraryKey).isValid());
    EXPECT_FALSE(PlaylistPersistence::shared().assignedPlaylistId());
}

} // namespace
