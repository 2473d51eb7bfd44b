// The desktop video as the X server shows it, on the render path ORVANTA_RENDER_PATH names
// (software, or opengl on Mesa's llvmpipe); also the start-up choice between the paths.

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindow.h"
#include "playback/DesktopWindowController.h"
#include "playback/MpvGlRenderer.h"
#include "playback/Player.h"
#include "playback/ScreenIdentifier.h"
#include "playback/ScreenWatcher.h"
#include "playback/SyncManager.h"
#include "playback/VideoRenderer.h"
#include "playback/VideoSurface.h"
#include "support/TestUtil.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QOpenGLContext>
#include <QPixmap>
#include <QQuickWindow>
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
#include <vector>

using namespace Qt::StringLiterals;

namespace {

bool openGL() {
    return VideoRenderer::path() == VideoRenderer::Path::OpenGL;
}

class DesktopWindowTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        // 16:9 clips of solid colours, long enough to stay on screen while they are checked; each
        // lights one channel of its own. Then blue above red: which way up the picture arrives.
        testutil::ClipSpec clip;
        clip.seconds = 12.0;
        clip.size = u"320x180"_s;
        for (const auto& [name, colour] :
             {std::pair{"red", "red"}, std::pair{"green", "lime"}, std::pair{"blue", "blue"}}) {
            clip.source = u"color=c=%1"_s.arg(QLatin1String(colour));
            ASSERT_TRUE(testutil::encodeClip(
                s_dir->filePath(u"clips/%1.mp4"_s.arg(QLatin1String(name))), clip));
        }
        clip.source = u"color=c=red"_s;
        clip.extraArguments = {u"-vf"_s, u"drawbox=w=iw:h=ih/2:color=blue:t=fill"_s};
        ASSERT_TRUE(testutil::encodeClip(s_dir->filePath(u"split/split.mp4"_s), clip));
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        useFolder("clips");
        Preferences::standard().set(u"transitionType"_s, 0);
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
    }

    static void useFolder(const char* name) {
        testutil::resetUserStore();
        FolderBookmarkManager folders(Preferences::standard());
        ASSERT_TRUE(
            folders.addFolder(QUrl::fromLocalFile(s_dir->filePath(QString::fromUtf8(name)))));
    }

    // Waits until the view switched to its first video and shows a frame of it.
    static bool waitForFirstFrame(const DesktopVideoView* view) {
        return testutil::waitUntil([view] { return !view->isPlayerAActive(); }) &&
               testutil::waitUntil([view] { return view->surfaceB()->shownFrames() > 0; });
    }

    // The colour the X server shows at a point of the whole desktop.
    static QColor desktopPixel(QPoint point) {
        const QImage image =
            QGuiApplication::primaryScreen()->grabWindow(0, point.x(), point.y(), 1, 1).toImage();
        return image.isNull() ? QColor() : image.pixelColor(0, 0);
    }

    // The clip whose colour the desktop shows at a point; empty for anything else.
    static QString shownClip(QPoint point) { return testutil::primaryName(desktopPixel(point)); }

    // Waits until the desktop shows a clip at a point; names the colour there if it never does.
    static ::testing::AssertionResult showsClip(QPoint point, const QString& clip) {
        if (testutil::waitUntil([&] { return shownClip(point) == clip; }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << clip.toStdString() << " not shown: " << desktopPixel(point).name().toStdString();
    }

    static inline std::unique_ptr<QTemporaryDir> s_dir;
};

// A shown desktop window on every screen, each with a manager of its own, or all drawing one.
std::vector<std::unique_ptr<DesktopWindowController>>
showDesktopWindows(VideoPlayerManager* shared = nullptr) {
    std::vector<std::unique_ptr<DesktopWindowController>> controllers;
    for (QScreen* screen : QGuiApplication::screens()) {
        controllers.push_back(std::make_unique<DesktopWindowController>(screen, shared));
        controllers.back()->showWindow();
    }
    return controllers;
}

QString clipName(const QUrl& url) {
    return QFileInfo(url.path()).completeBaseName();
}

const QStringList kClipColours{u"red"_s, u"green"_s, u"blue"_s};

int channel(const QColor& colour, qsizetype index) {
    return index == 0 ? colour.red() : index == 1 ? colour.green() : colour.blue();
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
        u"xprop"_s, {u"-id"_s, QString::number(window), QString::fromUtf8(property)});
    return QString::fromUtf8(result.out).trimmed();
}

