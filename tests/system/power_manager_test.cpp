// PowerManager on the harness's UPower mock (system bus) and on a fake kernel power-supply tree.

#include "support/TestUtil.h"
#include "system/PowerManager.h"
#include "system/PowerSource.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kDBusTimeoutMs = 10000;
constexpr int kFastPollMs = 20;

class SysfsPowerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        m_root = m_dir.filePath("power_supply");
        ASSERT_TRUE(QDir().mkpath(m_root));
    }
    void set(const char* name, const QList<std::pair<const char*, const char*>>& attributes) {
        for (const auto& [attribute, value] : attributes)
            testutil::writeFile(m_root + u"/%1/%2"_s.arg(name, attribute),
                                QByteArray(value) + '\n');
    }
    std::unique_ptr<PowerManager> createManager() {
        return std::make_unique<PowerManager>(PowerSource::createSysfs(m_root, kFastPollMs));
    }

    QTemporaryDir m_dir;
    QString m_root;
};

TEST_F(SysfsPowerTest, SystemBatteryDecidesAndPeripheralsAreIgnored) {
    set("AC", {{"type", "Mains"}, {"online", "0"}});
    set("BAT0", {{"type", "Battery"}, {"status", "Discharging"}, {"capacity", "42"}});
    set("hidpp_battery_0",
        {{"type", "Battery"}, {"scope", "Device"}, {"status", "Full"}, {"capacity", "97"}});
    auto manager = createManager();
    QSignalSpy published(manager.get(), &PowerManager::isOnBatteryChanged);
    EXPECT_FALSE(manager->isOnBattery()) << "published from the event loop, not at creation";
    ASSERT_TRUE(testutil::waitUntil([&] { return published.count() == 1; }));
    EXPECT_TRUE(manager->isOnBattery());
    EXPECT_EQ(manager->batteryLevel(), 42);

    // Plugged in: the poll notices and publishes.
    set("AC", {{"online", "1"}});
    set("BAT0", {{"status", "Charging"}});
    ASSERT_TRUE(testutil::waitUntil([&] { return !manager->isOnBattery(); }));
    EXPECT_EQ(manager->batteryLevel(), 42);
    const int afterPlugIn = published.count();

    // A new charge level publishes the unchanged power state again.
    set("BAT0", {{"capacity", "43"}});
    ASSERT_TRUE(testutil::waitUntil([&] { return manager->batteryLevel() == 43; }));
    ASSERT_EQ(published.count(), afterPlugIn + 1);
    EXPECT_EQ(published.last().at(0).toBool(), false);

    // A discharging mouse says nothing about the computer.
    set("hidpp_battery_0", {{"status", "Discharging"}, {"capacity", "5"}});
    manager->updatePowerState();
    testutil::settle();
    EXPECT_FALSE(manager->isOnBattery());
    EXPECT_EQ(manager->batteryLevel(), 43);
}

TEST_F(SysfsPowerTest, LaterBatteryOverridesAndMissingStatusKeepsTheState) {
    set("BAT0", {{"type", "Battery"}, {"status", "Discharging"}, {"capacity", "30"}});
    set("BAT1", {{"type", "Battery"}, {"scope", "System"}, {"capacity", "80"}});
    auto manager = createManager();
    testutil::settle();
    // BAT1 has no status: BAT0's discharging stands, BAT1's capacity wins.
    EXPECT_TRUE(manager->isOnBattery());
    EXPECT_EQ(manager->batteryLevel(), 80);

    set("BAT1", {{"status", "Not charging"}});
    ASSERT_TRUE(testutil::waitUntil([&] { return !manager->isOnBattery(); }));
    EXPECT_EQ(manager->batteryLevel(), 80);
}

TEST_F(SysfsPowerTest, DesktopAndMissingTree) {
    set("AC", {{"type", "Mains"}, {"online", "1"}});
    set("ups", {{"type", "UPS"}, {"status", "Discharging"}, {"capacity", "60"}});
    auto desktop = createManager();
    QSignalSpy published(desktop.get(), &PowerManager::isOnBatteryChanged);
    testutil::settle();
    ASSERT_EQ(published.count(), 1);
    EXPECT_FALSE(desktop->isOnBattery());
    EXPECT_EQ(desktop->batteryLevel(), std::nullopt);

    // Without any power information nothing is published at all.
    PowerManager nothing(PowerSource::createSysfs(m_dir.filePath("absent"), kFastPollMs));
    QSignalSpy none(&nothing, &PowerManager::isOnBatteryChanged);
    nothing.updatePowerState();
    testutil::settle();
    EXPECT_EQ(none.count(), 0);
    EXPECT_FALSE(nothing.isOnBattery());
}

