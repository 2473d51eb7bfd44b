#include "core/AppPaths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

namespace {

QString xdgBase(const char* variable, const QString& fallbackBelowHome) {
    QString base = qEnvironmentVariable(variable);
    // Relative values are invalid by the XDG rules and are ignored.
    if (base.isEmpty() || QDir::isRelativePath(base))
        base = QDir::homePath() + QLatin1Char('/') + fallbackBelowHome;
    return base;
}

QString xdgDirectory(const char* variable, const QString& fallbackBelowHome) {
    return QDir::cleanPath(xdgBase(variable, fallbackBelowHome) + QStringLiteral("/orvanta"));
}

} // namespace

QString AppPaths::configDirectory() {
    return xdgDirectory("XDG_CONFIG_HOME", QStringLiteral(".config"));
}

QString AppPaths::autostartEntry() {
    return QDir::cleanPath(xdgBase("XDG_CONFIG_HOME", QStringLiteral(".config")) +
                           QStringLiteral("/autostart/orvanta.desktop"));
}

QString AppPaths::cacheDirectory() {
    return xdgDirectory("XDG_CACHE_HOME", QStringLiteral(".cache"));
}

QString AppPaths::stateDirectory() {
    return xdgDirectory("XDG_STATE_HOME", QStringLiteral(".local/state"));
}

QString AppPaths::damagedDataDirectory() {
    return stateDirectory() + QStringLiteral("/damaged");
}

QString AppPaths::damagedFileName(const QString& what, const QString& suffix) {
    QString safe = what;
    safe.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_.-]")), QStringLiteral("_"));
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmsszzz'Z'"));
    const QString directory = damagedDataDirectory();
    QString name = directory + QLatin1Char('/') + safe + QLatin1Char('-') + stamp + suffix;
    // Two damaged copies within one millisecond still get names of their own.
    for (int n = 2; QFileInfo::exists(name); ++n) {
        name = directory + QLatin1Char('/') + safe + QLatin1Char('-') + stamp + QLatin1Char('-') +
               QString::number(n) + suffix;
    }
    return name;
}

QString AppPaths::keepDamagedData(const QString& what, const QByteArray& bytes) {
    if (!QDir().mkpath(damagedDataDirectory()))
        return {};
    const QString name = damagedFileName(what, QStringLiteral(".bin"));
    QSaveFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return {};
    return name;
}

QString AppPaths::moveDamagedFile(const QString& what, const QString& path) {
    if (!QDir().mkpath(damagedDataDirectory()))
        return {};
    const QString suffix = QFileInfo(path).completeSuffix();
    const QString name =
        damagedFileName(what, suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix);
    if (QFile::rename(path, name))
        return name;
    // Across file systems a rename fails; a copy keeps the data just as well.
    if (QFile::copy(path, name) && QFile::remove(path))
        return name;
    return {};
}
