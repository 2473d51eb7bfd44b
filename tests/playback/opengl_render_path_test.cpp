// The OpenGL render path under the harness's X server, forced on Mesa's llvmpipe: real Qt Quick
// windows on Qt's OpenGL backend, real mpv players drawing into shared textures, clips made by
// ffmpeg, checked by what the X server shows. Also the start-up choice between the two paths.

#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindow.h"
#include "playback/DesktopWindowController.h"
#include "playback/MpvGlRenderer.h"
#include "playback/Player.h"
#include "playback/SyncManager.h"
#include "playback/VideoRenderer.h"
#include "playback/VideoSurface.h"
#include "support/TestUtil.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QPixmap>
#include <QQuickWindow>
#include <QScopeGuard>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

// Before main(): the program chooses its render path before the application object exists.
[[maybe_unused]] const bool s_openGLForced = qputenv("ORVANTA_RENDER_PATH", "opengl");

// The colour the X server shows at a point of the whole desktop.
QColor desktopPixel(QPoint point) {
    const QImage image =
        QGuiApplication::primaryScreen()->grabWindow(0, point.x(), point.y(), 1, 1).toImage();
    return image.isNull() ? QColor() : image.pixelColor(0, 0);
}

bool isRed(const QColor& colour) {
    return colour.red() > 200 && colour.green() < 60 && colour.blue() < 60;
}
bool isBlue(const QColor& colour) {
    return colour.blue() > 200 && colour.red() < 60 && colour.green() < 60;
}
// Red and blue at once: one surface seen through the other.
bool isBlend(const QColor& colour) {
    return colour.red() > 60 && colour.red() < 200 && colour.blue() > 60 && colour.blue() < 200 &&
           colour.green() < 60;
}
bool showsClip(const QColor& colour, const QUrl& url) {
    return url.fileName() == QStringLiteral("red.mp4") ? isRed(colour) : isBlue(colour);
}

// Sets an environment variable for a scope, restoring the previous value after.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const QByteArray* value)
        : m_name(name)
        , m_wasSet(qEnvironmentVariableIsSet(name))
        , m_previous(qgetenv(name)) {
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }
    ~ScopedEnv() {
        if (m_wasSet)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* m_name;
    bool m_wasSet;
    QByteArray m_previous;
};

