// Facts about the machine from the kernel's and the distribution's files.

#include "system/SupportInfoExporter.h"

#include <QFile>

#include <sys/utsname.h>

namespace {

QString firstLine(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readLine()).trimmed();
}

// The value of one "NAME=value" line of os-release, its quotes taken off.
QString osReleaseValue(const QByteArray& text, const char* name) {
    for (const QByteArray& line : text.split('\n')) {
        const QByteArray prefix = QByteArray(name) + '=';
        if (!line.startsWith(prefix))
            continue;
        QByteArray value = line.mid(prefix.size()).trimmed();
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front())
            value = value.mid(1, value.size() - 2);
        return QString::fromUtf8(value);
    }
    return {};
}

} // namespace

QString SupportInfoExporter::osVersion() {
    QByteArray release;
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        QFile file(QString::fromLatin1(path));
        if (file.open(QIODevice::ReadOnly)) {
            release = file.readAll();
            break;
        }
    }
    QString name = osReleaseValue(release, "PRETTY_NAME");
    if (name.isEmpty())
        name = QStringLiteral("Linux");
    utsname system{};
    if (::uname(&system) == 0)
        name += QStringLiteral(", %1 %2").arg(QString::fromUtf8(system.sysname),
                                              QString::fromUtf8(system.release));
    return name;
}

QString SupportInfoExporter::machineModel() {
    const QString vendor = firstLine(QStringLiteral("/sys/class/dmi/id/sys_vendor"));
    const QString product = firstLine(QStringLiteral("/sys/class/dmi/id/product_name"));
    return (vendor + QLatin1Char(' ') + product).trimmed();
}

QString SupportInfoExporter::processorName() {
    QFile file(QStringLiteral("/proc/cpuinfo"));
    // The kernel's files have no size to read up to: read until the end.
    if (!file.open(QIODevice::ReadOnly))
        return {};
    for (const QByteArray& line : file.readAll().split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon >= 0 && line.left(colon).trimmed() == "model name")
            return QString::fromUtf8(line.mid(colon + 1)).simplified();
    }
    return {};
}
