#include "core/Preferences.h"
#include "support/TestUtil.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

// Drives the real orvanta-defaults program against a store in a temporary folder.
class DefaultsCommandTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    testutil::ProcessResult tool(const QStringList& arguments) {
        return testutil::runProcess(QStringLiteral(ORVANTA_DEFAULTS_BIN), arguments,
                                    {u"XDG_CONFIG_HOME="_s + m_dir.path()});
    }

    // Runs the tool, expecting success, and returns what it printed.
    QString ok(const QStringList& arguments) {
        const auto result = tool(arguments);
        EXPECT_EQ(result.exitCode, 0)
            << qPrintable(arguments.join(QLatin1Char(' '))) << ": " << result.err.constData();
        EXPECT_TRUE(result.err.isEmpty()) << result.err.constData();
        return QString::fromUtf8(result.out);
    }

    QString storePath() const { return m_dir.path() + u"/orvanta/preferences.sqlite3"_s; }

    QTemporaryDir m_dir;
};

// The words of a command line; a trailing space ends it with an empty argument.
QStringList args(const char* line) {
    return *line ? QString::fromUtf8(line).split(u' ') : QStringList();
}

TEST_F(DefaultsCommandTest, WritesEveryTypeAndReadsItBack) {
    // The write command's arguments, what read and read-type print, the value stored.
    const QList<std::tuple<QStringList, QString, QString, QVariant>> cases = {
        {args("audioMuted -bool false"), u"false\n"_s, u"boolean\n"_s, QVariant(false)},
        {args("pauseOnBattery -boolean YES"), u"true\n"_s, u"boolean\n"_s, QVariant(true)},
        {args("videoScaling -int -42"), u"-42\n"_s, u"integer\n"_s, QVariant(qint64(-42))},
        {args("transitionDuration -float 1"), u"1.0\n"_s, u"float\n"_s, QVariant(1.0)},
        {args("audioVolume -float 0.35"), u"0.35\n"_s, u"float\n"_s, QVariant(0.35)},
        {args("name -string") << u"two words"_s, u"two words\n"_s, u"string\n"_s,
         QVariant(u"two words"_s)},
        {args("plain -5"), u"-5\n"_s, u"string\n"_s, QVariant(u"-5"_s)},
        {args("hex -data 0A0b"), u"<0a0b>\n"_s, u"data\n"_s, QVariant(QByteArray("\x0a\x0b"))},
        {args("b64 -data base64:aGk="), u"<6869>\n"_s, u"data\n"_s, QVariant(QByteArray("hi"))},
        {args("b64bare -data aGk="), u"<6869>\n"_s, u"data\n"_s, QVariant(QByteArray("hi"))},
        {(args("list -array") << u"a b"_s) +
             args("-int 3 -data ff -float 2.5 -bool no -string -int"),
         u"( \"a b\", 3, <ff>, 2.5, false, \"-int\" )\n"_s, u"array\n"_s,
         QVariantList{u"a b"_s, qint64(3), QByteArray("\xff"), 2.5, false, u"-int"_s}},
        {args("none -array"), u"()\n"_s, u"array\n"_s, QVariant(QVariantList{})},
    };
    for (const auto& [write, printed, type, stored] : cases) {
        ok(QStringList{u"write"_s} + write);
        EXPECT_EQ(ok({u"read"_s, write.first()}), printed) << qPrintable(write.first());
        EXPECT_EQ(ok({u"read-type"_s, write.first()}), type) << qPrintable(write.first());
    }

    // What the tool wrote is what the program reads, with the same types.
    Preferences store(storePath());
    for (const auto& [write, printed, type, stored] : cases) {
        const QVariant value = store.objectForKey(write.first());
        EXPECT_EQ(Preferences::typeOf(value), Preferences::typeOf(stored))
            << qPrintable(write.first());
        EXPECT_EQ(value, stored) << qPrintable(write.first());
    }
}

TEST_F(DefaultsCommandTest, ListsAndReadsAllKeysAndDeletes) {
    EXPECT_TRUE(ok(args("help")).startsWith(u"Usage: orvanta-defaults COMMAND"_s));
    ok(args("write b -int 1"));
    ok(args("write a text"));
    EXPECT_EQ(ok(args("list")), u"a\tstring\nb\tinteger\n"_s);
    EXPECT_EQ(ok(args("read")), u"a = \"text\"\nb = 1\n"_s);

    EXPECT_EQ(ok(args("delete a")), QString());
    const auto missing = tool(args("read a"));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.isEmpty());
    EXPECT_EQ(missing.err, QByteArray("orvanta-defaults: the key \"a\" does not exist\n"));
    EXPECT_EQ(tool(args("delete a")).exitCode, 1);
    EXPECT_EQ(tool(args("read-type a")).exitCode, 1);
    EXPECT_EQ(ok(args("list")), u"b\tinteger\n"_s);
}

TEST_F(DefaultsCommandTest, PathsAreStoredAsTheBytesOfTheirAbsolutePath) {
    const auto data = [](const QString& path) {
        return QLatin1Char('<') + QString::fromLatin1(QFile::encodeName(path).toHex()) +
               QLatin1Char('>');
    };
    ok(args("write videoFoldersBookmarks -array -path /mnt/clips/ -path /home/\u00e9/../Videos"));
    EXPECT_EQ(ok(args("read videoFoldersBookmarks")),
              u"( %1, %2 )\n"_s.arg(data(u"/mnt/clips"_s), data(u"/home/Videos"_s)));
    // The tool runs in this test's current folder.
    ok(args("write folder -path clips"));
    EXPECT_EQ(ok(args("read folder")),
              data(QDir::current().absoluteFilePath(u"clips"_s)) + QLatin1Char('\n'));
}

