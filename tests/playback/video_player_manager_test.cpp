#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistPersistence.h"
#include "playback/MpvPlayer.h"
#include "playback/PlaylistManager.h"
#include "playback/VideoPlayerManager.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

const QString kPlayback = u"com.orvanta.playback"_s;

// Two real mpv players per manager (no video output), the user's store of the harness, and
// folders of clips made by ffmpeg once for the suite.
class VideoPlayerManagerTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        const std::tuple<const char*, double, const char*> clips[] = {
            {"three/a.mp4", 2.0, "testsrc"},      {"three/b.mp4", 2.0, "color=c=red"},
            {"three/c.mp4", 2.0, "color=c=blue"}, {"long/four.mp4", 4.0, "testsrc"},
            {"long/seven.mp4", 7.0, "testsrc"},   {"short/two.mp4", 2.4, "testsrc"},
            {"one/only.mp4", 1.0, "testsrc"},
        };
        for (const auto& [name, seconds, source] : clips) {
            testutil::ClipSpec clip;
            clip.seconds = seconds;
            clip.source = QString::fromUtf8(source);
            ASSERT_TRUE(testutil::encodeClip(path(name), clip)) << name;
        }
        testutil::writeFile(path("broken/empty.mp4"), {});
        testutil::writeFile(path("broken/text.mp4"), QByteArray("not a video\n").repeated(40));
        testutil::writeFile(path("broken/zzz.mp4"), QByteArray(1000, '\x01'));
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        testutil::resetUserStore();
        Preferences::standard().set(u"transitionType"_s, 0);
    }

    static QString path(const char* relative) {
        return s_dir->filePath(QString::fromUtf8(relative));
    }

    // Makes `folder` the only source folder.
    static void useFolder(const char* folder) {
        FolderBookmarkManager folders(Preferences::standard());
        ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(path(folder))));
    }

    static bool waitForTransitions(const QSignalSpy& spy, int count) {
        return testutil::waitUntil([&] { return spy.count() >= count; }, 30000);
    }

    static inline std::unique_ptr<QTemporaryDir> s_dir;
};

TEST_F(VideoPlayerManagerTest, FirstPlayLoadsTheFirstVideoIntoBAndSwitchesToIt) {
    useFolder("three");
    VideoPlayerManager manager(u"1"_s);
    EXPECT_EQ(manager.totalVideoCount(), 3);
    EXPECT_EQ(manager.currentIndex(), -1);
    EXPECT_EQ(manager.activePlayer(), manager.playerA());
    EXPECT_EQ(manager.currentVideoName(), u"No video"_s);
    EXPECT_EQ(manager.playerA()->status(), Player::Status::Empty);

    QSignalSpy transitions(&manager, &VideoPlayerManager::videoPlayerDidTransition);
    manager.play();
    EXPECT_TRUE(manager.isPlaying());
    EXPECT_TRUE(manager.isPreparingNextVideo());
    EXPECT_EQ(manager.playerB()->status(), Player::Status::Loading);
    EXPECT_EQ(manager.currentIndex(), 0);
    EXPECT_EQ(manager.currentVideoURL(), manager.playlistManager().videoURLs().first());

    ASSERT_TRUE(waitForTransitions(transitions, 1));
    EXPECT_EQ(transitions.first().at(0).value<Player*>(), manager.playerB());
    EXPECT_EQ(transitions.first().at(1).value<Player*>(), manager.playerA());
    EXPECT_EQ(manager.activePlayer(), manager.playerB());
    EXPECT_FALSE(manager.isPreparingNextVideo());
    EXPECT_GT(manager.playerB()->rate(), 0.0);
    EXPECT_NEAR(manager.duration(), 2.0, 0.15);
    EXPECT_EQ(manager.currentVideoName(), manager.currentVideoURL().fileName().chopped(4));

    // The position is published as soon as the player pauses or switches.
    ASSERT_TRUE(testutil::waitUntil([&] { return manager.currentTime() > 0.6; }));
    testutil::waitTimerPeriods(100, 1); // between two periodic updates
    manager.playerB()->pause();
    EXPECT_EQ(manager.currentTime(), manager.playerB()->currentTime());
    manager.play();
    double timeAtSwitch = -1.0;
    QObject::connect(&manager, &VideoPlayerManager::videoPlayerDidTransition, &manager,
                     [&] { timeAtSwitch = manager.currentTime(); });
    manager.nextVideo();
    ASSERT_TRUE(waitForTransitions(transitions, 2));
    EXPECT_LT(timeAtSwitch, 0.3);

    // Once off screen and at its end, the outgoing video lets go of its decoder and frames but
    // stays the player's ended item.
    auto* outgoing = qobject_cast<MpvPlayer*>(manager.playerB());
    ASSERT_TRUE(
        testutil::waitUntil([&] { return outgoing->mpvProperty("idle-active") == u"yes"_s; }));
    EXPECT_TRUE(outgoing->isAtEnd());
    EXPECT_EQ(outgoing->status(), Player::Status::ReadyToPlay);
    EXPECT_NEAR(outgoing->duration().seconds, 2.0, 0.15);
}

