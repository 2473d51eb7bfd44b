#include "playback/DesktopWindowController.h"

#include "playback/DesktopVideoView.h"
#include "playback/DesktopWindow.h"
#include "playback/PlaylistManager.h"
#include "playback/ScreenIdentifier.h"

#include <QScreen>

DesktopWindowController::DesktopWindowController(QScreen* screen,
                                                 VideoPlayerManager* sharedPlayerManager,
                                                 QObject* parent)
    : QObject(parent)
    , m_screen(screen)
    , m_screenName(ScreenIdentifier::displayName(screen)) {
    if (sharedPlayerManager) {
        m_playerManager = sharedPlayerManager;
    } else {
        m_playerManager = new VideoPlayerManager(ScreenIdentifier::forScreen(screen),
                                                 surfacePlayerFactory(), this);
        m_ownsPlayerManager = true;
    }

    m_window = std::make_unique<DesktopWindow>(screen);
    m_videoView = new DesktopVideoView(m_window->contentItem());
    m_videoView->setSize(m_window->size());
    QQuickItem* content = m_window->contentItem();
    connect(content, &QQuickItem::widthChanged, m_videoView,
            [this, content] { m_videoView->setWidth(content->width()); });
    connect(content, &QQuickItem::heightChanged, m_videoView,
            [this, content] { m_videoView->setHeight(content->height()); });
    m_videoView->setPlayers(m_playerManager->playerA(), m_playerManager->playerB());

    // Only this controller's manager switches this view.
    connect(m_playerManager, &VideoPlayerManager::videoPlayerDidTransition, this,
            [this](Player* newPlayer, Player*) { handlePlayerTransition(newPlayer); });
    connect(m_videoView, &DesktopVideoView::frameReady, this, [this] {
        m_hasFrame = true;
        updateWindowVisibility();
    });
    connect(&m_playerManager->playlistManager(), &PlaylistManager::videoURLsChanged, this,
            &DesktopWindowController::updateWindowVisibility);
}

DesktopWindowController::~DesktopWindowController() {
    if (m_playerManager)
        disconnect(m_playerManager, nullptr, this, nullptr);
    if (m_ownsPlayerManager && m_playerManager)
        m_playerManager->stop();
    // The window (and the surfaces in it) go before the players they draw.
    m_window.reset();
}

VideoPlayerManager::PlayerFactory DesktopWindowController::surfacePlayerFactory() {
    return [](QObject* parent) {
        return Player::create(Player::VideoOutput::Surface, parent);
    };
}

void DesktopWindowController::showWindow() {
    m_showRequested = true;
    updateWindowVisibility();
}

void DesktopWindowController::updateWindowVisibility() {
    if (!m_playerManager || m_playerManager->playlistManager().videoURLs().isEmpty()) {
        m_hasFrame = false;
        m_window->hide();
        return;
    }
    // Shown on a frame, never on an empty black window.
    if (m_showRequested && m_hasFrame && !m_window->isVisible())
        m_window->showOnDesktop();
}

void DesktopWindowController::close() {
    m_window->close();
}

void DesktopWindowController::handlePlayerTransition(Player* newPlayer) {
    if (!newPlayer || !m_playerManager)
        return;
    // A hidden window waits for a frame of the player it switches to.
    if (!m_window->isVisible())
        m_hasFrame = false;
    m_videoView->transition(newPlayer == m_playerManager->playerA());
}
