#pragma once

#include <QQuickWindow>

#include <memory>

class LayerSurface;
class QScreen;

// A frameless window covering one screen at the level of the desktop background: below every
// other window, on all virtual desktops, out of the taskbar and pager, transparent to the pointer
// and never focused. The platform hints live in the platform's own file. On Wayland the window is
// a surface of the compositor's background layer, on its screen's output.
class DesktopWindow : public QQuickWindow {
    Q_OBJECT

public:
    explicit DesktopWindow(QScreen* screen);
    ~DesktopWindow() override;

    // Shows the window without taking focus, with the desktop hints set before it is mapped.
    void showOnDesktop();

    // The window's place on the Wayland background layer; null elsewhere.
    LayerSurface* layerSurface() const { return m_layerSurface.get(); }

private:
    std::unique_ptr<LayerSurface> m_layerSurface;
};
