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
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

class PreferencesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        // Damaged files go below the state folder; keep them inside this test's folder.
        qputenv("XDG_STATE_HOME", m_dir.filePath(u"state"_s).toUtf8());
        m_store = std::make_unique<Preferences>(path());
        ASSERT_TRUE(m_store->isOpen());
    }

    QString path() const { return m_dir.filePath(u"preferences.sqlite3"_s); }

    QStringList damagedFiles() const {
        return QDir(AppPaths::damagedDataDirectory()).entryList(QDir::Files);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<Preferences> m_store;
};

TEST_F(PreferencesTest, ValuesKeepTheirTypesAcrossReopening) {
    const QVariantList list{
        true,          qint64(-7), 0.25, u"ü"_s, QByteArray("\x00\xff", 2), QVariantList{false},
        QVariantList{}};
    ASSERT_TRUE(m_store->set(u"b"_s, true));
    ASSERT_TRUE(m_store->set(u"i"_s, std::numeric_limits<qint64>::min()));
    ASSERT_TRUE(m_store->set(u"zero"_s, 0));
    ASSERT_TRUE(m_store->set(u"d"_s, 1.0));
    ASSERT_TRUE(m_store->set(u"inf"_s, std::numeric_limits<double>::infinity()));
    ASSERT_TRUE(m_store->set(u"s"_s, u"true"_s));
    ASSERT_TRUE(m_store->set(u"empty"_s, QString()));
    ASSERT_TRUE(m_store->set(u"data"_s, QByteArray()));
    ASSERT_TRUE(m_store->set(u"list"_s, list));

    Preferences reopened(path());
    for (Preferences* p : {m_store.get(), &reopened}) {
        EXPECT_EQ(p->objectForKey(u"b"_s).metaType().id(), QMetaType::Bool);
        EXPECT_EQ(p->objectForKey(u"i"_s).toLongLong(), std::numeric_limits<qint64>::min());
        EXPECT_EQ(p->typeForKey(u"zero"_s), Preferences::Type::Integer);
        EXPECT_EQ(p->typeForKey(u"d"_s), Preferences::Type::Double);
        EXPECT_TRUE(std::isinf(p->doubleForKey(u"inf"_s)));
        EXPECT_EQ(p->typeForKey(u"s"_s), Preferences::Type::String);
        EXPECT_EQ(p->stringForKey(u"empty"_s), QString());
        EXPECT_EQ(p->dataForKey(u"data"_s), QByteArray());
        const QVariantList stored = p->arrayForKey(u"list"_s).value_or(QVariantList());
        EXPECT_EQ(stored, list);
        for (qsizetype n = 0; n < std::min(stored.size(), list.size()); ++n)
            EXPECT_EQ(Preferences::typeOf(stored.at(n)), Preferences::typeOf(list.at(n))) << n;
        EXPECT_EQ(p->allKeys().size(), 9);
    }
}

TEST_F(PreferencesTest, AbsentIsToldApartFromZeroAndTypedReadsOfOtherTypes) {
    EXPECT_FALSE(m_store->objectForKey(u"audioMuted"_s).isValid());
    EXPECT_EQ(m_store->typeForKey(u"audioMuted"_s), Preferences::Type::Absent);
    EXPECT_FALSE(m_store->boolForKey(u"audioMuted"_s));
    EXPECT_EQ(m_store->integerForKey(u"videoScaling"_s), 0);
    EXPECT_EQ(m_store->doubleForKey(u"audioVolume"_s), 0.0);
    EXPECT_FALSE(m_store->stringForKey(u"x"_s).has_value());
    EXPECT_FALSE(m_store->dataForKey(u"x"_s).has_value());
    EXPECT_FALSE(m_store->arrayForKey(u"x"_s).has_value());

    m_store->set(u"audioMuted"_s, false);
    EXPECT_TRUE(m_store->objectForKey(u"audioMuted"_s).isValid());
    m_store->removeObject(u"audioMuted"_s);
    EXPECT_FALSE(m_store->objectForKey(u"audioMuted"_s).isValid());
    EXPECT_FALSE(Preferences(path()).objectForKey(u"audioMuted"_s).isValid());

    // Strings are never parsed ("true" and "1" are text, not a boolean or a number), numbers
    // convert among themselves, and the other readers answer only for their own type.
    const std::tuple<const char*, QVariant, bool, qint64, double> typed[] = {
        {"text", u"true"_s, false, 0, 0.0}, {"one", u"1"_s, false, 0, 0.0},
        {"positive", 2.9, true, 2, 2.9},    {"negative", -2.9, true, -2, -2.9},
        {"huge", 1e300, true, 0, 1e300},    {"three", 3, true, 3, 3.0},
        {"yes", true, true, 1, 1.0},        {"bytes", QByteArray("abc"), false, 0, 0.0}};
    for (const auto& [key, value, asBool, asInteger, asDouble] : typed) {
        const QString name = QString::fromLatin1(key);
        ASSERT_TRUE(m_store->setValue(name, value)) << key;
        EXPECT_EQ(m_store->boolForKey(name), asBool) << key;
        EXPECT_EQ(m_store->integerForKey(name), asInteger) << key;
        EXPECT_EQ(m_store->doubleForKey(name), asDouble) << key;
        EXPECT_EQ(m_store->stringForKey(name).has_value(), value.typeId() == QMetaType::QString);
        EXPECT_EQ(m_store->dataForKey(name).has_value(), value.typeId() == QMetaType::QByteArray);
        EXPECT_FALSE(m_store->arrayForKey(name).has_value()) << key;
    }
    EXPECT_EQ(m_store->stringForKey(u"text"_s), u"true"_s);
}

