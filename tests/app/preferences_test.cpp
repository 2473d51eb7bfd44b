#include "core/AppPaths.h"
#include "core/Preferences.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

class PreferencesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        // Damaged files go below the state folder; keep them inside this test's folder.
        qputenv("XDG_STATE_HOME", m_dir.filePath(QStringLiteral("state")).toUtf8());
        m_store = std::make_unique<Preferences>(path());
        ASSERT_TRUE(m_store->isOpen());
    }

    QString path() const { return m_dir.filePath(QStringLiteral("preferences.sqlite3")); }

    QStringList damagedFiles() const {
        return QDir(AppPaths::damagedDataDirectory()).entryList(QDir::Files);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<Preferences> m_store;
};

TEST_F(PreferencesTest, ValuesKeepTheirTypesAcrossReopening) {
    Preferences& store = *m_store;
    const QVariantList list{QVariant(true),
                            QVariant(qint64(-7)),
                            QVariant(0.25),
                            QVariant(QStringLiteral("ü")),
                            QVariant(QByteArray("\x00\xff", 2)),
                            QVariant(QVariantList{QVariant(false)}),
                            QVariant(QVariantList{})};
    ASSERT_TRUE(store.set(QStringLiteral("b"), true));
    ASSERT_TRUE(store.set(QStringLiteral("i"), std::numeric_limits<qint64>::min()));
    ASSERT_TRUE(store.set(QStringLiteral("zero"), 0));
    ASSERT_TRUE(store.set(QStringLiteral("d"), 1.0));
    ASSERT_TRUE(store.set(QStringLiteral("inf"), std::numeric_limits<double>::infinity()));
    ASSERT_TRUE(store.set(QStringLiteral("s"), QStringLiteral("true")));
    ASSERT_TRUE(store.set(QStringLiteral("empty"), QString()));
    ASSERT_TRUE(store.set(QStringLiteral("data"), QByteArray()));
    ASSERT_TRUE(store.set(QStringLiteral("list"), list));

    Preferences reopened(path());
    for (Preferences* p : {&store, &reopened}) {
        EXPECT_EQ(p->objectForKey(QStringLiteral("b")).metaType().id(), QMetaType::Bool);
        EXPECT_EQ(p->objectForKey(QStringLiteral("i")).toLongLong(),
                  std::numeric_limits<qint64>::min());
        EXPECT_EQ(p->typeForKey(QStringLiteral("zero")), Preferences::Type::Integer);
        EXPECT_EQ(p->typeForKey(QStringLiteral("d")), Preferences::Type::Double);
        EXPECT_TRUE(std::isinf(p->doubleForKey(QStringLiteral("inf"))));
        EXPECT_EQ(p->typeForKey(QStringLiteral("s")), Preferences::Type::String);
        EXPECT_EQ(p->stringForKey(QStringLiteral("empty")), QString());
        ASSERT_TRUE(p->dataForKey(QStringLiteral("data")).has_value());
        EXPECT_TRUE(p->dataForKey(QStringLiteral("data"))->isEmpty());
        const auto storedList = p->arrayForKey(QStringLiteral("list"));
        ASSERT_TRUE(storedList.has_value());
        ASSERT_EQ(storedList->size(), list.size());
        for (qsizetype n = 0; n < list.size(); ++n) {
            EXPECT_EQ(Preferences::typeOf(storedList->at(n)), Preferences::typeOf(list.at(n)))
                << "element " << n;
            EXPECT_EQ(storedList->at(n), list.at(n)) << "element " << n;
        }
        EXPECT_EQ(p->allKeys().size(), 9);
    }
}

