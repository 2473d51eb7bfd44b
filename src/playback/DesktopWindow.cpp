#include "playback/DesktopWindow.h"

#include "playback/WindowHints.h"

#include <QScreen>

DesktopWindow::DesktopWindow(QScreen* screen) {
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint |
             Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
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
    WindowHints::apply(this, WindowHints::Role::Desktop);
    show();
}
