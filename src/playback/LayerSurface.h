#pragma once

#include <QObject>
#include <QPointer>
#include <QSize>

#include <memory>

class QWindow;

// A window's place on the background layer of a Wayland compositor that offers wlr-layer-shell
// (wlroots compositors, KDE Plasma): on its own screen's output, below every other surface,
// stretched to the output's edges, never given the keyboard and transparent to the pointer.
// The window must carry Qt::BypassWindowManagerHint, so that Qt gives its surface no shell role
// of its own. Qt makes a new surface each time the window is shown; each one gets the role, and
// the compositor's first size, before Qt draws into it.
class LayerSurface : public QObject {
    Q_OBJECT

public:
    // Whether Qt's platform is Wayland and its compositor offers the background layer.
    static bool isAvailable();

    // Follows the window's surfaces from now on; call it once the platform window exists.
    explicit LayerSurface(QWindow* window);
    ~LayerSurface() override;

private Q_SLOTS:
    // Qt's Wayland window made a surface, or is about to drop it.
    void attach();
    void detach();

private:
    struct Role;

    void configure(quint32 serial, QSize size);

    QPointer<QWindow> m_window;
    std::unique_ptr<Role> m_role;
};