const QString kUPower = u"org.freedesktop.UPower"_s;
const QString kUPowerPath = u"/org/freedesktop/UPower"_s;
const QString kMockInterface = u"org.freedesktop.DBus.Mock"_s;

QDBusMessage callUPower(const QString& interface, const QString& method,
                        const QVariantList& arguments, const QString& path = kUPowerPath) {
    QDBusMessage message = QDBusMessage::createMethodCall(kUPower, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::systemBus().call(message, QDBus::Block, kDBusTimeoutMs);
}

bool setOnBattery(bool onBattery) {
    return callUPower(u"org.freedesktop.DBus.Properties"_s, u"Set"_s,
                      {kUPower, u"OnBattery"_s, QVariant::fromValue(QDBusVariant(onBattery))})
               .type() == QDBusMessage::ReplyMessage;
}

// Adds devices to the shared mock and puts it back as it was when the test ends.
class UPowerMockState {
public:
    ~UPowerMockState() {
        while (!m_devices.isEmpty())
            remove(m_devices.constFirst());
        setOnBattery(false);
    }

    QString add(const QString& method, const QVariantList& arguments) {
        const QDBusMessage reply = callUPower(kMockInterface, method, arguments);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            ADD_FAILURE() << method.toStdString() << ": " << reply.errorMessage().toStdString();
            return {};
        }
        const QString path = reply.arguments().constFirst().toString();
        m_devices.append(path);
        return path;
    }
    void remove(const QString& path) {
        callUPower(kMockInterface, u"RemoveDevice"_s, {QVariant::fromValue(QDBusObjectPath(path))});
        m_devices.removeAll(path);
    }

private:
    QStringList m_devices;
};

TEST(UPowerPower, FollowsOnBatteryAndTheInternalBattery) {
    UPowerMockState mock;
    ASSERT_TRUE(setOnBattery(false));
    std::unique_ptr<PowerSource> source = PowerSource::createUPower();
    ASSERT_NE(source, nullptr) << "the harness's UPower mock does not answer";
    PowerManager manager(std::move(source));
    QSignalSpy published(&manager, &PowerManager::isOnBatteryChanged);
    ASSERT_TRUE(testutil::waitUntil([&] { return published.count() == 1; }));
    EXPECT_FALSE(manager.isOnBattery());
    EXPECT_EQ(manager.batteryLevel(), std::nullopt);

    const QString battery =
        mock.add(u"AddDischargingBattery"_s,
                 {u"orvanta_test_bat0"_s, u"Test battery"_s, 42.0, qint64(3600)});
    ASSERT_TRUE(testutil::waitUntil([&] { return manager.batteryLevel() == 42; }));
    EXPECT_FALSE(manager.isOnBattery()) << "the daemon still says external power";

    ASSERT_TRUE(setOnBattery(true));
    ASSERT_TRUE(testutil::waitUntil([&] { return manager.isOnBattery(); }));

    const QDBusMessage reply = callUPower(
        kMockInterface, u"SetDeviceProperties"_s,
        {QVariant::fromValue(QDBusObjectPath(battery)), QVariantMap{{u"Percentage"_s, 41.4}}});
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    ASSERT_TRUE(testutil::waitUntil([&] { return manager.batteryLevel() == 41; }));
    EXPECT_TRUE(manager.isOnBattery());
    EXPECT_EQ(published.last().at(0).toBool(), true) << "the repeated value is published again";

    // Mains and peripherals do not count; without an internal battery there is no battery power.
    mock.add(u"AddAC"_s, {u"orvanta_test_ac"_s, u"AC"_s});
    mock.remove(battery);
    ASSERT_TRUE(testutil::waitUntil([&] { return !manager.batteryLevel(); }));
    EXPECT_FALSE(manager.isOnBattery());

    ASSERT_TRUE(setOnBattery(false));
    mock.add(u"AddChargingBattery"_s,
             {u"orvanta_test_bat1"_s, u"Test battery"_s, 70.0, qint64(600)});
    ASSERT_TRUE(testutil::waitUntil([&] { return manager.batteryLevel() == 70; }));
    EXPECT_FALSE(manager.isOnBattery());

    // A manager started later begins from the daemon's current state.
    ASSERT_TRUE(setOnBattery(true));
    PowerManager later(PowerSource::createUPower());
    testutil::settle();
    EXPECT_TRUE(later.isOnBattery());
    EXPECT_EQ(later.batteryLevel(), 70);
}

} // namespace
