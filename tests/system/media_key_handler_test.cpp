// MediaKeyHandler as an MPRIS player on the harness's session bus, read and driven by the real
// playerctl (without a bus: screen_lock_monitor_test). This process serves the player, so playerctl
// runs beside a spinning event loop and is never waited for with a blocking call.

#include "support/TestUtil.h"
#include "system/MediaKeyHandler.h"
#include "system/MediaKeyTarget.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QProcess>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kProcessTimeoutMs = 20000;

// A controller as the application's: starting playback switches the handler on.
class FakeController : public MediaKeyTarget {
public:
    explicit FakeController(MediaKeyHandler& handler)
        : m_handler(handler) {
        m_handler.setController(this);
    }
    ~FakeController() override { m_handler.setController(nullptr); }

    void startAllPlayback() override { start(u"start"_s); }
    void pauseAllPlayback() override { pause(u"pause"_s); }
    void togglePlayPause() override { playing ? pause(u"toggle"_s) : start(u"toggle"_s); }
    void nextVideo() override { show(u"next"_s, video->currentIndex + 1); }
    void previousVideo() override { show(u"previous"_s, video->currentIndex - 1); }
    bool isPlaying() const override { return playing; }
    std::optional<Video> primaryVideo() const override { return video; }

    QStringList calls;
    bool playing = false;
    std::optional<Video> video = Video{u"clip 3"_s, 12.5, 4.0, 2, 12};

private:
    void show(const QString& call, int index) {
        calls << call;
        video->currentIndex = index;
        video->name = u"clip %1"_s.arg(index + 1);
    }
    void pause(const QString& call) {
        calls << call;
        playing = false;
    }
    void start(const QString& call) {
        calls << call;
        if (!playing) {
            playing = true;
            m_handler.enable();
            m_handler.updateNowPlayingInfo();
        }
    }

    MediaKeyHandler& m_handler;
};

struct ClientResult {
    int exitCode = -1;
    QString out;
};

// Runs a client of this player to its end.
ClientResult runClient(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!testutil::waitUntil([&process] { return process.state() == QProcess::NotRunning; },
                             kProcessTimeoutMs)) {
        process.kill();
        testutil::waitUntil([&process] { return process.state() == QProcess::NotRunning; });
        ADD_FAILURE() << program.toStdString() << ' '
                      << arguments.join(QLatin1Char(' ')).toStdString() << " did not end";
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()).trimmed()};
}

ClientResult playerctl(const QStringList& arguments) {
    return runClient(u"playerctl"_s, QStringList{u"-p"_s, u"orvanta"_s} + arguments);
}

// A method call or property read on the player with gdbus, which shows the values' D-Bus types.
ClientResult gdbusCall(const QString& method, const QStringList& arguments = {}) {
    const QString call = u"call --session --dest org.mpris.MediaPlayer2.orvanta --object-path "
                         "/org/mpris/MediaPlayer2 --method "_s;
    return runClient(u"gdbus"_s, (call + method).split(u' ') + arguments);
}

QString status() {
    return playerctl({u"status"_s}).out;
}

QString metadata(const QString& format) {
    return playerctl({u"metadata"_s, u"--format"_s, format}).out;
}

const QString kFields = u"{{title}}|{{artist}}|{{album}}|{{mpris:length}}"_s;

class MediaKeysTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!QDBusConnection::sessionBus().isConnected())
            GTEST_SKIP() << "needs the harness's session bus (scripts/harness)";
        handler = std::make_unique<MediaKeyHandler>();
        controller = std::make_unique<FakeController>(*handler);
    }

    std::unique_ptr<MediaKeyHandler> handler;
    std::unique_ptr<FakeController> controller;
};

