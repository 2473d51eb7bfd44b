#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal delivered on the event loop, so that the
// program quits in order (and is checked for leaks) instead of dying inside a signal handler.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received(int signalNumber);

private:
    static void handle(int signalNumber);
    void readPending();

    QSocketNotifier* m_notifier = nullptr;
};
