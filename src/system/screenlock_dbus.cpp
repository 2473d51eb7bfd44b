// Lock and unlock events of a Linux desktop: ActiveChanged(b) of the screen savers on the
// session bus (freedesktop, GNOME, MATE, Cinnamon), and for this login session on the system bus
// logind's Lock / Unlock signals and changes of its LockedHint property. Lock and Unlock are
// requests that some desktops never send: they only set the hint. Every signal is passed on; a
// desktop that sends both kinds of signal for one lock is reported twice, as the monitor's
// contract allows. The hint is a state, not an event: it is passed on only where it differs
// from what was last reported, so a lock that was already announced is not announced again
// when the locker confirms it.

#include "system/ScreenLockSource.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QLoggingCategory>
#include <QStringList>
#include <QVariantMap>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcScreenLock, "com.orvanta.screenlock", QtInfoMsg)

namespace {

// Each name is also the interface its ActiveChanged belongs to. The object path differs from
// desktop to desktop, so any path is accepted.
const char* const kScreenSaverNames[] = {
    "org.freedesktop.ScreenSaver",
    "org.gnome.ScreenSaver",
    "org.mate.ScreenSaver",
    "org.cinnamon.ScreenSaver",
};

const QString kLogindService = QStringLiteral("org.freedesktop.login1");
const QString kLogindPath = QStringLiteral("/org/freedesktop/login1");
const QString kLogindManager = QStringLiteral("org.freedesktop.login1.Manager");
const QString kLogindSession = QStringLiteral("org.freedesktop.login1.Session");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kLockedHint = QStringLiteral("LockedHint");

constexpr int kCallTimeoutMs = 3000;

class DBusScreenLockSource : public ScreenLockSource {
    Q_OBJECT

public:
    DBusScreenLockSource() {
        QDBusConnection session = QDBusConnection::sessionBus();
        if (session.isConnected()) {
            for (const char* name : kScreenSaverNames) {
                const QString service = QString::fromLatin1(name);
                session.connect(service, QString(), service, QStringLiteral("ActiveChanged"), this,
                                SLOT(onActiveChanged(bool)));
            }
        } else {
            qCInfo(lcScreenLock) << "No session bus; screen saver events are not followed";
        }

        QDBusConnection system = QDBusConnection::systemBus();
        const QString sessionPath = system.isConnected() ? logindSessionPath(system) : QString();
        if (sessionPath.isEmpty()) {
            qCInfo(lcScreenLock) << "No logind session; its lock events are not followed";
            return;
        }
        system.connect(kLogindService, sessionPath, kLogindSession, QStringLiteral("Lock"), this,
                       SLOT(onLock()));
        system.connect(kLogindService, sessionPath, kLogindSession, QStringLiteral("Unlock"), this,
                       SLOT(onUnlock()));
        system.connect(kLogindService, sessionPath, kPropertiesInterface,
                       QStringLiteral("PropertiesChanged"), this,
                       SLOT(onSessionPropertiesChanged(QString, QVariantMap, QStringList)));
    }

private Q_SLOTS:
    void onActiveChanged(bool active) { report(active); }
    void onLock() { report(true); }
    void onUnlock() { report(false); }
    void onSessionPropertiesChanged(const QString& interface, const QVariantMap& changed,
                                    const QStringList&) {
        const auto hint = changed.constFind(kLockedHint);
        if (interface != kLogindSession || hint == changed.cend())
            return;
        if (hint->toBool() != m_isLocked)
            report(hint->toBool());
    }

private:
    void report(bool isLocked) {
        m_isLocked = isLocked;
        if (isLocked)
            Q_EMIT locked();
        else
            Q_EMIT unlocked();
    }

    // The object of this login session: the one $XDG_SESSION_ID names, else the one this
    // process belongs to.
    static QString logindSessionPath(const QDBusConnection& system) {
        const QString id = qEnvironmentVariable("XDG_SESSION_ID");
        QDBusMessage call =
            id.isEmpty()
                ? QDBusMessage::createMethodCall(kLogindService, kLogindPath, kLogindManager,
                                                 QStringLiteral("GetSessionByPID"))
                : QDBusMessage::createMethodCall(kLogindService, kLogindPath, kLogindManager,
                                                 QStringLiteral("GetSession"));
        if (id.isEmpty())
            call.setArguments({uint(getpid())});
        else
            call.setArguments({id});
        const QDBusMessage reply = system.call(call, QDBus::Block, kCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return {};
        return reply.arguments().constFirst().value<QDBusObjectPath>().path();
    }

    // What was last reported, whichever signal it came from.
    bool m_isLocked = false;
};

} // namespace

std::unique_ptr<ScreenLockSource> ScreenLockSource::createDBus() {
    return std::make_unique<DBusScreenLockSource>();
}

#include "screenlock_dbus.moc"
