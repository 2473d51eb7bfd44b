#include "playback/DesktopVideoView.h"

#include "core/Logging.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "playback/Player.h"
#include "playback/VideoPlayerManager.h"
#include "playback/VideoSurface.h"

#include <QEasingCurve>
#include <QPropertyAnimation>
#include <QQuickWindow>

#include <algorithm>

namespace {

// Start-up is measured up to this line, so it is written once per process.
bool s_firstFrameLogged = false;
// Longer than a frame of any common frame rate (24 fps and up), so playing videos pace a
// dissolve by their frames alone.
constexpr int kDissolveTickMs = 50;

} // namespace

DesktopVideoView::DesktopVideoView(QQuickItem* parent)
    : DesktopVideoView(Preferences::standard(), parent) {
}

DesktopVideoView::DesktopVideoView(Preferences& preferences, QQuickItem* parent)
    : QQuickItem(parent)
    , m_preferences(preferences) {
    // Cropped video must not spill over the window's edge.
    setClip(true);
    m_fadeTimer.setSingleShot(true);
    m_dissolveTick.setInterval(kDissolveTickMs);
    connect(&m_dissolveTick, &QTimer::timeout, this, &DesktopVideoView::stepDissolve);
    connect(&m_fadeTimer, &QTimer::timeout, this, &DesktopVideoView::finishTransition);
    m_scaling = storedScaling();
    m_scalingObserver =
        m_preferences.observe(Settings::videoScaling.key(), this,
                              [this](const QVariant&) { setScaling(storedScaling()); });
}

DesktopVideoView::~DesktopVideoView() {
    disconnect(m_scalingObserver);
}

ScalingMode DesktopVideoView::storedScaling() const {
    return toScalingMode(Settings::videoScaling.read(m_preferences));
}

QRectF DesktopVideoView::videoRect(const QRectF& area, QSize videoSize, ScalingMode scaling) {
    if (scaling == ScalingMode::Stretch || videoSize.isEmpty() || area.isEmpty())
        return area;
    const qreal videoAspect = qreal(videoSize.width()) / videoSize.height();
    const qreal areaAspect = area.width() / area.height();
    const bool wider = videoAspect > areaAspect;
    QSizeF size;
    // Fit matches the longer side, fill the shorter one.
    if (wider == (scaling == ScalingMode::Fit))
        size = QSizeF(area.width(), area.width() / videoAspect);
    else
        size = QSizeF(area.height() * videoAspect, area.height());
    QRectF rect(QPointF(), size);
    rect.moveCenter(area.center());
    return rect;
}

void DesktopVideoView::setPlayers(Player* playerA, Player* playerB) {
    finishTransition();
    delete m_surfaceA;
    delete m_surfaceB;
    m_scaling = storedScaling();
    m_surfaceB = new VideoSurface(this);
    m_surfaceA = new VideoSurface(this);
    for (VideoSurface* surface : {m_surfaceA.data(), m_surfaceB.data()}) {
        connect(surface, &VideoSurface::videoSizeChanged, this, &DesktopVideoView::layoutSurfaces);
        // Only a loaded video's frame counts: an empty player draws black.
        connect(surface, &VideoSurface::newFrame, this, [this, surface] {
            if (surface == (m_isPlayerAActive ? m_surfaceA : m_surfaceB) && surface->player() &&
                surface->player()->status() == Player::Status::ReadyToPlay)
                Q_EMIT frameReady();
        });
        if (!s_firstFrameLogged) {
            connect(
                surface, &VideoSurface::frameShown, this,
                [] {
                    if (!std::exchange(s_firstFrameLogged, true))
                        qCInfo(lcPlayback, "First video frame on screen");
                },
                Qt::SingleShotConnection);
        }
    }
    m_surfaceA->setPlayer(playerA);
    m_surfaceB->setPlayer(playerB);
    m_surfaceA->setZ(1);
    m_surfaceB->setZ(0);
    m_surfaceA->setOpacity(1.0);
    m_surfaceB->setOpacity(0.0);
    m_isPlayerAActive = true;
    layoutSurfaces();
}

