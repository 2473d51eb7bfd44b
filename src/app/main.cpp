#include "app/AppDelegate.h"
#include "app/SessionDisplay.h"
#include "app/SingleInstance.h"
#include "app/SupportInfoCollector.h"
#include "app/TerminationSignals.h"
#include "app/TrayMenu.h"
#include "app/UpdateOfferDialog.h"
#include "core/Logging.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/PlaylistLibrary.h"
#include "library/ThumbnailCache.h"
#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindowController.h"
#include "playback/Player.h"
#include "playback/SyncManager.h"
#include "playback/VideoRenderer.h"
#include "playback/VideoSurface.h"
#include "system/HotkeyManager.h"
#include "system/LaunchAtLoginManager.h"
#include "system/ScheduleManager.h"
#include "system/ScreenLockMonitor.h"
#include "system/UpdateController.h"
#include "ui/QuickControlsWindowController.h"
#include "ui/SettingsContext.h"
#include "ui/SettingsWindow.h"

#include <QApplication>

#include <algorithm>
#include <cstdio>
#include <memory>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

// What mpv drew against what reached the screen, for the benchmark.
void logFrames(const AppDelegate& delegate) {
    for (const auto& controller : delegate.desktopWindows()) {
        const DesktopVideoView* view = controller->videoView();
        quint64 rendered = 0;
        quint64 shown = 0;
        for (const VideoSurface* surface : {view->surfaceA(), view->surfaceB()}) {
            const Player* player = surface->player();
            if (player && player->renderer())
                rendered += player->renderer()->renderedFrames();
            shown += surface->shownFrames();
        }
        qCInfo(lcPlayback, "Frames on %s: rendered %llu, shown %llu",
               qUtf8Printable(controller->screenName()), rendered, shown);
    }
}

constexpr const char* kUsage =
    "Usage: orvanta [--background]\n"
    "\n"
    "Plays your own videos as the moving background of your desktop, on every screen.\n"
    "A second start shows the running program's settings window.\n"
    "\n"
    "Options:\n"
    "  --background   start without opening the settings window, as at login\n"
    "  --support-info print the support report (of the running program, if one runs)\n"
    "  -h, --help     show this help\n"
    "  -v, --version  show the version\n";

// Answers --help and --version without a display; -1 when the program is to start.
int answerInformationOptions(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (argument == "--version" || argument == "-v") {
            std::printf("orvanta %s\n", ORVANTA_VERSION);
            return 0;
        }
    }
    return -1;
}

// Prints the report and ends, leaving a running program as it is.
int printSupportInfo(int argc, char** argv) {
    SessionDisplay::choosePlatform();
    // The screens are read from the display where there is one.
    std::unique_ptr<QCoreApplication> app;
    if (SessionDisplay::hasDisplay())
        app = std::make_unique<QGuiApplication>(argc, argv);
    else
        app = std::make_unique<QCoreApplication>(argc, argv);
    const std::optional<QString> running = SingleInstance::runningSupportInfo();
    const QString report = running ? *running : SupportInfoCollector::report();
    std::fputs(report.toUtf8().constData(), stdout);
    return 0;
}

