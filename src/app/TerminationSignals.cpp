#include "app/TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int g_pipe[2] = {-1, -1};
const int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent) {
    if (g_pipe[0] != -1 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_pipe) != 0)
        return;
    ::fcntl(g_pipe[1], F_SETFL, O_NONBLOCK);
    m_notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::readPending);

    struct sigaction action {};
    action.sa_handler = &TerminationSignals::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : kSignals)
        ::sigaction(signalNumber, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    if (!m_notifier)
        return;
    for (int signalNumber : kSignals)
        ::signal(signalNumber, SIG_DFL);
    delete m_notifier;
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
}

void TerminationSignals::handle(int signalNumber) {
    // Only async-signal-safe work here: one byte into the pipe.
    const char byte = char(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &byte, 1);
}

void TerminationSignals::readPending() {
    char byte = 0;
    if (::read(g_pipe[0], &byte, 1) == 1)
        Q_EMIT received(int(byte));
}
