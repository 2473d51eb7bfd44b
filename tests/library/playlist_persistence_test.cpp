// Per-screen playlist state on the user's store: keys and their defaults, the registry, merging
// folder scans, play order, the metadata cache and unreadable stored items.

#include "library/PlaylistPersistence.h"

#include "core/AppPaths.h"
#include "core/Preferences.h"
#include "library/PlaylistLibrary.h"
#include "library/StoredJson.h"
#include "support/StdoutCapture.h"
#include "support/TestUtil.h"

#include <QCoreApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kMetadataKey = "playlist_global_metadata";

class PlaylistPersistenceTest : public ::testing::Test {
protected:
    void SetUp() override {
        testutil::resetUserStore();
        ASSERT_TRUE(m_dir.isValid());
    }
    void TearDown() override { PlaylistPersistence::resetRegistryForTesting(); }

    static Preferences& prefs() { return Preferences::standard(); }

    // A real file in the test's folder (or a sub-folder of it).
    QUrl file(const QString& relativePath) {
        const QString path = m_dir.filePath(relativePath);
        if (!QFile::exists(path))
            testutil::writeFile(path, "not really a video");
        return QUrl::fromLocalFile(path);
    }
    QList<QUrl> files(const QStringList& relativePaths) {
        QList<QUrl> urls;
        for (const QString& path : relativePaths)
            urls.append(file(path));
        return urls;
    }
    PlaylistItem storedItem(const QString& relativePath, double addedDate, bool excluded = false,
                            std::optional<qint64> order = {}) {
        PlaylistItem item = PlaylistItem::forFile(file(relativePath));
        item.addedDate = Timestamp{addedDate};
        item.isExcluded = excluded;
        item.customOrder = order;
        return item;
    }
    static void store(const QString& screen, const QList<PlaylistItem>& items) {
        prefs().set(PlaylistPersistence::itemsKey(screen), *StoredJson::encodeItems(items));
    }
    static QList<PlaylistItem> stored(const QString& screen) {
        return StoredJson::decodeItems(
                   prefs().dataForKey(PlaylistPersistence::itemsKey(screen)).value_or(""))
            .value_or(QList<PlaylistItem>());
    }
    static QHash<QString, VideoMetadata> cache() {
        return StoredJson::decodeMetadataCache(prefs().dataForKey(kMetadataKey).value_or(""))
            .value_or(QHash<QString, VideoMetadata>());
    }

    QTemporaryDir m_dir;
};

TEST_F(PlaylistPersistenceTest, AFreshScreenHasDefaultsAndOneInstanceInTheRegistry) {
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("724");
    EXPECT_EQ(screen.screenId(), "724");
    EXPECT_EQ(&PlaylistPersistence::forScreen("724"), &screen);
    EXPECT_NE(&PlaylistPersistence::forScreen("2"), &screen);
    EXPECT_EQ(&PlaylistPersistence::forScreen("default"), &PlaylistPersistence::shared());
    EXPECT_EQ(PlaylistPersistence::shared().screenId(), "default");
    EXPECT_TRUE(screen.items().isEmpty());
    EXPECT_FALSE(screen.shuffleEnabled());
    EXPECT_TRUE(screen.loopEnabled());
    EXPECT_FALSE(screen.assignedPlaylistId());
    // Reading writes nothing.
    EXPECT_TRUE(prefs().allKeys().isEmpty()) << prefs().allKeys().join(u' ').toStdString();
}

TEST_F(PlaylistPersistenceTest, ALoopKeyThatIsNoBooleanIsOnAndAnAssignmentThatIsNoUuidIsNone) {
    // Each row is one screen's stored loop value and assignment; both are left as they were.
    const std::pair<QVariant, QVariant> cases[] = {
        {QVariant(qint64(0)), QVariant("evening")},
        {QVariant("false"), QVariant("{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}")},
        {QVariant(0.0), QVariant("E621E1F8C36C495A93FC0C247A3E6E5F")},
        {QVariant(QByteArray("0")), QVariant(QString(""))},
        {QVariant("off"), QVariant(qint64(7))}};
    int screen = 0;
    for (const auto& [loop, assigned] : cases) {
        const QString id = QString::number(++screen);
        SCOPED_TRACE(testing::Message() << loop.typeName() << " " << assigned.typeName() << " "
                                        << assigned.toString().toStdString());
        prefs().setValue(PlaylistPersistence::loopKey(id), loop);
        prefs().setValue(PlaylistPersistence::assignedPlaylistKey(id), assigned);
        EXPECT_TRUE(PlaylistPersistence::forScreen(id).loopEnabled());
        EXPECT_FALSE(PlaylistPersistence::forScreen(id).assignedPlaylistId());
        EXPECT_EQ(prefs().objectForKey(PlaylistPersistence::loopKey(id)), loop);
        EXPECT_EQ(prefs().objectForKey(PlaylistPersistence::assignedPlaylistKey(id)), assigned);
    }
}

