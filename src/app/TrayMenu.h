#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QAction;
class QEvent;
class QIcon;
class QMenu;
class QSystemTrayIcon;

// The tray icon and its menu: a status line while something plays, play/pause, previous, next,
// the settings window, the quick controls, launch at login and quit. Every item goes through AppDelegate::shared() and does nothing while it
// is empty; the items are built anew from the controller's current values each time the menu opens.
class TrayMenu : public QObject {
    Q_OBJECT

public:
    explicit TrayMenu(QObject* parent = nullptr);
    ~TrayMenu() override;

    QMenu* menu() const { return m_menu.get(); }
    // Whether the desktop has a tray the icon went into.
    bool isShownInTray() const;

    void rebuild();

    // "Playing on 1 screen", "Playing on 3 screens".
    static QString statusText(int playingScreenCount);
    // The desktop theme's icon of that freedesktop name, else the one that comes with Orvanta.
    static QIcon icon(const QString& name);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon* m_trayIcon = nullptr;
};
