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

    void startAllPlayback() override { start(QStringLiteral("start")); }
    void pauseAllPlayback() override { pause(QStringLiteral("pause")); }
    void togglePlayPause() override {
        playing ? pause(QStringLiteral("toggle")) : start(QStringLiteral("toggle"));
    }
    void nextVideo() override { show(QStringLiteral("next"), video->currentIndex + 1); }
    void previousVideo() override { show(QStringLiteral("previous"), video->currentIndex - 1); }
    bool isPlaying() const override { return playing; }
    std::optional<Video> primaryVideo() const override { return video; }

    QStringList calls;
    bool playing = false;
    std::optional<Video> video = Video{QStringLiteral("clip 3"), 12.5, 4.0, 2, 12};

private:
    void show(const QString& call, int index) {
        calls << call;
        video->currentIndex = index;
        video->name = QStringLiteral("clip %1").arg(index + 1);
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
    const bool ended = testutil::waitUntil(
        [&process] { return process.state() == QProcess::NotRunning; }, kProcessTimeoutMs);
    if (!ended) {
        process.kill();
        testutil::waitUntil([&process] { return process.state() == QProcess::NotRunning; });
        ADD_FAILURE() << program.toStdString() << ' '
                      << arguments.join(QLatin1Char(' ')).toStdString() << " did not end";
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()).trimmed()};
}

ClientResult playerctl(const QStringList& arguments) {
    return runClient(QStringLiteral("playerctl"),
                     QStringList{QStringLiteral("-p"), QStringLiteral("orvanta")} + arguments);
}

// A method call or property read on the player with gdbus, which shows the values' D-Bus types.
ClientResult gdbusCall(const QString& method, const QStringList& arguments = {}) {
    return runClient(
        QStringLiteral("gdbus"),
        QStringList{QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                    QStringLiteral("org.mpris.MediaPlayer2.orvanta"),
                    QStringLiteral("--object-path"), QStringLiteral("/org/mpris/MediaPlayer2"),
                    QStringLiteral("--method"), method} +
            arguments);
}

QString status() {
    return playerctl({QStringLiteral("status")}).out;
}

QString metadata(const QString& format) {
    return playerctl({QStringLiteral("metadata"), QStringLiteral("--format"), format}).out;
}

const QString kFields = QStringLiteral("{{title}}|{{artist}}|{{album}}|{{mpris:length}}");

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
    EXPECT_EQ(status(), QStringLiteral("Stopped"));
    EXPECT_EQ(metadata(kFields), QString());

    controller->startAllPlayback();
    EXPECT_EQ(status(), QStringLiteral("Playing"));
    EXPECT_EQ(metadata(kFields), QStringLiteral("clip 3|Orvanta|Video 3 of 12|12500000"));
    // The types clients rely on: an object path, microseconds as int64, a list of artists.
    const QString wire =
        gdbusCall(QStringLiteral("org.freedesktop.DBus.Properties.Get"),
                  {QStringLiteral("org.mpris.MediaPlayer2.Player"), QStringLiteral("Metadata")})
            .out;
    for (const char* entry : {"'mpris:trackid': <objectpath '/org/orvanta/track/2'>",
                              "'mpris:length': <int64 12500000>", "'xesam:artist': <['Orvanta']>"})
        EXPECT_TRUE(wire.contains(QLatin1String(entry))) << entry << " in " << wire.toStdString();

    // Pausing keeps the video and refreshes the elapsed time.
    controller->playing = false;
    controller->video->currentTime = 7.25;
    handler->updatePlaybackState(false);
    EXPECT_EQ(status(), QStringLiteral("Paused"));
    EXPECT_EQ(metadata(QStringLiteral("{{title}} {{position}}")), QStringLiteral("clip 3 7250000"));

    // A single video has no album.
    controller->video = MediaKeyTarget::Video{QStringLiteral("solo"), 3.0, 0.0, 0, 1};
    handler->updateNowPlayingInfo();
    EXPECT_EQ(metadata(kFields), QStringLiteral("solo|Orvanta||3000000"));

    // Without a primary player there is nothing to show, but the player is still on.
    controller->video.reset();
    handler->updateNowPlayingInfo();
    EXPECT_EQ(metadata(kFields), QString());

    handler->disable();
    EXPECT_EQ(status(), QStringLiteral("Stopped"));
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

    EXPECT_EQ(playerctl({QStringLiteral("next")}).exitCode, 0);
    EXPECT_EQ(metadata(kFields), QStringLiteral("clip 4|Orvanta|Video 4 of 12|12500000"));
    EXPECT_EQ(playerctl({QStringLiteral("previous")}).exitCode, 0);
    EXPECT_EQ(metadata(QStringLiteral("{{album}}")), QStringLiteral("Video 3 of 12"));

    EXPECT_EQ(controller->calls, QStringList({QStringLiteral("toggle"), QStringLiteral("start"),
                                              QStringLiteral("pause"), QStringLiteral("next"),
                                              QStringLiteral("previous")}));
}

TEST_F(MediaKeysTest, DisabledCommandsAreRefused) {
    const QStringList commands = {QStringLiteral("play"), QStringLiteral("pause"),
                                  QStringLiteral("play-pause"), QStringLiteral("next"),
                                  QStringLiteral("previous")};
    // Before playback first starts, and after it stops: previous track is off too.
    for (int round = 0; round < 2; ++round) {
        for (const QString& command : commands)
            EXPECT_NE(playerctl({command}).exitCode, 0) << command.toStdString();
        // A client that calls regardless gets no effect either.
        EXPECT_EQ(gdbusCall(QStringLiteral("org.mpris.MediaPlayer2.Player.Next")).exitCode, 0);
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
    EXPECT_EQ(playerctl({QStringLiteral("next")}).exitCode, 0);
    EXPECT_EQ(controller->calls, QStringList({QStringLiteral("next")}));
}

TEST_F(MediaKeysTest, FollowersSeeEveryChange) {
    controller->startAllPlayback();
    QProcess follower;
    follower.start(QStringLiteral("playerctl"),
                   {QStringLiteral("-p"), QStringLiteral("orvanta"), QStringLiteral("--follow"),
                    QStringLiteral("metadata"), QStringLiteral("--format"),
                    QStringLiteral("{{status}} {{title}}")});
    QStringList lines;
    const auto sawLine = [&follower, &lines](const QString& line) {
        return testutil::waitUntil(
                   [&] {
                       while (follower.canReadLine())
                           lines << QString::fromUtf8(follower.readLine()).trimmed();
                       return lines.contains(line) || follower.state() == QProcess::NotRunning;
                   },
                   kProcessTimeoutMs) &&
               lines.contains(line);
    };

    EXPECT_TRUE(sawLine(QStringLiteral("Playing clip 3"))) << lines.join('\n').toStdString();
    controller->pauseAllPlayback();
    handler->updatePlaybackState(false);
    EXPECT_TRUE(sawLine(QStringLiteral("Paused clip 3"))) << lines.join('\n').toStdString();
    controller->nextVideo();
    handler->updateNowPlayingInfo();
    EXPECT_TRUE(sawLine(QStringLiteral("Paused clip 4"))) << lines.join('\n').toStdString();

    follower.kill();
    testutil::waitUntil([&follower] { return follower.state() == QProcess::NotRunning; });
}

} // namespace