TEST(RenderPathChoice, SoftwareRasterisersAreRecognisedByTheirRendererString) {
    for (const char* renderer :
         {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer", "Mesa swrast"})
        EXPECT_TRUE(VideoSurface::isSoftwareRasteriser(QString::fromUtf8(renderer))) << renderer;
    for (const char* renderer :
         {"Mesa Intel(R) UHD Graphics 620 (KBL GT2)", "NVIDIA GeForce RTX 3060/PCIe/SSE2",
          "AMD Radeon RX 6600 (navi23)"})
        EXPECT_FALSE(VideoSurface::isSoftwareRasteriser(QString::fromUtf8(renderer))) << renderer;
}

TEST(RenderPathChoice, TheProbeChoosesSoftwareOnLlvmpipeAndTheOverrideWins) {
    {
        const ScopedEnv unset("ORVANTA_RENDER_PATH", nullptr);
        const VideoSurface::RenderPathChoice choice = VideoSurface::probeRenderPath();
        EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
        EXPECT_TRUE(choice.renderer.contains(QStringLiteral("llvmpipe")))
            << choice.renderer.toStdString();
        EXPECT_TRUE(choice.reason.contains(QStringLiteral("llvmpipe")))
            << choice.reason.toStdString();
    }
    {
        const QByteArray software("software");
        const ScopedEnv forced("ORVANTA_RENDER_PATH", &software);
        const VideoSurface::RenderPathChoice choice = VideoSurface::probeRenderPath();
        EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
        EXPECT_EQ(choice.reason, QStringLiteral("ORVANTA_RENDER_PATH=software"));
    }
    {
        const QByteArray opengl("opengl");
        const ScopedEnv forced("ORVANTA_RENDER_PATH", &opengl);
        const VideoSurface::RenderPathChoice choice = VideoSurface::probeRenderPath();
        EXPECT_EQ(choice.path, VideoRenderer::Path::OpenGL);
        EXPECT_TRUE(choice.renderer.contains(QStringLiteral("llvmpipe")))
            << choice.renderer.toStdString();
    }
    {
        // Without an X server there is nothing to probe: software.
        const ScopedEnv unset("ORVANTA_RENDER_PATH", nullptr);
        const QByteArray nowhere(":12345");
        const ScopedEnv display("DISPLAY", &nowhere);
        const VideoSurface::RenderPathChoice choice = VideoSurface::probeRenderPath();
        EXPECT_EQ(choice.path, VideoRenderer::Path::Software);
        EXPECT_TRUE(choice.renderer.isEmpty());
        EXPECT_FALSE(choice.reason.isEmpty());
    }
}

TEST(RenderPathChoice, ThisProgramFollowedTheOverride) {
    EXPECT_EQ(VideoRenderer::path(), VideoRenderer::Path::OpenGL);
    EXPECT_EQ(QQuickWindow::graphicsApi(), QSGRendererInterface::OpenGL);
    EXPECT_TRUE(QCoreApplication::testAttribute(Qt::AA_ShareOpenGLContexts));
    EXPECT_NE(QOpenGLContext::globalShareContext(), nullptr);
    // No vertical blank on a CPU rasteriser: the basic loop paces the windows.
    EXPECT_EQ(qgetenv("QSG_RENDER_LOOP"), QByteArray("basic"));
}

class OpenGLRenderPathTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        // 16:9 clips of solid colours, long enough that none ends while it is checked.
        for (const char* colour : {"red", "blue"}) {
            const QString name = QString::fromUtf8(colour);
            ASSERT_TRUE(
                testutil::encodeClip(s_dir->filePath(QStringLiteral("clips/%1.mp4").arg(name)),
                                     testutil::solidColourClip(name, 12.0)));
        }
        // Blue above red: which way up the picture arrives.
        testutil::ClipSpec split;
        split.seconds = 12.0;
        split.size = QStringLiteral("320x180");
        split.source = QStringLiteral("color=c=red");
        split.extraArguments = {QStringLiteral("-vf"),
                                QStringLiteral("drawbox=x=0:y=0:w=iw:h=ih/2:color=blue:t=fill")};
        ASSERT_TRUE(
            testutil::encodeClip(s_dir->filePath(QStringLiteral("split/split.mp4")), split));
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        ASSERT_EQ(VideoRenderer::path(), VideoRenderer::Path::OpenGL)
            << "the program chooses OpenGL with ORVANTA_RENDER_PATH=opengl";
        testutil::resetUserStore();
        Preferences::standard().set(QStringLiteral("transitionType"), 0);
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
    }

    static void useFolder(const char* name) {
        FolderBookmarkManager folders(Preferences::standard());
        ASSERT_TRUE(
            folders.addFolder(QUrl::fromLocalFile(s_dir->filePath(QString::fromUtf8(name)))));
    }

    static VideoSurface* activeSurface(const DesktopVideoView* view) {
        return view->isPlayerAActive() ? view->surfaceA() : view->surfaceB();
    }

    // Waits until the view switched to its first video and shows a frame of it.
    static bool waitForFirstFrame(const DesktopVideoView* view) {
        return testutil::waitUntil([view] { return !view->isPlayerAActive(); }) &&
               testutil::waitUntil([view] { return view->surfaceB()->shownFrames() > 0; });
    }

    static std::unique_ptr<QTemporaryDir> s_dir;
};

std::unique_ptr<QTemporaryDir> OpenGLRenderPathTest::s_dir;

TEST_F(OpenGLRenderPathTest, AWindowShowsTheClipsColourFromATexture) {
    useFolder("clips");
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    DesktopWindow* window = controller.window();
    ASSERT_TRUE(testutil::waitUntil([window] { return window->isExposed(); }));
    EXPECT_EQ(window->rendererInterface()->graphicsApi(), QSGRendererInterface::OpenGL);
    controller.playerManager()->play();
    DesktopVideoView* view = controller.videoView();
    ASSERT_TRUE(waitForFirstFrame(view));

    VideoSurface* surface = view->surfaceB();
    Player* player = surface->player();
    ASSERT_NE(player, nullptr);
    EXPECT_NE(qobject_cast<MpvGlRenderer*>(player->renderer()), nullptr);
    EXPECT_TRUE(player->renderer()->isValid());
    // A texture, not an image, of the surface's size in device pixels.
    EXPECT_TRUE(surface->shownFrame().isNull());
    EXPECT_EQ(surface->shownFrameSize(), surface->size().toSize());

    const QPoint centre = controller.screen()->geometry().center();
    const QUrl url = controller.playerManager()->currentVideoURL();
    ASSERT_TRUE(testutil::waitUntil([&] { return showsClip(desktopPixel(centre), url); }))
        << url.fileName().toStdString() << " " << desktopPixel(centre).name().toStdString();

    // Frames go on being drawn and shown while the clip plays.
    const quint64 rendered = player->renderer()->renderedFrames();
    const quint64 shown = surface->shownFrames();
    ASSERT_TRUE(testutil::waitUntil([&] {
        return player->renderer()->renderedFrames() > rendered + 5 &&
               surface->shownFrames() > shown + 5;
    }));
    EXPECT_LE(surface->shownFrames(), player->renderer()->renderedFrames());
}