qsizetype allVideosCount(const PlaylistLibrary& library) {
    for (const NamedPlaylist& playlist : library.playlists()) {
        if (playlist.name == QLatin1String(PlaylistLibrary::allVideosName))
            return playlist.items.size();
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
#ifdef __GLIBC__
    // The program runs all day with a dozen decoding and drawing threads. By default glibc gives
    // each thread a heap of its own and keeps freed frame buffers for reuse; two heaps, and
    // frame-sized blocks handed back to the system when freed, keep the resident size to what
    // is in use.
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, 1024 * 1024);
#endif
    if (const int answered = answerInformationOptions(argc, argv); answered >= 0)
        return answered;
    if (std::any_of(argv + 1, argv + argc,
                    [](const char* argument) { return qstrcmp(argument, "--support-info") == 0; }))
        return printSupportInfo(argc, argv);
    // Decided before the application object: Qt's platform plugin and OpenGL's shared contexts
    // are set up with it.
    SessionDisplay::choosePlatform();
    if (!SessionDisplay::hasDisplay()) {
        std::fputs(
            "orvanta: no display to show the desktop on (neither DISPLAY nor WAYLAND_DISPLAY "
            "reaches one)\n",
            stderr);
        return 1;
    }
    VideoSurface::chooseRenderPath();
    // A widget application: the tray menu is a widget menu.
    QApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("orvanta"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ORVANTA_VERSION));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (!SessionDisplay::canShowDesktopWindows()) {
        qCInfo(lcApp, "No desktop window on Qt's %s platform: the desktop stays as it is",
               qUtf8Printable(QGuiApplication::platformName()));
    }
    SingleInstance instance;
    if (!instance.claim())
        return 0;
    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &app,
                     [] { QCoreApplication::quit(); });

    Preferences& preferences = Preferences::standard();
    preferences.applyFirstRunDefaults();

    // "All Videos" follows the folders from launch on. Its first synchronisation is applied
    // before any queue is loaded, so that it finds every screen's queue as it will stay and
    // restarts nothing.
    PlaylistLibrary& library = PlaylistLibrary::shared();
    library.finishPendingSync();
    qCInfo(lcApp, "Orvanta %s started with %lld videos", ORVANTA_VERSION,
           qlonglong(allVideosCount(library)));

    SyncManager::setDefaultPlayerFactory(DesktopWindowController::surfacePlayerFactory());
    // Lock and unlock are followed from launch on.
    ScreenLockMonitor::shared();
    AppDelegate delegate(preferences);
    // Every way out (a signal, the tray menu, the session ending) passes here.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate, [&delegate] {
        logFrames(delegate);
        // The settings window and the quick controls go first: Qt Quick lets go of the pictures
        // of a window only while another of the program's windows is still there.
        SettingsWindow::discard();
        QuickControlsWindowController::shared().releasePanel();
        // Their parts handed over for deletion go now: the event loop has ended.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        delegate.applicationWillTerminate();
    });
    delegate.applicationDidFinishLaunching();
    SettingsContext::shared().setController(&delegate);
    // The same parts the controller and the tray use, and the report of --support-info.
    SettingsContext::shared().setSystemParts(
        {&ScheduleManager::shared(), &HotkeyManager::shared(), &LaunchAtLoginManager::shared(),
         &ThumbnailCache::shared(), &SupportInfoCollector::report});
    QObject::connect(&NotificationCenter::instance(), &NotificationCenter::settingsWindowRequested,
                     &app, [] { SettingsWindow::show(); });
    TrayMenu tray;
    if (!tray.isShownInTray())
        qCInfo(lcApp, "No system tray on this desktop");
    // A start from the login autostart stays in the background, unless there is no other way in
    // or nothing to play yet.
    const bool hasFolders = !preferences.arrayForKey(Settings::videoFoldersBookmarks.key())
                                 .value_or(QVariantList())
                                 .isEmpty();
    if (!app.arguments().contains(QStringLiteral("--background")) || !tray.isShownInTray() ||
        !hasFolders)
        SettingsWindow::show();
    // Looks for a newer release when asked; a release that checks out is shown in a dialog.
    UpdateController updates;
    SettingsContext::shared().setUpdateController(&updates);
    std::unique_ptr<UpdateOfferDialog> offerDialog;
    QObject::connect(&updates, &UpdateController::updateFound, &app,
                     [&offerDialog](const UpdateController::Offer& offer) {
                         offerDialog = std::make_unique<UpdateOfferDialog>(offer);
                         offerDialog->show();
                         offerDialog->raise();
                         offerDialog->activateWindow();
                     });

    const int status = app.exec();
    // What the windows handed over for deletion as they went goes too.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return status;
}
