#include "system/ScreenLockMonitor.h"

#include "core/NotificationCenter.h"
#include "system/ScreenLockSource.h"

ScreenLockMonitor::ScreenLockMonitor(QObject* parent)
    : ScreenLockMonitor(ScreenLockSource::createDBus(), parent) {
}

ScreenLockMonitor::ScreenLockMonitor(std::unique_ptr<ScreenLockSource> source, QObject* parent)
    : QObject(parent)
    , m_source(std::move(source)) {
    if (m_source) {
        connect(m_source.get(), &ScreenLockSource::locked, this, &ScreenLockMonitor::screenDidLock);
        connect(m_source.get(), &ScreenLockSource::unlocked, this,
                &ScreenLockMonitor::screenDidUnlock);
    }
}

ScreenLockMonitor::~ScreenLockMonitor() = default;

ScreenLockMonitor& ScreenLockMonitor::shared() {
    // Never destroyed: its bus connections must not be torn down after the event loop's.
    static ScreenLockMonitor* const instance = new ScreenLockMonitor();
    return *instance;
}

void ScreenLockMonitor::screenDidLock() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_isScreenLocked = true;
            Q_EMIT isScreenLockedChanged(true);
            Q_EMIT NotificationCenter::instance().screenDidLock();
        },
        Qt::QueuedConnection);
}

void ScreenLockMonitor::screenDidUnlock() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_isScreenLocked = false;
            Q_EMIT isScreenLockedChanged(false);
            Q_EMIT NotificationCenter::instance().screenDidUnlock();
        },
        Qt::QueuedConnection);
}
