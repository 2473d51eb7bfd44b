// ScreenLockMonitor on the harness's buses: a screen saver registered by the test on the session
// bus, logind's mock on the system bus; and the bus users in a process with no bus at all.

#include "core/NotificationCenter.h"
#include "support/TestUtil.h"
#include "system/MediaKeyHandler.h"
#include "system/PowerManager.h"
#include "system/PowerSource.h"
#include "system/ScreenLockMonitor.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

constexpr int kDBusTimeoutMs = 10000;

// One lock or unlock event as NotificationCenter carried it.
struct LockEvents {
    LockEvents()
        : locks(&NotificationCenter::instance(), &NotificationCenter::screenDidLock)
        , unlocks(&NotificationCenter::instance(), &NotificationCenter::screenDidUnlock) {}
    QSignalSpy locks;
    QSignalSpy unlocks;
};

// A screen saver of the test's own on the session bus, on its own connection.
class FakeScreenSaver {
public:
    FakeScreenSaver(const QString& name, const QString& path)
        : m_name(name)
        , m_path(path)
        , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"fake-"_s + name)) {}
    ~FakeScreenSaver() {
        m_bus.unregisterService(m_name);
        QDBusConnection::disconnectFromBus(m_bus.name());
    }

    bool registerName() { return m_bus.isConnected() && m_bus.registerService(m_name); }
    bool sendActiveChanged(bool active) {
        QDBusMessage signal = QDBusMessage::createSignal(m_path, m_name, u"ActiveChanged"_s);
        return m_bus.send(signal << active);
    }

private:
    QString m_name;
    QString m_path;
    QDBusConnection m_bus;
};

// A round trip on the monitor's connection: once it returns, the bus has handled the
// subscriptions that connection sent before it.
void syncWithSessionBus() {
    QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.x"_s);
}

QDBusMessage callLogind(const QString& path, const QString& interface, const QString& method,
                        const QVariantList& arguments = {}) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"org.freedesktop.login1"_s, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::systemBus().call(message, QDBus::Block, kDBusTimeoutMs);
}

} // namespace

TEST(ScreenLock, ScreenSaverActiveChangedLocksAndUnlocks) {
    FakeScreenSaver gnome(u"org.gnome.ScreenSaver"_s, u"/org/gnome/ScreenSaver"_s);
    FakeScreenSaver freedesktop(u"org.freedesktop.ScreenSaver"_s, u"/ScreenSaver"_s);
    ASSERT_TRUE(gnome.registerName());
    ASSERT_TRUE(freedesktop.registerName());
    ScreenLockMonitor monitor;
    syncWithSessionBus();
    LockEvents events;
    QSignalSpy states(&monitor, &ScreenLockMonitor::isScreenLockedChanged);
    EXPECT_FALSE(monitor.isScreenLocked());

    ASSERT_TRUE(gnome.sendActiveChanged(true));
    ASSERT_TRUE(testutil::waitUntil([&] { return events.locks.count() == 1; }));
    EXPECT_TRUE(monitor.isScreenLocked());
    EXPECT_EQ(events.unlocks.count(), 0);

    ASSERT_TRUE(freedesktop.sendActiveChanged(false));
    ASSERT_TRUE(testutil::waitUntil([&] { return events.unlocks.count() == 1; }));
    EXPECT_FALSE(monitor.isScreenLocked());

    // A second unlock in a row is posted again; the state stays unlocked.
    ASSERT_TRUE(gnome.sendActiveChanged(false));
    ASSERT_TRUE(testutil::waitUntil([&] { return events.unlocks.count() == 2; }));
    EXPECT_FALSE(monitor.isScreenLocked());
    EXPECT_EQ(events.locks.count(), 1);
    ASSERT_EQ(states.count(), 3);
    EXPECT_EQ(states.at(0).at(0).toBool(), true);
    EXPECT_EQ(states.at(2).at(0).toBool(), false);

    // A screen saver that appears later is heard: the monitor learns the new owner from the bus,
    // and the owner's first signal follows that news.
    FakeScreenSaver mate(u"org.mate.ScreenSaver"_s, u"/org/mate/ScreenSaver"_s);
    ASSERT_TRUE(mate.registerName());
    ASSERT_TRUE(mate.sendActiveChanged(true));
    ASSERT_TRUE(testutil::waitUntil([&] { return events.locks.count() == 2; }));
    EXPECT_TRUE(monitor.isScreenLocked());
}

