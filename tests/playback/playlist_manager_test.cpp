#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "playback/PlaylistManager.h"
#include "support/TestUtil.h"

#include <QHash>

#include <gtest/gtest.h>

namespace {

QList<QUrl> files(std::initializer_list<const char*> names) {
    QList<QUrl> urls;
    for (const char* name : names)
        urls.append(QUrl::fromLocalFile(QStringLiteral("/videos/") + QString::fromUtf8(name)));
    return urls;
}

TEST(PlaylistManagerShuffle, EveryOrderIsEquallyLikely) {
    const QList<QUrl> original = files({"a", "b", "c"});
    QHash<QString, int> seen;
    constexpr int rounds = 60000;
    for (int n = 0; n < rounds; ++n) {
        QList<QUrl> urls = original;
        PlaylistManager::shuffle(urls);
        QString order;
        for (const QUrl& url : urls)
            order += url.fileName();
        ++seen[order];
    }
    ASSERT_EQ(seen.size(), 6);
    // Each of the six orders is expected 10,000 times (σ ≈ 91); a modulo or a
    // swap-with-any-position shuffle lands thousands away.
    for (auto it = seen.cbegin(); it != seen.cend(); ++it)
        EXPECT_NEAR(it.value(), rounds / 6, 600) << qPrintable(it.key());

    QList<QUrl> single = files({"x"});
    PlaylistManager::shuffle(single);
    EXPECT_EQ(single, files({"x"}));
}

class PlaylistManagerTest : public ::testing::Test {
protected:
    void SetUp() override { testutil::resetUserStore(); }

    PlaylistPersistence& persistence() { return PlaylistPersistence::forScreen(m_screen); }

    const QString m_screen = QStringLiteral("42");
};

TEST_F(PlaylistManagerTest, WalksTheQueueWithAndWithoutLoop) {
    PlaylistManager queue(m_screen);
    EXPECT_FALSE(queue.nextVideo(-1));
    EXPECT_FALSE(queue.previousVideo(-1));

    queue.setVideos(files({"a", "b", "c"}));
    EXPECT_FALSE(queue.isUsingNamedPlaylist());
    EXPECT_EQ(queue.videoURLs(), files({"a", "b", "c"}));
    EXPECT_EQ(queue.currentIndex(), -1);
    // The scan was merged into the screen's own items.
    EXPECT_EQ(persistence().items().size(), 3);

    EXPECT_TRUE(queue.loopEnabled()); // absent loop switch reads as on
    EXPECT_EQ(queue.nextVideo(-1), files({"a"}).first());
    EXPECT_EQ(queue.currentIndex(), 0);
    EXPECT_EQ(queue.nextVideo(2), files({"a"}).first());
    EXPECT_EQ(queue.currentIndex(), 0);
    EXPECT_EQ(queue.previousVideo(0), files({"c"}).first());
    EXPECT_EQ(queue.currentIndex(), 2);
    EXPECT_EQ(queue.previousVideo(-1), files({"c"}).first());

    // Turning loop off takes effect at once, without rebuilding the queue.
    persistence().setLoopEnabled(false);
    queue.setCurrentIndex(2);
    EXPECT_FALSE(queue.nextVideo(2));
    EXPECT_EQ(queue.currentIndex(), 2);
    EXPECT_FALSE(queue.previousVideo(0));
    EXPECT_FALSE(queue.previousVideo(-1));
    EXPECT_EQ(queue.previousVideo(2), files({"b"}).first());
    EXPECT_EQ(queue.currentIndex(), 1);
}

TEST_F(PlaylistManagerTest, WrappingAroundReshufflesButGoingBackDoesNot) {
    persistence().setShuffleEnabled(true);
    PlaylistManager queue(m_screen);
    const QList<QUrl> all = files({"a", "b", "c", "d", "e", "f", "g", "h"});
    queue.setVideos(all);
    QList<QUrl> sorted = queue.videoURLs();
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, all);

    // Over many wrap-arounds the order changes (8! orders: a repeat every time is impossible
    // in practice).
    int changed = 0;
    for (int n = 0; n < 20; ++n) {
        const QList<QUrl> before = queue.videoURLs();
        const std::optional<QUrl> first = queue.nextVideo(7);
        ASSERT_TRUE(first);
        EXPECT_EQ(*first, queue.videoURLs().first());
        changed += queue.videoURLs() != before;
    }
    EXPECT_GT(changed, 10);

    const QList<QUrl> before = queue.videoURLs();
    EXPECT_EQ(queue.previousVideo(0), before.last());
    EXPECT_EQ(queue.videoURLs(), before);
}

TEST_F(PlaylistManagerTest, AnAssignedPlaylistReplacesTheFolderQueue) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    QList<PlaylistItem> items;
    for (const QUrl& url : files({"x", "y", "z"}))
        items.append(PlaylistItem::forFile(url));
    items[1].isExcluded = true;
    NamedPlaylist playlist = library.createPlaylist(QStringLiteral("Evening"), items);
    playlist.loopEnabled = false;
    library.updatePlaylist(playlist);
    persistence().setAssignedPlaylistId(playlist.id);

    PlaylistManager queue(m_screen);
    queue.setVideos(files({"a", "b"}));
    EXPECT_TRUE(queue.isUsingNamedPlaylist());
    EXPECT_EQ(queue.videoURLs(), files({"x", "z"}));
    // The scan was not merged into the screen's items.
    EXPECT_TRUE(persistence().items().isEmpty());
    // The playlist's switches are the ones that count.
    persistence().setLoopEnabled(true);
    EXPECT_FALSE(queue.loopEnabled());
    EXPECT_FALSE(queue.nextVideo(1));

    persistence().setAssignedPlaylistId(std::nullopt);
    queue.setVideos(files({"a", "b"}));
    EXPECT_FALSE(queue.isUsingNamedPlaylist());
    EXPECT_EQ(queue.videoURLs(), files({"a", "b"}));
    EXPECT_TRUE(queue.loopEnabled());
}

} // namespace
