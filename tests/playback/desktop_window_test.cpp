// The desktop video under the harness's X server: real Qt Quick windows (software backend),
// real mpv players drawing through the software renderer, clips made by ffmpeg.

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistPersistence.h"
#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindow.h"
#include "playback/DesktopWindowController.h"
#include "playback/Player.h"
#include "playback/ScreenIdentifier.h"
#include "playback/ScreenWatcher.h"
#include "playback/SyncManager.h"
#include "playback/VideoRenderer.h"
#include "playback/VideoSurface.h"
#include "support/TestUtil.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtGui/qguiapplication_platform.h>

#include <gtest/gtest.h>

// Xlib comes after Qt: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/extensions/shape.h>

#include <algorithm>

#include <memory>

namespace {

class DesktopWindowTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        // 16:9 clips of solid colours, long enough to stay on screen while they are checked.
        for (const char* colour : {"red", "lime", "blue"}) {
            const QString name = QString::fromUtf8(colour);
            ASSERT_TRUE(
                testutil::encodeClip(s_dir->filePath(QStringLiteral("clips/%1.mp4").arg(name)),
                                     testutil::solidColourClip(name, 8.0)));
        }
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        Preferences& store = Preferences::standard();
        testutil::resetUserStore();
        FolderBookmarkManager folders(store);
        ASSERT_TRUE(
            folders.addFolder(QUrl::fromLocalFile(s_dir->filePath(QStringLiteral("clips")))));
        store.set(QStringLiteral("transitionType"), 0);
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
    }

    static bool waitForFrame(VideoSurface* surface) {
        return testutil::waitUntil([surface] { return !surface->shownFrame().isNull(); });
    }

    // The colour the X server shows at a point of the whole desktop.
    static QColor desktopPixel(QPoint point) {
        const QImage image =
            QGuiApplication::primaryScreen()->grabWindow(0, point.x(), point.y(), 1, 1).toImage();
        return image.isNull() ? QColor() : image.pixelColor(0, 0);
    }

    static std::unique_ptr<QTemporaryDir> s_dir;
};

std::unique_ptr<QTemporaryDir> DesktopWindowTest::s_dir;

// The clips are red, lime and blue: each lights one channel of its own.
const QStringList kClipColours{QStringLiteral("red"), QStringLiteral("lime"),
                               QStringLiteral("blue")};

int channel(const QColor& colour, qsizetype index) {
    return index == 0 ? colour.red() : index == 1 ? colour.green() : colour.blue();
}

// The clip whose colour the desktop shows; empty for anything else.
QString clipColour(const QColor& colour) {
    for (qsizetype i = 0; i < kClipColours.size(); ++i) {
        if (channel(colour, i) > 200 && channel(colour, (i + 1) % 3) < 60 &&
            channel(colour, (i + 2) % 3) < 60)
            return kClipColours.at(i);
    }
    return {};
}

// Both clips' colours at once: the middle of a dissolve from one to the other.
bool isMixed(const QColor& colour, const QString& first, const QString& second) {
    return channel(colour, kClipColours.indexOf(first)) > 60 &&
           channel(colour, kClipColours.indexOf(second)) > 60;
}
bool isDark(const QColor& colour) {
    return colour.red() < 40 && colour.green() < 40 && colour.blue() < 40;
}

// The rectangles of a window's input region, as the X server has it; -1 when unreadable.
int inputRectangleCount(WId window) {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->display())
        return -1;
    int count = -1;
    int ordering = 0;
    XRectangle* rectangles =
        XShapeGetRectangles(x11->display(), window, ShapeInput, &count, &ordering);
    if (rectangles)
        XFree(rectangles);
    return count;
}

QString xprop(WId window, const char* property) {
    const testutil::ProcessResult result = testutil::runProcess(
        QStringLiteral("xprop"),
        {QStringLiteral("-id"), QString::number(window), QString::fromUtf8(property)});
    return QString::fromUtf8(result.out).trimmed();
}

