#include "core/Preferences.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"
#include "system/LaunchAtLoginManager.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kLaunch = u"com.orvanta.launch"_s;

// The entry is written where the desktop looks for it, valid for desktop-file-validate, and goes
// again when turned off; a failure is logged and the request still stored.
TEST(LaunchAtLogin, WritesAValidAutostartEntryAndRemovesItAgain) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    qputenv("XDG_CONFIG_HOME", dir.filePath(u"config"_s).toLocal8Bit());
    const QString entry = dir.filePath(u"config/autostart/orvanta.desktop"_s);
    Preferences store(dir.filePath(u"store.sqlite3"_s));
    LaunchAtLoginManager manager(store);
    LogCapture log;

    manager.setEnabled(true);
    ASSERT_TRUE(QFile::exists(entry));
    EXPECT_TRUE(log.contains(kLaunch, u"Registered for launch at login"_s));
    EXPECT_EQ(store.objectForKey(u"launchAtLogin"_s), QVariant(true));
    const testutil::ProcessResult valid = testutil::runProcess(u"desktop-file-validate"_s, {entry});
    EXPECT_EQ(valid.exitCode, 0) << valid.out.toStdString() << valid.err.toStdString();
    EXPECT_TRUE(valid.out.isEmpty()) << valid.out.toStdString();
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("Exec=orvanta --background\n"));

    manager.setEnabled(false);
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_TRUE(log.contains(kLaunch, u"Unregistered from launch at login"_s));
    EXPECT_EQ(store.objectForKey(u"launchAtLogin"_s), QVariant(false));

    // A file where the autostart folder belongs: nothing can be written there.
    QDir().rmpath(dir.filePath(u"config/autostart"_s));
    testutil::writeFile(dir.filePath(u"config/autostart"_s), "not a folder");
    manager.setEnabled(true);
    EXPECT_EQ(store.objectForKey(u"launchAtLogin"_s), QVariant(true));
    const QStringList messages = log.messages(kLaunch);
    ASSERT_FALSE(messages.isEmpty());
    EXPECT_TRUE(messages.last().startsWith(u"Failed to update launch at login: "_s))
        << messages.last().toStdString();
}

} // namespace
