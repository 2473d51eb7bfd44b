#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace testutil {

// The real program under the harness's X server and buses, with a store of its own under root.
class RunningOrvanta {
public:
    static constexpr int kTimeoutMs = 60000;

    explicit RunningOrvanta(const QString& root);
    ~RunningOrvanta();

    // The program's environment, to change before start().
    QProcessEnvironment& environment() { return m_environment; }
    bool start(const QStringList& arguments = {});
    // Reads the program's log until text appears; false if it ends first.
    bool readUntil(const QByteArray& text);
    // Ends the program with a signal, as a session does; true when it quit cleanly.
    bool quitWith(int signalNumber);
    bool finishes();
    const QByteArray& output() const { return m_output; }

private:
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    QProcess m_process;
    QByteArray m_output;
};

} // namespace testutil
