#include "support/HeadlessSway.h"

#include "support/TestUtil.h"

#include <QDir>
#include <QImage>
#include <QProcessEnvironment>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace testutil {

HeadlessSway::HeadlessSway(const QByteArray& extraConfig) {
    // Outside the harness's private folders, which only their owner can enter.
    QByteArray pattern = QByteArrayLiteral("/tmp/orvanta-sway-XXXXXX");
    if (!::mkdtemp(pattern.data()))
        return;
    m_runtimeDir = QString::fromLocal8Bit(pattern);
    writeFile(m_runtimeDir + QStringLiteral("/config"),
              QByteArrayLiteral("xwayland disable\n") + extraConfig);

    QString program = QStringLiteral("sway");
    QStringList arguments{QStringLiteral("-c"), m_runtimeDir + QStringLiteral("/config")};
    if (::geteuid() == 0) {
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody || ::chown(pattern.constData(), nobody->pw_uid, nobody->pw_gid) != 0)
            return;
        arguments = QStringList{QStringLiteral("--reuid=%1").arg(nobody->pw_uid),
                                QStringLiteral("--regid=%1").arg(nobody->pw_gid),
                                QStringLiteral("--clear-groups"), program} +
                    arguments;
        program = QStringLiteral("setpriv");
    }
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"LD_PRELOAD", "WAYLAND_DISPLAY", "DISPLAY", "SWAYSOCK"})
        env.remove(QString::fromLatin1(name));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    env.insert(QStringLiteral("HOME"), m_runtimeDir);
    env.insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    env.insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    env.insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
    m_sway.setProcessEnvironment(env);
    m_sway.setProcessChannelMode(QProcess::MergedChannels);
    m_sway.start(program, arguments);
    if (!m_sway.waitForStarted())
        return;

    const QDir runtime(m_runtimeDir);
    waitUntil([&] {
        return m_sway.state() != QProcess::Running ||
               (runtime.exists(QStringLiteral("wayland-1")) &&
                !runtime.entryList({QStringLiteral("sway-ipc.*.sock")}, QDir::System).isEmpty());
    });
    const QStringList ipc = runtime.entryList({QStringLiteral("sway-ipc.*.sock")}, QDir::System);
    if (m_sway.state() == QProcess::Running && !ipc.isEmpty()) {
        m_waylandDisplay = runtime.filePath(QStringLiteral("wayland-1"));
        m_ipcSocket = runtime.filePath(ipc.first());
    }
}

HeadlessSway::~HeadlessSway() {
    if (m_sway.state() != QProcess::NotRunning) {
        m_sway.terminate();
        if (!m_sway.waitForFinished(5000))
            m_sway.kill();
        m_sway.waitForFinished();
    }
    if (!m_runtimeDir.isEmpty())
        QDir(m_runtimeDir).removeRecursively();
}

QByteArray HeadlessSway::log() {
    return m_sway.readAll();
}

QByteArray HeadlessSway::tree() const {
    const ProcessResult result =
        runProcess(QStringLiteral("swaymsg"), {QStringLiteral("-s"), m_ipcSocket,
                                               QStringLiteral("-t"), QStringLiteral("get_tree")});
    return result.exitCode == 0 ? result.out : QByteArray();
}

bool HeadlessSway::command(const QString& command) const {
    return runProcess(QStringLiteral("swaymsg"), {QStringLiteral("-s"), m_ipcSocket, command})
               .exitCode == 0;
}

QImage HeadlessSway::screenshot(const QString& output) const {
    const ProcessResult result =
        runProcess(QStringLiteral("grim"), {QStringLiteral("-o"), output, QStringLiteral("-")},
                   {QStringLiteral("WAYLAND_DISPLAY=") + m_waylandDisplay});
    return result.exitCode == 0 ? QImage::fromData(result.out, "PNG") : QImage();
}

} // namespace testutil
