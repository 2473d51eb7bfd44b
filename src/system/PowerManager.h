#pragma once

#include <QObject>

#include <memory>
#include <optional>

class PowerSource;

// Tells whether the computer runs on its internal battery. It decides nothing about playback;
// the application controller reacts to isOnBatteryChanged.
//
// isOnBatteryChanged follows every assignment, repeated values included: each change the
// power source reports publishes both values again. Like all published state it is assigned
// from the event loop, so the first values arrive a moment after creation.
class PowerManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOnBattery READ isOnBattery NOTIFY isOnBatteryChanged)

public:
    // Reads the machine's power sources: UPower, or the kernel's tree without it.
    explicit PowerManager(QObject* parent = nullptr);
    explicit PowerManager(std::unique_ptr<PowerSource> source, QObject* parent = nullptr);
    ~PowerManager() override;

    bool isOnBattery() const { return m_isOnBattery; }
    // The internal battery's charge in percent; none without one.
    std::optional<int> batteryLevel() const { return m_batteryLevel; }

    // Reads the sources and publishes the result; nothing when they give no information.
    void updatePowerState();
    // Follows the source's changes from now on.
    void startMonitoring();

Q_SIGNALS:
    void isOnBatteryChanged(bool isOnBattery);
    void batteryLevelChanged();

private:
    bool m_isOnBattery = false;
    std::optional<int> m_batteryLevel;
    std::unique_ptr<PowerSource> m_source;
};