TEST_F(PlaylistPersistenceTest, SwitchesAndAssignmentWriteTheirKeysAtOnce) {
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("5");
    QSignalSpy shuffleSpy(&screen, &PlaylistPersistence::shuffleEnabledChanged);
    QSignalSpy loopSpy(&screen, &PlaylistPersistence::loopEnabledChanged);
    QSignalSpy assignedSpy(&screen, &PlaylistPersistence::assignedPlaylistIdChanged);

    screen.setShuffleEnabled(true);
    screen.setLoopEnabled(false);
    EXPECT_EQ(prefs().objectForKey("playlist_5_shuffle"), QVariant(true));
    EXPECT_EQ(prefs().objectForKey("playlist_5_loop"), QVariant(false));
    EXPECT_EQ(shuffleSpy.count(), 1);
    EXPECT_EQ(loopSpy.count(), 1);

    const QUuid id = QUuid::createUuid();
    screen.setAssignedPlaylistId(id);
    EXPECT_EQ(prefs().stringForKey("playlist_5_assignedPlaylist"), StoredJson::uuidText(id));
    EXPECT_EQ(assignedSpy.count(), 1);
    screen.setAssignedPlaylistId(std::nullopt);
    EXPECT_FALSE(prefs().objectForKey("playlist_5_assignedPlaylist").isValid());
    EXPECT_EQ(assignedSpy.count(), 2);

    // A new instance on the same store sees all of it; an assignment in lower case is written
    // back in its canonical form.
    prefs().set("playlist_5_assignedPlaylist", StoredJson::uuidText(id).toLower());
    PlaylistPersistence again("5", prefs());
    EXPECT_TRUE(again.shuffleEnabled());
    EXPECT_FALSE(again.loopEnabled());
    EXPECT_EQ(again.assignedPlaylistId(), id);
    EXPECT_EQ(prefs().stringForKey("playlist_5_assignedPlaylist"), StoredJson::uuidText(id));
}

TEST_F(PlaylistPersistenceTest, TheAssignedPlaylistComesFromTheLibrary) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    // One library for the program, on the user's store, owned by the application object.
    EXPECT_EQ(&PlaylistLibrary::shared(), &library);
    EXPECT_EQ(PlaylistLibrary::sharedIfCreated(), &library);
    EXPECT_EQ(library.parent(), QCoreApplication::instance());
    ASSERT_TRUE(testutil::waitUntil([&] { return !library.isSyncing(); }));
    const NamedPlaylist evening = library.createPlaylist("Evening", {});
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    screen.setAssignedPlaylistId(evening.id);
    ASSERT_TRUE(screen.assignedPlaylist());
    EXPECT_EQ(screen.assignedPlaylist()->name, "Evening");

    // Gone from the library: no playlist, but the identifier stays stored.
    const QUuid missing = QUuid::createUuid();
    screen.setAssignedPlaylistId(missing);
    EXPECT_FALSE(screen.assignedPlaylist());
    EXPECT_EQ(prefs().stringForKey("playlist_1_assignedPlaylist"), StoredJson::uuidText(missing));
    library.deletePlaylist(evening.id);
}

