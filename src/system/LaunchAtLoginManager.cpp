#include "system/LaunchAtLoginManager.h"

#include "core/AppPaths.h"
#include "core/Logging.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace {

// One argument of an Exec line: quoted when it holds a reserved character, with the characters
// that stay special inside quotes escaped; a literal percent sign is doubled in any case.
QString execArgument(QString argument) {
    argument.replace(QLatin1Char('%'), QStringLiteral("%%"));
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    const bool quote = std::any_of(argument.cbegin(), argument.cend(),
                                   [](QChar c) { return reserved.contains(c); });
    if (!quote)
        return argument;
    QString quoted;
    for (const QChar c : std::as_const(argument)) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString programPath() {
    // A test or another front end starts the installed program by name.
    const QString running = QCoreApplication::applicationFilePath();
    if (QFileInfo(running).fileName() == QLatin1String("orvanta"))
        return running;
    return QStringLiteral("orvanta");
}

} // namespace

LaunchAtLoginManager& LaunchAtLoginManager::shared() {
    static LaunchAtLoginManager instance(Preferences::standard());
    return instance;
}

LaunchAtLoginManager::LaunchAtLoginManager(Preferences& preferences)
    : m_preferences(preferences) {
}

void LaunchAtLoginManager::setEnabled(bool enabled) {
    QString error;
    if (enabled ? writeEntry(&error) : removeEntry(&error)) {
        if (enabled)
            qCInfo(lcLaunch, "Registered for launch at login");
        else
            qCInfo(lcLaunch, "Unregistered from launch at login");
    } else {
        qCCritical(lcLaunch, "Failed to update launch at login: %s", qUtf8Printable(error));
    }
    Settings::launchAtLogin.write(m_preferences, enabled);
}

QByteArray LaunchAtLoginManager::entryText() {
    const QString exec = execArgument(programPath()) + QStringLiteral(" --background");
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Orvanta\n"
                          "Comment=Play your own videos as the moving background of your desktop\n"
                          "Exec=%1\n"
                          "Icon=orvanta\n"
                          "Terminal=false\n"
                          "StartupNotify=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(exec)
        .toUtf8();
}

bool LaunchAtLoginManager::writeEntry(QString* error) {
    const QString path = AppPaths::autostartEntry();
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        *error = QStringLiteral("cannot create the folder %1").arg(QFileInfo(path).absolutePath());
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(entryText()) < 0 || !file.commit()) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool LaunchAtLoginManager::removeEntry(QString* error) {
    QFile file(AppPaths::autostartEntry());
    // An entry that is not there is not registered.
    if (!file.exists() || file.remove())
        return true;
    *error = QStringLiteral("%1: %2").arg(file.fileName(), file.errorString());
    return false;
}