TEST_F(OpenGLRenderPathTest, ThePictureIsTheRightWayUp) {
    useFolder("split");
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    controller.playerManager()->play();
    ASSERT_TRUE(waitForFirstFrame(controller.videoView()));
    const QRect screen = controller.screen()->geometry();
    const QPoint top(screen.center().x(), screen.top() + screen.height() / 4);
    const QPoint bottom(screen.center().x(), screen.bottom() - screen.height() / 4);
    ASSERT_TRUE(testutil::waitUntil([&] {
        return isBlue(desktopPixel(top)) && isRed(desktopPixel(bottom));
    })) << "top "
        << desktopPixel(top).name().toStdString() << ", bottom "
        << desktopPixel(bottom).name().toStdString();
}

TEST_F(OpenGLRenderPathTest, ACrossDissolveBlendsTheTwoClipsAndEndsOnTheIncomingOne) {
    useFolder("clips");
    DesktopWindowController controller(QGuiApplication::primaryScreen());
    controller.showWindow();
    DesktopVideoView* view = controller.videoView();
    VideoPlayerManager* manager = controller.playerManager();
    manager->play();
    ASSERT_TRUE(waitForFirstFrame(view));
    const QPoint centre = controller.screen()->geometry().center();
    const QUrl first = manager->currentVideoURL();
    ASSERT_TRUE(testutil::waitUntil([&] { return showsClip(desktopPixel(centre), first); }));

    Preferences::standard().set(QStringLiteral("transitionType"), 2);
    Preferences::standard().set(QStringLiteral("transitionDuration"), 3.0);
    QSignalSpy finished(view, &DesktopVideoView::transitionFinished);
    manager->nextVideo();
    const QUrl second = manager->currentVideoURL();
    ASSERT_NE(second, first) << "two clips of distinct colours";
    // Halfway, the incoming clip is seen over the outgoing one.
    bool blended = false;
    QColor last;
    ASSERT_TRUE(testutil::waitUntil([&] {
        last = desktopPixel(centre);
        blended = blended || isBlend(last);
        return finished.count() > 0;
    }));
    EXPECT_TRUE(blended) << "no mixed colour seen during the dissolve";
    VideoSurface* incoming = activeSurface(view);
    EXPECT_EQ(incoming->opacity(), 1.0);
    EXPECT_GT(incoming->shownFrames(), 0u);
    ASSERT_TRUE(testutil::waitUntil([&] { return showsClip(desktopPixel(centre), second); }))
        << second.fileName().toStdString() << " " << desktopPixel(centre).name().toStdString();
}

TEST_F(OpenGLRenderPathTest, TwoWindowsShowOnePlayersTextures) {
    useFolder("clips");
    SyncManager sync(Preferences::standard(), DesktopWindowController::surfacePlayerFactory());
    sync.setSyncEnabled(true);
    VideoPlayerManager* shared = sync.sharedPlayerManager(true);
    ASSERT_NE(shared, nullptr);
    auto controllers = testutil::showDesktopWindows(shared);
    shared->play();
    for (const auto& controller : controllers) {
        DesktopVideoView* view = controller->videoView();
        EXPECT_EQ(view->surfaceB()->player(), shared->playerB());
        ASSERT_TRUE(waitForFirstFrame(view));
    }
    ASSERT_NE(qobject_cast<MpvGlRenderer*>(shared->playerB()->renderer()), nullptr);
    const QUrl url = shared->currentVideoURL();
    for (const auto& controller : controllers) {
        const QPoint centre = controller->screen()->geometry().center();
        ASSERT_TRUE(testutil::waitUntil([&] { return showsClip(desktopPixel(centre), url); }))
            << controller->screenName().toStdString() << " "
            << desktopPixel(centre).name().toStdString();
    }
    // Both windows go on showing new frames of the one decode.
    const quint64 shownLeft = controllers[0]->videoView()->surfaceB()->shownFrames();
    const quint64 shownRight = controllers[1]->videoView()->surfaceB()->shownFrames();
    ASSERT_TRUE(testutil::waitUntil([&] {
        return controllers[0]->videoView()->surfaceB()->shownFrames() > shownLeft + 3 &&
               controllers[1]->videoView()->surfaceB()->shownFrames() > shownRight + 3;
    }));

    // Closing one window leaves the other showing the video.
    controllers.pop_back();
    EXPECT_TRUE(shared->isPlaying());
    const QPoint left = controllers[0]->screen()->geometry().center();
    const quint64 shown = controllers[0]->videoView()->surfaceB()->shownFrames();
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return controllers[0]->videoView()->surfaceB()->shownFrames() > shown + 3; }));
    EXPECT_TRUE(showsClip(desktopPixel(left), url)) << desktopPixel(left).name().toStdString();
}

} // namespace
