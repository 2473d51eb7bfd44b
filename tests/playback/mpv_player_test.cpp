#include "playback/MpvPlayer.h"

#include "library/LocalPath.h"
#include "support/TestUtil.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// The two-second clip again, named in Latin-1 as disks filled on other systems hold names.
const char* const kLatin1Name = "a\xff\xfe.mp4";

// Real mpv without a video output, on clips made by ffmpeg once for the whole suite.
class MpvPlayerTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        testutil::ClipSpec twoSeconds;
        twoSeconds.seconds = 2.0;
        ASSERT_TRUE(testutil::encodeClip(clip("two.mp4"), twoSeconds));
        testutil::ClipSpec withSound;
        withSound.extraArguments = u"-f lavfi -t 1 -i sine=frequency=440 -shortest"_s.split(u' ');
        ASSERT_TRUE(testutil::encodeClip(clip("audio.mp4"), withSound));
        testutil::writeFile(clip("empty.mp4"), {});
        testutil::writeFile(clip("text.mp4"), QByteArray("this is not a video\n").repeated(50));
        QFile full(clip("two.mp4"));
        ASSERT_TRUE(full.open(QIODevice::ReadOnly));
        const QByteArray whole = full.readAll();
        testutil::writeFile(clip("truncated.mp4"), whole.left(whole.size() / 3));
        testutil::writeFile(clip(kLatin1Name), whole);
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    // A name's bytes as they are on disk: they need not be UTF-8.
    static QString clip(const char* name) { return s_dir->filePath(LocalPath::fromBytes(name)); }
    static QUrl url(const char* name) { return QUrl::fromLocalFile(clip(name)); }

    // Loads a file and waits for its verdict.
    static Player::Status loadAndWait(MpvPlayer& player, const char* name) {
        QSignalSpy status(&player, &Player::statusChanged);
        const quint64 item = player.load(url(name));
        EXPECT_EQ(player.status(), Player::Status::Loading);
        EXPECT_TRUE(testutil::waitUntil([&] { return !status.isEmpty(); }));
        if (status.isEmpty())
            return Player::Status::Loading;
        EXPECT_EQ(status.first().at(0).toULongLong(), item);
        EXPECT_EQ(status.count(), 1);
        return status.first().at(1).value<Player::Status>();
    }

    static inline std::unique_ptr<QTemporaryDir> s_dir;
};

TEST_F(MpvPlayerTest, LoadsPausedAndReportsReadiness) {
    MpvPlayer player;
    ASSERT_TRUE(player.isValid());
    EXPECT_EQ(player.status(), Player::Status::Empty);
    EXPECT_EQ(player.currentItem(), 0u);

    ASSERT_EQ(loadAndWait(player, "two.mp4"), Player::Status::ReadyToPlay);
    EXPECT_EQ(player.rate(), 0.0);
    EXPECT_EQ(player.effectiveRate(), 0.0);
    const Player::Duration duration = player.duration();
    ASSERT_TRUE(duration.isUsable());
    EXPECT_NEAR(duration.seconds, 2.0, 0.15);
    EXPECT_LT(player.currentTime(), 0.2);
    EXPECT_FALSE(player.isAtEnd());
    EXPECT_EQ(player.currentURL(), url("two.mp4"));
}

TEST_F(MpvPlayerTest, BrokenFilesFailWithADescription) {
    MpvPlayer player;
    for (const char* name : {"empty.mp4", "text.mp4", "truncated.mp4", "missing.mp4"}) {
        const Player::Status status = loadAndWait(player, name);
        if (QByteArray(name) == "truncated.mp4" && status == Player::Status::ReadyToPlay) {
            // The head of a clip may still open; it must then fail or end while playing.
            QSignalSpy ended(&player, &Player::didPlayToEnd);
            QSignalSpy failed(&player, &Player::failedToPlayToEnd);
            player.setRate(1.0);
            EXPECT_TRUE(testutil::waitUntil([&] { return !ended.isEmpty() || !failed.isEmpty(); }))
                << name;
            continue;
        }
        EXPECT_EQ(status, Player::Status::Failed) << name;
        EXPECT_FALSE(player.errorDescription().isEmpty()) << name;
    }
    // A failed load leaves the player usable.
    EXPECT_EQ(loadAndWait(player, "two.mp4"), Player::Status::ReadyToPlay);
}