TEST_F(PreferencesTest, AbsentIsToldApartFromZeroAndTypedReadsOfOtherTypes) {
    Preferences& store = *m_store;
    EXPECT_FALSE(store.objectForKey(QStringLiteral("audioMuted")).isValid());
    EXPECT_EQ(store.typeForKey(QStringLiteral("audioMuted")), Preferences::Type::Absent);
    EXPECT_FALSE(store.boolForKey(QStringLiteral("audioMuted")));
    EXPECT_EQ(store.integerForKey(QStringLiteral("videoScaling")), 0);
    EXPECT_EQ(store.doubleForKey(QStringLiteral("audioVolume")), 0.0);
    EXPECT_FALSE(store.stringForKey(QStringLiteral("x")).has_value());
    EXPECT_FALSE(store.dataForKey(QStringLiteral("x")).has_value());
    EXPECT_FALSE(store.arrayForKey(QStringLiteral("x")).has_value());

    store.set(QStringLiteral("audioMuted"), false);
    EXPECT_TRUE(store.objectForKey(QStringLiteral("audioMuted")).isValid());
    store.removeObject(QStringLiteral("audioMuted"));
    EXPECT_FALSE(store.objectForKey(QStringLiteral("audioMuted")).isValid());
    EXPECT_FALSE(Preferences(path()).objectForKey(QStringLiteral("audioMuted")).isValid());

    store.set(QStringLiteral("text"), QStringLiteral("true"));
    store.set(QStringLiteral("one"), QStringLiteral("1"));
    store.set(QStringLiteral("positive"), 2.9);
    store.set(QStringLiteral("negative"), -2.9);
    store.set(QStringLiteral("huge"), 1e300);
    store.set(QStringLiteral("three"), 3);
    store.set(QStringLiteral("yes"), true);
    store.set(QStringLiteral("bytes"), QByteArray("abc"));

    // Strings are never parsed: "true" and "1" are text, not a boolean or a number.
    EXPECT_FALSE(store.boolForKey(QStringLiteral("text")));
    EXPECT_EQ(store.integerForKey(QStringLiteral("one")), 0);
    EXPECT_EQ(store.doubleForKey(QStringLiteral("one")), 0.0);
    // Numbers convert among themselves.
    EXPECT_EQ(store.integerForKey(QStringLiteral("positive")), 2);
    EXPECT_EQ(store.integerForKey(QStringLiteral("negative")), -2);
    EXPECT_EQ(store.integerForKey(QStringLiteral("huge")), 0);
    EXPECT_TRUE(store.boolForKey(QStringLiteral("positive")));
    EXPECT_EQ(store.doubleForKey(QStringLiteral("three")), 3.0);
    EXPECT_TRUE(store.boolForKey(QStringLiteral("three")));
    EXPECT_EQ(store.integerForKey(QStringLiteral("yes")), 1);
    EXPECT_EQ(store.doubleForKey(QStringLiteral("yes")), 1.0);
    // The other readers answer only for their own type.
    EXPECT_FALSE(store.stringForKey(QStringLiteral("three")).has_value());
    EXPECT_FALSE(store.dataForKey(QStringLiteral("text")).has_value());
    EXPECT_FALSE(store.arrayForKey(QStringLiteral("bytes")).has_value());
    EXPECT_FALSE(store.stringForKey(QStringLiteral("bytes")).has_value());
    EXPECT_EQ(store.stringForKey(QStringLiteral("text")), QStringLiteral("true"));
}

