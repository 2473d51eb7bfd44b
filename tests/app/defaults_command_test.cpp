#include "core/Preferences.h"
#include "support/TestUtil.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// Drives the real orvanta-defaults program against a store in a temporary folder.
class DefaultsCommandTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    testutil::ProcessResult tool(const QStringList& arguments) {
        return testutil::runProcess(QStringLiteral(ORVANTA_DEFAULTS_BIN), arguments,
                                    {QStringLiteral("XDG_CONFIG_HOME=") + m_dir.path()});
    }

    // Runs the tool, expecting success, and returns what it printed.
    QString ok(const QStringList& arguments) {
        const auto result = tool(arguments);
        EXPECT_EQ(result.exitCode, 0)
            << qPrintable(arguments.join(QLatin1Char(' '))) << ": " << result.err.constData();
        EXPECT_TRUE(result.err.isEmpty()) << result.err.constData();
        return QString::fromUtf8(result.out);
    }

    QString storePath() const {
        return m_dir.path() + QStringLiteral("/orvanta/preferences.sqlite3");
    }

    QTemporaryDir m_dir;
};

QStringList args(std::initializer_list<const char*> list) {
    QStringList result;
    for (const char* a : list)
        result.append(QString::fromUtf8(a));
    return result;
}

TEST_F(DefaultsCommandTest, WritesEveryTypeAndReadsItBack) {
    struct Case {
        QStringList write;
        QString printed;
        QString type;
        QVariant stored;
    };
    const QList<Case> cases = {
        {args({"audioMuted", "-bool", "false"}), QStringLiteral("false\n"),
         QStringLiteral("boolean\n"), QVariant(false)},
        {args({"pauseOnBattery", "-boolean", "YES"}), QStringLiteral("true\n"),
         QStringLiteral("boolean\n"), QVariant(true)},
        {args({"videoScaling", "-int", "-42"}), QStringLiteral("-42\n"),
         QStringLiteral("integer\n"), QVariant(qint64(-42))},
        {args({"transitionDuration", "-float", "1"}), QStringLiteral("1.0\n"),
         QStringLiteral("float\n"), QVariant(1.0)},
        {args({"audioVolume", "-float", "0.35"}), QStringLiteral("0.35\n"),
         QStringLiteral("float\n"), QVariant(0.35)},
        {args({"name", "-string", "two words"}), QStringLiteral("two words\n"),
         QStringLiteral("string\n"), QVariant(QStringLiteral("two words"))},
        {args({"plain", "-5"}), QStringLiteral("-5\n"), QStringLiteral("string\n"),
         QVariant(QStringLiteral("-5"))},
        {args({"hex", "-data", "0A0b"}), QStringLiteral("<0a0b>\n"), QStringLiteral("data\n"),
         QVariant(QByteArray("\x0a\x0b"))},
        {args({"b64", "-data", "base64:aGk="}), QStringLiteral("<6869>\n"),
         QStringLiteral("data\n"), QVariant(QByteArray("hi"))},
        {args({"b64bare", "-data", "aGk="}), QStringLiteral("<6869>\n"), QStringLiteral("data\n"),
         QVariant(QByteArray("hi"))},
        {args({"list", "-array", "a b", "-int", "3", "-data", "ff", "-float", "2.5", "-bool", "no",
               "-string", "-int"}),
         QStringLiteral("( \"a b\", 3, <ff>, 2.5, false, \"-int\" )\n"), QStringLiteral("array\n"),
         QVariant(QVariantList{QVariant(QStringLiteral("a b")), QVariant(qint64(3)),
                               QVariant(QByteArray("\xff")), QVariant(2.5), QVariant(false),
                               QVariant(QStringLiteral("-int"))})},
        {args({"none", "-array"}), QStringLiteral("()\n"), QStringLiteral("array\n"),
         QVariant(QVariantList{})},
    };
    for (const Case& c : cases) {
        const QString key = c.write.first();
        ok(QStringList{QStringLiteral("write")} + c.write);
        EXPECT_EQ(ok({QStringLiteral("read"), key}), c.printed) << qPrintable(key);
        EXPECT_EQ(ok({QStringLiteral("read-type"), key}), c.type) << qPrintable(key);
    }

    // What the tool wrote is what the program reads, with the same types.
    Preferences store(storePath());
    for (const Case& c : cases) {
        const QVariant value = store.objectForKey(c.write.first());
        EXPECT_EQ(Preferences::typeOf(value), Preferences::typeOf(c.stored))
            << qPrintable(c.write.first());
        EXPECT_EQ(value, c.stored) << qPrintable(c.write.first());
    }
}

