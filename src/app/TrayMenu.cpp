#include "app/TrayMenu.h"

#include "app/AppDelegate.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "system/LaunchAtLoginManager.h"
#include "ui/QuickControlsWindowController.h"
#include "ui/SettingsWindow.h"
#include "ui/SymbolTable.h"
#include "ui/ViewRules.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QSystemTrayIcon>

TrayMenu::TrayMenu(QObject* parent)
    : QObject(parent)
    , m_menu(std::make_unique<QMenu>()) {
    connect(m_menu.get(), &QMenu::aboutToShow, this, &TrayMenu::rebuild);
    m_menu->installEventFilter(this);
    rebuild();
    m_trayIcon = new QSystemTrayIcon(icon(QStringLiteral("orvanta")), this);
    m_trayIcon->setToolTip(QStringLiteral("Orvanta"));
    m_trayIcon->setContextMenu(m_menu.get());
    m_trayIcon->show();
}

TrayMenu::~TrayMenu() {
    // The icon lets go of the menu before the menu goes.
    delete m_trayIcon;
}

bool TrayMenu::isShownInTray() const {
    return QSystemTrayIcon::isSystemTrayAvailable() && m_trayIcon->isVisible();
}

QString TrayMenu::statusText(int playingScreenCount) {
    return ViewRules::playingText(playingScreenCount);
}

QIcon TrayMenu::icon(const QString& name) {
    return QIcon::fromTheme(name, QIcon(QStringLiteral(":/icons/%1.svg").arg(name)));
}

bool TrayMenu::eventFilter(QObject* watched, QEvent* event) {
    // Space chooses the highlighted item as Return does, whatever the widget style says.
    if (watched != m_menu.get() || event->type() != QEvent::KeyPress ||
        static_cast<QKeyEvent*>(event)->key() != Qt::Key_Space || !m_menu->activeAction())
        return false;
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, static_cast<QKeyEvent*>(event)->modifiers());
    QCoreApplication::sendEvent(m_menu.get(), &enter);
    return true;
}

void TrayMenu::rebuild() {
    m_menu->clear();
    AppDelegate* delegate = AppDelegate::shared();
    const bool playing = delegate && delegate->isPlaying();
    if (playing) {
        m_menu->addAction(statusText(delegate->playingScreenCount()))->setEnabled(false);
        m_menu->addSeparator();
    }
    // The controller is looked up when an item is chosen: it may be gone by then.
    m_menu->addAction(icon(playing ? QStringLiteral("media-playback-pause")
                                   : QStringLiteral("media-playback-start")),
                      QStringLiteral("Play/Pause"), this, [] {
                          if (AppDelegate* controller = AppDelegate::shared())
                              controller->togglePlayPause();
                      });
    m_menu->addAction(icon(QStringLiteral("media-skip-backward")), QStringLiteral("Previous"), this,
                      [] {
                          if (AppDelegate* controller = AppDelegate::shared())
                              controller->previousVideo();
                      });
    m_menu->addAction(icon(QStringLiteral("media-skip-forward")), QStringLiteral("Next"), this, [] {
        if (AppDelegate* controller = AppDelegate::shared())
            controller->nextVideo();
    });
    m_menu->addSeparator();
    m_menu->addAction(icon(SymbolTable::iconName(QStringLiteral("macwindow"))),
                      QStringLiteral("Show Window"), this, [] { SettingsWindow::show(); });
    const bool panelShown = QuickControlsWindowController::shared().isVisible();
    m_menu->addAction(
        icon(SymbolTable::iconName(QStringLiteral("slider.horizontal.below.rectangle"))),
        panelShown ? QStringLiteral("Hide Quick Controls") : QStringLiteral("Show Quick Controls"),
        this, [] { QuickControlsWindowController::shared().toggle(); });
    // Shows the last request, not whether the entry is there now.
    QAction* launchAtLogin =
        m_menu->addAction(icon(QStringLiteral("system-run")), QStringLiteral("Launch at Login"));
    launchAtLogin->setCheckable(true);
    launchAtLogin->setChecked(Settings::launchAtLogin.read(Preferences::standard()));
    connect(launchAtLogin, &QAction::toggled, this,
            [](bool enabled) { LaunchAtLoginManager::shared().setEnabled(enabled); });
    m_menu->addSeparator();
    QAction* quit =
        m_menu->addAction(icon(QStringLiteral("application-exit")), QStringLiteral("Quit Orvanta"),
                          this, [] { QCoreApplication::quit(); });
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
}
