#include "playback/ScreenWatcher.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

// Long enough to gather the events of one change, short enough to go unnoticed.
constexpr int kCoalesceMs = 200;

} // namespace

ScreenWatcher::ScreenWatcher(QObject* parent)
    : QObject(parent) {
    m_coalesce.setSingleShot(true);
    m_coalesce.setInterval(kCoalesceMs);
    connect(&m_coalesce, &QTimer::timeout, this, &ScreenWatcher::screensChanged);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        watch(screen);
        m_coalesce.start();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] { m_coalesce.start(); });
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, [this] { m_coalesce.start(); });
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens)
        watch(screen);
}

void ScreenWatcher::watch(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, [this] { m_coalesce.start(); });
}