TEST_F(PlaylistPersistenceTest, ARescanInAnotherOrderKeepsEachFilesStateAndFollowsTheScan) {
    // b and c are named in Latin-1, held with their bytes that aren't UTF-8 as U+DCxx.
    const QString b = QStringLiteral("b") + QChar(0xDCE9) + QStringLiteral(".mp4");
    const QString c = QStringLiteral("c") + QChar(0xDCFF) + QStringLiteral(".mp4");
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    // An empty scan of an empty list stores the empty list.
    screen.syncWithFolderContents({});
    EXPECT_EQ(prefs().dataForKey("playlist_1_items"), QByteArray("[]"));
    QSignalSpy itemsSpy(&screen, &PlaylistPersistence::itemsChanged);
    screen.syncWithFolderContents(files({"a.mp4", b, "sub/" + c}));
    EXPECT_EQ(itemsSpy.count(), 1);
    ASSERT_EQ(testutil::fileNames(screen.items()), (QStringList{"a.mp4", b, c}));
    EXPECT_EQ(screen.items().at(2).folderPath, m_dir.filePath("sub"));
    EXPECT_EQ(stored("1"), screen.items());

    // Exclude b, then put c first by hand.
    screen.toggleExclusion(screen.items().at(1).id);
    screen.moveItems({2}, 0);
    const QList<PlaylistItem> before = screen.items();
    ASSERT_EQ(testutil::fileNames(before), (QStringList{c, "a.mp4", b}));

    screen.syncWithFolderContents(files({b, "a.mp4", "sub/" + c}));
    EXPECT_EQ(screen.items(), (QList<PlaylistItem>{before.at(2), before.at(1), before.at(0)}));
    EXPECT_EQ(stored("1"), screen.items());
    // Play order still follows the hand-made order, without the excluded b, also after a restart.
    EXPECT_EQ(testutil::fileNames(screen.enabledItems()), (QStringList{c, "a.mp4"}));
    EXPECT_EQ(screen.playableURLs(), files({"sub/" + c, "a.mp4"}));
    EXPECT_EQ(PlaylistPersistence("1", prefs()).playableURLs(), screen.playableURLs());
    EXPECT_EQ(screen.excludedCount(), 1);

    // An empty scan never clears a list.
    const QList<PlaylistItem> items = screen.items();
    QSignalSpy storeSpy(&prefs(), &Preferences::valueChanged);
    itemsSpy.clear();
    screen.syncWithFolderContents({});
    EXPECT_EQ(screen.items(), items);
    EXPECT_EQ(stored("1"), items);
    EXPECT_EQ(storeSpy.count(), 0);
    EXPECT_EQ(itemsSpy.count(), 0);
}

TEST_F(PlaylistPersistenceTest, AFileThatReturnsIsANewItemButRegainsItsMetadata) {
    PlaylistItem a = storedItem("a.mp4", 10, true, 1);
    a.applyMetadata({42.5, 1920, 1080});
    PlaylistItem b = storedItem("b.mp4", 20);
    store("1", {a, b});
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    screen.saveItems();
    EXPECT_EQ(cache().value(a.lookupKey()), (VideoMetadata{42.5, 1920, 1080}));

    screen.syncWithFolderContents(files({"b.mp4"}));
    EXPECT_EQ(testutil::fileNames(screen.items()), QStringList{"b.mp4"});
    // The cache keeps what it had.
    EXPECT_TRUE(cache().contains(a.lookupKey()));

    screen.syncWithFolderContents(files({"a.mp4", "b.mp4"}));
    ASSERT_EQ(screen.items().size(), 2);
    PlaylistItem back = screen.items().at(0);
    EXPECT_NE(back.id, a.id);
    EXPECT_GT(back.addedDate, a.addedDate);
    // Exclusion and order are not regained; the metadata is.
    back.id = a.id, back.addedDate = a.addedDate;
    a.isExcluded = false, a.customOrder.reset();
    EXPECT_EQ(back, a);
    EXPECT_EQ(screen.items().at(1), b);

    // Another screen meeting the file for the first time gets the metadata as well.
    PlaylistPersistence& other = PlaylistPersistence::forScreen("2");
    other.syncWithFolderContents(files({"a.mp4"}));
    EXPECT_EQ(other.items().at(0).duration, 42.5);
}

TEST_F(PlaylistPersistenceTest, StoredItemsWithTheSameFileMergeFirstOneFirst) {
    const PlaylistItem first = storedItem("a.mp4", 10, true);
    PlaylistItem second = storedItem("a.mp4", 20);
    PlaylistItem b = storedItem("b.mp4", 30);
    store("1", {first, second, b});
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    ASSERT_EQ(screen.items().size(), 3);

    screen.syncWithFolderContents(files({"a.mp4", "b.mp4"}));
    EXPECT_EQ(screen.items(), (QList<PlaylistItem>{first, b}));

    // A scan that delivers one file twice: the second is a new item; the merge after it
    // copes with the duplicate it stored.
    screen.syncWithFolderContents(files({"a.mp4", "b.mp4", "a.mp4"}));
    ASSERT_EQ(screen.items().size(), 3);
    EXPECT_EQ(screen.items().at(0), first);
    EXPECT_NE(screen.items().at(2).id, first.id);
    screen.syncWithFolderContents(files({"a.mp4", "b.mp4"}));
    EXPECT_EQ(screen.items(), (QList<PlaylistItem>{first, b}));
}