void DesktopVideoView::transition(bool toPlayerA) {
    if (m_isPlayerAActive == toPlayerA)
        return;
    finishTransition();
    const TransitionType type = window() && window()->isVisible()
                                    ? VideoPlayerManager::transitionType(m_preferences)
                                    : TransitionType::None;
    const double duration = VideoPlayerManager::transitionDuration(m_preferences);
    QPointer<VideoSurface> incoming = toPlayerA ? m_surfaceA : m_surfaceB;
    QPointer<VideoSurface> outgoing = toPlayerA ? m_surfaceB : m_surfaceA;
    m_isPlayerAActive = toPlayerA;
    if (!incoming || !outgoing) {
        if (incoming)
            incoming->setOpacity(1.0);
        if (outgoing)
            outgoing->setOpacity(0.0);
        Q_EMIT transitionFinished();
        return;
    }
    const int milliseconds = int(duration * 1000.0);
    if (type == TransitionType::None) {
        incoming->setOpacity(1.0);
        outgoing->setOpacity(0.0);
        Q_EMIT transitionFinished();
        return;
    }
    if (type == TransitionType::Fade) {
        // Through black: the outgoing video fades out, the incoming one plays unseen until the
        // fade is over and then appears at once.
        m_animation = new QPropertyAnimation(outgoing, "opacity", this);
        m_animation->setDuration(milliseconds);
        m_animation->setEndValue(0.0);
        m_finish = [this, incoming, outgoing] {
            if (outgoing)
                outgoing->setOpacity(0.0);
            if (incoming)
                incoming->setOpacity(1.0);
        };
        m_animation->start(QAbstractAnimation::DeleteWhenStopped);
        connect(m_animation, &QObject::destroyed, this, [this] { m_animation = nullptr; });
        m_fadeTimer.start(milliseconds);
        return;
    }
    // Cross dissolve: the incoming surface rises above the outgoing one and fades in over it.
    // The outgoing one stays opaque beneath until the incoming one covers it, so the picture
    // keeps its brightness through the middle of the dissolve.
    qCDebug(lcPlayback, "Cross dissolve over %d ms", milliseconds);
    incoming->setZ(1);
    outgoing->setZ(0);
    // Both videos move, each at its own pace: the picture is composed once per incoming frame
    // with the outgoing one's newest, rather than again for every frame of either and every
    // step of an animation. A video without frames for a while (paused, or of a low frame
    // rate) is stepped by the tick instead.
    outgoing->setRepaintsOnNewFrame(false);
    m_dissolveClock.start();
    m_dissolveMilliseconds = milliseconds;
    m_dissolveFrames = connect(incoming, &VideoSurface::newFrame, this, [this] {
        stepDissolve();
        m_dissolveTick.start();
    });
    m_finish = [incoming, outgoing] {
        if (incoming)
            incoming->setOpacity(1.0);
        if (outgoing) {
            outgoing->setOpacity(0.0);
            outgoing->setRepaintsOnNewFrame(true);
        }
    };
    m_fadeTimer.start(milliseconds);
    stepDissolve();
    m_dissolveTick.start();
}

void DesktopVideoView::stepDissolve() {
    VideoSurface* incoming = m_isPlayerAActive ? m_surfaceA : m_surfaceB;
    VideoSurface* outgoing = m_isPlayerAActive ? m_surfaceB : m_surfaceA;
    if (!incoming || !outgoing)
        return;
    const qreal progress =
        std::min(1.0, qreal(m_dissolveClock.elapsed()) / std::max(1, m_dissolveMilliseconds));
    // Never quite 0 once started: a fully transparent surface stops drawing.
    incoming->setOpacity(std::max(0.001, m_dissolveEasing.valueForProgress(progress)));
    outgoing->update();
}

void DesktopVideoView::finishTransition() {
    m_fadeTimer.stop();
    m_dissolveTick.stop();
    disconnect(m_dissolveFrames);
    if (m_animation) {
        QPropertyAnimation* animation = std::exchange(m_animation, nullptr);
        animation->disconnect(this);
        animation->stop();
    }
    if (auto finish = std::exchange(m_finish, {})) {
        finish();
        Q_EMIT transitionFinished();
    }
}

void DesktopVideoView::setScaling(ScalingMode scaling) {
    if (scaling == m_scaling)
        return;
    m_scaling = scaling;
    layoutSurfaces();
}

void DesktopVideoView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    layoutSurfaces();
}

void DesktopVideoView::layoutSurfaces() {
    const QRectF area(QPointF(), size());
    for (VideoSurface* surface : {m_surfaceA.data(), m_surfaceB.data()}) {
        if (!surface)
            continue;
        const QRectF rect = videoRect(area, surface->videoSize(), m_scaling);
        surface->setPosition(rect.topLeft());
        surface->setSize(rect.size());
    }
}
