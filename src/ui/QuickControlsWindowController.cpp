#include "ui/QuickControlsWindowController.h"

#include "core/Logging.h"
#include "playback/WindowHints.h"
#include "ui/SettingsContext.h"
#include "ui/SettingsWindow.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QJSEngine>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QScreen>

QuickControlsWindowController& QuickControlsWindowController::shared() {
    static QuickControlsWindowController* s_instance = [] {
        auto* instance = new QuickControlsWindowController();
        // The panel and its engine go before the application object they use.
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, instance,
                         [instance] { instance->releasePanel(); });
        return instance;
    }();
    return *s_instance;
}

QuickControlsWindowController* QuickControlsWindowController::create(QQmlEngine*, QJSEngine*) {
    QuickControlsWindowController* controller = &shared();
    QJSEngine::setObjectOwnership(controller, QJSEngine::CppOwnership);
    return controller;
}

QuickControlsWindowController::~QuickControlsWindowController() = default;

QQuickWindow* QuickControlsWindowController::panel() const {
    return m_panel;
}

void QuickControlsWindowController::toggle() {
    if (m_isVisible)
        hide();
    else
        show();
}

void QuickControlsWindowController::hide() {
    if (m_panel)
        m_panel->hide();
    setVisible(false);
}

void QuickControlsWindowController::releasePanel() {
    hide();
    m_engine.reset();
}

void QuickControlsWindowController::show() {
    if (!m_panel)
        createPanel();
    // Without a running program there is nothing to control.
    if (!m_panel)
        return;
    // Centred again at the top of the primary screen, wherever it was dragged before.
    const QScreen* screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect();
    const QRect place(area.center().x() + 1 - kWidth / 2, area.top() + kTopOffset, kWidth, kHeight);
    if (screen)
        m_panel->setGeometry(place);
    m_panel->show();
    setVisible(true);
}

void QuickControlsWindowController::createPanel() {
    if (!SettingsContext::shared().controller())
        return;
    SettingsWindow::registerTypes();
    m_engine = std::make_unique<QQmlApplicationEngine>();
    m_engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Orvanta/Ui/qml/QuickControlsPanel.qml")));
    const QList<QObject*> roots = m_engine->rootObjects();
    m_panel = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
    if (!m_panel) {
        qCWarning(lcApp, "The quick controls could not be built");
        m_engine.reset();
        return;
    }
    m_panel->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                      Qt::WindowDoesNotAcceptFocus);
    m_panel->create();
    WindowHints::apply(m_panel, WindowHints::Role::FloatingPanel);
}

void QuickControlsWindowController::setVisible(bool visible) {
    if (visible == m_isVisible)
        return;
    m_isVisible = visible;
    Q_EMIT isVisibleChanged();
}
