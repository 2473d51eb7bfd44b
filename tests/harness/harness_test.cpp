// Checks that the headless harness (scripts/harness) provides what the other tests rely on:
// two screens on a real X server, monitors that can be unplugged and plugged at run time, a
// session bus and a separate system bus with the UPower and logind mocks, software OpenGL, and
// private home and XDG folders.

#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeDatabase>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QRegularExpression>
#include <QScreen>
#include <QStandardPaths>
#include <QWindow>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace {

constexpr int kDBusTimeoutMs = 10000;

QString env(const char* name) {
    return qEnvironmentVariable(name);
}

QDBusMessage call(const QDBusConnection& bus, const QString& service, const QString& path,
                  const QString& interface, const QString& method,
                  const QVariantList& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, kDBusTimeoutMs);
}

// Reads one D-Bus property; an invalid QVariant when the call fails.
QVariant property(const QDBusConnection& bus, const QString& service, const QString& path,
                  const QString& interface, const QString& name) {
    const QDBusMessage reply =
        call(bus, service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
             QStringLiteral("Get"), {interface, name});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().value<QDBusVariant>().variant();
}

QString busId(const QDBusConnection& bus) {
    const QDBusMessage reply =
        call(bus, QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
             QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().toString();
}

QScreen* screenNamed(const QString& name) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        if (screen->name() == name)
            return screen;
    }
    return nullptr;
}

QStringList screenNames() {
    QStringList names;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        names.append(screen->name());
    return names;
}

// One line of `xrandr --listmonitors`, e.g. " 1: DP-2 1920/508x1080/286+1920+0 ".
struct Monitor {
    QString name;
    QString geometry; // in the form --setmonitor takes
    bool primary = false;
};

// The RandR monitor of that name, as `xrandr --listmonitors` describes it.
std::optional<Monitor> monitorNamed(const QString& name) {
    const testutil::ProcessResult result =
        testutil::runProcess(QStringLiteral("xrandr"), {QStringLiteral("--listmonitors")});
    if (result.crashed || result.exitCode != 0)
        return std::nullopt;
    static const QRegularExpression line(
        QStringLiteral(R"(^\s*\d+:\s+([+*]*)(\S+)\s+(\d+/\d+x\d+/\d+[+-]\d+[+-]\d+)\s*(.*)$)"));
    for (const QString& text : QString::fromLocal8Bit(result.out).split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch match = line.match(text);
        if (match.hasMatch() && match.captured(2) == name)
            return Monitor{name, match.captured(3), match.captured(1).contains(QLatin1Char('*'))};
    }
    return std::nullopt;
}

bool xrandr(const QStringList& arguments) {
    const testutil::ProcessResult result =
        testutil::runProcess(QStringLiteral("xrandr"), arguments);
    if (result.crashed || result.exitCode != 0) {
        ADD_FAILURE() << "xrandr " << arguments.join(QLatin1Char(' ')).toStdString()
                      << " failed: " << result.err.toStdString();
        return false;
    }
    return true;
}

bool plugMonitor(const Monitor& monitor) {
    const QString name = monitor.primary ? QLatin1Char('*') + monitor.name : monitor.name;
    return xrandr({QStringLiteral("--setmonitor"), name, monitor.geometry, QStringLiteral("none")});
}

// Puts the monitors a test unplugged back, also when the test failed half way, so that later
// tests find the harness's layout again.
class MonitorRestorer {
public:
    explicit MonitorRestorer(QList<Monitor> monitors)
        : m_monitors(std::move(monitors)) {}
    ~MonitorRestorer() {
        for (const Monitor& monitor : std::as_const(m_monitors)) {
            if (!monitorNamed(monitor.name))
                plugMonitor(monitor);
        }
        testutil::waitUntil([this] {
            const QStringList names = screenNames();
            return std::all_of(
                m_monitors.cbegin(), m_monitors.cend(),
                [&names](const Monitor& monitor) { return names.contains(monitor.name); });
        });
    }
    MonitorRestorer(const MonitorRestorer&) = delete;
    MonitorRestorer& operator=(const MonitorRestorer&) = delete;

private:
    QList<Monitor> m_monitors;
};