TEST_F(PreferencesTest, ValuesOfOtherTypesAreNormalisedOrRefused) {
    ASSERT_TRUE(m_store->setValue(u"n"_s, QVariant(int(5))));
    EXPECT_EQ(m_store->typeForKey(u"n"_s), Preferences::Type::Integer);
    ASSERT_TRUE(m_store->setValue(u"f"_s, QVariant(0.5f)));
    EXPECT_EQ(m_store->typeForKey(u"f"_s), Preferences::Type::Double);
    ASSERT_TRUE(m_store->setValue(u"names"_s, QVariant(QStringList{u"a"_s, u"b"_s})));
    EXPECT_EQ(m_store->arrayForKey(u"names"_s), (QVariantList{QVariant(u"a"_s), QVariant(u"b"_s)}));

    QSignalSpy changes(m_store.get(), &Preferences::didChange);
    const QVariant refused[] = {
        QVariant(std::nan("")), QVariant(QDateTime::currentDateTimeUtc()),
        QVariant(QVariantList{QVariant(1), QVariant(QDateTime::currentDateTimeUtc())}),
        QVariant(std::numeric_limits<quint64>::max())};
    for (const QVariant& value : refused) {
        LogCapture log;
        EXPECT_FALSE(m_store->setValue(u"n"_s, value)) << value.typeName();
        EXPECT_EQ(log.messages(u"com.orvanta.preferences"_s).size(), 1);
    }
    EXPECT_FALSE(m_store->set(QString(), true));
    EXPECT_EQ(m_store->objectForKey(u"n"_s), QVariant(qint64(5)));
    EXPECT_EQ(Preferences(path()).objectForKey(u"n"_s), QVariant(qint64(5)));
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(PreferencesTest, EveryChangeIsSignalledAndOneKeyCanBeObserved) {
    QSignalSpy changes(m_store.get(), &Preferences::didChange);
    QSignalSpy keys(m_store.get(), &Preferences::valueChanged);

    QList<QVariant> observed;
    auto context = std::make_unique<QObject>();
    m_store->observe(u"videoScaling"_s, context.get(),
                     [&observed](const QVariant& value) { observed.append(value); });

    m_store->set(u"audioVolume"_s, 0.3);
    m_store->set(u"videoScaling"_s, 7);
    m_store->set(u"videoScaling"_s, 7); // a write of the same value is still a change
    m_store->removeObject(u"videoScaling"_s);

    EXPECT_EQ(changes.count(), 4);
    ASSERT_EQ(keys.count(), 4);
    EXPECT_EQ(keys.at(0).at(0).toString(), u"audioVolume"_s);
    EXPECT_EQ(keys.at(3).at(0).toString(), u"videoScaling"_s);
    ASSERT_EQ(observed.size(), 3);
    EXPECT_EQ(observed.at(0), QVariant(qint64(7)));
    EXPECT_FALSE(observed.at(2).isValid());

    // The observation ends with its context.
    context.reset();
    m_store->set(u"videoScaling"_s, 1);
    EXPECT_EQ(observed.size(), 3);
    EXPECT_EQ(m_store->integerForKey(u"videoScaling"_s), 1);
}

TEST_F(PreferencesTest, ChangesFromAnotherConnectionOrTheCommandLineToolAreNoticed) {
    // The tool works on the user's store, found through XDG_CONFIG_HOME.
    const QString config = m_dir.filePath(u"config"_s);
    const QString userStore = config + u"/orvanta/preferences.sqlite3"_s;
    Preferences store(userStore);
    store.set(u"kept"_s, 1);
    store.set(u"removed"_s, 1);
    store.set(u"retyped"_s, true);
    QSignalSpy changes(&store, &Preferences::didChange);
    QSignalSpy keys(&store, &Preferences::valueChanged);
    {
        Preferences other(userStore);
        other.set(u"videoScaling"_s, 2);
        other.removeObject(u"removed"_s);
        // Same number, other type: that is a change too.
        other.set(u"retyped"_s, 1);
    }
    ASSERT_TRUE(testutil::waitUntil([&] { return keys.count() >= 3; }));
    // Past the store's second look at a file still locked by its writer (50 ms).
    testutil::waitTimerPeriods(50);
    testutil::settle();
    QStringList changedKeys;
    for (const auto& arguments : keys)
        changedKeys.append(arguments.at(0).toString());
    changedKeys.sort();
    EXPECT_EQ(changedKeys, (QStringList{u"removed"_s, u"retyped"_s, u"videoScaling"_s}));
    EXPECT_GE(changes.count(), 1);
    EXPECT_EQ(store.integerForKey(u"videoScaling"_s), 2);
    EXPECT_EQ(store.typeForKey(u"retyped"_s), Preferences::Type::Integer);
    EXPECT_FALSE(store.objectForKey(u"removed"_s).isValid());

    QList<QVariant> observed;
    store.observe(u"audioMuted"_s, &store,
                  [&observed](const QVariant& value) { observed.append(value); });
    const QStringList env{u"XDG_CONFIG_HOME="_s + config};
    for (const QString& command : {u"write audioMuted -bool false"_s, u"delete audioMuted"_s}) {
        const qsizetype before = observed.size();
        const auto result =
            testutil::runProcess(QStringLiteral(ORVANTA_DEFAULTS_BIN), command.split(u' '), env);
        ASSERT_EQ(result.exitCode, 0) << result.err.constData();
        ASSERT_TRUE(testutil::waitUntil([&] { return observed.size() > before; }));
    }
    EXPECT_EQ(observed.first(), QVariant(false));
    EXPECT_FALSE(observed.last().isValid());
}

TEST_F(PreferencesTest, FirstStartWritesThePageDefaultsOnce) {
    // A value the user set before the first start stays as it is.
    m_store->set(u"transitionType"_s, 0);
    QSignalSpy keys(m_store.get(), &Preferences::valueChanged);

    m_store->applyFirstRunDefaults();
    EXPECT_EQ(m_store->objectForKey(u"autoPlayOnLaunch"_s), QVariant(true));
    EXPECT_EQ(m_store->objectForKey(u"transitionType"_s), QVariant(qint64(0)));
    EXPECT_EQ(m_store->objectForKey(u"transitionDuration"_s), QVariant(1.5));
    EXPECT_EQ(keys.count(), 3);

    // Later starts leave the keys to the user, even once removed.
    m_store->removeObject(u"autoPlayOnLaunch"_s);
    Preferences later(path());
    later.applyFirstRunDefaults();
    EXPECT_FALSE(later.objectForKey(u"autoPlayOnLaunch"_s).isValid());
    EXPECT_EQ(later.doubleForKey(u"transitionDuration"_s), 1.5);
}

TEST_F(PreferencesTest, ADamagedStoreIsKeptAsideAndReplaced) {
    m_store.reset();
    const QByteArray garbage = QByteArray("not a database at all ").repeated(300);
    testutil::writeFile(path(), garbage);

    LogCapture log;
    Preferences store(path());
    ASSERT_TRUE(store.isOpen());
    EXPECT_TRUE(store.allKeys().isEmpty());
    EXPECT_TRUE(store.set(u"audioMuted"_s, true));

    const QStringList kept = damagedFiles();
    ASSERT_EQ(kept.size(), 1);
    EXPECT_TRUE(kept.first().startsWith(u"preferences-"_s));
    QFile keptFile(QDir(AppPaths::damagedDataDirectory()).filePath(kept.first()));
    ASSERT_TRUE(keptFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(keptFile.readAll(), garbage);
    const QStringList lines = log.messages(u"com.orvanta.preferences"_s);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines.last().contains(keptFile.fileName())) << qPrintable(lines.last());
}

TEST_F(PreferencesTest, AStoreLockedLongerThanTheWaitIsRetriedNeverReplaced) {
    m_store->set(u"kept"_s, 1);
    m_store.reset();
    // Another program holds the file in an exclusive transaction.
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(qPrintable(path()), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);

    LogCapture log;
    Preferences store(path(), nullptr, 1500);
    EXPECT_FALSE(store.isOpen());
    EXPECT_TRUE(store.problem().contains(u"in use by another program; gave up after 1.5 s"_s))
        << qPrintable(store.problem());
    EXPECT_TRUE(log.contains(u"com.orvanta.preferences"_s,
                             u"Preferences: "_s + path() +
                                 u" is in use by another program; waiting up to 1.5 s"_s));
    // The write waits in memory until the store can take it.
    EXPECT_FALSE(store.set(u"added"_s, 2));
    EXPECT_EQ(store.integerForKey(u"added"_s), 2);

    sqlite3_close(holder);
    ASSERT_TRUE(testutil::waitUntil([&] { return store.isOpen() && store.problem().isEmpty(); }));
    EXPECT_EQ(store.integerForKey(u"kept"_s), 1);
    EXPECT_EQ(store.integerForKey(u"added"_s), 2);
    EXPECT_EQ(Preferences(path()).integerForKey(u"added"_s), 2);
    EXPECT_TRUE(damagedFiles().isEmpty());
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
        const QVariant value = store.objectForKey(u"k%1"_s.arg(n));
        if (n % 2 == 0) {
            ASSERT_EQ(value, QVariant(n)) << "k" << n;
        } else {
            ASSERT_EQ(Preferences::typeOf(value), Preferences::Type::Array) << "k" << n;
            ASSERT_EQ(value.toList().value(0), QVariant(n));
        }
    }
    // Anything beyond is either whole or absent, and the store takes writes again.
    EXPECT_LE(store.allKeys().size(), lastCommitted + 2);
    EXPECT_TRUE(store.set(u"after"_s, true));
}

} // namespace
