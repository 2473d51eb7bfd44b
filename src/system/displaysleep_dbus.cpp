// Keeping a Linux desktop's display awake: Inhibit / UnInhibit of org.freedesktop.ScreenSaver on
// the session bus, which GNOME, KDE, Xfce and others answer; where no screen saver answers, the
// desktop portal's org.freedesktop.portal.Inhibit with the idle flag, given back by closing the
// request it returns. Both forget an inhibition whose owner leaves the bus, so one held at a
// crash does not outlive the program.

#include "system/DisplaySleepBackend.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QLoggingCategory>
#include <QVariantMap>

#include <optional>

Q_LOGGING_CATEGORY(lcDisplaySleep, "com.orvanta.displaysleep", QtInfoMsg)

namespace {

const QString kScreenSaver = QStringLiteral("org.freedesktop.ScreenSaver");
const QString kScreenSaverPath = QStringLiteral("/org/freedesktop/ScreenSaver");
const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kPortalInhibit = QStringLiteral("org.freedesktop.portal.Inhibit");
const QString kPortalRequest = QStringLiteral("org.freedesktop.portal.Request");

// The portal's flag for "the session must not go idle" (which blanks and locks the screen).
constexpr uint kPortalIdleFlag = 8;
// A stuck service must not hold up the program for long.
constexpr int kCallTimeoutMs = 2000;

class DBusDisplaySleep : public DisplaySleepBackend {
public:
    DBusDisplaySleep()
        : m_bus(QDBusConnection::sessionBus()) {}

    void inhibit(const QString& reason) override {
        if (!m_bus.isConnected()) {
            qCInfo(lcDisplaySleep, "No session bus; the display cannot be kept awake");
            return;
        }
        const QDBusMessage saver =
            call(kScreenSaver, kScreenSaverPath, kScreenSaver, QStringLiteral("Inhibit"),
                 {QStringLiteral("Orvanta"), reason});
        if (saver.type() == QDBusMessage::ReplyMessage && !saver.arguments().isEmpty()) {
            m_cookie = saver.arguments().constFirst().toUInt();
            qCInfo(lcDisplaySleep, "Keeping the display awake through %s",
                   qUtf8Printable(kScreenSaver));
            return;
        }
        const QDBusMessage portal =
            call(kPortal, kPortalPath, kPortalInhibit, QStringLiteral("Inhibit"),
                 {QString(), kPortalIdleFlag, QVariantMap{{QStringLiteral("reason"), reason}}});
        if (portal.type() == QDBusMessage::ReplyMessage && !portal.arguments().isEmpty()) {
            m_request = portal.arguments().constFirst().value<QDBusObjectPath>().path();
            qCInfo(lcDisplaySleep, "Keeping the display awake through %s",
                   qUtf8Printable(kPortalInhibit));
            return;
        }
        qCCritical(lcDisplaySleep,
                   "Could not keep the display awake: %s answered \"%s\", %s \"%s\"",
                   qUtf8Printable(kScreenSaver), qUtf8Printable(saver.errorMessage()),
                   qUtf8Printable(kPortalInhibit), qUtf8Printable(portal.errorMessage()));
    }

    void uninhibit() override {
        if (m_cookie)
            call(kScreenSaver, kScreenSaverPath, kScreenSaver, QStringLiteral("UnInhibit"),
                 {*m_cookie});
        else if (!m_request.isEmpty())
            call(kPortal, m_request, kPortalRequest, QStringLiteral("Close"), {});
        else
            return;
        m_cookie.reset();
        m_request.clear();
        qCInfo(lcDisplaySleep, "The display may sleep again");
    }

private:
    QDBusMessage call(const QString& service, const QString& path, const QString& interface,
                      const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        return m_bus.call(message, QDBus::Block, kCallTimeoutMs);
    }

    QDBusConnection m_bus;
    std::optional<uint> m_cookie;
    // The portal's request object while it holds the inhibition.
    QString m_request;
};

} // namespace

std::unique_ptr<DisplaySleepBackend> DisplaySleepBackend::createDBus() {
    return std::make_unique<DBusDisplaySleep>();
}