TEST_F(PlaylistPersistenceTest, MovingItemsNumbersThemAndPlayOrderFollows) {
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    screen.syncWithFolderContents(files({"a.mp4", "b.mp4", "c.mp4", "d.mp4", "e.mp4"}));

    // Down (the destination counts positions before the move); up, several at once, keeping
    // their order; to the end; onto itself.
    const std::tuple<QList<qsizetype>, qsizetype, QStringList> moves[] = {
        {{0}, 3, {"b.mp4", "c.mp4", "a.mp4", "d.mp4", "e.mp4"}},
        {{4, 2}, 1, {"b.mp4", "a.mp4", "e.mp4", "c.mp4", "d.mp4"}},
        {{1, 3}, 5, {"b.mp4", "e.mp4", "d.mp4", "a.mp4", "c.mp4"}},
        {{2}, 2, {"b.mp4", "e.mp4", "d.mp4", "a.mp4", "c.mp4"}},
        {{2}, 3, {"b.mp4", "e.mp4", "d.mp4", "a.mp4", "c.mp4"}}};
    for (const auto& [from, to, expected] : moves) {
        SCOPED_TRACE(to);
        screen.moveItems(from, to);
        EXPECT_EQ(testutil::fileNames(screen.enabledItems()), expected);
        for (qsizetype n = 0; n < screen.items().size(); ++n)
            EXPECT_EQ(screen.items().at(n).customOrder, n);
        EXPECT_EQ(stored("1"), screen.items());
    }

    screen.resetOrder();
    for (const PlaylistItem& item : screen.items())
        EXPECT_FALSE(item.customOrder);
    EXPECT_EQ(stored("1"), screen.items());
}

TEST_F(PlaylistPersistenceTest, ItemsWithoutACustomOrderFollowOldestFirst) {
    store("1", {storedItem("newest.mp4", 300), storedItem("oldest.mp4", 100),
                storedItem("placed-last.mp4", 50, false, 9), storedItem("middle.mp4", 200),
                storedItem("middle-too.mp4", 200), storedItem("placed-first.mp4", 400, false, 2),
                storedItem("excluded.mp4", 0, true)});
    const PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    EXPECT_EQ(testutil::fileNames(screen.enabledItems()),
              (QStringList{"placed-first.mp4", "placed-last.mp4", "oldest.mp4", "middle.mp4",
                           "middle-too.mp4", "newest.mp4"}));
    EXPECT_EQ(screen.excludedCount(), 1);
}

TEST_F(PlaylistPersistenceTest, ExclusionsAndCopyingAnotherScreensSettings) {
    PlaylistPersistence& one = PlaylistPersistence::forScreen("1");
    one.syncWithFolderContents(files({"a.mp4", "b.mp4", "c.mp4"}));
    QSignalSpy itemsSpy(&one, &PlaylistPersistence::itemsChanged);
    one.toggleExclusion(QUuid::createUuid()); // unknown: nothing
    EXPECT_EQ(itemsSpy.count(), 0);
    EXPECT_EQ(one.excludedCount(), 0);

    one.setAllExcluded(true);
    EXPECT_EQ(one.excludedCount(), 3);
    EXPECT_TRUE(one.enabledItems().isEmpty());
    EXPECT_EQ(stored("1"), one.items());
    one.toggleExclusion(one.items().at(1).id);
    EXPECT_EQ(testutil::fileNames(one.enabledItems()), QStringList{"b.mp4"});
    EXPECT_EQ(stored("1"), one.items());
    one.moveItems({2}, 0);
    one.setShuffleEnabled(true);
    one.setLoopEnabled(false);

    PlaylistPersistence& two = PlaylistPersistence::forScreen("2");
    two.copySettings(one);
    QList<PlaylistItem> copied = one.items();
    for (PlaylistItem& item : copied)
        item.isExcluded = false, item.customOrder.reset();
    EXPECT_EQ(two.items(), copied);
    EXPECT_TRUE(two.shuffleEnabled());
    EXPECT_FALSE(two.loopEnabled());
    EXPECT_EQ(prefs().objectForKey("playlist_2_shuffle"), QVariant(true));
    EXPECT_EQ(prefs().objectForKey("playlist_2_loop"), QVariant(false));
    EXPECT_EQ(stored("2"), two.items());
    // The source is unchanged.
    EXPECT_EQ(one.excludedCount(), 2);
}

