#include "system/DisplaySleepInhibitor.h"

#include "system/DisplaySleepBackend.h"

#include <QString>

DisplaySleepInhibitor::DisplaySleepInhibitor()
    : DisplaySleepInhibitor(DisplaySleepBackend::createDBus()) {
}

DisplaySleepInhibitor::DisplaySleepInhibitor(std::unique_ptr<DisplaySleepBackend> backend)
    : m_backend(std::move(backend)) {
}

DisplaySleepInhibitor::~DisplaySleepInhibitor() {
    setInhibiting(false);
}

DisplaySleepInhibitor& DisplaySleepInhibitor::shared() {
    // Never destroyed: its bus connection must not be torn down after the event loop's.
    static DisplaySleepInhibitor* const instance = new DisplaySleepInhibitor();
    return *instance;
}

void DisplaySleepInhibitor::setInhibiting(bool inhibiting) {
    // A refusal is not asked again until the wish comes back: the desktop would only refuse
    // again, once for every preference change.
    if (inhibiting == m_isInhibiting)
        return;
    m_isInhibiting = inhibiting;
    if (!m_backend)
        return;
    if (inhibiting)
        m_backend->inhibit(QStringLiteral("Playing a video wallpaper"));
    else
        m_backend->uninhibit();
}
