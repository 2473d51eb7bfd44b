// The running program is com.orvanta.Orvanta on the session bus, answering the desktop's
// org.freedesktop.Application interface at /com/orvanta/Orvanta: Activate shows the settings
// window, which is what a second start of the program asks for. Its own interface
// com.orvanta.Orvanta gives the support report of the running program.

#include "app/SingleInstance.h"

#include "app/SupportInfoCollector.h"
#include "core/Logging.h"
#include "core/NotificationCenter.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QVariantMap>

namespace {

const QString kServiceName = QStringLiteral("com.orvanta.Orvanta");
const QString kObjectPath = QStringLiteral("/com/orvanta/Orvanta");
const QString kInterface = QStringLiteral("org.freedesktop.Application");
constexpr int kActivateTimeoutMs = 1000;

class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(QObject* parent)
        : QDBusAbstractAdaptor(parent) {}

public Q_SLOTS:
    void Activate(const QVariantMap&) {
        qCInfo(lcApp, "Another start asked for the settings window");
        Q_EMIT NotificationCenter::instance().settingsWindowRequested();
    }
    void Open(const QStringList&, const QVariantMap&) { Activate({}); }
    void ActivateAction(const QString&, const QVariantList&, const QVariantMap&) {}
};

class ReportAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orvanta.Orvanta")

public:
    explicit ReportAdaptor(QObject* parent)
        : QDBusAbstractAdaptor(parent) {}

public Q_SLOTS:
    QString SupportInfo() { return SupportInfoCollector::report(); }
};

} // namespace

std::optional<QString> SingleInstance::runningSupportInfo() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(kServiceName))
        return std::nullopt;
    const QDBusMessage call = QDBusMessage::createMethodCall(kServiceName, kObjectPath,
                                                             QStringLiteral("com.orvanta.Orvanta"),
                                                             QStringLiteral("SupportInfo"));
    const QDBusReply<QString> reply = bus.call(call, QDBus::Block, kActivateTimeoutMs);
    if (!reply.isValid())
        return std::nullopt;
    return reply.value();
}

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent) {
}

SingleInstance::~SingleInstance() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.objectRegisteredAt(kObjectPath) == this) {
        bus.unregisterObject(kObjectPath);
        bus.unregisterService(kServiceName);
    }
}

bool SingleInstance::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qCInfo(lcApp, "No session bus: a second start cannot find this one");
        return true;
    }
    new ApplicationAdaptor(this);
    new ReportAdaptor(this);
    bus.registerObject(kObjectPath, this);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(kServiceName, QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return true;
    bus.unregisterObject(kObjectPath);

    QDBusMessage activate = QDBusMessage::createMethodCall(kServiceName, kObjectPath, kInterface,
                                                           QStringLiteral("Activate"));
    activate << QVariantMap();
    const QDBusMessage answer = bus.call(activate, QDBus::Block, kActivateTimeoutMs);
    if (answer.type() == QDBusMessage::ErrorMessage) {
        qCCritical(lcApp, "Orvanta runs already but did not answer: %s",
                   qUtf8Printable(answer.errorMessage()));
    } else {
        qCInfo(lcApp, "Orvanta runs already: showing its settings window");
    }
    return false;
}

#include "singleinstance_dbus.moc"