// Records the names of screens as Qt adds and removes them (a removed QScreen is gone right
// after the signal, so its name is taken at once).
class ScreenEvents {
public:
    ScreenEvents() {
        auto* app = qGuiApp;
        m_connections.append(
            QObject::connect(app, &QGuiApplication::screenAdded, app,
                             [this](QScreen* screen) { added.append(screen->name()); }));
        m_connections.append(
            QObject::connect(app, &QGuiApplication::screenRemoved, app,
                             [this](QScreen* screen) { removed.append(screen->name()); }));
        m_connections.append(QObject::connect(
            app, &QGuiApplication::primaryScreenChanged, app,
            [this](QScreen* screen) { primary.append(screen ? screen->name() : QString()); }));
    }
    ~ScreenEvents() {
        for (const QMetaObject::Connection& connection : std::as_const(m_connections))
            QObject::disconnect(connection);
    }
    ScreenEvents(const ScreenEvents&) = delete;
    ScreenEvents& operator=(const ScreenEvents&) = delete;

    QStringList added;
    QStringList removed;
    QStringList primary;

private:
    QList<QMetaObject::Connection> m_connections;
};

} // namespace

TEST(Harness, RunsInsideTheHarness) {
    EXPECT_EQ(env("ORVANTA_HARNESS"), QStringLiteral("1"))
        << "run the tests through scripts/harness";
    const QString root = env("ORVANTA_HARNESS_ROOT");
    ASSERT_FALSE(root.isEmpty());
    EXPECT_TRUE(QFileInfo(root).isDir());
    EXPECT_EQ(QGuiApplication::platformName(), QStringLiteral("xcb"));
    EXPECT_FALSE(env("DISPLAY").isEmpty());
}

TEST(Harness, TwoScreensSideBySide) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    ASSERT_EQ(screens.size(), 2) << screenNames().join(QLatin1Char(' ')).toStdString();

    QScreen* left = nullptr;
    QScreen* right = nullptr;
    for (QScreen* screen : screens) {
        if (screen->geometry() == QRect(0, 0, 1920, 1080))
            left = screen;
        else if (screen->geometry() == QRect(1920, 0, 1920, 1080))
            right = screen;
    }
    ASSERT_NE(left, nullptr);
    ASSERT_NE(right, nullptr);
    EXPECT_NE(left->name(), right->name());
    EXPECT_EQ(QGuiApplication::primaryScreen(), left);
    EXPECT_EQ(screens.constFirst(), left) << "the primary screen comes first";
    EXPECT_EQ(left->virtualGeometry(), QRect(0, 0, 3840, 1080));
    for (const QScreen* screen : {left, right}) {
        EXPECT_NEAR(screen->physicalSize().width(), 508.0, 1.0);
        EXPECT_NEAR(screen->physicalSize().height(), 286.0, 1.0);
        EXPECT_DOUBLE_EQ(screen->devicePixelRatio(), 1.0);
    }
}

TEST(Harness, WindowShowsOnTheSecondScreen) {
    QScreen* right = QGuiApplication::screenAt(QPoint(1920 + 100, 100));
    ASSERT_NE(right, nullptr);
    QWindow window;
    window.setScreen(right);
    window.setGeometry(QRect(right->geometry().topLeft() + QPoint(100, 100), QSize(320, 240)));
    window.show();
    ASSERT_TRUE(testutil::waitUntil([&] { return window.isExposed(); }))
        << "the X server never exposed the window";
    EXPECT_EQ(window.screen(), right);
    EXPECT_TRUE(right->geometry().contains(window.geometry()));
}

TEST(Harness, SoftwareOpenGL) {
    EXPECT_EQ(env("LIBGL_ALWAYS_SOFTWARE"), QStringLiteral("1"));
    QOffscreenSurface surface;
    surface.create();
    ASSERT_TRUE(surface.isValid());
    QOpenGLContext context;
    ASSERT_TRUE(context.create());
    ASSERT_TRUE(context.makeCurrent(&surface));
    const auto* renderer =
        reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
    ASSERT_NE(renderer, nullptr);
    EXPECT_TRUE(QByteArray(renderer).contains("llvmpipe")) << renderer;
    context.doneCurrent();
}