TEST_F(PlaylistPersistenceTest, OnlyItemsWithDurationAndSizeEnterTheCache) {
    const VideoMetadata full{5.0, 640, 480};
    PlaylistItem complete = storedItem("complete.mp4", 1);
    complete.applyMetadata(full);
    PlaylistItem noHeight = storedItem("no-height.mp4", 2);
    noHeight.applyMetadata({7.0, 640, std::nullopt});
    store("1", {complete, noHeight, storedItem("nothing.mp4", 3)});
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("1");
    screen.saveItems();
    EXPECT_EQ(cache(), (QHash<QString, VideoMetadata>{{complete.lookupKey(), full}}));

    // Entries are replaced by complete items only, and never removed.
    const VideoMetadata old{1.0, 2, 3};
    const QString gone = m_dir.filePath("gone.mp4");
    prefs().set(kMetadataKey,
                *StoredJson::encodeMetadataCache(
                    {{noHeight.lookupKey(), old}, {complete.lookupKey(), old}, {gone, old}}));
    screen.saveItems();
    EXPECT_EQ(cache(),
              (QHash<QString, VideoMetadata>{
                  {complete.lookupKey(), full}, {noHeight.lookupKey(), old}, {gone, old}}));

    // Loading applies cached entries to the items, over what they had stored.
    screen.loadItems();
    EXPECT_EQ(screen.items().at(1).height, 3);
    EXPECT_EQ(screen.items().at(1).duration, 1.0);
    EXPECT_FALSE(screen.items().at(2).duration);

    // An unreadable cache is started afresh; it is only a cache.
    prefs().set(kMetadataKey, QByteArray("{broken"));
    screen.saveItems();
    EXPECT_EQ(cache(), (QHash<QString, VideoMetadata>{{complete.lookupKey(), full},
                                                      {noHeight.lookupKey(), old}}));
}

TEST_F(PlaylistPersistenceTest, UnreadableStoredItemsAreKeptAsideBeforeTheyAreOverwritten) {
    // Damaged JSON, and a value of another type (kept in its JSON form). The reason is checked
    // for damaged JSON; another type is only named as undecodable.
    const std::tuple<QVariant, QByteArray, QString> cases[] = {
        {QVariant(QByteArray(R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename")")),
         R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename")",
         "The data couldn\u2019t be read because it isn\u2019t in the correct format."},
        {QVariant("a.mp4, b.mp4"), "\"a.mp4, b.mp4\"", ""}};
    int screenNumber = 6;
    for (const auto& [damaged, keptBytes, reason] : cases) {
        SCOPED_TRACE(keptBytes.toStdString());
        const QString id = QString::number(++screenNumber);
        const QString tag = QStringLiteral("PlaylistPersistence[%1]: ").arg(id);
        prefs().setValue(PlaylistPersistence::itemsKey(id), damaged);
        StdoutCapture out;
        PlaylistPersistence& screen = PlaylistPersistence::forScreen(id);
        EXPECT_TRUE(screen.items().isEmpty());
        ASSERT_EQ(out.lines().size(), 1) << out.text().toStdString();
        EXPECT_TRUE(out.lines().at(0).startsWith(tag + "Failed to decode items: " + reason))
            << out.text().toStdString();
        // Nothing is written while the screen is only read.
        EXPECT_EQ(prefs().objectForKey(PlaylistPersistence::itemsKey(id)), damaged);

        out.clear();
        screen.syncWithFolderContents(files({"a.mp4"}));
        const QString prefix = tag + "Kept unreadable items in ";
        ASSERT_EQ(out.lines().size(), 1) << out.text().toStdString();
        ASSERT_TRUE(out.lines().at(0).startsWith(prefix + AppPaths::damagedDataDirectory() + u'/'))
            << out.text().toStdString();
        QFile kept(out.lines().at(0).mid(prefix.size()));
        ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
        EXPECT_EQ(kept.readAll(), keptBytes);
        EXPECT_EQ(stored(id), screen.items());
        EXPECT_EQ(testutil::fileNames(screen.items()), QStringList{"a.mp4"});

        // Kept once: later saves print nothing more.
        out.clear();
        screen.toggleExclusion(screen.items().at(0).id);
        EXPECT_TRUE(out.lines().isEmpty()) << out.text().toStdString();
    }
}

TEST_F(PlaylistPersistenceTest, UnreadableItemsReplacedMeanwhileAreNotKept) {
    prefs().set("playlist_7_items", QByteArray("garbage"));
    StdoutCapture out;
    PlaylistPersistence& screen = PlaylistPersistence::forScreen("7");
    // Someone else replaced the damaged value before this screen saves.
    store("7", {storedItem("b.mp4", 1)});
    out.clear();
    screen.syncWithFolderContents(files({"a.mp4"}));
    EXPECT_TRUE(out.lines().isEmpty()) << out.text().toStdString();
    EXPECT_EQ(testutil::fileNames(stored("7")), QStringList{"a.mp4"});
}

} // namespace
