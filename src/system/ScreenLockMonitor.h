#pragma once

#include <QObject>

#include <memory>

class ScreenLockSource;

// Tells whether the user's screen is locked, and posts screenDidLock / screenDidUnlock on the
// process's NotificationCenter for every lock and unlock event, even one that repeats the state.
// The state starts as unlocked, whatever the screen shows at start.
class ScreenLockMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isScreenLocked READ isScreenLocked NOTIFY isScreenLockedChanged)

public:
    // Listens on the desktop's buses.
    explicit ScreenLockMonitor(QObject* parent = nullptr);
    explicit ScreenLockMonitor(std::unique_ptr<ScreenLockSource> source, QObject* parent = nullptr);
    ~ScreenLockMonitor() override;

    // The process's monitor, created on first use and kept until the process ends.
    static ScreenLockMonitor& shared();

    bool isScreenLocked() const { return m_isScreenLocked; }

    // Each hands its work to the event loop: assign the state, then post the notification.
    void screenDidLock();
    void screenDidUnlock();

Q_SIGNALS:
    // Follows every assignment, repeated values included.
    void isScreenLockedChanged(bool isScreenLocked);

private:
    bool m_isScreenLocked = false;
    std::unique_ptr<ScreenLockSource> m_source;
};
