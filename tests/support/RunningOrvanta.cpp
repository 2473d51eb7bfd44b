#include "support/RunningOrvanta.h"

#include "support/TestUtil.h"

#include <csignal>

using namespace Qt::StringLiterals;

namespace testutil {

RunningOrvanta::RunningOrvanta(const QString& root) {
    m_environment.insert(u"XDG_CONFIG_HOME"_s, root + u"/config"_s);
    m_environment.insert(u"XDG_STATE_HOME"_s, root + u"/state"_s);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

RunningOrvanta::~RunningOrvanta() {
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(kTimeoutMs);
    }
}

bool RunningOrvanta::start(const QStringList& arguments) {
    m_process.setProcessEnvironment(m_environment);
    m_process.start(QStringLiteral(ORVANTA_BIN), arguments);
    return m_process.waitForStarted();
}

bool RunningOrvanta::readUntil(const QByteArray& text) {
    waitUntil(
        [&] {
            m_process.waitForReadyRead(50);
            m_output += m_process.readAll();
            return m_output.contains(text) || m_process.state() != QProcess::Running;
        },
        kTimeoutMs);
    return m_output.contains(text);
}

bool RunningOrvanta::quitWith(int signalNumber) {
    ::kill(pid_t(m_process.processId()), signalNumber);
    return finishes();
}

bool RunningOrvanta::finishes() {
    if (!m_process.waitForFinished(kTimeoutMs))
        return false;
    m_output += m_process.readAll();
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
}

} // namespace testutil
