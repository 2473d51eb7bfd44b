#include "app/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "support/TestUtil.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {

// Starts the real program under the harness's X server and ends it the way a session does.
TEST(OrvantaLaunch, FirstStartWritesDefaultsAndTerminationQuitsCleanly) {
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "run the tests under scripts/harness";
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_STATE_HOME"), dir.filePath(QStringLiteral("state")));

    const QString storePath = dir.filePath(QStringLiteral("config/orvanta/preferences.sqlite3"));
    for (int signalNumber : {SIGTERM, SIGINT}) {
        const bool firstStart = signalNumber == SIGTERM;
        QProcess orvanta;
        orvanta.setProcessEnvironment(env);
        orvanta.setProcessChannelMode(QProcess::MergedChannels);
        orvanta.start(QStringLiteral(ORVANTA_BIN), {});
        ASSERT_TRUE(orvanta.waitForStarted());
        QByteArray output;
        ASSERT_TRUE(testutil::waitUntil(
            [&] {
                orvanta.waitForReadyRead(50);
                output += orvanta.readAll();
                return output.contains("started with") || orvanta.state() != QProcess::Running;
            },
            60000))
            << output.constData();
        ASSERT_EQ(orvanta.state(), QProcess::Running) << output.constData();
        EXPECT_TRUE(output.contains("Orvanta " ORVANTA_VERSION " started with 0 videos"))
            << output.constData();

        ::kill(pid_t(orvanta.processId()), signalNumber);
        ASSERT_TRUE(orvanta.waitForFinished(60000));
        EXPECT_EQ(orvanta.exitStatus(), QProcess::NormalExit) << "signal " << signalNumber;
        EXPECT_EQ(orvanta.exitCode(), 0) << orvanta.readAll().constData();

        Preferences store(storePath);
        EXPECT_EQ(store.objectForKey(QStringLiteral("autoPlayOnLaunch")), QVariant(true));
        EXPECT_EQ(store.objectForKey(QStringLiteral("transitionType")),
                  QVariant(qint64(firstStart ? 2 : 0)));
        EXPECT_EQ(store.objectForKey(QStringLiteral("transitionDuration")), QVariant(1.5));
        EXPECT_EQ(store.objectForKey(QStringLiteral("pauseOnScreenLock")), QVariant(true));
        // Second round: the user's choice survives the next start.
        store.set(QStringLiteral("transitionType"), 0);
    }
}

// The program shows a window on every monitor and builds them anew, once, when a monitor goes.
TEST(OrvantaLaunch, PlaysOnEveryScreenAndRebuildsWhenAMonitorIsUnplugged) {
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "run the tests under scripts/harness";
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    testutil::ClipSpec clip;
    clip.seconds = 3.0;
    ASSERT_TRUE(testutil::encodeClip(dir.filePath(QStringLiteral("clips/a.mp4")), clip));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_STATE_HOME"), dir.filePath(QStringLiteral("state")));
    {
        Preferences store(dir.filePath(QStringLiteral("config/orvanta/preferences.sqlite3")));
        FolderBookmarkManager folders(store);
        ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(dir.filePath(QStringLiteral("clips")))));
    }

    QProcess orvanta;
    orvanta.setProcessEnvironment(env);
    orvanta.setProcessChannelMode(QProcess::MergedChannels);
    orvanta.start(QStringLiteral(ORVANTA_BIN), {});
    ASSERT_TRUE(orvanta.waitForStarted());
    QByteArray output;
    const auto readUntil = [&](const QByteArray& text) {
        return testutil::waitUntil(
                   [&] {
                       orvanta.waitForReadyRead(50);
                       output += orvanta.readAll();
                       return output.contains(text) || orvanta.state() != QProcess::Running;
                   },
                   60000) &&
               output.contains(text);
    };
    ASSERT_TRUE(readUntil("Showing 2 desktop windows")) << output.constData();

    const auto restore = qScopeGuard([] {
        testutil::runProcess(QStringLiteral("xrandr"),
                             {QStringLiteral("--setmonitor"), QStringLiteral("DP-2"),
                              QStringLiteral("1920/508x1080/286+1920+0"), QStringLiteral("none")});
    });
    const testutil::ProcessResult unplug = testutil::runProcess(
        QStringLiteral("xrandr"), {QStringLiteral("--delmonitor"), QStringLiteral("DP-2")});
    ASSERT_EQ(unplug.exitCode, 0) << unplug.err.toStdString();
    EXPECT_TRUE(readUntil("Showing 1 desktop windows")) << output.constData();
    EXPECT_EQ(output.count("Showing 1 desktop windows"), 1);

    ::kill(pid_t(orvanta.processId()), SIGTERM);
    ASSERT_TRUE(orvanta.waitForFinished(60000));
    EXPECT_EQ(orvanta.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(orvanta.exitCode(), 0) << orvanta.readAll().constData();
}

} // namespace
