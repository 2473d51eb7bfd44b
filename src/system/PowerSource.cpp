#include "system/PowerSource.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPower, "com.orvanta.power", QtInfoMsg)

namespace {

constexpr int kSysfsIntervalMs = 5000;

} // namespace

std::unique_ptr<PowerSource> PowerSource::createDefault() {
    if (std::unique_ptr<PowerSource> upower = createUPower())
        return upower;
    qCInfo(lcPower) << "UPower is not available; reading /sys/class/power_supply";
    return createSysfs(QStringLiteral("/sys/class/power_supply"), kSysfsIntervalMs);
}
