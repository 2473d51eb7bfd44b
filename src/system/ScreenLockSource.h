#pragma once

#include <QObject>

#include <memory>

// Where ScreenLockMonitor hears of lock and unlock events. The desktop's implementation is in
// screenlock_dbus.cpp.
class ScreenLockSource : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // The screen savers on the session bus and logind's session on the system bus. Without
    // either bus it simply reports nothing.
    static std::unique_ptr<ScreenLockSource> createDBus();

Q_SIGNALS:
    void locked();
    void unlocked();
};