TEST_F(DefaultsCommandTest, ListsAndReadsAllKeysAndDeletes) {
    EXPECT_TRUE(ok(args({"help"})).startsWith(QStringLiteral("Usage: orvanta-defaults COMMAND")));
    ok(args({"write", "b", "-int", "1"}));
    ok(args({"write", "a", "text"}));
    EXPECT_EQ(ok(args({"list"})), QStringLiteral("a\tstring\nb\tinteger\n"));
    EXPECT_EQ(ok(args({"read"})), QStringLiteral("a = \"text\"\nb = 1\n"));

    EXPECT_EQ(ok(args({"delete", "a"})), QString());
    const auto missing = tool(args({"read", "a"}));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.isEmpty());
    EXPECT_EQ(missing.err, QByteArray("orvanta-defaults: the key \"a\" does not exist\n"));
    EXPECT_EQ(tool(args({"delete", "a"})).exitCode, 1);
    EXPECT_EQ(tool(args({"read-type", "a"})).exitCode, 1);
    EXPECT_EQ(ok(args({"list"})), QStringLiteral("b\tinteger\n"));
}

TEST_F(DefaultsCommandTest, PathsAreStoredAsTheBytesOfTheirAbsolutePath) {
    const auto data = [](const QString& path) {
        return QLatin1Char('<') + QString::fromLatin1(QFile::encodeName(path).toHex()) +
               QLatin1Char('>');
    };
    ok(args({"write", "videoFoldersBookmarks", "-array", "-path", "/mnt/clips/", "-path",
             "/home/\u00e9/../Videos"}));
    EXPECT_EQ(ok(args({"read", "videoFoldersBookmarks"})),
              QStringLiteral("( %1, %2 )\n")
                  .arg(data(QStringLiteral("/mnt/clips")), data(QStringLiteral("/home/Videos"))));
    // The tool runs in this test's current folder.
    ok(args({"write", "folder", "-path", "clips"}));
    EXPECT_EQ(ok(args({"read", "folder"})),
              data(QDir::current().absoluteFilePath(QStringLiteral("clips"))) + QLatin1Char('\n'));
}

TEST_F(DefaultsCommandTest, BadInputIsRefusedWithoutTouchingTheStore) {
    ok(args({"write", "videoScaling", "-int", "1"}));
    const QList<QStringList> bad = {
        {},
        args({"frobnicate"}),
        args({"read", "a", "b"}),
        args({"delete"}),
        args({"write", "videoScaling"}),
        args({"write", "videoScaling", "-int"}),
        args({"write", "videoScaling", "-int", "12x"}),
        args({"write", "videoScaling", "-int", "99999999999999999999"}),
        args({"write", "videoScaling", "-int", "1", "2"}),
        args({"write", "videoScaling", "-bool", "maybe"}),
        args({"write", "videoScaling", "-float", "nan"}),
        args({"write", "videoScaling", "-float", "fast"}),
        args({"write", "videoScaling", "-data", "zz!"}),
        args({"write", "videoScaling", "-data", "abc"}),
        args({"write", "videoScaling", "-date", "today"}),
        args({"write", "videoScaling", "-path", ""}),
        args({"write", "videoScaling", "-array", "a", "-int", "x"}),
        args({"write", "videoScaling", "-array", "a", "-int"}),
        args({"write", "videoScaling", "-array", "-dict"}),
        args({"write", "videoScaling", "one", "two"}),
        args({"write", "-int", "5"}),
    };
    for (const QStringList& arguments : bad) {
        const auto result = tool(arguments);
        const QString line = QString::fromUtf8(result.err).section(QLatin1Char('\n'), 0, 0);
        EXPECT_EQ(result.exitCode, 2) << qPrintable(arguments.join(QLatin1Char(' ')));
        EXPECT_TRUE(line.startsWith(QStringLiteral("orvanta-defaults: ")))
            << qPrintable(arguments.join(QLatin1Char(' ')));
        EXPECT_TRUE(result.out.isEmpty());
    }
    EXPECT_EQ(ok(args({"read", "videoScaling"})), QStringLiteral("1\n"));
    EXPECT_EQ(ok(args({"list"})), QStringLiteral("videoScaling\tinteger\n"));
}

} // namespace