TEST_F(MediaKeysTest, ShowsWhatPlaysOnlyWhileOn) {
    handler->updateNowPlayingInfo();
    EXPECT_EQ(status(), u"Stopped"_s);
    EXPECT_EQ(metadata(kFields), QString());

    controller->startAllPlayback();
    EXPECT_EQ(status(), u"Playing"_s);
    EXPECT_EQ(metadata(kFields), u"clip 3|Orvanta|Video 3 of 12|12500000"_s);
    // The types clients rely on: an object path, microseconds as int64, a list of artists.
    const QString wire = gdbusCall(u"org.freedesktop.DBus.Properties.Get"_s,
                                   {u"org.mpris.MediaPlayer2.Player"_s, u"Metadata"_s})
                             .out;
    for (const char* entry : {"'mpris:trackid': <objectpath '/org/orvanta/track/2'>",
                              "'mpris:length': <int64 12500000>", "'xesam:artist': <['Orvanta']>"})
        EXPECT_TRUE(wire.contains(QLatin1String(entry))) << entry << " in " << wire.toStdString();
    // While playing, the position moves on from the elapsed time of the last refresh.
    const double position = playerctl({u"position"_s}).out.toDouble();
    EXPECT_GE(position, 4.0);
    EXPECT_GT(playerctl({u"position"_s}).out.toDouble(), position);
    const QString root = runClient(u"gdbus"_s, u"introspect --session --dest "
                                               "org.mpris.MediaPlayer2.orvanta --object-path "
                                               "/org/mpris/MediaPlayer2"_s.split(u' '))
                             .out;
    for (const char* entry : {"readonly b CanQuit = true;", "Seeked(x Position);"})
        EXPECT_TRUE(root.contains(QLatin1String(entry))) << entry << " in " << root.toStdString();

    // Pausing keeps the video and refreshes the elapsed time.
    controller->playing = false;
    controller->video->currentTime = 7.25;
    handler->updatePlaybackState(false);
    EXPECT_EQ(status(), u"Paused"_s);
    EXPECT_EQ(metadata(u"{{title}} {{position}}"_s), u"clip 3 7250000"_s);

    // A single video has no album.
    controller->video = MediaKeyTarget::Video{u"solo"_s, 3.0, 0.0, 0, 1};
    handler->updateNowPlayingInfo();
    EXPECT_EQ(metadata(kFields), u"solo|Orvanta||3000000"_s);

    // Without a primary player there is nothing to show, but the player is still on.
    controller->video.reset();
    handler->updateNowPlayingInfo();
    EXPECT_EQ(metadata(kFields), QString());

    handler->disable();
    EXPECT_EQ(status(), u"Stopped"_s);
}

TEST_F(MediaKeysTest, CommandsReachTheController) {
    controller->startAllPlayback();
    controller->calls.clear();

    for (const auto& [command, after] :
         {std::pair{"play-pause", "Paused"}, std::pair{"play", "Playing"},
          std::pair{"pause", "Paused"}}) {
        EXPECT_EQ(playerctl({QString::fromUtf8(command)}).exitCode, 0) << command;
        EXPECT_EQ(status(), QString::fromUtf8(after)) << command;
    }

    EXPECT_EQ(playerctl({u"next"_s}).exitCode, 0);
    EXPECT_EQ(metadata(kFields), u"clip 4|Orvanta|Video 4 of 12|12500000"_s);
    EXPECT_EQ(playerctl({u"previous"_s}).exitCode, 0);
    EXPECT_EQ(metadata(u"{{album}}"_s), u"Video 3 of 12"_s);

    EXPECT_EQ(controller->calls, u"toggle start pause next previous"_s.split(u' '));
}

TEST_F(MediaKeysTest, DisabledCommandsAreRefused) {
    // Before playback first starts, and after it stops: previous track is off too.
    for (int round = 0; round < 2; ++round) {
        for (const QString& command : u"play pause play-pause next previous"_s.split(u' '))
            EXPECT_NE(playerctl({command}).exitCode, 0) << command.toStdString();
        // A client that calls regardless gets no effect either.
        EXPECT_EQ(gdbusCall(u"org.mpris.MediaPlayer2.Player.Next"_s).exitCode, 0);
        EXPECT_EQ(controller->calls, QStringList()) << "round " << round;
        controller->startAllPlayback();
        controller->playing = false;
        handler->disable();
        controller->calls.clear();
    }

    // Switching on again adds no second set of handlers: one command, one call.
    controller->startAllPlayback();
    EXPECT_TRUE(handler->commandTargetsRegistered());
    controller->calls.clear();
    EXPECT_EQ(playerctl({u"next"_s}).exitCode, 0);
    EXPECT_EQ(controller->calls, QStringList({u"next"_s}));
}

TEST_F(MediaKeysTest, FollowersSeeEveryChange) {
    controller->startAllPlayback();
    QProcess follower;
    follower.start(u"playerctl"_s, u"-p orvanta --follow metadata --format"_s.split(u' ')
                                       << u"{{status}} {{title}}"_s);
    QStringList lines;
    const auto sawLine = [&follower, &lines](const QString& line) {
        testutil::waitUntil(
            [&] {
                while (follower.canReadLine())
                    lines << QString::fromUtf8(follower.readLine()).trimmed();
                return lines.contains(line) || follower.state() == QProcess::NotRunning;
            },
            kProcessTimeoutMs);
        return lines.contains(line);
    };

    EXPECT_TRUE(sawLine(u"Playing clip 3"_s)) << lines.join('\n').toStdString();
    controller->pauseAllPlayback();
    handler->updatePlaybackState(false);
    EXPECT_TRUE(sawLine(u"Paused clip 3"_s)) << lines.join('\n').toStdString();
    controller->nextVideo();
    handler->updateNowPlayingInfo();
    EXPECT_TRUE(sawLine(u"Paused clip 4"_s)) << lines.join('\n').toStdString();

    follower.kill();
    testutil::waitUntil([&follower] { return follower.state() == QProcess::NotRunning; });
}

} // namespace