TEST_F(PreferencesTest, ValuesOfOtherTypesAreNormalisedOrRefused) {
    Preferences& store = *m_store;
    ASSERT_TRUE(store.setValue(QStringLiteral("n"), QVariant(int(5))));
    EXPECT_EQ(store.typeForKey(QStringLiteral("n")), Preferences::Type::Integer);
    ASSERT_TRUE(store.setValue(QStringLiteral("f"), QVariant(0.5f)));
    EXPECT_EQ(store.typeForKey(QStringLiteral("f")), Preferences::Type::Double);
    ASSERT_TRUE(store.setValue(QStringLiteral("names"),
                               QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})));
    EXPECT_EQ(store.arrayForKey(QStringLiteral("names")),
              (QVariantList{QVariant(QStringLiteral("a")), QVariant(QStringLiteral("b"))}));

    QSignalSpy changes(&store, &Preferences::didChange);
    const QVariant refused[] = {
        QVariant(std::nan("")), QVariant(QDateTime::currentDateTimeUtc()),
        QVariant(QVariantList{QVariant(1), QVariant(QDateTime::currentDateTimeUtc())}),
        QVariant(std::numeric_limits<quint64>::max())};
    for (const QVariant& value : refused) {
        LogCapture log;
        EXPECT_FALSE(store.setValue(QStringLiteral("n"), value)) << value.typeName();
        EXPECT_EQ(log.messages(QStringLiteral("com.orvanta.preferences")).size(), 1);
    }
    EXPECT_FALSE(store.set(QString(), true));
    EXPECT_EQ(store.objectForKey(QStringLiteral("n")), QVariant(qint64(5)));
    EXPECT_EQ(Preferences(path()).objectForKey(QStringLiteral("n")), QVariant(qint64(5)));
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(PreferencesTest, EveryChangeIsSignalledAndOneKeyCanBeObserved) {
    Preferences& store = *m_store;
    QSignalSpy changes(&store, &Preferences::didChange);
    QSignalSpy keys(&store, &Preferences::valueChanged);

    QList<QVariant> observed;
    auto context = std::make_unique<QObject>();
    store.observe(QStringLiteral("videoScaling"), context.get(),
                  [&observed](const QVariant& value) { observed.append(value); });

    store.set(QStringLiteral("audioVolume"), 0.3);
    store.set(QStringLiteral("videoScaling"), 7);
    store.set(QStringLiteral("videoScaling"), 7); // a write of the same value is still a change
    store.removeObject(QStringLiteral("videoScaling"));

    EXPECT_EQ(changes.count(), 4);
    ASSERT_EQ(keys.count(), 4);
    EXPECT_EQ(keys.at(0).at(0).toString(), QStringLiteral("audioVolume"));
    EXPECT_EQ(keys.at(3).at(0).toString(), QStringLiteral("videoScaling"));
    ASSERT_EQ(observed.size(), 3);
    EXPECT_EQ(observed.at(0), QVariant(qint64(7)));
    EXPECT_FALSE(observed.at(2).isValid());

    // The observation ends with its context.
    context.reset();
    store.set(QStringLiteral("videoScaling"), 1);
    EXPECT_EQ(observed.size(), 3);
    EXPECT_EQ(store.integerForKey(QStringLiteral("videoScaling")), 1);
}

TEST_F(PreferencesTest, ChangesFromAnotherConnectionOrTheCommandLineToolAreNoticed) {
    // The tool works on the user's store, found through XDG_CONFIG_HOME.
    const QString config = m_dir.filePath(QStringLiteral("config"));
    const QString userStore = config + QStringLiteral("/orvanta/preferences.sqlite3");
    Preferences store(userStore);
    store.set(QStringLiteral("kept"), 1);
    store.set(QStringLiteral("removed"), 1);
    store.set(QStringLiteral("retyped"), true);
    QSignalSpy changes(&store, &Preferences::didChange);
    QSignalSpy keys(&store, &Preferences::valueChanged);
    {
        Preferences other(userStore);
        other.set(QStringLiteral("videoScaling"), 2);
        other.removeObject(QStringLiteral("removed"));
        // Same number, other type: that is a change too.
        other.set(QStringLiteral("retyped"), 1);
    }
    ASSERT_TRUE(testutil::waitUntil([&] { return keys.count() >= 3; }));
    // Past the store's second look at a file still locked by its writer (50 ms).
    testutil::waitTimerPeriods(50);
    testutil::settle();
    QStringList changedKeys;
    for (const auto& arguments : keys)
        changedKeys.append(arguments.at(0).toString());
    changedKeys.sort();
    EXPECT_EQ(changedKeys, (QStringList{QStringLiteral("removed"), QStringLiteral("retyped"),
                                        QStringLiteral("videoScaling")}));
    EXPECT_GE(changes.count(), 1);
    EXPECT_EQ(store.integerForKey(QStringLiteral("videoScaling")), 2);
    EXPECT_EQ(store.typeForKey(QStringLiteral("retyped")), Preferences::Type::Integer);
    EXPECT_FALSE(store.objectForKey(QStringLiteral("removed")).isValid());

    QList<QVariant> observed;
    store.observe(QStringLiteral("audioMuted"), &store,
                  [&observed](const QVariant& value) { observed.append(value); });
    const QStringList env{QStringLiteral("XDG_CONFIG_HOME=") + config};
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("write"), QStringLiteral("audioMuted"),
                      QStringLiteral("-bool"), QStringLiteral("false")},
          QStringList{QStringLiteral("delete"), QStringLiteral("audioMuted")}}) {
        const qsizetype before = observed.size();
        const auto result =
            testutil::runProcess(QStringLiteral(ORVANTA_DEFAULTS_BIN), arguments, env);
        ASSERT_EQ(result.exitCode, 0) << result.err.constData();
        ASSERT_TRUE(testutil::waitUntil([&] { return observed.size() > before; }));
    }
    EXPECT_EQ(observed.first(), QVariant(false));
    EXPECT_FALSE(observed.last().isValid());
}

