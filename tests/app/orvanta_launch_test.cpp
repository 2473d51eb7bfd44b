#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "support/TestUtil.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr int kProcessTimeoutMs = 60000;

// The real program under the harness's X server and buses, with a store of its own.
class RunningOrvanta {
public:
    explicit RunningOrvanta(const QString& root) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"XDG_CONFIG_HOME"_s, root + u"/config"_s);
        env.insert(u"XDG_STATE_HOME"_s, root + u"/state"_s);
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
    return dir.filePath(u"config/orvanta/preferences.sqlite3"_s);
}

// Encodes clips a.mp4, b.mp4, ... into root/clips and makes that folder the program's source.
void addClipFolder(const QTemporaryDir& dir, int count, double seconds) {
    testutil::ClipSpec clip;
    clip.seconds = seconds;
    for (int i = 0; i < count; ++i) {
        const QString name = u"clips/%1.mp4"_s.arg(QChar(u'a' + i));
        ASSERT_TRUE(testutil::encodeClip(dir.filePath(name), clip)) << name.toStdString();
    }
    Preferences store(storePath(dir));
    FolderBookmarkManager folders(store);
    ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(dir.filePath(u"clips"_s))));
}

QString playerctl(const QStringList& arguments) {
    const testutil::ProcessResult result =
        testutil::runProcess(u"playerctl"_s, QStringList{u"-p"_s, u"orvanta"_s} + arguments);
    return result.exitCode == 0
               ? QString::fromUtf8(result.out).trimmed()
               : u"exit %1: %2"_s.arg(result.exitCode).arg(QString::fromUtf8(result.err).trimmed());
}

// Waits until playerctl reports what is wanted; returns what it reported last.
QString waitForPlayerctl(const QStringList& arguments, const QString& wanted) {
    QString last;
    testutil::waitUntil([&] { return (last = playerctl(arguments)) == wanted; }, kProcessTimeoutMs);
    return last;
}

// Starts the real program twice, ending it as a session does: the first start finds the store
// locked by another program for longer than it waits, goes on, and reads the store and writes
// the defaults once it is free, keeping what was stored; the second keeps the user's choice,
// answers media controls and rebuilds the windows once when a monitor goes (this program has a
// harness of its own).
TEST(OrvantaLaunch, FirstStartWritesDefaultsAndTheRunningProgramFollowsMediaKeysAndMonitors) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    Preferences(storePath(dir)).set(u"videoScaling"_s, 1);
    {
        sqlite3* holder = nullptr;
        ASSERT_EQ(sqlite3_open(qPrintable(storePath(dir)), &holder), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        RunningOrvanta orvanta(dir.path());
        ASSERT_TRUE(orvanta.start());
        ASSERT_TRUE(orvanta.readUntil("started with")) << orvanta.output().constData();
        sqlite3_close(holder);
        EXPECT_TRUE(orvanta.output().contains("Orvanta " ORVANTA_VERSION " started with 0 videos"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.output().contains(" is in use by another program; waiting up to 5 s"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.readUntil("Preferences: read " + QFile::encodeName(storePath(dir)) +
                                      " now that it can be used again"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    }
    ASSERT_NO_FATAL_FAILURE(addClipFolder(dir, 3, 20.0));
    {
        Preferences store(storePath(dir));
        EXPECT_EQ(store.objectForKey(u"videoScaling"_s), QVariant(qint64(1)));
        EXPECT_EQ(store.objectForKey(u"transitionType"_s), QVariant(qint64(2)));
        store.set(u"transitionType"_s, 0);
        // One shared queue, so the primary screen's video is the only one that moves.
        store.set(u"syncDisplays"_s, true);
        // Long enough that no video ends on its own while the test runs.
        store.set(u"playbackRate"_s, 0.5);
    }

    RunningOrvanta orvanta(dir.path());
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("Showing 2 desktop windows")) << orvanta.output().constData();
    EXPECT_TRUE(orvanta.output().contains("started with 3 videos")) << orvanta.output().constData();

    const QStringList status{u"status"_s};
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
    // The length is published once the first video has loaded, without any command.
    const QStringList length{u"metadata"_s, u"mpris:length"_s};
    EXPECT_EQ(waitForPlayerctl(length, u"20000000"_s), u"20000000"_s);
    const QStringList fields{u"metadata"_s, u"--format"_s, u"{{artist}}|{{album}}|{{title}}"_s};
    const QString first = playerctl(fields);
    ASSERT_TRUE(first.startsWith(u"Orvanta|Video "_s)) << first.toStdString();

    EXPECT_EQ(playerctl({u"play-pause"_s}), QString());
    EXPECT_EQ(waitForPlayerctl(status, u"Paused"_s), u"Paused"_s);
    EXPECT_EQ(playerctl({u"play-pause"_s}), QString());
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);

    // Next moves one place on in the play order, previous comes back to where it was. A press
    // that comes while the next video still loads is dropped: press again until the title moves.
    const auto press = [&](const QString& command, const QString& from) {
        QString now = from;
        for (int tries = 0; tries < 10 && now == from; ++tries) {
            EXPECT_EQ(playerctl({command}), QString());
            testutil::waitUntil(
                [&] { return (now = playerctl(fields)) != from && !now.startsWith(u"exit"_s); },
                5000);
        }
        return now;
    };
    const QString second = press(u"next"_s, first);
    EXPECT_TRUE(second != first && second.startsWith(u"Orvanta|Video "_s)) << second.toStdString();
    EXPECT_EQ(press(u"previous"_s, second), first);

    const testutil::ProcessResult unplug =
        testutil::runProcess(u"xrandr"_s, {u"--delmonitor"_s, u"DP-2"_s});
    ASSERT_EQ(unplug.exitCode, 0) << unplug.err.toStdString();
    EXPECT_TRUE(orvanta.readUntil("Showing 1 desktop windows")) << orvanta.output().constData();
    EXPECT_EQ(orvanta.output().count("Showing 1 desktop windows"), 1);
    EXPECT_TRUE(orvanta.quitWith(SIGINT)) << orvanta.output().constData();
    EXPECT_EQ(Preferences(storePath(dir)).objectForKey(u"transitionType"_s), QVariant(qint64(0)));
}

} // namespace
