#include "ui/VideoPreviewView.h"

#include "playback/VideoPlayerManager.h"
#include "playback/VideoSurface.h"

VideoPreviewView::VideoPreviewView(QQuickItem* parent)
    : QQuickItem(parent)
    , m_surface(new VideoSurface(this)) {
}

VideoPreviewView::~VideoPreviewView() = default;

QObject* VideoPreviewView::manager() const {
    return m_manager;
}

void VideoPreviewView::setManager(QObject* manager) {
    auto* playerManager = qobject_cast<VideoPlayerManager*>(manager);
    if (playerManager == m_manager)
        return;
    disconnect(m_transition);
    m_manager = playerManager;
    if (playerManager) {
        m_transition = connect(playerManager, &VideoPlayerManager::videoPlayerDidTransition, this,
                               &VideoPreviewView::showActivePlayer);
    }
    showActivePlayer();
    Q_EMIT managerChanged();
}

void VideoPreviewView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    m_surface->setSize(newGeometry.size());
}

void VideoPreviewView::showActivePlayer() {
    m_surface->setPlayer(m_manager ? m_manager->activePlayer() : nullptr);
}