TEST(ScreenIdentifier, HashesTheDisplayDescriptionAndFallsBackToTheConnector) {
    const QString edid =
        ScreenIdentifier::fromDescription(QStringLiteral("DEL"), QStringLiteral("U2720Q"),
                                          QStringLiteral("ABC123"), QStringLiteral("DP-1"));
    // The same display on another connector keeps its identifier.
    EXPECT_EQ(edid, ScreenIdentifier::fromDescription(
                        QStringLiteral("DEL"), QStringLiteral("U2720Q"), QStringLiteral("ABC123"),
                        QStringLiteral("HDMI-2")));
    EXPECT_NE(edid,
              ScreenIdentifier::fromDescription(QStringLiteral("DEL"), QStringLiteral("U2720Q"),
                                                QStringLiteral("ABC124"), QStringLiteral("DP-1")));
    EXPECT_EQ(ScreenIdentifier::fromDescription({}, {}, {}, QStringLiteral("DP-1")),
              QString::number(ScreenIdentifier::fnv1a("DP-1")));
    EXPECT_EQ(ScreenIdentifier::fromDescription({}, {}, {}, {}), QStringLiteral("0"));
    // FNV-1a's published check values.
    EXPECT_EQ(ScreenIdentifier::fnv1a(""), 2166136261u);
    EXPECT_EQ(ScreenIdentifier::fnv1a("a"), 0xe40c292cu);
    EXPECT_EQ(ScreenIdentifier::forScreen(nullptr), QStringLiteral("0"));
}

TEST(ScreenIdentifier, HarnessScreensAreNamedStablyAndApart) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    ASSERT_EQ(screens.size(), 2);
    QStringList ids;
    QStringList names;
    for (QScreen* screen : screens) {
        const QString id = ScreenIdentifier::forScreen(screen);
        EXPECT_EQ(id, ScreenIdentifier::forScreen(screen));
        bool numeric = false;
        id.toUInt(&numeric);
        EXPECT_TRUE(numeric) << id.toStdString();
        EXPECT_EQ(id, QString::number(id.toUInt())) << "no padding, no sign";
        ids.append(id);
        names.append(ScreenIdentifier::displayName(screen));
    }
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_EQ(names, (QStringList{QStringLiteral("DP-1"), QStringLiteral("DP-2")}));
}

TEST(SyncManager, ReadsTheSwitchOnceWritesEveryAssignmentAndAnnouncesRealChanges) {
    QTemporaryDir dir;
    Preferences store(dir.filePath(QStringLiteral("prefs.sqlite3")));
    store.set(QStringLiteral("syncDisplays"), true);
    {
        SyncManager sync(store);
        EXPECT_TRUE(sync.isSyncEnabled());
        ASSERT_NE(sync.sharedPlayerManager(), nullptr) << "made at creation when on";
        EXPECT_EQ(sync.sharedPlayerManager()->screenId(), QStringLiteral("default"));
    }
    store.set(QStringLiteral("syncDisplays"), false);
    SyncManager sync(store);
    QSignalSpy own(&sync, &SyncManager::syncModeDidChange);
    QSignalSpy global(&NotificationCenter::instance(), &NotificationCenter::syncModeDidChange);
    EXPECT_FALSE(sync.isSyncEnabled());
    EXPECT_EQ(sync.sharedPlayerManager(true), nullptr);

    store.removeObject(QStringLiteral("syncDisplays"));
    sync.setSyncEnabled(false);
    EXPECT_EQ(store.objectForKey(QStringLiteral("syncDisplays")), QVariant(false))
        << "written also without a change";
    EXPECT_EQ(own.count(), 0);

    sync.setSyncEnabled(true);
    EXPECT_EQ(own.count(), 1);
    EXPECT_EQ(global.count(), 1);
    ASSERT_NE(sync.sharedPlayerManager(), nullptr);
    EXPECT_EQ(sync.sharedPlayerManager(true), sync.sharedPlayerManager());
    sync.setSyncEnabled(true);
    EXPECT_EQ(own.count(), 1);

    // Read once: an outside change waits for the next start.
    store.set(QStringLiteral("syncDisplays"), false);
    EXPECT_TRUE(sync.isSyncEnabled());

    sync.setSyncEnabled(false);
    EXPECT_EQ(own.count(), 2);
    EXPECT_EQ(global.count(), 2);
    EXPECT_EQ(sync.sharedPlayerManager(), nullptr);
    EXPECT_EQ(store.objectForKey(QStringLiteral("syncDisplays")), QVariant(false));
}

