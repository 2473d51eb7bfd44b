#include "app/Preferences.h"
#include "support/TestUtil.h"

#include <QProcess>
#include <QProcessEnvironment>
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

} // namespace
