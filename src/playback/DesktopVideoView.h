#pragma once

#include "core/SettingsCatalogue.h"
#include "playback/VideoSurface.h"

#include <QEasingCurve>
#include <QElapsedTimer>
#include <QPointer>
#include <QQuickItem>
#include <QTimer>

#include <functional>

class Player;
class QPropertyAnimation;

// The content of a desktop window: two stacked video surfaces, one for each of a player
// manager's two players, of which one is meant to be visible. A switch between them cuts,
// fades through black or cross-dissolves, as the preferences say at that moment; the surfaces'
// geometry follows the scaling preference live (fill crops, fit letterboxes, stretch ignores
// the aspect).
class DesktopVideoView : public QQuickItem {
    Q_OBJECT

public:
    // Settings come from preferences, or from the standard store.
    explicit DesktopVideoView(Preferences& preferences, QQuickItem* parent = nullptr);
    explicit DesktopVideoView(QQuickItem* parent = nullptr);
    ~DesktopVideoView() override;

    // Where a video of videoSize lies in area for a scaling mode.
    static QRectF videoRect(const QRectF& area, QSize videoSize, ScalingMode scaling);

    // (Re)builds the two surfaces: A visible on top, B transparent beneath.
    void setPlayers(Player* playerA, Player* playerB);
    // Makes player A's surface (true) or player B's (false) the visible one. In a window that is
    // not shown the switch is a cut: nobody would see it, and the window appears on the new
    // video alone.
    void transition(bool toPlayerA);

    bool isPlayerAActive() const { return m_isPlayerAActive; }
    bool isTransitionRunning() const { return bool(m_finish); }
    ScalingMode scaling() const { return m_scaling; }
    VideoSurface* surfaceA() const { return m_surfaceA; }
    VideoSurface* surfaceB() const { return m_surfaceB; }

Q_SIGNALS:
    // The surfaces reached the end state of the last switch.
    void transitionFinished();
    // The player meant to be visible has a new frame for its surface.
    void frameReady();

protected:
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

private:
    void layoutSurfaces();
    ScalingMode storedScaling() const;
    void setScaling(ScalingMode scaling);
    // Jumps a running switch to its end state.
    void finishTransition();
    void stepDissolve();

    Preferences& m_preferences;
    QPointer<VideoSurface> m_surfaceA;
    QPointer<VideoSurface> m_surfaceB;
    bool m_isPlayerAActive = true;
    ScalingMode m_scaling = ScalingMode::Fill;
    QPropertyAnimation* m_animation = nullptr;
    QTimer m_fadeTimer;
    QTimer m_dissolveTick;
    QElapsedTimer m_dissolveClock;
    int m_dissolveMilliseconds = 0;
    QEasingCurve m_dissolveEasing{QEasingCurve::InOutQuad};
    QMetaObject::Connection m_dissolveFrames;
    // The end state of the running switch; empty when none runs.
    std::function<void()> m_finish;
    QMetaObject::Connection m_scalingObserver;
};