TEST(ScreenIdentifier, HashesTheDisplayDescriptionAndFallsBackToTheConnector) {
    const auto id = [](const char* serial, const char* connector) {
        return ScreenIdentifier::fromDescription(u"DEL"_s, u"U2720Q"_s, QLatin1String(serial),
                                                 QLatin1String(connector));
    };
    // The same display on another connector keeps its identifier.
    EXPECT_EQ(id("ABC123", "DP-1"), id("ABC123", "HDMI-2"));
    EXPECT_NE(id("ABC123", "DP-1"), id("ABC124", "DP-1"));
    // Two identical displays without a serial number stay apart by their connectors: FNV-1a of
    // "DEL", "U2720Q", "" and "DP-1".
    EXPECT_NE(id("", "DP-1"), id("", "DP-2"));
    EXPECT_EQ(id("", "DP-1"), u"2609644666"_s);
    // FNV-1a of "DP-1".
    EXPECT_EQ(ScreenIdentifier::fromDescription({}, {}, {}, u"DP-1"_s), u"498784119"_s);
    EXPECT_EQ(ScreenIdentifier::fromDescription({}, {}, {}, {}), u"0"_s);
    EXPECT_EQ(ScreenIdentifier::forScreen(nullptr), u"0"_s);
}

TEST(SyncManager, ReadsTheSwitchOnceWritesEveryAssignmentAndAnnouncesRealChanges) {
    QTemporaryDir dir;
    Preferences store(dir.filePath(u"prefs.sqlite3"_s));
    store.set(u"syncDisplays"_s, true);
    EXPECT_EQ(SyncManager(store).sharedPlayerManager()->screenId(), u"default"_s)
        << "made at creation when on";
    store.set(u"syncDisplays"_s, false);
    SyncManager sync(store);
    QSignalSpy own(&sync, &SyncManager::syncModeDidChange);
    QSignalSpy global(&NotificationCenter::instance(), &NotificationCenter::syncModeDidChange);
    EXPECT_EQ(sync.sharedPlayerManager(true), nullptr);

    store.removeObject(u"syncDisplays"_s);
    sync.setSyncEnabled(false);
    EXPECT_EQ(store.objectForKey(u"syncDisplays"_s), QVariant(false))
        << "written also without a change";
    EXPECT_EQ(own.count(), 0);

    sync.setSyncEnabled(true);
    sync.setSyncEnabled(true);
    EXPECT_EQ(own.count(), 1);
    EXPECT_EQ(global.count(), 1);
    ASSERT_NE(sync.sharedPlayerManager(), nullptr);

    // Read once: an outside change waits for the next start.
    store.set(u"syncDisplays"_s, false);
    EXPECT_TRUE(sync.isSyncEnabled());

    sync.setSyncEnabled(false);
    EXPECT_EQ(own.count(), 2);
    EXPECT_EQ(global.count(), 2);
    EXPECT_EQ(sync.sharedPlayerManager(), nullptr);
    EXPECT_EQ(store.objectForKey(u"syncDisplays"_s), QVariant(false));
}