TEST(DesktopVideoView, ScalingPlacesTheVideoInTheArea) {
    const QRectF area(0, 0, 800, 600); // 4:3
    const QSize video(320, 180);       // 16:9
    using Scaling = ScalingMode;
    EXPECT_EQ(toScalingMode(1), Scaling::Fit);
    EXPECT_EQ(toScalingMode(2), Scaling::Stretch);
    EXPECT_EQ(toScalingMode(0), Scaling::Fill);
    EXPECT_EQ(toScalingMode(5), Scaling::Fill);
    EXPECT_EQ(DesktopVideoView::videoRect(area, video, Scaling::Fit), QRectF(0, 75, 800, 450));
    EXPECT_EQ(DesktopVideoView::videoRect(area, video, Scaling::Fill),
              QRectF(-133.3333333333333, 0, 1066.666666666667, 600));
    EXPECT_EQ(DesktopVideoView::videoRect(area, video, Scaling::Stretch), area);
    EXPECT_EQ(DesktopVideoView::videoRect(area, {}, Scaling::Fit), area);
}

TEST_F(DesktopWindowTest, OneWindowPerScreenWithTheDesktopHintsShowsTheVideo) {
    const auto controllers = testutil::showDesktopWindows();
    for (const auto& controller : controllers) {
        DesktopWindow* window = controller->window();
        ASSERT_TRUE(testutil::waitUntil([window] { return window->isExposed(); }));
        EXPECT_EQ(window->geometry(), controller->screen()->geometry());
        EXPECT_TRUE(controller->ownsPlayerManager());
        EXPECT_EQ(controller->playerManager()->screenId(),
                  ScreenIdentifier::forScreen(controller->screen()));
        EXPECT_TRUE(window->flags().testFlag(Qt::WindowTransparentForInput));
        // Clicks go through to whatever lies below: the input region is empty.
        EXPECT_EQ(inputRectangleCount(window->winId()), 0);
        EXPECT_TRUE(window->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
        EXPECT_EQ(xprop(window->winId(), "_NET_WM_WINDOW_TYPE"),
                  QStringLiteral("_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_DESKTOP"));
        const QString state = xprop(window->winId(), "_NET_WM_STATE");
        for (const char* atom : {"_NET_WM_STATE_BELOW", "_NET_WM_STATE_STICKY",
                                 "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
            EXPECT_TRUE(state.contains(QString::fromUtf8(atom))) << state.toStdString();
        EXPECT_EQ(xprop(window->winId(), "_NET_WM_DESKTOP"),
                  QStringLiteral("_NET_WM_DESKTOP(CARDINAL) = 4294967295"));
    }
    EXPECT_EQ(controllers[0]->screenName(), QStringLiteral("DP-1"));
    EXPECT_EQ(controllers[1]->screenName(), QStringLiteral("DP-2"));

    // Before anything plays, the desktop is black.
    EXPECT_EQ(desktopPixel({960, 540}), QColor(Qt::black));
    for (const auto& controller : controllers)
        controller->playerManager()->play();
    for (const auto& controller : controllers) {
        DesktopVideoView* view = controller->videoView();
        ASSERT_TRUE(testutil::waitUntil([view] { return !view->isPlayerAActive(); }));
        ASSERT_TRUE(waitForFrame(view->surfaceB()));
        const QImage frame = view->surfaceB()->shownFrame();
        // "bgra": the fourth byte of every pixel is an opaque alpha, never 0.
        EXPECT_EQ(frame.constBits()[3], 255);
        EXPECT_EQ(frame.size(), view->surfaceB()->size().toSize());
    }
    // Each screen shows its first video where its window is.
    for (const auto& controller : controllers) {
        const QPoint centre = controller->screen()->geometry().center();
        ASSERT_TRUE(testutil::waitUntil([&] {
            const QColor colour = desktopPixel(centre);
            return !clipColour(colour).isEmpty();
        })) << desktopPixel(centre).name().toStdString();
        const QUrl url = controller->playerManager()->currentVideoURL();
        EXPECT_EQ(clipColour(desktopPixel(centre)), QFileInfo(url.path()).completeBaseName());
    }
}

TEST_F(DesktopWindowTest, TransitionsEndWithTheIncomingSurfaceAloneOnScreen) {
    Preferences::standard().set(QStringLiteral("transitionDuration"), 0.5);
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    DesktopVideoView* view = controller.videoView();
    VideoPlayerManager* manager = controller.playerManager();
    QSignalSpy switches(manager, &VideoPlayerManager::videoPlayerDidTransition);
    QSignalSpy finished(view, &DesktopVideoView::transitionFinished);
    manager->play();
    ASSERT_TRUE(testutil::waitUntil([&] { return finished.count() >= 1; }));

    for (qint64 type : {0, 1, 2, 7}) {
        SCOPED_TRACE(type);
        Preferences::standard().set(QStringLiteral("transitionType"), type);
        const bool toA = !view->isPlayerAActive();
        VideoSurface* incoming = toA ? view->surfaceA() : view->surfaceB();
        VideoSurface* outgoing = toA ? view->surfaceB() : view->surfaceA();
        const int before = finished.count();
        QList<double> outgoingOpacities;
        QList<double> incomingOpacities;
        const auto outgoingWatch =
            QObject::connect(outgoing, &QQuickItem::opacityChanged, outgoing,
                             [&] { outgoingOpacities.append(outgoing->opacity()); });
        const auto incomingWatch =
            QObject::connect(incoming, &QQuickItem::opacityChanged, incoming,
                             [&] { incomingOpacities.append(incoming->opacity()); });
        // What the desktop shows in the middle of the screen, all through the transition.
        QList<QColor> shown;
        const QPoint centre = controller.screen()->geometry().center();
        // From a settled picture: the previous transition's last paint may still be on its way.
        const QString from = QFileInfo(manager->currentVideoURL().path()).completeBaseName();
        ASSERT_TRUE(testutil::waitUntil([&] { return clipColour(desktopPixel(centre)) == from; }));
        manager->nextVideo();
        const QString to = QFileInfo(manager->currentVideoURL().path()).completeBaseName();
        ASSERT_NE(from, to);
        // Until the incoming video alone is on screen, its first paints included.
        ASSERT_TRUE(testutil::waitUntil([&] {
            shown.append(desktopPixel(centre));
            return finished.count() > before && clipColour(shown.last()) == to;
        }));
        QObject::disconnect(outgoingWatch);
        QObject::disconnect(incomingWatch);
        EXPECT_EQ(view->isPlayerAActive(), toA);
        EXPECT_EQ(manager->activePlayer() == manager->playerA(), toA);
        EXPECT_EQ(incoming->opacity(), 1.0);
        EXPECT_EQ(outgoing->opacity(), 0.0);
        EXPECT_TRUE(incoming->isDrawing());
        EXPECT_FALSE(outgoing->isDrawing()) << "a transparent surface draws nothing";
        const auto mixed = [&](const QColor& colour) {
            return isMixed(colour, from, to);
        };
        const bool anyMixed = std::any_of(shown.begin(), shown.end(), mixed);
        // Only the two videos' colours, never the third clip's: a player brought into view
        // shows its new video at once, not the last frame of the one it played before.
        const qsizetype third = 3 - kClipColours.indexOf(from) - kClipColours.indexOf(to);
        for (const QColor& colour : shown)
            EXPECT_LT(channel(colour, third), 60) << colour.name().toStdString();
        switch (type) {
        case 0: // a cut: no intermediate opacity, no intermediate colour, never black
            EXPECT_EQ(incomingOpacities, QList<double>{1.0});
            EXPECT_EQ(outgoingOpacities, QList<double>{0.0});
            EXPECT_FALSE(anyMixed);
            EXPECT_FALSE(std::any_of(shown.begin(), shown.end(), isDark));
            break;
        case 1: // through black: the incoming surface appears only after the outgoing one left
            EXPECT_GT(outgoingOpacities.size(), 2);
            EXPECT_EQ(incomingOpacities, QList<double>{1.0});
            EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), isDark));
            EXPECT_FALSE(anyMixed);
            break;
        default: // dissolve: the incoming one rises above and fades in over an opaque one
            EXPECT_GT(incoming->z(), outgoing->z());
            EXPECT_GT(incomingOpacities.size(), 2);
            EXPECT_EQ(outgoingOpacities, QList<double>{0.0});
            // Both colours at once, and never darker than either on the way.
            EXPECT_TRUE(anyMixed);
            EXPECT_FALSE(std::any_of(shown.begin(), shown.end(), isDark));
            break;
        }
    }
}

