// The X display of Qt's connection, for mpv's hardware decoding interop.
#include "playback/MpvGlRenderer.h"

#include <QGuiApplication>

void* MpvGlRenderer::x11Display() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->display() : nullptr;
}