// Each screen in turn is unplugged and plugged back; the primary one hands primary over and
// takes it back, the other one leaves the primary screen alone.
TEST(Harness, UnpluggedScreenGoesAndComesBack) {
    ASSERT_EQ(QGuiApplication::screens().size(), 2);
    QScreen* const left = QGuiApplication::primaryScreen();
    QScreen* const right = QGuiApplication::screenAt(QPoint(1920 + 100, 100));
    ASSERT_TRUE(left && right && left != right);
    const QString leftName = left->name();
    const QString rightName = right->name();
    struct Case {
        QString name;
        QString geometry;
        QRect rect;
        QStringList primaryWhileUnplugged; // primary changes reported, in order
        QStringList primaryAfterwards;
    };
    const Case cases[] = {
        {rightName, QStringLiteral("1920/508x1080/286+1920+0"), QRect(1920, 0, 1920, 1080), {}, {}},
        {leftName,
         QStringLiteral("1920/508x1080/286+0+0"),
         QRect(0, 0, 1920, 1080),
         {rightName},
         {rightName, leftName}},
    };
    for (const Case& unplugged : cases) {
        SCOPED_TRACE(unplugged.name.toStdString());
        const std::optional<Monitor> monitor = monitorNamed(unplugged.name);
        ASSERT_TRUE(monitor.has_value()) << "no RandR monitor";
        EXPECT_EQ(monitor->geometry, unplugged.geometry);
        EXPECT_EQ(monitor->primary, unplugged.name == leftName) << "xrandr's primary mark";
        MonitorRestorer restorer({*monitor});
        ScreenEvents events;

        ASSERT_TRUE(xrandr({QStringLiteral("--delmonitor"), unplugged.name}));
        ASSERT_TRUE(testutil::waitUntil([&] { return events.removed.contains(unplugged.name); }))
            << "Qt did not report the unplugged screen";
        EXPECT_EQ(events.removed, QStringList{unplugged.name});
        EXPECT_TRUE(events.added.isEmpty()) << events.added.join(u' ').toStdString();
        ASSERT_EQ(QGuiApplication::screens().size(), 1);
        EXPECT_EQ(screenNamed(unplugged.name), nullptr);
        EXPECT_EQ(events.primary, unplugged.primaryWhileUnplugged);
        EXPECT_NE(QGuiApplication::primaryScreen()->name(), unplugged.name);
        if (unplugged.name == rightName) {
            EXPECT_EQ(QGuiApplication::primaryScreen(), left);
            EXPECT_EQ(left->geometry(), QRect(0, 0, 1920, 1080));
        }

        ASSERT_TRUE(plugMonitor(*monitor));
        ASSERT_TRUE(testutil::waitUntil([&] { return events.added.contains(unplugged.name); }))
            << "Qt did not report the screen plugged in again";
        ASSERT_TRUE(testutil::waitUntil(
            [&] { return QGuiApplication::primaryScreen()->name() == leftName; }));
        EXPECT_EQ(events.added, QStringList{unplugged.name});
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
        ASSERT_NE(screenNamed(unplugged.name), nullptr);
        EXPECT_EQ(screenNamed(unplugged.name)->geometry(), unplugged.rect);
        EXPECT_EQ(events.primary, unplugged.primaryAfterwards);
    }
}

TEST(Harness, SessionAndSystemBusesAreSeparate) {
    QDBusConnection session = QDBusConnection::sessionBus();
    QDBusConnection system = QDBusConnection::systemBus();
    ASSERT_TRUE(session.isConnected()) << session.lastError().message().toStdString();
    ASSERT_TRUE(system.isConnected()) << system.lastError().message().toStdString();

    // The system bus is the harness's own, not the machine's.
    const QString address = env("DBUS_SYSTEM_BUS_ADDRESS");
    EXPECT_TRUE(address.startsWith(QStringLiteral("unix:path=") + env("ORVANTA_HARNESS_ROOT") +
                                   QLatin1Char('/')))
        << address.toStdString();

    const QString sessionId = busId(session);
    const QString systemId = busId(system);
    EXPECT_FALSE(sessionId.isEmpty());
    EXPECT_FALSE(systemId.isEmpty());
    EXPECT_NE(sessionId, systemId);
}

TEST(Harness, UPowerAnswersOnTheSystemBus) {
    QDBusConnection system = QDBusConnection::systemBus();
    const QString service = QStringLiteral("org.freedesktop.UPower");
    const QString path = QStringLiteral("/org/freedesktop/UPower");

    const QVariant onBattery =
        property(system, service, path, service, QStringLiteral("OnBattery"));
    ASSERT_TRUE(onBattery.isValid());
    EXPECT_EQ(onBattery.metaType(), QMetaType::fromType<bool>());
    EXPECT_FALSE(onBattery.toBool());
    EXPECT_FALSE(property(system, service, path, service, QStringLiteral("DaemonVersion"))
                     .toString()
                     .isEmpty());

    const QDBusMessage devices =
        call(system, service, path, service, QStringLiteral("EnumerateDevices"));
    EXPECT_EQ(devices.type(), QDBusMessage::ReplyMessage) << devices.errorMessage().toStdString();
    // Nothing answers under this name on the session bus: the service is the system bus's.
    EXPECT_FALSE(QDBusConnection::sessionBus().interface()->isServiceRegistered(service).value());
}

