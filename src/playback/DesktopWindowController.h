#pragma once

#include "playback/VideoPlayerManager.h"

#include <QObject>
#include <QPointer>
#include <QScreen>
#include <QString>

#include <memory>

class DesktopVideoView;
class DesktopWindow;
class QScreen;

// One screen's desktop video: its window, the view in it and the player manager it shows. The
// manager is the controller's own (made for the screen's identifier, and stopped when the
// controller goes) unless a shared one is given, which the controller only shows.
class DesktopWindowController : public QObject {
    Q_OBJECT

public:
    explicit DesktopWindowController(QScreen* screen,
                                     VideoPlayerManager* sharedPlayerManager = nullptr,
                                     QObject* parent = nullptr);
    ~DesktopWindowController() override;

    // Players that draw for video surfaces.
    static VideoPlayerManager::PlayerFactory surfacePlayerFactory();

    // Shows the window below everything else, without focus, as soon as its player has a frame
    // to show; until then, and whenever the queue is empty, the user's own desktop stays visible.
    void showWindow();
    void close();

    // Switches the view to the manager's new active player.
    void handlePlayerTransition(Player* newPlayer);

    QScreen* screen() const { return m_screen; }
    QString screenName() const { return m_screenName; }
    VideoPlayerManager* playerManager() const { return m_playerManager; }
    bool ownsPlayerManager() const { return m_ownsPlayerManager; }
    DesktopWindow* window() const { return m_window.get(); }
    DesktopVideoView* videoView() const { return m_videoView; }

private:
    void updateWindowVisibility();

    QPointer<QScreen> m_screen;
    QString m_screenName;
    QPointer<VideoPlayerManager> m_playerManager;
    bool m_ownsPlayerManager = false;
    std::unique_ptr<DesktopWindow> m_window;
    DesktopVideoView* m_videoView = nullptr;
    bool m_showRequested = false;
    // The visible surface has a frame to show since the window was last hidden.
    bool m_hasFrame = false;
};
