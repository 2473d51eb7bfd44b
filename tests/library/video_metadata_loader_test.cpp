#include "library/VideoMetadataLoader.h"

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "support/StdoutCapture.h"
#include "support/TestUtil.h"
#include "support/media_clips.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <memory>

namespace {

using mediaclips::clips;

class VideoMetadataLoaderTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { clips(); }
    void SetUp() override {
        ASSERT_FALSE(clips().folder.isEmpty()) << qPrintable(mediaclips::error());
        Preferences& store = Preferences::standard();
        testutil::resetUserStore();
        m_library = std::make_unique<PlaylistLibrary>(store);
        ASSERT_TRUE(testutil::waitUntil([&] { return !m_library->isSyncing(); }));
        m_loader = std::make_unique<VideoMetadataLoader>();
    }
    void TearDown() override {
        testutil::settle();
        m_loader.reset();
        m_library.reset();
        PlaylistPersistence::resetRegistryForTesting();
    }

    // A playlist of the given files; returns it as stored.
    NamedPlaylist playlistOf(const QStringList& paths) {
        QList<PlaylistItem> items;
        for (const QString& path : paths)
            items.append(PlaylistItem::forFile(QUrl::fromLocalFile(path)));
        return m_library->createPlaylist("Test", items);
    }

    // The item as the library holds it now.
    PlaylistItem storedItem(const NamedPlaylist& playlist, qsizetype index) const {
        for (const PlaylistItem& item : m_library->playlist(playlist.id).value_or(playlist).items) {
            if (item.id == playlist.items[index].id)
                return item;
        }
        ADD_FAILURE() << "item " << index << " is gone";
        return {};
    }

    void load(const NamedPlaylist& playlist, const PlaylistItem& item) {
        m_loader->loadMetadata(item.fileURL(), *m_library, playlist.id, item.id);
    }

    bool waitUntilDone(const QUrl& url) {
        return testutil::waitUntil([&] { return !m_loader->isLoading(url); });
    }

    std::unique_ptr<PlaylistLibrary> m_library;
    std::unique_ptr<VideoMetadataLoader> m_loader;
};

TEST_F(VideoMetadataLoaderTest, WritesDurationAndDisplayedSizeIntoTheItem) {
    NamedPlaylist playlist = playlistOf({clips().landscape, clips().portrait, clips().rawStream});
    // An unknown duration is written as absent.
    playlist.items[2].duration = 42.0;
    m_library->updatePlaylist(playlist);
    QSignalSpy changes(m_library.get(), &PlaylistLibrary::playlistsChanged);
    QSignalSpy posts(&NotificationCenter::instance(), &NotificationCenter::playlistDidChange);
    for (const PlaylistItem& item : playlist.items)
        load(playlist, item);
    for (const PlaylistItem& item : playlist.items)
        ASSERT_TRUE(waitUntilDone(item.fileURL()));

    // Nothing else of the item changes.
    const PlaylistItem first = storedItem(playlist, 0);
    EXPECT_NEAR(first.duration.value_or(0), 3.0, 0.05);
    PlaylistItem expected = playlist.items[0];
    expected.applyMetadata({first.duration, 320, 180});
    EXPECT_EQ(first, expected);

    // Rotated clips report their displayed size.
    EXPECT_EQ(storedItem(playlist, 1).width, 180);
    EXPECT_EQ(storedItem(playlist, 1).height, 320);
    EXPECT_FALSE(storedItem(playlist, 2).duration);
    EXPECT_EQ(storedItem(playlist, 2).width, 160);

    // One update per file, each saved and announced.
    EXPECT_EQ(changes.count(), 3);
    EXPECT_EQ(posts.count(), 3);
    EXPECT_EQ(PlaylistLibrary(Preferences::standard()).playlist(playlist.id),
              m_library->playlist(playlist.id));
}

// The descriptions themselves are MediaProbe's; one line each, and nothing is written.
TEST_F(VideoMetadataLoaderTest, UnreadableFilesPrintOneLineAndWriteNothing) {
    const NamedPlaylist playlist = playlistOf({clips().audioOnly, clips().folder + "/gone.mp4"});
    QSignalSpy changes(m_library.get(), &PlaylistLibrary::playlistsChanged);
    StdoutCapture output;
    for (const PlaylistItem& item : playlist.items) {
        load(playlist, item);
        ASSERT_TRUE(waitUntilDone(item.fileURL()));
    }
    testutil::settle();
    EXPECT_EQ(output.lines(),
              (QStringList{"VideoMetadataLoader: No video track for audio.m4a",
                           "VideoMetadataLoader: Failed to load metadata for gone.mp4: The "
                           "file couldn’t be opened: No such file or directory."}));
    EXPECT_EQ(changes.count(), 0);
    EXPECT_EQ(m_library->playlist(playlist.id), playlist);
}

TEST_F(VideoMetadataLoaderTest, SecondRequestWhileLoadingIsDroppedAndLaterOnesRun) {
    const NamedPlaylist playlist = playlistOf({clips().landscape});
    const PlaylistItem& item = playlist.items[0];
    QSignalSpy changes(m_library.get(), &PlaylistLibrary::playlistsChanged);
    load(playlist, item);
    EXPECT_TRUE(m_loader->isLoading(item.fileURL()));
    // The result is applied on this thread, so the first load is surely still under way.
    load(playlist, item);
    ASSERT_TRUE(waitUntilDone(item.fileURL()));
    testutil::settle();
    EXPECT_EQ(changes.count(), 1);

    // Once finished, the file can be loaded again.
    load(playlist, item);
    ASSERT_TRUE(waitUntilDone(item.fileURL()));
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(VideoMetadataLoaderTest, ItemPlaylistOrLibraryGoneMeanwhileGetsNothing) {
    // An item removed from its playlist, and a playlist deleted, while their files load.
    NamedPlaylist kept = playlistOf({clips().fullHD, clips().portrait});
    const NamedPlaylist deleted = playlistOf({clips().landscape});
    const PlaylistItem removed = kept.items.takeFirst();
    load(kept, removed);
    load(deleted, deleted.items[0]);
    m_library->updatePlaylist(kept);
    m_library->deletePlaylist(deleted.id);
    kept = *m_library->playlist(kept.id);
    QSignalSpy changes(m_library.get(), &PlaylistLibrary::playlistsChanged);
    ASSERT_TRUE(waitUntilDone(removed.fileURL()));
    ASSERT_TRUE(waitUntilDone(deleted.items[0].fileURL()));
    testutil::settle();
    EXPECT_EQ(changes.count(), 0);
    EXPECT_FALSE(m_library->playlist(deleted.id));
    EXPECT_EQ(m_library->playlist(kept.id), kept);

    // The library itself goes before the result comes; the file is released all the same.
    load(kept, kept.items[0]);
    m_library.reset();
    ASSERT_TRUE(waitUntilDone(kept.items[0].fileURL()));
}

} // namespace
