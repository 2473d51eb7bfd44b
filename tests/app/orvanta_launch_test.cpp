#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "support/TestUtil.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {

constexpr int kProcessTimeoutMs = 60000;

// The real program under the harness's X server and buses, with a store of its own.
class RunningOrvanta {
public:
    explicit RunningOrvanta(const QString& root) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), root + QStringLiteral("/config"));
        env.insert(QStringLiteral("XDG_STATE_HOME"), root + QStringLiteral("/state"));
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
    }
    ~RunningOrvanta() {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(kProcessTimeoutMs);
        }
    }

    bool start() {
        m_process.start(QStringLiteral(ORVANTA_BIN), {});
        return m_process.waitForStarted();
    }
    // Reads the program's log until text appears; false if it ends first.
    bool readUntil(const QByteArray& text) {
        testutil::waitUntil(
            [&] {
                m_process.waitForReadyRead(50);
                m_output += m_process.readAll();
                return m_output.contains(text) || m_process.state() != QProcess::Running;
            },
            kProcessTimeoutMs);
        return m_output.contains(text);
    }
    bool isRunning() const { return m_process.state() == QProcess::Running; }
    // Ends the program with a signal, as a session does; true when it quit cleanly.
    bool quitWith(int signalNumber) {
        ::kill(pid_t(m_process.processId()), signalNumber);
        if (!m_process.waitForFinished(kProcessTimeoutMs))
            return false;
        m_output += m_process.readAll();
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }
    const QByteArray& output() const { return m_output; }

private:
    QProcess m_process;
    QByteArray m_output;
};

QString storePath(const QTemporaryDir& dir) {
    return dir.filePath(QStringLiteral("config/orvanta/preferences.sqlite3"));
}

// Encodes clips a.mp4, b.mp4, ... into root/clips and makes that folder the program's source.
void addClipFolder(const QTemporaryDir& dir, int count, double seconds) {
    testutil::ClipSpec clip;
    clip.seconds = seconds;
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("clips/%1.mp4").arg(QChar(u'a' + i));
        ASSERT_TRUE(testutil::encodeClip(dir.filePath(name), clip)) << name.toStdString();
    }
    Preferences store(storePath(dir));
    FolderBookmarkManager folders(store);
    ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(dir.filePath(QStringLiteral("clips")))));
}

QString playerctl(const QStringList& arguments) {
    const testutil::ProcessResult result = testutil::runProcess(
        QStringLiteral("playerctl"),
        QStringList{QStringLiteral("-p"), QStringLiteral("orvanta")} + arguments);
    return result.exitCode == 0 ? QString::fromUtf8(result.out).trimmed()
                                : QStringLiteral("exit %1: %2")
                                      .arg(result.exitCode)
                                      .arg(QString::fromUtf8(result.err).trimmed());
}

// Waits until playerctl reports the wanted text; returns what it reported last.
QString waitForPlayerctl(const QStringList& arguments, const QString& wanted) {
    QString last;
    testutil::waitUntil(
        [&] {
            last = playerctl(arguments);
            return last == wanted;
        },
        kProcessTimeoutMs);
    return last;
}

// Starts the real program twice and ends it the way a session does. The first start writes the
// defaults (their values are the store's own test). The second leaves the user's choice alone,
// answers the desktop's media controls (what followers are told is MediaKeyHandler's own test),
// and builds the windows anew, once, when a monitor goes: it stays unplugged, and this program has
// a harness of its own.
TEST(OrvantaLaunch, FirstStartWritesDefaultsAndTheRunningProgramFollowsMediaKeysAndMonitors) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    {
        RunningOrvanta orvanta(dir.path());
        ASSERT_TRUE(orvanta.start());
        ASSERT_TRUE(orvanta.readUntil("started with")) << orvanta.output().constData();
        EXPECT_TRUE(orvanta.output().contains("Orvanta " ORVANTA_VERSION " started with 0 videos"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    }
    ASSERT_NO_FATAL_FAILURE(addClipFolder(dir, 3, 20.0));
    {
        Preferences store(storePath(dir));
        EXPECT_EQ(store.objectForKey(QStringLiteral("transitionType")), QVariant(qint64(2)));
        store.set(QStringLiteral("transitionType"), 0);
        // One shared queue, so the primary screen's video is the only one that moves.
        store.set(QStringLiteral("syncDisplays"), true);
        // Long enough that no video ends on its own while the test runs.
        store.set(QStringLiteral("playbackRate"), 0.5);
    }

    RunningOrvanta orvanta(dir.path());
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("Showing 2 desktop windows")) << orvanta.output().constData();
    EXPECT_TRUE(orvanta.output().contains("started with 3 videos")) << orvanta.output().constData();

    const QStringList status{QStringLiteral("status")};
    EXPECT_EQ(waitForPlayerctl(status, QStringLiteral("Playing")), QStringLiteral("Playing"));
    // The length is published once the first video has loaded, without any command.
    const QStringList length{QStringLiteral("metadata"), QStringLiteral("mpris:length")};
    EXPECT_EQ(waitForPlayerctl(length, QStringLiteral("20000000")), QStringLiteral("20000000"));
    const QStringList fields{QStringLiteral("metadata"), QStringLiteral("--format"),
                             QStringLiteral("{{artist}}|{{album}}|{{title}}")};
    const QString first = playerctl(fields);
    ASSERT_TRUE(first.startsWith(QStringLiteral("Orvanta|Video "))) << first.toStdString();

    EXPECT_EQ(playerctl({QStringLiteral("play-pause")}), QString());
    EXPECT_EQ(waitForPlayerctl(status, QStringLiteral("Paused")), QStringLiteral("Paused"));
    EXPECT_EQ(playerctl({QStringLiteral("play-pause")}), QString());
    EXPECT_EQ(waitForPlayerctl(status, QStringLiteral("Playing")), QStringLiteral("Playing"));

    // Next moves one place on in the play order, previous comes back to where it was.
    EXPECT_EQ(playerctl({QStringLiteral("next")}), QString());
    QString second;
    testutil::waitUntil(
        [&] {
            second = playerctl(fields);
            return second != first && !second.startsWith(QStringLiteral("exit"));
        },
        kProcessTimeoutMs);
    EXPECT_NE(second, first);
    EXPECT_TRUE(second.startsWith(QStringLiteral("Orvanta|Video "))) << second.toStdString();
    EXPECT_EQ(playerctl({QStringLiteral("previous")}), QString());
    EXPECT_EQ(waitForPlayerctl(fields, first), first);

    const testutil::ProcessResult unplug = testutil::runProcess(
        QStringLiteral("xrandr"), {QStringLiteral("--delmonitor"), QStringLiteral("DP-2")});
    ASSERT_EQ(unplug.exitCode, 0) << unplug.err.toStdString();
    EXPECT_TRUE(orvanta.readUntil("Showing 1 desktop windows")) << orvanta.output().constData();
    EXPECT_EQ(orvanta.output().count("Showing 1 desktop windows"), 1);
    EXPECT_TRUE(orvanta.quitWith(SIGINT)) << orvanta.output().constData();
    EXPECT_EQ(Preferences(storePath(dir)).objectForKey(QStringLiteral("transitionType")),
              QVariant(qint64(0)));
}

} // namespace
