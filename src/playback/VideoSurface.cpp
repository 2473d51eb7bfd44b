#include "playback/VideoSurface.h"

#include "playback/MpvPlayer.h"
#include "playback/MpvSoftwareRenderer.h"

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

void VideoSurface::useSoftwareRendering() {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void VideoSurface::setPlayer(Player* player) {
    if (m_renderer)
        m_renderer->removeClient(this);
    disconnect(m_frameConnection);
    disconnect(m_sizeConnection);
    m_player = qobject_cast<MpvPlayer*>(player);
    m_renderer = m_player ? m_player->renderer() : nullptr;
    m_shownFrame = QImage();
    m_shownSerial = 0;
    if (m_renderer) {
        // One update per announced frame: the renderer coalesces its announcements.
        m_frameConnection = connect(m_renderer, &MpvSoftwareRenderer::frameReady, this, [this] {
            if (m_isDrawing)
                update();
        });
    }
    if (m_player) {
        m_sizeConnection =
            connect(m_player, &MpvPlayer::videoSizeChanged, this, &VideoSurface::videoSizeChanged);
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
    quint64 serial = 0;
    QImage frame = m_renderer ? m_renderer->latestFrame(&serial) : QImage();
    if (frame.isNull()) {
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
    if (serial != m_shownSerial || !node->texture()) {
        // The texture refers to the frame's buffer, which stays out of the renderer's reach
        // until the texture and m_shownFrame let go of it.
        node->setTexture(window()->createTextureFromImage(frame));
        m_shownFrame = frame;
        if (serial != m_shownSerial) {
            m_shownSerial = serial;
            ++m_shownFrames;
            Q_EMIT frameShown();
        }
    }
    node->setRect(boundingRect());
    return node;
}
