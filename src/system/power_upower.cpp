// Power sources from UPower on the system bus.
//
// The daemon's OnBattery is its own verdict on whether the machine draws on its batteries; it
// is reported for every internal battery, so a machine without one (a desktop on a UPS) never
// counts as on battery. Internal batteries are the devices of kind battery that power the
// machine; a mouse or a UPS is listed but not counted.

#include "system/PowerSource.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QStringList>
#include <QVariantMap>

namespace {

const QString kService = QStringLiteral("org.freedesktop.UPower");
const QString kPath = QStringLiteral("/org/freedesktop/UPower");
const QString kInterface = QStringLiteral("org.freedesktop.UPower");
const QString kDeviceInterface = QStringLiteral("org.freedesktop.UPower.Device");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

// UPower's device kind for a battery (UP_DEVICE_KIND_BATTERY).
constexpr uint kKindBattery = 2;
// A stuck daemon must not hold up the program for long.
constexpr int kCallTimeoutMs = 3000;

class UPowerSource : public PowerSource {
    Q_OBJECT

public:
    explicit UPowerSource(const QDBusConnection& bus)
        : m_bus(bus) {
        // Subscribed before the first read, so no change between the two goes unseen.
        m_bus.connect(kService, QString(), kPropertiesInterface,
                      QStringLiteral("PropertiesChanged"), this,
                      SLOT(onPropertiesChanged(QDBusMessage)));
        m_bus.connect(kService, kPath, kInterface, QStringLiteral("DeviceAdded"), this,
                      SLOT(onDeviceAdded(QDBusMessage)));
        m_bus.connect(kService, kPath, kInterface, QStringLiteral("DeviceRemoved"), this,
                      SLOT(onDeviceRemoved(QDBusMessage)));
        // A restarted daemon starts from scratch; so does what we know of it.
        auto* watcher = new QDBusServiceWatcher(kService, m_bus,
                                                QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
            reload();
            notifyIfChanged();
        });
    }

    // Reads everything anew; false when UPower does not answer.
    bool reload() {
        m_daemon.clear();
        m_devices.clear();
        m_deviceOrder.clear();
        std::optional<QVariantMap> daemon = getAll(kPath, kInterface);
        if (!daemon)
            return false;
        m_daemon = *daemon;

        QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface,
                                                           QStringLiteral("EnumerateDevices"));
        const QDBusMessage reply = m_bus.call(call, QDBus::Block, kCallTimeoutMs);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
            const auto paths = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().constFirst());
            for (const QDBusObjectPath& path : paths)
                addDevice(path.path());
        }
        return true;
    }

    std::optional<Snapshot> snapshot() const override {
        if (m_daemon.isEmpty())
            return std::nullopt;
        std::optional<bool> onBattery;
        const QVariant daemonOnBattery = m_daemon.value(QStringLiteral("OnBattery"));
        if (daemonOnBattery.typeId() == QMetaType::Bool)
            onBattery = daemonOnBattery.toBool();

        Snapshot sources;
        for (const QString& path : m_deviceOrder) {
            const QVariantMap& device = m_devices[path];
            Source source;
            source.isInternalBattery =
                device.value(QStringLiteral("Type")).toUInt() == kKindBattery &&
                device.value(QStringLiteral("PowerSupply")).toBool() &&
                device.value(QStringLiteral("IsPresent"), true).toBool();
            if (source.isInternalBattery)
                source.isBatteryPower = onBattery;
            const QVariant percentage = device.value(QStringLiteral("Percentage"));
            if (percentage.isValid())
                source.capacity = qRound(percentage.toDouble());
            sources.append(source);
        }
        return sources;
    }

    void start() override {
        m_started = true;
        m_lastReported = snapshot();
    }

private Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage& message) {
        const QList<QVariant> arguments = message.arguments();
        if (arguments.size() < 2)
            return;
        const QString interface = arguments.at(0).toString();
        const QString path = message.path();
        QVariantMap* target = nullptr;
        if (path == kPath && interface == kInterface)
            target = &m_daemon;
        else if (interface == kDeviceInterface && m_devices.contains(path))
            target = &m_devices[path];
        if (!target)
            return;

        const auto changes = qdbus_cast<QVariantMap>(arguments.at(1));
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            target->insert(it.key(), it.value());
        const QStringList invalidated =
            arguments.size() > 2 ? arguments.at(2).toStringList() : QStringList();
        if (!invalidated.isEmpty()) {
            if (std::optional<QVariantMap> fresh = getAll(path, interface))
                *target = *fresh;
        }
        notifyIfChanged();
    }

    void onDeviceAdded(const QDBusMessage& message) {
        const QString path = devicePath(message);
        if (path.isEmpty())
            return;
        addDevice(path);
        notifyIfChanged();
    }

    void onDeviceRemoved(const QDBusMessage& message) {
        const QString path = devicePath(message);
        m_devices.remove(path);
        m_deviceOrder.removeAll(path);
        notifyIfChanged();
    }

private:
    static QString devicePath(const QDBusMessage& message) {
        const QList<QVariant> arguments = message.arguments();
        return arguments.isEmpty() ? QString()
                                   : arguments.constFirst().value<QDBusObjectPath>().path();
    }

    void addDevice(const QString& path) {
        std::optional<QVariantMap> properties = getAll(path, kDeviceInterface);
        if (!properties)
            return;
        if (!m_devices.contains(path))
            m_deviceOrder.append(path);
        m_devices.insert(path, *properties);
    }

    std::optional<QVariantMap> getAll(const QString& path, const QString& interface) const {
        QDBusMessage call = QDBusMessage::createMethodCall(kService, path, kPropertiesInterface,
                                                           QStringLiteral("GetAll"));
        call.setArguments({interface});
        const QDBusMessage reply = m_bus.call(call, QDBus::Block, kCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return std::nullopt;
        return qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    }

    // Devices update their energy and time estimates all the time; only what the snapshot
    // carries is worth a notification.
    void notifyIfChanged() {
        if (!m_started)
            return;
        std::optional<Snapshot> now = snapshot();
        if (now == m_lastReported)
            return;
        m_lastReported = std::move(now);
        Q_EMIT changed();
    }

    QDBusConnection m_bus;
    QVariantMap m_daemon;
    QHash<QString, QVariantMap> m_devices;
    // The daemon's enumeration order, then the order devices were added in.
    QStringList m_deviceOrder;
    bool m_started = false;
    std::optional<Snapshot> m_lastReported;
};

} // namespace

std::unique_ptr<PowerSource> PowerSource::createUPower() {
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return nullptr;
    auto source = std::make_unique<UPowerSource>(bus);
    if (!source->reload())
        return nullptr;
    return source;
}

#include "power_upower.moc"