TEST_F(VideoPlayerManagerTest, NothingToPlay) {
    LogCapture log;
    VideoPlayerManager manager(u"1"_s);
    EXPECT_TRUE(log.contains(kPlayback, u"Loaded 0 videos from folders"_s));
    manager.play();
    EXPECT_TRUE(log.contains(kPlayback, u"No videos to play"_s));
    EXPECT_FALSE(manager.isPlaying());
    EXPECT_EQ(manager.playerB()->status(), Player::Status::Empty);
}

TEST_F(VideoPlayerManagerTest, EarlyAdvanceComesATransitionBeforeTheEnd) {
    useFolder("long");
    Preferences& store = Preferences::standard();
    store.set(u"playbackRate"_s, 2.0);

    // transitionType and transitionDuration as stored, the video asked for, the moment expected
    // (0 = at its end).
    const std::tuple<int, double, const char*, double> cases[] = {
        {2, 1.5, "four", 2.5},   // 4 s > 1.5 + 1: early
        {2, 0.2, "four", 3.5},   // clamped to 0.5
        {2, 9.0, "seven", 2.0},  // clamped to 5.0; 7 s > 6 s
        {2, 9.0, "four", 0.0},   // 4 s is not longer than 6 s: plays to its end
        {2, -3.0, "seven", 6.5}, // absent or small counts as 0.5
        {0, 1.5, "four", 0.0},   // without a transition, at the end
    };
    for (const auto& [type, stored, video, expectedAt] : cases) {
        SCOPED_TRACE(std::string(video) + " with " + std::to_string(type) + " for " +
                     std::to_string(stored));
        store.set(u"transitionType"_s, type);
        store.set(u"transitionDuration"_s, stored);
        VideoPlayerManager manager(u"early"_s);
        // Find the clip in the (unshuffled) queue and start right before it.
        const QList<QUrl> queue = manager.playlistManager().videoURLs();
        qsizetype index = 0;
        while (index < queue.size() && !queue[index].fileName().startsWith(QLatin1String(video)))
            ++index;
        ASSERT_LT(index, queue.size());
        QSignalSpy transitions(&manager, &VideoPlayerManager::videoPlayerDidTransition);
        manager.play();
        ASSERT_TRUE(waitForTransitions(transitions, 1));
        if (index == 1) {
            manager.nextVideo();
            ASSERT_TRUE(waitForTransitions(transitions, 2));
        }
        ASSERT_EQ(manager.currentIndex(), index);
        Player* current = manager.activePlayer();
        EXPECT_EQ(manager.hasEarlyAdvance(), expectedAt > 0.0);

        LogCapture log;
        double askedAt = -1.0;
        bool atEnd = false;
        QObject::connect(&manager, &VideoPlayerManager::currentIndexChanged, &manager, [&] {
            if (askedAt < 0) {
                askedAt = current->currentTime();
                atEnd = current->isAtEnd();
            }
        });
        ASSERT_TRUE(testutil::waitUntil([&] { return askedAt >= 0; }, 30000));
        if (expectedAt > 0.0) {
            EXPECT_FALSE(atEnd);
            EXPECT_GE(askedAt, expectedAt - 0.05);
            EXPECT_LT(askedAt, expectedAt + 0.5);
        } else {
            EXPECT_TRUE(atEnd);
            EXPECT_EQ(log.count(kPlayback, u"Video reached end, advancing to next"_s), 1);
            // The players alternate, and the outgoing one holds its last frame.
            ASSERT_TRUE(testutil::waitUntil([&] { return manager.activePlayer() != current; }));
            EXPECT_TRUE(current->isAtEnd());
            EXPECT_EQ(current->status(), Player::Status::ReadyToPlay);
        }
    }
}

TEST_F(VideoPlayerManagerTest, UnreadableVideosAreSkippedUntilAllHaveFailed) {
    useFolder("broken");
    VideoPlayerManager manager(u"1"_s);
    ASSERT_EQ(manager.totalVideoCount(), 3);
    LogCapture log;
    manager.play();
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return log.contains(kPlayback, u"All videos failed to load"_s); }));
    testutil::settle();
    const QStringList lines = log.messages(kPlayback);
    ASSERT_EQ(lines.size(), 4) << qPrintable(lines.join(QLatin1Char('\n')));
    for (int n = 0; n < 3; ++n)
        EXPECT_TRUE(lines[n].startsWith(u"Failed to load video: "_s)) << n;
    EXPECT_EQ(lines[3], u"All videos failed to load"_s);
    EXPECT_TRUE(manager.isPlaying());
    EXPECT_FALSE(manager.isPreparingNextVideo());
    EXPECT_EQ(manager.consecutiveFailures(), 3);

    // Only an item that loads resets the count: after a stop and a reload the manager gives
    // up at the first failure.
    manager.stop();
    manager.loadPlaylist();
    log.clear();
    manager.play();
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return log.contains(kPlayback, u"All videos failed to load"_s); }));
    EXPECT_EQ(log.messages(kPlayback).size(), 2);
    EXPECT_EQ(manager.consecutiveFailures(), 4);
}