TEST_F(DefaultsCommandTest, BadInputIsRefusedWithoutTouchingTheStore) {
    ok(args("write videoScaling -int 1"));
    // Commands of their own, then writes to videoScaling with what follows its key.
    QList<QStringList> bad;
    for (const char* command : {"", "frobnicate", "read a b", "delete", "write -int 5"})
        bad.append(args(command));
    for (const char* rest :
         {"", "-int", "-int 12x", "-int 99999999999999999999", "-int 1 2", "-bool maybe",
          "-float nan", "-float fast", "-data zz!", "-data abc", "-date today", "-path ",
          "-array a -int x", "-array a -int", "-array -dict", "one two"})
        bad.append(args("write videoScaling") + args(rest));
    for (const QStringList& arguments : bad) {
        const auto result = tool(arguments);
        const QString line = QString::fromUtf8(result.err).section(QLatin1Char('\n'), 0, 0);
        EXPECT_EQ(result.exitCode, 2) << qPrintable(arguments.join(QLatin1Char(' ')));
        EXPECT_TRUE(line.startsWith(u"orvanta-defaults: "_s))
            << qPrintable(arguments.join(QLatin1Char(' ')));
        EXPECT_TRUE(result.out.isEmpty());
    }
    EXPECT_EQ(ok(args("read videoScaling")), u"1\n"_s);
    EXPECT_EQ(ok(args("list")), u"videoScaling\tinteger\n"_s);
}

TEST_F(DefaultsCommandTest, AStoreLockedLongerThanTheWaitGivesUpAndKeepsTheFile) {
    ok(args("write kept before"));
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(qPrintable(storePath()), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    // Both wait at the same time, each the whole limit.
    QProcess read, write;
    for (auto& [process, command] : {std::pair{&read, "read kept"}, {&write, "write kept after"}}) {
        process->setEnvironment(QProcess::systemEnvironment()
                                << u"XDG_CONFIG_HOME="_s + m_dir.path());
        process->start(QStringLiteral(ORVANTA_DEFAULTS_BIN), args(command));
    }
    const QString error = u"orvanta-defaults: the preferences store %1 is in use by another "
                          u"program; gave up after 5 s\n"_s.arg(storePath());
    for (QProcess* process : {&read, &write}) {
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitCode(), 3);
        EXPECT_TRUE(process->readAllStandardOutput().isEmpty());
        const QString err = QString::fromUtf8(process->readAllStandardError());
        EXPECT_TRUE(err.contains(u"Preferences: %1 is in use by another program; waiting up "
                                 u"to 5 s\n"_s.arg(storePath())))
            << qPrintable(err);
        EXPECT_TRUE(err.endsWith(error)) << qPrintable(err);
    }
    sqlite3_close(holder);
    EXPECT_EQ(ok(args("read kept")), u"before\n"_s);
}

// The store's folder becomes a small file system in a mount namespace of the shell's own: first
// read-only, then full. Neither loses what was stored nor moves the file.
TEST_F(DefaultsCommandTest, AReadOnlyOrFullStoreRefusesWritesAndKeepsItsValues) {
    ok(args("write kept before"));
    const char* script = R"sh(d="$XDG_CONFIG_HOME/orvanta"
cp "$d/preferences.sqlite3" "$XDG_CONFIG_HOME/copy"
mount -t tmpfs -o size=256k tmpfs "$d" 2>/dev/null || exit 99
cp "$XDG_CONFIG_HOME/copy" "$d/preferences.sqlite3" && mount -o remount,ro "$d" || exit 98
"$0" write kept after; echo "read-only $?"
"$0" read kept
mount -o remount,rw "$d" && head -c 1M /dev/zero > "$d/filler" 2>/dev/null
"$0" write kept "$(head -c 20000 /dev/zero | tr '\0' x)"; echo "full $?"
rm "$d/filler" && "$0" read kept)sh";
    const auto result = testutil::runProcess(
        u"unshare"_s, {u"-rm"_s, u"sh"_s, u"-c"_s, QString::fromUtf8(script), ORVANTA_DEFAULTS_BIN},
        {u"XDG_CONFIG_HOME="_s + m_dir.path()});
    if (result.exitCode == 99)
        GTEST_SKIP() << "this machine lets no test mount a file system";
    EXPECT_EQ(result.out, "read-only 3\nbefore\nfull 3\nbefore\n") << result.err.constData();
    const QStringList errors = QString::fromUtf8(result.err).trimmed().split(u'\n');
    EXPECT_TRUE(errors.contains(u"orvanta-defaults: cannot write the preferences store %1: "
                                u"attempt to write a readonly database"_s.arg(storePath())))
        << result.err.constData();
    EXPECT_TRUE(errors.contains(u"orvanta-defaults: cannot write the preferences store %1: "
                                u"database or disk is full"_s.arg(storePath())))
        << result.err.constData();
}

} // namespace
