#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

// Where PowerManager reads the machine's power sources. Implementations: UPower on the system
// bus (power_upower.cpp) and the kernel's power-supply tree (power_sysfs.cpp).
class PowerSource : public QObject {
    Q_OBJECT

public:
    // One power source as the machine describes it.
    struct Source {
        // The computer's own battery, as opposed to mains, a UPS or a peripheral's battery.
        bool isInternalBattery = false;
        // Whether the computer draws on this source; none when the source does not say.
        std::optional<bool> isBatteryPower;
        // Charge in percent; none when unknown.
        std::optional<int> capacity;

        bool operator==(const Source&) const = default;
    };
    using Snapshot = QList<Source>;

    using QObject::QObject;

    // The sources as they are now; none when the machine gives no power information at all.
    virtual std::optional<Snapshot> snapshot() const = 0;
    // Begins watching; changed() follows from then on.
    virtual void start() = 0;

    // UPower when it answers on the system bus, else the kernel's tree under
    // /sys/class/power_supply.
    static std::unique_ptr<PowerSource> createDefault();
    // UPower, or null when there is no system bus or no UPower on it.
    static std::unique_ptr<PowerSource> createUPower();
    // The kernel's power-supply tree under root, read again every intervalMs.
    static std::unique_ptr<PowerSource> createSysfs(const QString& root, int intervalMs);

Q_SIGNALS:
    // What snapshot() gives has changed.
    void changed();
};
