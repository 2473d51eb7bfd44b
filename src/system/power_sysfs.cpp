// Power sources from the kernel's power-supply tree, for machines without UPower. The kernel
// sends no change events we could wait on without privileges, so the tree is read again
// periodically.
//
// An internal battery is an entry of type "Battery" whose scope is absent or "System"; a
// mouse or keyboard battery says scope "Device". Its status "Discharging" means the machine
// runs on it.

#include "system/PowerSource.h"

#include <QDir>
#include <QFile>
#include <QTimer>

namespace {

// The first line of a sysfs attribute, or none when the file cannot be read.
std::optional<QString> readAttribute(const QDir& entry, const char* name) {
    QFile file(entry.filePath(QString::fromLatin1(name)));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readLine(256)).trimmed();
}

class SysfsPowerSource : public PowerSource {
    Q_OBJECT

public:
    SysfsPowerSource(const QString& root, int intervalMs)
        : m_root(root) {
        m_timer.setInterval(intervalMs);
        connect(&m_timer, &QTimer::timeout, this, &SysfsPowerSource::poll);
    }

    std::optional<Snapshot> snapshot() const override {
        const QDir root(m_root);
        if (!root.exists())
            return std::nullopt;
        Snapshot sources;
        // Entries are links into the device tree; name order keeps the result stable.
        const QStringList names =
            root.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
        for (const QString& name : names) {
            const QDir entry(root.filePath(name));
            Source source;
            const std::optional<QString> scope = readAttribute(entry, "scope");
            source.isInternalBattery =
                readAttribute(entry, "type") == QStringLiteral("Battery") &&
                (!scope || scope->compare(QStringLiteral("System"), Qt::CaseInsensitive) == 0);
            if (const std::optional<QString> status = readAttribute(entry, "status"))
                source.isBatteryPower = *status == QStringLiteral("Discharging");
            if (const std::optional<QString> capacity = readAttribute(entry, "capacity")) {
                bool ok = false;
                const int value = capacity->toInt(&ok);
                if (ok)
                    source.capacity = value;
            }
            sources.append(source);
        }
        return sources;
    }

    void start() override {
        m_lastReported = snapshot();
        m_timer.start();
    }

private:
    void poll() {
        std::optional<Snapshot> now = snapshot();
        if (now == m_lastReported)
            return;
        m_lastReported = std::move(now);
        Q_EMIT changed();
    }

    QString m_root;
    QTimer m_timer;
    std::optional<Snapshot> m_lastReported;
};

} // namespace

std::unique_ptr<PowerSource> PowerSource::createSysfs(const QString& root, int intervalMs) {
    return std::make_unique<SysfsPowerSource>(root, intervalMs);
}

#include "power_sysfs.moc"