TEST(RenderPathChoice, TheProbeChoosesSoftwareOnCpuRasterisersAndTheOverrideWins) {
    for (const char* renderer :
         {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer", "Mesa swrast"})
        EXPECT_TRUE(VideoSurface::isSoftwareRasteriser(QString::fromUtf8(renderer))) << renderer;
    for (const char* renderer :
         {"Mesa Intel(R) UHD Graphics 620 (KBL GT2)", "NVIDIA GeForce RTX 3060/PCIe/SSE2"})
        EXPECT_FALSE(VideoSurface::isSoftwareRasteriser(QString::fromUtf8(renderer))) << renderer;
    const QByteArray ownPath = qgetenv("ORVANTA_RENDER_PATH");
    const auto probe = [](const char* path) {
        if (path)
            qputenv("ORVANTA_RENDER_PATH", path);
        else
            qunsetenv("ORVANTA_RENDER_PATH");
        return VideoSurface::probeRenderPath();
    };
    VideoSurface::RenderPathChoice choice = probe(nullptr);
    EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
    EXPECT_TRUE(choice.renderer.contains(u"llvmpipe"_s)) << choice.renderer.toStdString();
    EXPECT_TRUE(choice.reason.contains(u"llvmpipe"_s)) << choice.reason.toStdString();
    choice = probe("software");
    EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
    EXPECT_EQ(choice.reason, u"ORVANTA_RENDER_PATH=software"_s);
    choice = probe("opengl");
    EXPECT_EQ(choice.path, VideoRenderer::Path::OpenGL);
    EXPECT_TRUE(choice.renderer.contains(u"llvmpipe"_s)) << choice.renderer.toStdString();
    // Without an X server there is nothing to probe: software.
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":12345");
    choice = probe(nullptr);
    qputenv("DISPLAY", display);
    qputenv("ORVANTA_RENDER_PATH", ownPath);
    EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
    EXPECT_TRUE(choice.renderer.isEmpty());
    EXPECT_FALSE(choice.reason.isEmpty());

    // This program followed the override it was started with.
    ASSERT_EQ(openGL(), ownPath == "opengl");
    if (openGL()) {
        EXPECT_EQ(QQuickWindow::graphicsApi(), QSGRendererInterface::OpenGL);
        EXPECT_TRUE(QCoreApplication::testAttribute(Qt::AA_ShareOpenGLContexts));
        EXPECT_NE(QOpenGLContext::globalShareContext(), nullptr);
        // No vertical blank on a CPU rasteriser: the basic loop paces the windows.
        EXPECT_EQ(qgetenv("QSG_RENDER_LOOP"), QByteArray("basic"));
    }
}

TEST_F(DesktopWindowTest, OneWindowPerScreenWithTheDesktopHintsShowsTheVideo) {
    // The user's own wallpaper: grey.
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    ASSERT_TRUE(x11 && x11->display());
    XSetWindowBackground(x11->display(), DefaultRootWindow(x11->display()), 0x808080);
    XClearWindow(x11->display(), DefaultRootWindow(x11->display()));
    XFlush(x11->display());
    const QColor wallpaper(0x80, 0x80, 0x80);
    const auto controllers = showDesktopWindows();
    // Nothing to show yet: the wallpaper stays visible.
    for (const auto& controller : controllers)
        EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_EQ(desktopPixel({960, 540}), wallpaper);

    // Each window appears on its first frame: the wallpaper, then video, never black.
    QList<QColor> seen;
    for (const auto& controller : controllers)
        controller->playerManager()->play();
    ASSERT_TRUE(testutil::waitUntil([&] {
        bool all = true;
        for (const auto& controller : controllers) {
            seen.append(desktopPixel(controller->screen()->geometry().center()));
            all = all && !testutil::primaryName(seen.last()).isEmpty();
        }
        return all;
    }));
    EXPECT_FALSE(std::any_of(seen.begin(), seen.end(), isDark));

    for (const auto& controller : controllers) {
        DesktopWindow* window = controller->window();
        ASSERT_TRUE(window->isExposed());
        EXPECT_EQ(window->geometry(), controller->screen()->geometry());
        EXPECT_EQ(window->rendererInterface()->graphicsApi(),
                  openGL() ? QSGRendererInterface::OpenGL : QSGRendererInterface::Software);
        EXPECT_TRUE(controller->ownsPlayerManager());
        const QString id = ScreenIdentifier::forScreen(controller->screen());
        EXPECT_EQ(controller->playerManager()->screenId(), id);
        EXPECT_EQ(id, QString::number(id.toUInt())) << "decimal, no padding, no sign";
        EXPECT_TRUE(window->flags().testFlags(Qt::WindowTransparentForInput |
                                              Qt::WindowDoesNotAcceptFocus));
        // Clicks go through to whatever lies below: the input region is empty.
        EXPECT_EQ(inputRectangleCount(window->winId()), 0);
        EXPECT_EQ(xprop(window->winId(), "_NET_WM_WINDOW_TYPE"),
                  u"_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_DESKTOP"_s);
        const QString state = xprop(window->winId(), "_NET_WM_STATE");
        for (const char* atom : {"_NET_WM_STATE_BELOW", "_NET_WM_STATE_STICKY",
                                 "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
            EXPECT_TRUE(state.contains(QString::fromUtf8(atom))) << state.toStdString();
        EXPECT_EQ(xprop(window->winId(), "_NET_WM_DESKTOP"),
                  u"_NET_WM_DESKTOP(CARDINAL) = 4294967295"_s);
    }
    EXPECT_EQ(controllers[0]->screenName(), u"DP-1"_s);
    EXPECT_EQ(controllers[1]->screenName(), u"DP-2"_s);
    EXPECT_NE(controllers[0]->playerManager()->screenId(),
              controllers[1]->playerManager()->screenId());

    for (const auto& controller : controllers) {
        VideoSurface* surface = controller->videoView()->surfaceB();
        ASSERT_TRUE(waitForFirstFrame(controller->videoView()));
        Player* player = surface->player();
        ASSERT_NE(player, nullptr);
        EXPECT_TRUE(player->renderer()->isValid());
        EXPECT_EQ(qobject_cast<MpvGlRenderer*>(player->renderer()) != nullptr, openGL());
        if (openGL()) {
            // A texture, not an image, of the surface's size in device pixels.
            EXPECT_TRUE(surface->shownFrame().isNull());
            EXPECT_EQ(surface->shownFrameSize(), surface->size().toSize());
        } else {
            const QImage frame = surface->shownFrame();
            // "bgra": the fourth byte of every pixel is an opaque alpha, never 0.
            EXPECT_EQ(frame.constBits()[3], 255);
            EXPECT_EQ(frame.size(), surface->size().toSize());
        }
    }
    // Each screen shows its first video where its window is, and frames go on being drawn and
    // shown while it plays.
    for (const auto& controller : controllers) {
        ASSERT_TRUE(showsClip(controller->screen()->geometry().center(),
                              clipName(controller->playerManager()->currentVideoURL())));
        VideoSurface* surface = controller->videoView()->surfaceB();
        const VideoRenderer* renderer = surface->player()->renderer();
        const quint64 rendered = renderer->renderedFrames(), shown = surface->shownFrames();
        ASSERT_TRUE(testutil::waitUntil([&] {
            return renderer->renderedFrames() > rendered + 5 && surface->shownFrames() > shown + 5;
        }));
        EXPECT_LE(surface->shownFrames(), renderer->renderedFrames());
    }

    // With nothing left to play, the wallpaper comes back.
    testutil::resetUserStore();
    for (const auto& controller : controllers) {
        controller->playerManager()->loadPlaylist();
        EXPECT_FALSE(controller->window()->isVisible());
    }
    EXPECT_TRUE(testutil::waitUntil([&] { return desktopPixel({960, 540}) == wallpaper; }));
}

TEST_F(DesktopWindowTest, ThePictureIsTheRightWayUp) {
    useFolder("split");
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    controller.playerManager()->play();
    ASSERT_TRUE(waitForFirstFrame(controller.videoView()));
    const QRect screen = controller.screen()->geometry();
    EXPECT_TRUE(showsClip({screen.center().x(), screen.top() + screen.height() / 4}, u"blue"_s));
    EXPECT_TRUE(showsClip({screen.center().x(), screen.bottom() - screen.height() / 4}, u"red"_s));
}

TEST_F(DesktopWindowTest, TransitionsEndWithTheIncomingSurfaceAloneOnScreen) {
    // Long enough on the CPU rasteriser's OpenGL to catch the middle of a dissolve.
    Preferences::standard().set(u"transitionDuration"_s, openGL() ? 3.0 : 0.5);
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    DesktopVideoView* view = controller.videoView();
    VideoPlayerManager* manager = controller.playerManager();
    QSignalSpy finished(view, &DesktopVideoView::transitionFinished);
    manager->play();
    ASSERT_TRUE(testutil::waitUntil([&] { return finished.count() >= 1; }));

    // Every kind in software; OpenGL's own part is the blend of two textures.
    const QList<qint64> types = openGL() ? QList<qint64>{2} : QList<qint64>{0, 1, 2, 7};
    for (qint64 type : types) {
        SCOPED_TRACE(type);
        Preferences::standard().set(u"transitionType"_s, type);
        const bool toA = !view->isPlayerAActive();
        VideoSurface* incoming = toA ? view->surfaceA() : view->surfaceB();
        VideoSurface* outgoing = toA ? view->surfaceB() : view->surfaceA();
        const int before = finished.count();
        QList<double> outgoingOpacities, incomingOpacities;
        auto watch = std::make_unique<QObject>(); // the watching ends with it
        for (auto [surface, opacities] :
             {std::pair{outgoing, &outgoingOpacities}, std::pair{incoming, &incomingOpacities}})
            QObject::connect(surface, &QQuickItem::opacityChanged, watch.get(),
                             [surface, opacities] { opacities->append(surface->opacity()); });
        // What the desktop shows in the middle of the screen, all through the transition.
        QList<QColor> shown;
        const QPoint centre = controller.screen()->geometry().center();
        // From a settled picture: the previous transition's last paint may still be on its way.
        const QString from = clipName(manager->currentVideoURL());
        ASSERT_TRUE(showsClip(centre, from));
        manager->nextVideo();
        const QString to = clipName(manager->currentVideoURL());
        ASSERT_NE(from, to);
        // Until the incoming video alone is on screen, its first paints included.
        ASSERT_TRUE(testutil::waitUntil([&] {
            shown.append(desktopPixel(centre));
            return finished.count() > before && testutil::primaryName(shown.last()) == to;
        }));
        watch.reset();
        EXPECT_EQ(view->isPlayerAActive(), toA);
        EXPECT_EQ(manager->activePlayer() == manager->playerA(), toA);
        EXPECT_EQ(incoming->opacity(), 1.0);
        EXPECT_EQ(outgoing->opacity(), 0.0);
        EXPECT_TRUE(incoming->isDrawing());
        EXPECT_FALSE(outgoing->isDrawing()) << "a transparent surface draws nothing";
        const bool anyMixed = std::any_of(shown.begin(), shown.end(),
                                          [&](const QColor& c) { return isMixed(c, from, to); });
        const bool anyDark = std::any_of(shown.begin(), shown.end(), isDark);
        // Only the two videos' colours, never the third clip's: a player brought into view
        // shows its new video at once, not the last frame of the one it played before.
        const qsizetype third = 3 - kClipColours.indexOf(from) - kClipColours.indexOf(to);
        for (const QColor& colour : shown)
            EXPECT_LT(channel(colour, third), 60) << colour.name().toStdString();
        // Both colours at once only in a dissolve; black only on the way through black, never
        // in a cut nor darker than either colour in a dissolve.
        EXPECT_EQ(anyMixed, type != 0 && type != 1);
        EXPECT_EQ(anyDark, type == 1);
        switch (type) {
        case 0: // a cut: no intermediate opacity
            EXPECT_EQ(incomingOpacities, QList<double>{1.0});
            EXPECT_EQ(outgoingOpacities, QList<double>{0.0});
            break;
        case 1: // through black: the incoming surface appears only after the outgoing one left
            EXPECT_GT(outgoingOpacities.size(), 2);
            EXPECT_EQ(incomingOpacities, QList<double>{1.0});
            break;
        default: // dissolve: the incoming one rises above and fades in over an opaque one
            EXPECT_GT(incoming->z(), outgoing->z());
            EXPECT_GT(incomingOpacities.size(), 2);
            EXPECT_EQ(outgoingOpacities, QList<double>{0.0});
            break;
        }
    }
}

TEST_F(DesktopWindowTest, ScalingFollowsThePreferenceLive) {
    // Without a video size yet, the video takes the whole area.
    EXPECT_EQ(DesktopVideoView::videoRect(QRectF(0, 0, 800, 600), {}, ScalingMode::Fit),
              QRectF(0, 0, 800, 600));
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    DesktopVideoView* view = controller.videoView();
    view->setSize(QSizeF(800, 600)); // 4:3 around a 16:9 video
    controller.playerManager()->play();
    VideoSurface* surface = view->surfaceB();
    ASSERT_TRUE(testutil::waitUntil([&] { return surface->videoSize() == QSize(320, 180); }));
    const QRectF fill(-133.3333333333333, 0, 1066.666666666667, 600);
    EXPECT_EQ(QRectF(surface->position(), surface->size()), fill) << "fill crops by default";
    // Fit, stretch, and an unknown value that fills.
    for (const auto& [scaling, rect] :
         {std::pair{1, QRectF(0, 75, 800, 450)}, {2, QRectF(0, 0, 800, 600)}, {5, fill}}) {
        Preferences::standard().set(u"videoScaling"_s, scaling);
        EXPECT_EQ(QRectF(surface->position(), surface->size()), rect) << scaling;
    }
}

TEST_F(DesktopWindowTest, SyncModeShowsOneManagersPlayersOnEveryScreen) {
    SyncManager sync(Preferences::standard(), DesktopWindowController::surfacePlayerFactory());
    sync.setSyncEnabled(true);
    VideoPlayerManager* shared = sync.sharedPlayerManager(true);
    ASSERT_NE(shared, nullptr);
    auto controllers = showDesktopWindows(shared);
    shared->play();
    for (const auto& controller : controllers) {
        EXPECT_FALSE(controller->ownsPlayerManager());
        EXPECT_EQ(controller->videoView()->surfaceB()->player(), shared->playerB());
        ASSERT_TRUE(waitForFirstFrame(controller->videoView()));
    }
    // Both screens show the frames of one decode, and go on showing new ones.
    const QString clip = clipName(shared->currentVideoURL());
    for (const auto& controller : controllers)
        ASSERT_TRUE(showsClip(controller->screen()->geometry().center(), clip))
            << controller->screenName().toStdString();
    const auto shownFrames = [&](size_t index) {
        return controllers[index]->videoView()->surfaceB()->shownFrames();
    };
    const quint64 shownLeft = shownFrames(0), shownRight = shownFrames(1);
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return shownFrames(0) > shownLeft + 3 && shownFrames(1) > shownRight + 3; }));

    // Closing one window leaves the other showing the video.
    controllers.pop_back();
    EXPECT_TRUE(shared->isPlaying());
    const quint64 shown = shownFrames(0);
    ASSERT_TRUE(testutil::waitUntil([&] { return shownFrames(0) > shown + 3; }));
    EXPECT_EQ(shownClip(controllers[0]->screen()->geometry().center()), clip);
}

// Last: this program runs in a harness of its own, which takes the unplugged monitor with it.
TEST_F(DesktopWindowTest, UnpluggingAMonitorIsOneScreenChange) {
    ScreenWatcher watcher;
    QSignalSpy changes(&watcher, &ScreenWatcher::screensChanged);
    const testutil::ProcessResult result =
        testutil::runProcess(u"xrandr"_s, {u"--delmonitor"_s, u"DP-2"_s});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    ASSERT_TRUE(testutil::waitUntil([&] { return changes.count() >= 1; }));
    // Past the watcher's gathering of the change's events (0.2 s).
    testutil::waitTimerPeriods(200);
    testutil::settle();
    EXPECT_EQ(changes.count(), 1);
    ASSERT_EQ(QGuiApplication::screens().size(), 1);
    DesktopWindowController controller(QGuiApplication::screens().constFirst());
    controller.showWindow();
    EXPECT_EQ(controller.window()->geometry(), QRect(0, 0, 1920, 1080));
}

} // namespace
