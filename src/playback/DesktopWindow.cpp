#include "playback/DesktopWindow.h"

#include "playback/LayerSurface.h"
#include "playback/WindowHints.h"

#include <QScreen>

DesktopWindow::DesktopWindow(QScreen* screen) {
    Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint |
                            Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus;
    // No shell role from Qt: the layer role is given instead.
    if (LayerSurface::isAvailable())
        flags |= Qt::BypassWindowManagerHint;
    setFlags(flags);
    setTitle(QStringLiteral("Orvanta desktop"));
    setColor(Qt::black);
    if (screen) {
        setScreen(screen);
        setGeometry(screen->geometry());
    }
}

DesktopWindow::~DesktopWindow() = default;

void DesktopWindow::showOnDesktop() {
    create();
    if (!m_layerSurface && LayerSurface::isAvailable())
        m_layerSurface = std::make_unique<LayerSurface>(this);
    WindowHints::apply(this, WindowHints::Role::Desktop);
    show();
}
