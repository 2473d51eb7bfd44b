#include "app/Logging.h"
#include "app/Notifications.h"
#include "app/Preferences.h"
#include "app/TerminationSignals.h"
#include "library/FolderBookmarkManager.h"
#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindowController.h"
#include "playback/MpvPlayer.h"
#include "playback/MpvSoftwareRenderer.h"
#include "playback/ScreenWatcher.h"
#include "playback/SyncManager.h"
#include "playback/VideoSurface.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

#include <clocale>
#include <memory>
#include <vector>

namespace {

// One desktop window per screen, rebuilt whenever the screens or the sync mode change. The
// application controller takes this over; until then it is all the program does.
class DesktopWindows {
public:
    void rebuild(bool startPlayback) {
        bool wasPlaying = false;
        for (const auto& controller : m_controllers)
            wasPlaying = wasPlaying || controller->playerManager()->isPlaying();
        if (VideoPlayerManager* shared = SyncManager::shared().sharedPlayerManager()) {
            wasPlaying = wasPlaying || shared->isPlaying();
            shared->stop();
        }
        m_controllers.clear();

        VideoPlayerManager* shared = SyncManager::shared().sharedPlayerManager(true);
        const QList<QScreen*> screens = QGuiApplication::screens();
        for (QScreen* screen : screens) {
            m_controllers.push_back(std::make_unique<DesktopWindowController>(screen, shared));
            m_controllers.back()->showWindow();
        }
        qCInfo(lcPlayback, "Showing %lld desktop windows%s", qlonglong(m_controllers.size()),
               shared ? " (synced)" : "");
        if (!(startPlayback || wasPlaying))
            return;
        // Started a moment later, as after every rebuild, so the windows are up first.
        QTimer::singleShot(100, &m_context, [this, shared] {
            if (shared) {
                if (shared->totalVideoCount() > 0)
                    shared->play();
                return;
            }
            for (const auto& controller : m_controllers) {
                if (controller->playerManager()->totalVideoCount() > 0)
                    controller->playerManager()->play();
            }
        });
    }

    void clear() {
        // What mpv drew against what reached the screen, for the benchmark.
        for (const auto& controller : m_controllers) {
            const DesktopVideoView* view = controller->videoView();
            quint64 rendered = 0;
            quint64 shown = 0;
            for (const VideoSurface* surface : {view->surfaceA(), view->surfaceB()}) {
                const auto* player = qobject_cast<const MpvPlayer*>(surface->player());
                if (player && player->renderer())
                    rendered += player->renderer()->renderedFrames();
                shown += surface->shownFrames();
            }
            qCInfo(lcPlayback, "Frames on %s: rendered %llu, shown %llu",
                   qUtf8Printable(controller->screenName()), rendered, shown);
        }
        m_controllers.clear();
    }

private:
    std::vector<std::unique_ptr<DesktopWindowController>> m_controllers;
    QObject m_context;
};

} // namespace

int main(int argc, char** argv) {
    // Decided before the application object: no window may exist yet.
    VideoSurface::useSoftwareRendering();
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("orvanta"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ORVANTA_VERSION));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    // mpv parses numbers the C way; Qt has just set the user's locale.
    std::setlocale(LC_NUMERIC, "C");

    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &app,
                     [] { QCoreApplication::quit(); });

    Preferences& preferences = Preferences::standard();
    preferences.applyFirstRunDefaults();

    FolderBookmarkManager folders;
    const QList<QUrl> videos = folders.loadVideos();
    qCInfo(lcLaunch, "Orvanta %s started with %lld videos", ORVANTA_VERSION,
           qlonglong(videos.size()));

    SyncManager::setDefaultPlayerFactory(DesktopWindowController::surfacePlayerFactory());
    DesktopWindows windows;
    windows.rebuild(preferences.boolForKey(QStringLiteral("autoPlayOnLaunch")));
    ScreenWatcher screens;
    QObject::connect(&screens, &ScreenWatcher::screensChanged, &app,
                     [&windows] { windows.rebuild(false); });
    QObject::connect(&Notifications::instance(), &Notifications::syncModeDidChange, &app,
                     [&windows] { windows.rebuild(false); });

    const int status = app.exec();
    windows.clear();
    return status;
}