TEST_F(VideoPlayerManagerTest, AQueueThatDoesNotLoopEndsOnItsLastFrame) {
    useFolder("one");
    PlaylistPersistence::forScreen(u"1"_s).setLoopEnabled(false);
    Preferences::standard().set(u"playbackRate"_s, 2.0);
    VideoPlayerManager manager(u"1"_s);
    QSignalSpy transitions(&manager, &VideoPlayerManager::videoPlayerDidTransition);
    LogCapture log;
    manager.play();
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return log.contains(kPlayback, u"Playlist complete, not looping"_s); }));
    EXPECT_FALSE(manager.isPlaying());
    EXPECT_EQ(transitions.count(), 1);
    Player* last = manager.activePlayer();
    EXPECT_TRUE(last->isAtEnd());
    EXPECT_NE(last->currentItem(), 0u);
    EXPECT_EQ(qobject_cast<MpvPlayer*>(last)->mpvProperty("idle-active"), u"no"_s)
        << "the last frame stays on screen";

    log.clear();
    manager.previousVideo();
    EXPECT_TRUE(log.contains(kPlayback, u"No previous video available"_s));
    manager.nextVideo();
    EXPECT_TRUE(log.contains(kPlayback, u"No next video available"_s));
    EXPECT_EQ(manager.currentIndex(), 0);
}

TEST_F(VideoPlayerManagerTest, StopIgnoresALateVerdictAndAdvancesWhileLoadingAreDropped) {
    useFolder("three");
    VideoPlayerManager manager(u"1"_s);
    QSignalSpy transitions(&manager, &VideoPlayerManager::videoPlayerDidTransition);
    manager.play();
    manager.stop();
    testutil::settle();
    EXPECT_EQ(transitions.count(), 0);
    EXPECT_FALSE(manager.isPlaying());
    EXPECT_EQ(manager.currentIndex(), -1);
    EXPECT_EQ(manager.playerA()->status(), Player::Status::Empty);
    EXPECT_EQ(manager.playerB()->status(), Player::Status::Empty);

    manager.play();
    ASSERT_TRUE(waitForTransitions(transitions, 1));
    EXPECT_EQ(manager.currentIndex(), 0);

    manager.nextVideo();
    manager.nextVideo();
    manager.previousVideo();
    EXPECT_EQ(manager.currentIndex(), 1);
    ASSERT_TRUE(waitForTransitions(transitions, 2));
    testutil::settle();
    EXPECT_FALSE(manager.isPreparingNextVideo()) << "no load left that could switch again";
    EXPECT_EQ(transitions.count(), 2);
    EXPECT_EQ(manager.currentIndex(), 1);
}

TEST_F(VideoPlayerManagerTest, PreferencesReachBothPlayers) {
    useFolder("three");
    Preferences& store = Preferences::standard();
    store.set(u"playbackRate"_s, 3.0);
    VideoPlayerManager manager(u"1"_s);
    for (Player* player : {manager.playerA(), manager.playerB()}) {
        EXPECT_TRUE(player->isMuted());
        EXPECT_DOUBLE_EQ(player->volume(), 0.5);
        EXPECT_FALSE(player->preventsDisplaySleep());
    }
    QSignalSpy transitions(&manager, &VideoPlayerManager::videoPlayerDidTransition);
    manager.play();
    ASSERT_TRUE(waitForTransitions(transitions, 1));
    auto* active = qobject_cast<MpvPlayer*>(manager.activePlayer());
    ASSERT_NE(active, nullptr);
    EXPECT_EQ(active->effectiveRate(), 2.0);

    store.set(u"audioMuted"_s, false);
    store.set(u"audioVolume"_s, 0.25);
    store.set(u"preventDisplaySleep"_s, true);
    store.set(u"playbackRate"_s, 0.25);
    for (Player* player : {manager.playerA(), manager.playerB()}) {
        EXPECT_FALSE(player->isMuted());
        EXPECT_DOUBLE_EQ(player->volume(), double(0.25f));
        EXPECT_TRUE(player->preventsDisplaySleep());
        EXPECT_EQ(player->rate(), 0.5);
    }

    // A value of another type counts as muted.
    store.set(u"audioMuted"_s, u"false"_s);
    EXPECT_TRUE(manager.playerA()->isMuted() && manager.playerB()->isMuted());

    // Paused by the controller: any change keeps both players still.
    manager.playerA()->pause();
    manager.playerB()->pause();
    manager.setIsPlaying(false);
    store.set(u"videoScaling"_s, 1);
    for (Player* player : {manager.playerA(), manager.playerB()})
        EXPECT_EQ(player->rate(), 0.0);
    EXPECT_EQ(active->effectiveRate(), 0.0);
}

} // namespace
