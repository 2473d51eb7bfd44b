#include "ui/SettingsWindow.h"

#include "core/Logging.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "playback/WindowHints.h"
#include "ui/QuickControlsWindowController.h"
#include "ui/ThumbnailImageProvider.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>

#include <iterator>
#include <utility>

#ifdef __GLIBC__
#include <malloc.h>
#endif

// The module's registration, generated with it; called once before the first engine loads it.
void qml_register_types_Orvanta_Ui();

QPointer<SettingsWindow> SettingsWindow::s_open;

namespace {

// The pages pictured for the documentation, by their place in the window, with their files'
// names.
constexpr std::pair<int, const char*> kCapturedPages[] = {
    {0, "now-playing"}, {1, "video-folders"}, {2, "display"}, {3, "playlists"}, {4, "advanced"}};
constexpr int kCapturedPageCount = int(std::size(kCapturedPages));
// Long enough for a page's first frames, previews included.
constexpr int kCaptureDelayMs = 1500;

} // namespace

void SettingsWindow::registerTypes() {
    static const bool s_registered = [] {
        qml_register_types_Orvanta_Ui();
        return true;
    }();
    Q_UNUSED(s_registered);
}

SettingsWindow::SettingsWindow()
    : m_engine(std::make_unique<QQmlApplicationEngine>()) {
    registerTypes();
    m_engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_engine->addImageProvider(QLatin1String(ThumbnailImageProvider::providerId),
                               new ThumbnailImageProvider);
    m_engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Orvanta/Ui/qml/SettingsWindow.qml")));
    const QList<QObject*> roots = m_engine->rootObjects();
    m_window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
    if (!m_window) {
        qCWarning(lcApp, "The settings window could not be built");
        return;
    }
    // The window and its engine go before the players and the application object they use.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { delete this; });
    // Closed (hidden) windows are not kept: the next show builds a new one.
    connect(m_window, &QWindow::visibleChanged, this, [this](bool visible) {
        if (visible)
            return;
        qCInfo(lcApp, "Settings window closed");
        deleteLater();
    });
    // In the taskbar, or, for a program that lives in the tray only, out of it; a change shows
    // at once.
    applyVisibility();
    Preferences::standard().observe(Settings::applicationVisibility.key(), this,
                                    [this](const QVariant&) { applyVisibility(); });
    const QString captureFolder = qEnvironmentVariable("ORVANTA_CAPTURE_PAGES");
    if (!captureFolder.isEmpty())
        captureEachPage(captureFolder, 0);
}

SettingsWindow::~SettingsWindow() {
    // Its own hiding while it goes is no close.
    if (m_window)
        disconnect(m_window, nullptr, this, nullptr);
    m_engine.reset();
    // Qt Quick deletes the textures of the window's pictures at the next frame of a window that
    // shares its drawing context: one is drawn now, for an exit may leave no next frame.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const QList<QWindow*> windows = QGuiApplication::topLevelWindows();
    for (QWindow* other : windows) {
        if (auto* quick = qobject_cast<QQuickWindow*>(other))
            quick->grabWindow();
    }
#ifdef __GLIBC__
    // The window's items, pictures and compiled views were many small blocks; the allocator
    // would keep the space for later, and the window may not come back for hours.
    malloc_trim(0);
#endif
}

void SettingsWindow::applyVisibility() {
    const bool trayOnly = Settings::applicationVisibility.read(Preferences::standard()) == 1;
    WindowHints::setSkipTaskbar(m_window, trayOnly);
}

void SettingsWindow::show() {
    if (!s_open) {
        QElapsedTimer asked;
        asked.start();
        s_open = new SettingsWindow();
        if (!s_open->m_window) {
            delete s_open;
            return;
        }
        qCInfo(lcApp, "Settings window opened");
        // How long the user waits for it (the benchmark reads this line).
        connect(
            s_open->m_window, &QQuickWindow::frameSwapped, s_open,
            [asked] {
                qCInfo(lcApp, "Settings window drawn %.1f ms after it was asked for",
                       double(asked.nsecsElapsed()) / 1e6);
            },
            Qt::ConnectionType(Qt::DirectConnection | Qt::SingleShotConnection));
    }
    s_open->m_window->show();
    s_open->m_window->raise();
    s_open->m_window->requestActivate();
}

void SettingsWindow::discard() {
    delete s_open.data();
}

QQuickWindow* SettingsWindow::window() {
    return s_open ? s_open->m_window.data() : nullptr;
}

void SettingsWindow::captureQuickControls(const QString& folder) {
    QuickControlsWindowController& quickControls = QuickControlsWindowController::shared();
    if (!quickControls.isVisible())
        quickControls.toggle();
    QTimer::singleShot(kCaptureDelayMs, this, [folder] {
        QQuickWindow* panel = QuickControlsWindowController::shared().panel();
        const QString path = QDir(folder).filePath(QStringLiteral("quick-controls.png"));
        if (!panel || !panel->grabWindow().save(path))
            qCWarning(lcApp, "Could not save %s", qUtf8Printable(path));
        else
            qCInfo(lcApp, "Saved %s", qUtf8Printable(path));
    });
}

void SettingsWindow::captureEachPage(const QString& folder, int index) {
    if (index >= kCapturedPageCount) {
        captureQuickControls(folder);
        return;
    }
    QDir().mkpath(folder);
    const auto [page, name] = kCapturedPages[index];
    m_window->setProperty("currentPage", page);
    // One page after the other, each saved before the next is shown.
    QTimer::singleShot(kCaptureDelayMs, this, [this, folder, index, name] {
        const QString path =
            QDir(folder).filePath(QString::fromLatin1(name) + QStringLiteral(".png"));
        if (!m_window->grabWindow().save(path))
            qCWarning(lcApp, "Could not save %s", qUtf8Printable(path));
        else
            qCInfo(lcApp, "Saved %s", qUtf8Printable(path));
        captureEachPage(folder, index + 1);
    });
}