TEST(ScreenLock, LogindSessionLockAndUnlock) {
    const QString id = qEnvironmentVariable("XDG_SESSION_ID");
    ASSERT_FALSE(id.isEmpty()) << "run inside scripts/harness";
    const QDBusMessage session = callLogind(
        u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s, u"GetSession"_s, {id});
    ASSERT_EQ(session.type(), QDBusMessage::ReplyMessage) << session.errorMessage().toStdString();
    const QString path = session.arguments().constFirst().value<QDBusObjectPath>().path();
    const QString sessionInterface = u"org.freedesktop.login1.Session"_s;

    ScreenLockMonitor monitor;
    LockEvents events;
    // The mock's session emits Lock and Unlock when asked to; asking on the monitor's own
    // connection orders the request after its subscription.
    for (int round = 1; round <= 2; ++round) {
        ASSERT_EQ(callLogind(path, sessionInterface, u"Lock"_s).type(), QDBusMessage::ReplyMessage);
        ASSERT_TRUE(testutil::waitUntil([&] { return events.locks.count() == round; }));
        EXPECT_TRUE(monitor.isScreenLocked());
    }
    EXPECT_EQ(events.unlocks.count(), 0) << "two locks in a row post twice";

    // The locker confirms the lock in LockedHint: announced already. Clearing the hint unlocks.
    const auto setHint = [&](bool locked) {
        return callLogind(path, sessionInterface, u"SetLockedHint"_s, {locked}).type();
    };
    ASSERT_EQ(setHint(true), QDBusMessage::ReplyMessage);
    ASSERT_EQ(setHint(false), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(testutil::waitUntil([&] { return events.unlocks.count() == 1; }));
    EXPECT_EQ(events.locks.count(), 2);
    EXPECT_FALSE(monitor.isScreenLocked());

    // A desktop that only sets the hint.
    ASSERT_EQ(setHint(true), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(testutil::waitUntil([&] { return events.locks.count() == 3; }));
    EXPECT_TRUE(monitor.isScreenLocked());

    ASSERT_EQ(callLogind(path, sessionInterface, u"Unlock"_s).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(testutil::waitUntil([&] { return events.unlocks.count() == 2; }));
    EXPECT_FALSE(monitor.isScreenLocked());
    EXPECT_EQ(events.locks.count(), 3);
}

// Run by NoBus.MonitorsStayQuietWithoutBuses in a child process whose buses do not exist.
TEST(NoBusChild, MonitorsReportNothing) {
    if (qEnvironmentVariable("ORVANTA_TEST_NO_BUS") != u"1"_s)
        GTEST_SKIP() << "only meaningful in the child process without buses";
    EXPECT_FALSE(QDBusConnection::sessionBus().isConnected());
    EXPECT_FALSE(QDBusConnection::systemBus().isConnected());
    EXPECT_EQ(PowerSource::createUPower(), nullptr);

    LockEvents events;
    ScreenLockMonitor monitor;
    PowerManager power(PowerSource::createSysfs(u"/nonexistent/power_supply"_s, 20));
    QSignalSpy published(&power, &PowerManager::isOnBatteryChanged);
    // The default sources must come up too, whatever they find.
    PowerManager defaultPower;
    // The media keys switch on and off with nobody to tell.
    MediaKeyHandler& keys = MediaKeyHandler::shared();
    keys.enable();
    keys.updateNowPlayingInfo();
    keys.updatePlaybackState(false);
    EXPECT_TRUE(keys.isEnabled());
    keys.disable();
    EXPECT_FALSE(keys.isEnabled());
    testutil::settle();
    EXPECT_FALSE(monitor.isScreenLocked());
    EXPECT_EQ(events.locks.count() + events.unlocks.count(), 0);
    EXPECT_EQ(published.count(), 0);
    std::puts("no-bus child ran");
}

TEST(NoBus, MonitorsStayQuietWithoutBuses) {
    const testutil::ProcessResult result = testutil::runProcess(
        QCoreApplication::applicationFilePath(), {u"--gtest_filter=NoBusChild.*"_s},
        {u"ORVANTA_TEST_NO_BUS=1"_s,
         u"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/session_bus"_s,
         u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/system_bus"_s});
    EXPECT_FALSE(result.crashed) << result.err.toStdString();
    EXPECT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
    EXPECT_TRUE(result.out.contains("no-bus child ran")) << result.out.toStdString();
}