TEST_F(MpvPlayerTest, PlaysToTheEndWithItsObserversAndHoldsTheLastFrame) {
    MpvPlayer player;
    // Named in Latin-1: mpv is handed the name's own bytes.
    ASSERT_EQ(loadAndWait(player, kLatin1Name), Player::Status::ReadyToPlay);
    QList<double> ticks;
    player.addPeriodicTimeObserver(0.5, [&ticks](double time) { ticks.append(time); });
    // Boundaries fire once when reached; a removed one and one beyond the end never.
    QList<double> reachedAt;
    int otherCalls = 0;
    player.addBoundaryTimeObserver(1.0, [&] { reachedAt.append(player.currentTime()); });
    player.removeTimeObserver(player.addBoundaryTimeObserver(0.5, [&] { ++otherCalls; }));
    player.addBoundaryTimeObserver(30.0, [&] { ++otherCalls; });
    QSignalSpy ended(&player, &Player::didPlayToEnd);

    player.setRate(1.0);
    EXPECT_EQ(player.effectiveRate(), 1.0);
    ASSERT_TRUE(testutil::waitUntil([&] { return !ended.isEmpty(); }));
    EXPECT_EQ(ended.first().at(0).toULongLong(), player.currentItem());
    EXPECT_TRUE(player.isAtEnd());
    EXPECT_EQ(player.status(), Player::Status::ReadyToPlay);
    EXPECT_GT(player.currentTime(), 1.5);
    // mpv still has the file open on its last frame.
    EXPECT_EQ(player.mpvProperty("idle-active"), u"no"_s);
    EXPECT_FALSE(player.mpvProperty("path").isEmpty());

    ASSERT_GE(ticks.size(), 2);
    for (qsizetype n = 1; n < ticks.size(); ++n)
        EXPECT_GE(ticks[n], ticks[n - 1]);
    // Nothing ticks at the end, for two of the observer's periods.
    const qsizetype ticksAtEnd = ticks.size();
    testutil::waitTimerPeriods(500);
    EXPECT_EQ(ticks.size(), ticksAtEnd);
    EXPECT_EQ(ended.count(), 1);
    ASSERT_EQ(reachedAt.size(), 1);
    EXPECT_GE(reachedAt.first(), 0.9);
    EXPECT_LT(reachedAt.first(), 1.9);
    EXPECT_EQ(otherCalls, 0);
}

TEST_F(MpvPlayerTest, RateVolumeMuteAndDisplaySleepReachMpv) {
    MpvPlayer player;
    ASSERT_EQ(loadAndWait(player, "audio.mp4"), Player::Status::ReadyToPlay);
    // Muted by default, with no audio track so no audio device is opened.
    EXPECT_TRUE(player.isMuted());
    EXPECT_EQ(player.mpvProperty("mute"), u"yes"_s);
    EXPECT_EQ(player.mpvProperty("aid"), u"no"_s);
    EXPECT_EQ(player.mpvProperty("stop-screensaver"), u"no"_s);

    QSignalSpy rates(&player, &Player::rateChanged);
    player.setRate(2.0);
    EXPECT_EQ(player.rate(), 2.0);
    EXPECT_EQ(player.effectiveRate(), 2.0);
    player.pause();
    EXPECT_EQ(player.effectiveRate(), 0.0);
    EXPECT_EQ(rates.count(), 2);

    player.setMuted(false);
    player.setVolume(0.3);
    player.setPreventsDisplaySleep(true);
    EXPECT_EQ(player.mpvProperty("mute"), u"no"_s);
    EXPECT_NE(player.mpvProperty("aid"), u"no"_s);
    EXPECT_EQ(player.mpvProperty("volume").toDouble(), 30.0);
    EXPECT_TRUE(player.preventsDisplaySleep());
    EXPECT_EQ(player.mpvProperty("stop-screensaver"), u"no"_s);
    player.setVolume(7.0);
    EXPECT_EQ(player.volume(), 1.0);
}

TEST_F(MpvPlayerTest, ANewItemOrEmptyingSupersedesTheOldOne) {
    MpvPlayer player;
    QSignalSpy status(&player, &Player::statusChanged);
    const quint64 first = player.load(url("two.mp4"));
    const quint64 second = player.load(url("two.mp4"));
    EXPECT_NE(first, second);
    ASSERT_TRUE(testutil::waitUntil([&] { return !status.isEmpty(); }));
    testutil::settle();
    ASSERT_EQ(status.count(), 1);
    EXPECT_EQ(status.first().at(0).toULongLong(), second);

    const quint64 third = player.load(url("text.mp4"));
    player.empty();
    testutil::settle();
    EXPECT_EQ(status.count(), 1) << "no verdict for item " << third << " after emptying";
    EXPECT_EQ(player.status(), Player::Status::Empty);
    EXPECT_EQ(player.currentItem(), 0u);
    EXPECT_EQ(player.mpvProperty("idle-active"), u"yes"_s);
}

} // namespace