TEST_F(DesktopWindowTest, ScalingFollowsThePreferenceLive) {
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    DesktopVideoView* view = controller.videoView();
    view->setSize(QSizeF(800, 600));
    controller.playerManager()->play();
    VideoSurface* surface = view->surfaceB();
    ASSERT_TRUE(testutil::waitUntil([&] { return surface->videoSize() == QSize(320, 180); }));
    EXPECT_EQ(QRectF(surface->position(), surface->size()),
              QRectF(-133.3333333333333, 0, 1066.666666666667, 600))
        << "fill crops by default";
    Preferences::standard().set(QStringLiteral("videoScaling"), 1);
    EXPECT_EQ(QRectF(surface->position(), surface->size()), QRectF(0, 75, 800, 450));
    Preferences::standard().set(QStringLiteral("videoScaling"), 2);
    EXPECT_EQ(QRectF(surface->position(), surface->size()), QRectF(0, 0, 800, 600));
}

TEST_F(DesktopWindowTest, SyncModeDrawsOneManagersPlayersOnEveryScreen) {
    SyncManager sync(Preferences::standard(), DesktopWindowController::surfacePlayerFactory());
    sync.setSyncEnabled(true);
    VideoPlayerManager* shared = sync.sharedPlayerManager(true);
    ASSERT_NE(shared, nullptr);
    auto controllers = testutil::showDesktopWindows(shared);
    shared->play();
    for (const auto& controller : controllers) {
        EXPECT_FALSE(controller->ownsPlayerManager());
        DesktopVideoView* view = controller->videoView();
        EXPECT_EQ(view->surfaceB()->player(), shared->playerB());
        ASSERT_TRUE(testutil::waitUntil([view] { return !view->isPlayerAActive(); }));
        ASSERT_TRUE(waitForFrame(view->surfaceB()));
    }
    // Both screens show the frames of one decode.
    EXPECT_GT(shared->playerB()->renderer()->renderedFrames(), 0u);
    const QColor left = desktopPixel({960, 540});
    ASSERT_TRUE(testutil::waitUntil([&] { return desktopPixel({2880, 540}) == left; }));
    EXPECT_FALSE(clipColour(left).isEmpty()) << left.name().toStdString();

    // Closing one window leaves the shared manager playing.
    controllers.pop_back();
    EXPECT_TRUE(shared->isPlaying());
}

TEST_F(DesktopWindowTest, UnpluggingAMonitorIsOneScreenChange) {
    ScreenWatcher watcher;
    QSignalSpy changes(&watcher, &ScreenWatcher::screensChanged);
    const auto restore = qScopeGuard([] {
        testutil::runProcess(QStringLiteral("xrandr"),
                             {QStringLiteral("--setmonitor"), QStringLiteral("DP-2"),
                              QStringLiteral("1920/508x1080/286+1920+0"), QStringLiteral("none")});
        testutil::waitUntil([] { return QGuiApplication::screens().size() == 2; });
    });
    const testutil::ProcessResult result = testutil::runProcess(
        QStringLiteral("xrandr"), {QStringLiteral("--delmonitor"), QStringLiteral("DP-2")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    ASSERT_TRUE(testutil::waitUntil([&] { return changes.count() >= 1; }));
    testutil::processEventsFor(500);
    EXPECT_EQ(changes.count(), 1);
    ASSERT_EQ(QGuiApplication::screens().size(), 1);
    DesktopWindowController controller(QGuiApplication::screens().constFirst());
    controller.showWindow();
    EXPECT_EQ(controller.window()->geometry(), QRect(0, 0, 1920, 1080));
}

} // namespace