TEST_F(PreferencesTest, FirstStartWritesThePageDefaultsOnce) {
    Preferences& store = *m_store;
    // A value the user set before the first start stays as it is.
    store.set(QStringLiteral("transitionType"), 0);
    QSignalSpy keys(&store, &Preferences::valueChanged);

    store.applyFirstRunDefaults();
    EXPECT_EQ(store.objectForKey(QStringLiteral("autoPlayOnLaunch")), QVariant(true));
    EXPECT_EQ(store.objectForKey(QStringLiteral("transitionType")), QVariant(qint64(0)));
    EXPECT_EQ(store.objectForKey(QStringLiteral("transitionDuration")), QVariant(1.5));
    EXPECT_EQ(keys.count(), 3);

    // Later starts leave the keys to the user, even once removed.
    store.removeObject(QStringLiteral("autoPlayOnLaunch"));
    Preferences later(path());
    later.applyFirstRunDefaults();
    EXPECT_FALSE(later.objectForKey(QStringLiteral("autoPlayOnLaunch")).isValid());
    EXPECT_EQ(later.doubleForKey(QStringLiteral("transitionDuration")), 1.5);
}

TEST_F(PreferencesTest, ADamagedStoreIsKeptAsideAndReplaced) {
    m_store.reset();
    const QByteArray garbage = QByteArray("not a database at all ").repeated(300);
    testutil::writeFile(path(), garbage);

    LogCapture log;
    Preferences store(path());
    ASSERT_TRUE(store.isOpen());
    EXPECT_TRUE(store.allKeys().isEmpty());
    EXPECT_TRUE(store.set(QStringLiteral("audioMuted"), true));

    const QStringList kept = damagedFiles();
    ASSERT_EQ(kept.size(), 1);
    EXPECT_TRUE(kept.first().startsWith(QStringLiteral("preferences-")));
    QFile keptFile(QDir(AppPaths::damagedDataDirectory()).filePath(kept.first()));
    ASSERT_TRUE(keptFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(keptFile.readAll(), garbage);
    const QStringList lines = log.messages(QStringLiteral("com.orvanta.preferences"));
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines.last().contains(keptFile.fileName())) << qPrintable(lines.last());
}

TEST_F(PreferencesTest, AWriterKilledMidBurstLeavesEveryCommittedValue) {
    m_store.reset();
    QProcess writer;
    writer.start(QStringLiteral(BURST_WRITER_BIN), {path()});
    ASSERT_TRUE(writer.waitForStarted());

    // Kill it at some point of a burst, well after it got going.
    QByteArray output;
    while (output.count('\n') < 300 && writer.state() == QProcess::Running) {
        writer.waitForReadyRead(5000);
        output += writer.readAllStandardOutput();
    }
    ASSERT_EQ(writer.state(), QProcess::Running) << writer.readAllStandardError().constData();
    writer.kill(); // SIGKILL
    writer.waitForFinished();
    output += writer.readAllStandardOutput();

    const QList<QByteArray> lines = output.trimmed().split('\n');
    const qint64 lastCommitted = lines.last().toLongLong();
    ASSERT_GE(lastCommitted, 299);

    Preferences store(path());
    ASSERT_TRUE(store.isOpen());
    EXPECT_TRUE(damagedFiles().isEmpty());
    for (qint64 n = 0; n <= lastCommitted; ++n) {
        const QVariant value = store.objectForKey(QStringLiteral("k%1").arg(n));
        if (n % 2 == 0) {
            ASSERT_EQ(value, QVariant(n)) << "k" << n;
        } else {
            ASSERT_EQ(Preferences::typeOf(value), Preferences::Type::Array) << "k" << n;
            ASSERT_EQ(value.toList().value(0), QVariant(n));
        }
    }
    // Anything beyond is either whole or absent, and the store takes writes again.
    EXPECT_LE(store.allKeys().size(), lastCommitted + 2);
    EXPECT_TRUE(store.set(QStringLiteral("after"), true));
}

} // namespace
