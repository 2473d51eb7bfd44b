#include "playback/VideoSurface.h"

#include "core/Logging.h"
#include "playback/Player.h"

#include <QCoreApplication>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QSGRendererInterface>
#include <QSGTexture>

#include <cmath>

VideoSurface::VideoSurface(QQuickItem* parent)
    : QQuickItem(parent) {
    setFlag(ItemHasContents, true);
}

VideoSurface::~VideoSurface() {
    if (m_renderer)
        m_renderer->removeClient(this);
}

VideoRenderer::Path VideoSurface::chooseRenderPath() {
    const RenderPathChoice choice = probeRenderPath();
    VideoRenderer::setPath(choice.path);
    if (choice.path == VideoRenderer::Path::Software) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        qCInfo(lcPlayback, "Drawing video in software (%s)", qUtf8Printable(choice.reason));
        return choice.path;
    }
    // mpv's renderer draws in a context of its own whose textures every window samples.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
    // A rasteriser on the CPU (a forced choice, as under Xvfb) has no vertical blank to pace
    // the threaded render loop by; the basic loop paces frames with timers instead.
    if (isSoftwareRasteriser(choice.renderer) && !qEnvironmentVariableIsSet("QSG_RENDER_LOOP"))
        qputenv("QSG_RENDER_LOOP", "basic");
    qCInfo(lcPlayback, "Drawing video with OpenGL on %s",
           choice.renderer.isEmpty() ? "an unknown renderer" : qUtf8Printable(choice.renderer));
    return choice.path;
}

VideoSurface::RenderPathChoice VideoSurface::probeRenderPath() {
    RenderPathChoice choice;
    const QByteArray forced = qgetenv("ORVANTA_RENDER_PATH").trimmed().toLower();
    if (forced == "software") {
        choice.reason = QStringLiteral("ORVANTA_RENDER_PATH=software");
        return choice;
    }
    if (!forced.isEmpty() && forced != "opengl") {
        qCWarning(lcPlayback, "ORVANTA_RENDER_PATH=%s is neither opengl nor software: ignored",
                  forced.constData());
    }
    QString failure;
    choice.renderer = openGLRenderer(&failure);
    if (forced == "opengl") {
        choice.path = VideoRenderer::Path::OpenGL;
    } else if (choice.renderer.isEmpty()) {
        choice.reason = failure;
    } else if (isSoftwareRasteriser(choice.renderer)) {
        choice.reason = QStringLiteral("OpenGL renders on the CPU: %1").arg(choice.renderer);
    } else {
        choice.path = VideoRenderer::Path::OpenGL;
    }
    return choice;
}

bool VideoSurface::isSoftwareRasteriser(const QString& renderer) {
    for (const char* name : {"llvmpipe", "softpipe", "software rasterizer", "swrast"}) {
        if (renderer.contains(QLatin1String(name), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

void VideoSurface::setPlayer(Player* player) {
    if (m_renderer)
        m_renderer->removeClient(this);
    disconnect(m_frameConnection);
    disconnect(m_rendererGoneConnection);
    disconnect(m_sizeConnection);
    m_player = player;
    m_renderer = m_player ? m_player->renderer() : nullptr;
    m_shown = {};
    m_shownSerial = 0;
    if (m_renderer) {
        // One update per announced frame: the renderer coalesces its announcements.
        m_frameConnection = connect(m_renderer, &VideoRenderer::frameReady, this, [this] {
            if (!m_isDrawing)
                return;
            if (m_repaintsOnNewFrame)
                update();
            Q_EMIT newFrame();
        });
        // Its textures go with it: the node lets go of them before the next frame is drawn.
        m_rendererGoneConnection =
            connect(m_renderer, &QObject::destroyed, this, [this] { update(); });
    }
    if (m_player) {
        m_sizeConnection =
            connect(m_player, &Player::videoSizeChanged, this, &VideoSurface::videoSizeChanged);
    }
    updateTarget();
    update();
}

Player* VideoSurface::player() const {
    return m_player;
}

QSize VideoSurface::videoSize() const {
    return m_player ? m_player->videoSize() : QSize();
}

void VideoSurface::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    updateTarget();
    update();
}

void VideoSurface::itemChange(ItemChange change, const ItemChangeData& value) {
    QQuickItem::itemChange(change, value);
    switch (change) {
    case ItemOpacityHasChanged:
    case ItemVisibleHasChanged:
    case ItemSceneChange:
    case ItemDevicePixelRatioHasChanged:
        updateTarget();
        break;
    default:
        break;
    }
}

void VideoSurface::updateTarget() {
    const bool drawing =
        isVisible() && opacity() > 0.0 && window() && width() >= 1.0 && height() >= 1.0;
    if (m_renderer) {
        const qreal ratio = window() ? window()->effectiveDevicePixelRatio() : 1.0;
        const QSize size =
            drawing ? QSize(int(std::lround(width() * ratio)), int(std::lround(height() * ratio)))
                    : QSize();
        m_renderer->setTargetSize(this, size);
    }
    if (drawing != m_isDrawing) {
        m_isDrawing = drawing;
        if (drawing)
            update();
        Q_EMIT isDrawingChanged(drawing);
    }
}

QSGNode* VideoSurface::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*) {
    VideoRenderer::Frame frame = m_renderer ? m_renderer->latestFrame() : VideoRenderer::Frame();
    if (frame.isNull()) {
        m_shown = {};
        if (oldNode && m_nodeShowsFrame) {
            delete oldNode;
            oldNode = nullptr;
        }
        auto* rectangle = static_cast<QSGRectangleNode*>(oldNode);
        if (!rectangle) {
            rectangle = window()->createRectangleNode();
            rectangle->setColor(Qt::black);
            m_nodeShowsFrame = false;
        }
        rectangle->setRect(boundingRect());
        return rectangle;
    }
    if (oldNode && !m_nodeShowsFrame) {
        delete oldNode;
        oldNode = nullptr;
    }
    auto* node = static_cast<QSGImageNode*>(oldNode);
    if (!node) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
        m_nodeShowsFrame = true;
    }
    if (frame.serial != m_shownSerial || !node->texture()) {
        // The texture refers to the frame's buffer or texture, which stays out of the
        // renderer's reach until m_shown lets go of it (and, in memory, the texture too).
        QSGTexture* texture = frame.texture != 0 ? QNativeInterface::QSGOpenGLTexture::fromNative(
                                                       frame.texture, window(), frame.size)
                                                 : window()->createTextureFromImage(frame.image);
        node->setTexture(texture);
        const quint64 serial = frame.serial;
        m_shown = std::move(frame);
        if (serial != m_shownSerial) {
            m_shownSerial = serial;
            ++m_shownFrames;
            Q_EMIT frameShown();
        }
    }
    node->setRect(boundingRect());
    return node;
}
