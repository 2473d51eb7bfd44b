#include "system/PowerManager.h"

#include "system/PowerSource.h"

PowerManager::PowerManager(QObject* parent)
    : PowerManager(PowerSource::createDefault(), parent) {
}

PowerManager::PowerManager(std::unique_ptr<PowerSource> source, QObject* parent)
    : QObject(parent)
    , m_source(std::move(source)) {
    updatePowerState();
    startMonitoring();
}

PowerManager::~PowerManager() = default;

void PowerManager::updatePowerState() {
    if (!m_source)
        return;
    const std::optional<PowerSource::Snapshot> sources = m_source->snapshot();
    if (!sources)
        return;

    bool onBattery = false;
    std::optional<int> level;
    // Every internal battery is visited; a later one overrides what an earlier one said.
    for (const PowerSource::Source& source : *sources) {
        if (!source.isInternalBattery)
            continue;
        if (source.isBatteryPower)
            onBattery = *source.isBatteryPower;
        if (source.capacity)
            level = source.capacity;
    }

    QMetaObject::invokeMethod(
        this,
        [this, onBattery, level] {
            m_isOnBattery = onBattery;
            Q_EMIT isOnBatteryChanged(onBattery);
            m_batteryLevel = level;
            Q_EMIT batteryLevelChanged();
        },
        Qt::QueuedConnection);
}

void PowerManager::startMonitoring() {
    if (!m_source)
        return;
    connect(m_source.get(), &PowerSource::changed, this, &PowerManager::updatePowerState,
            Qt::UniqueConnection);
    m_source->start();
}