TEST(Harness, LogindKnowsTheSession) {
    const QString id = env("XDG_SESSION_ID");
    ASSERT_FALSE(id.isEmpty());
    QDBusConnection system = QDBusConnection::systemBus();
    const QString service = QStringLiteral("org.freedesktop.login1");

    const QDBusMessage reply =
        call(system, service, QStringLiteral("/org/freedesktop/login1"),
             QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("GetSession"), {id});
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    ASSERT_FALSE(reply.arguments().isEmpty());
    const QString path = reply.arguments().constFirst().value<QDBusObjectPath>().path();
    ASSERT_FALSE(path.isEmpty());

    // The session object itself exists and describes this session.
    const QString sessionInterface = QStringLiteral("org.freedesktop.login1.Session");
    EXPECT_EQ(property(system, service, path, sessionInterface, QStringLiteral("Id")).toString(),
              id);
    EXPECT_TRUE(
        property(system, service, path, sessionInterface, QStringLiteral("Active")).toBool());
    EXPECT_FALSE(
        property(system, service, path, sessionInterface, QStringLiteral("LockedHint")).toBool());
    EXPECT_EQ(
        property(system, service, path, sessionInterface, QStringLiteral("Display")).toString(),
        env("DISPLAY"));
}

TEST(Harness, PrivateHomeAndXdgFolders) {
    const QString root = env("ORVANTA_HARNESS_ROOT");
    ASSERT_FALSE(root.isEmpty());
    const passwd* account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    const QString realHome = QDir(QString::fromLocal8Bit(account->pw_dir)).canonicalPath();

    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                             "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "TMPDIR"}) {
        SCOPED_TRACE(name);
        const QString path = env(name);
        ASSERT_FALSE(path.isEmpty());
        const QFileInfo info(path);
        ASSERT_TRUE(info.isDir());
        EXPECT_TRUE(info.isAbsolute());
        EXPECT_TRUE(path.startsWith(root + QLatin1Char('/'))) << path.toStdString();
        EXPECT_NE(info.canonicalFilePath(), realHome);

        const QString probe = QDir(path).filePath(QStringLiteral("harness-probe"));
        QFile file(probe);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << probe.toStdString();
        EXPECT_EQ(file.write("probe"), 5);
        file.close();
        EXPECT_TRUE(QFile::remove(probe));
    }

    struct stat runtime {};
    ASSERT_EQ(stat(env("XDG_RUNTIME_DIR").toLocal8Bit().constData(), &runtime), 0);
    EXPECT_EQ(runtime.st_mode & 0777, 0700u);

    // Qt finds the same folders.
    const std::pair<QStandardPaths::StandardLocation, const char*> locations[] = {
        {QStandardPaths::HomeLocation, "HOME"},
        {QStandardPaths::GenericConfigLocation, "XDG_CONFIG_HOME"},
        {QStandardPaths::GenericCacheLocation, "XDG_CACHE_HOME"},
        {QStandardPaths::GenericDataLocation, "XDG_DATA_HOME"},
        {QStandardPaths::RuntimeLocation, "XDG_RUNTIME_DIR"}};
    for (const auto& [location, name] : locations)
        EXPECT_EQ(QStandardPaths::writableLocation(location), env(name)) << name;
}

TEST(Harness, SharedMimeDatabaseStaysVisible) {
    // The system's shared MIME database, not only the copy built into Qt.
    EXPECT_FALSE(QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                        QStringLiteral("mime/mime.cache"))
                     .isEmpty())
        << qPrintable(env("XDG_DATA_DIRS"));
    const QMimeDatabase database;
    EXPECT_EQ(
        database.mimeTypeForFile(QStringLiteral("clip.mp4"), QMimeDatabase::MatchExtension).name(),
        QStringLiteral("video/mp4"));
    EXPECT_EQ(
        database.mimeTypeForFile(QStringLiteral("clip.webm"), QMimeDatabase::MatchExtension).name(),
        QStringLiteral("video/webm"));
    EXPECT_TRUE(database.mimeTypeForName(QStringLiteral("video/x-matroska")).isValid());
}
