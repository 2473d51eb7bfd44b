#include "playback/VideoPlayerManager.h"

#include "core/Logging.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/FolderBookmarkManager.h"
#include "library/NamedPlaylist.h"
#include "library/PlaylistPersistence.h"
#include "playback/PlaylistManager.h"

#include <QFileInfo>

#include <cmath>

namespace {

constexpr double kPeriodicInterval = 0.5;
// Past the views' switch, whose timers start with the manager's: the outgoing frame is never
// taken away while it may still be seen.
constexpr int kOutgoingSlackMs = 250;

// A stored number read as single precision, as the settings pages store it.
float storedFloat(const Preferences& preferences, const Settings::Key<double>& key) {
    return float(key.read(preferences));
}

} // namespace

VideoPlayerManager::VideoPlayerManager(const QString& screenId, PlayerFactory factory,
                                       QObject* parent)
    : VideoPlayerManager(screenId, Preferences::standard(), std::move(factory), parent) {
}

VideoPlayerManager::VideoPlayerManager(const QString& screenId, Preferences& preferences,
                                       PlayerFactory factory, QObject* parent)
    : QObject(parent)
    , m_screenId(screenId)
    , m_preferences(preferences) {
    if (!factory)
        factory = [](QObject* owner) {
            return Player::create(Player::VideoOutput::None, owner);
        };
    m_playerA = factory(this);
    m_playerB = factory(this);
    m_activePlayer = m_playerA;
    m_playlistManager = new PlaylistManager(screenId, this);
    m_folderManager = new FolderBookmarkManager(m_preferences, this);

    m_outgoingShown.setSingleShot(true);
    connect(&m_outgoingShown, &QTimer::timeout, this, &VideoPlayerManager::releaseOutgoing);
    for (Player* player : {m_playerA, m_playerB}) {
        // Whenever the active player starts or stops (a switch starts the new one), its position
        // is published at once.
        connect(player, &Player::rateChanged, this, [this, player] {
            if (player == m_activePlayer)
                setCurrentTime(player->currentTime());
        });
        connect(player, &Player::statusChanged, this,
                [this, player](quint64 item, Player::Status status) {
                    handleStatus(player, item, status);
                });
        connect(player, &Player::didPlayToEnd, this, [this, player](quint64 item) {
            if (m_outgoing && m_outgoing->player == player && m_outgoing->item == item)
                releaseOutgoing();
            if (!m_endObservation || m_endObservation->player != player ||
                m_endObservation->item != item)
                return;
            qCInfo(lcPlayback, "Video reached end, advancing to next");
            handleEndOfVideo();
        });
        connect(player, &Player::failedToPlayToEnd, this,
                [this, player](quint64 item, const QString& error) {
                    if (!m_endObservation || m_endObservation->player != player ||
                        m_endObservation->item != item)
                        return;
                    const QString description =
                        error.isEmpty() ? QStringLiteral("unknown error") : error;
                    qCCritical(lcPlayback, "Playback failed mid-video: %s",
                               qUtf8Printable(description));
                    handleEndOfVideo();
                });
    }
    applySettings(true);
    loadPlaylist();
    m_settingsObserver =
        connect(&m_preferences, &Preferences::didChange, this, [this] { applySettings(false); });
}

VideoPlayerManager::~VideoPlayerManager() {
    disconnect(m_settingsObserver);
    stop();
}

QString VideoPlayerManager::currentVideoName() const {
    if (m_currentVideoURL.isEmpty())
        return QStringLiteral("No video");
    return QFileInfo(m_currentVideoURL.toLocalFile()).completeBaseName();
}

void VideoPlayerManager::setIsPlaying(bool playing) {
    if (playing == m_isPlaying)
        return;
    m_isPlaying = playing;
    Q_EMIT isPlayingChanged(playing);
}

void VideoPlayerManager::setSuspended(bool suspended) {
    if (suspended == m_isSuspended)
        return;
    m_isSuspended = suspended;
    if (suspended) {
        m_playerA->pause();
        m_playerB->pause();
    } else if (m_isPlaying && m_currentVideoIndex >= 0) {
        m_activePlayer->setRate(activeRate());
    }
}

double VideoPlayerManager::activeRate() const {
    return m_isSuspended ? 0.0 : playbackRate(m_preferences);
}

namespace {

QStringList withURLs(QStringList source, const QList<QUrl>& urls) {
    for (const QUrl& url : urls)
        source << url.toString();
    return source;
}

} // namespace

QStringList VideoPlayerManager::queueSource() {
    PlaylistPersistence& persistence = PlaylistPersistence::forScreen(m_screenId);
    if (const auto playlist = persistence.assignedPlaylist()) {
        return withURLs({playlist->id.toString(),
                         QLatin1String(playlist->shuffleEnabled ? "shuffle" : ""),
                         QLatin1String(playlist->loopEnabled ? "loop" : "")},
                        playlist->playableURLs());
    }
    // From the folders: what they hold, and what this screen plays of it in which order.
    m_folderManager->loadBookmarks();
    return withURLs(withURLs({QStringLiteral("folders"),
                              QLatin1String(persistence.shuffleEnabled() ? "shuffle" : ""),
                              QLatin1String(persistence.loopEnabled() ? "loop" : "")},
                             m_folderManager->loadVideos())
                        << QStringLiteral("playing"),
                    persistence.playableURLs());
}

bool VideoPlayerManager::queueSourceChanged() {
    return m_loadedSource.isEmpty() || queueSource() != m_loadedSource;
}

void VideoPlayerManager::loadPlaylist() {
    PlaylistPersistence& persistence = PlaylistPersistence::forScreen(m_screenId);
    if (const auto playlist = persistence.assignedPlaylist()) {
        m_loadedSource = queueSource();
        m_playlistManager->setUsingNamedPlaylist(true);
        QList<QUrl> urls = playlist->playableURLs();
        if (playlist->shuffleEnabled)
            PlaylistManager::shuffle(urls);
        m_playlistManager->setVideoURLs(urls);
        m_playlistManager->setCurrentIndex(-1);
        m_currentVideoIndex = -1;
        setTotalVideoCount(int(urls.size()));
        qCInfo(lcPlayback, "Loaded %d videos from playlist '%s'", int(urls.size()),
               qUtf8Printable(playlist->name));
        return;
    }
    m_folderManager->loadBookmarks();
    const QList<QUrl> urls = m_folderManager->loadVideos();
    m_playlistManager->setVideos(urls);
    m_loadedSource = queueSource();
    m_currentVideoIndex = -1;
    setTotalVideoCount(int(m_playlistManager->videoURLs().size()));
    qCInfo(lcPlayback, "Loaded %d videos from folders", int(urls.size()));
}

void VideoPlayerManager::play() {
    if (m_playlistManager->videoURLs().isEmpty()) {
        qCInfo(lcPlayback, "No videos to play");
        return;
    }
    if (m_currentVideoIndex >= 0)
        m_activePlayer->setRate(activeRate());
    else
        nextVideo();
    setIsPlaying(true);
}

void VideoPlayerManager::stop() {
    m_playerA->pause();
    m_playerB->pause();
    setIsPlaying(false);
    removeTimeObservers(m_activePlayer);
    removeEndObservers();
    m_playerA->empty();
    m_playerB->empty();
    // A verdict on an item that was just taken out of its player means nothing any more.
    m_statusObservation.reset();
    m_outgoing.reset();
    m_outgoingShown.stop();
    m_currentVideoIndex = -1;
    setCurrentIndex(-1);
    setCurrentTime(0.0);
    setDuration(0.0);
    m_isPreparingNextVideo = false;
}

void VideoPlayerManager::nextVideo() {
    advance(Direction::Next);
}

void VideoPlayerManager::previousVideo() {
    advance(Direction::Previous);
}

void VideoPlayerManager::advance(Direction direction) {
    if (m_isPreparingNextVideo)
        return;
    m_isPreparingNextVideo = true;
    const std::optional<QUrl> url = direction == Direction::Next
                                        ? m_playlistManager->nextVideo(m_currentVideoIndex)
                                        : m_playlistManager->previousVideo(m_currentVideoIndex);
    if (!url) {
        if (direction == Direction::Next)
            qCInfo(lcPlayback, "No next video available");
        else
            qCInfo(lcPlayback, "No previous video available");
        m_isPreparingNextVideo = false;
        return;
    }
    m_currentVideoIndex = int(m_playlistManager->currentIndex());
    setCurrentIndex(m_currentVideoIndex);
    m_currentVideoURL = *url;
    Q_EMIT currentVideoURLChanged();

    Player* target = m_activePlayer == m_playerA ? m_playerB : m_playerA;
    // The target's rate is not touched by the manager; the player loads the item paused.
    m_statusObservation = PendingItem{target, 0};
    m_statusObservation->item = target->load(*url);
}

void VideoPlayerManager::handleStatus(Player* player, quint64 item, Player::Status status) {
    if (!m_statusObservation || m_statusObservation->player != player ||
        m_statusObservation->item != item)
        return;
    if (status == Player::Status::ReadyToPlay) {
        transition(player);
        m_consecutiveFailures = 0;
        m_isPreparingNextVideo = false;
        return;
    }
    if (status != Player::Status::Failed)
        return;
    const QString error = player->errorDescription();
    qCCritical(lcPlayback, "Failed to load video: %s",
               qUtf8Printable(error.isEmpty() ? QStringLiteral("Unknown error") : error));
    ++m_consecutiveFailures;
    if (m_consecutiveFailures < m_playlistManager->videoURLs().size()) {
        m_isPreparingNextVideo = false;
        // A failure always moves forward, also after a step back.
        nextVideo();
    } else {
        qCCritical(lcPlayback, "All videos failed to load");
        m_isPreparingNextVideo = false;
    }
}

void VideoPlayerManager::transition(Player* newPlayer) {
    Player* oldPlayer = m_activePlayer;
    m_activePlayer = newPlayer;
    removeTimeObservers(oldPlayer);
    removeEndObservers();
    // The new player starts even while not playing (never while suspended); the old one plays
    // on to its last frame.
    newPlayer->setRate(activeRate());
    updateDuration();

    const QPointer<VideoPlayerManager> self(this);
    m_periodicTimeObserverToken =
        newPlayer->addPeriodicTimeObserver(kPeriodicInterval, [self](double time) {
            if (!self)
                return;
            self->setCurrentTime(time);
            if (self->m_duration == 0.0)
                self->updateDuration();
        });
    installEarlyAdvance();
    installEndObservers();
    // The views show the outgoing video until their switch is over (a cut is over at once).
    m_outgoing = PendingItem{oldPlayer, oldPlayer->currentItem()};
    m_outgoingShown.start(transitionType(m_preferences) == TransitionType::None
                              ? 0
                              : int(transitionDuration(m_preferences) * 1000.0) + kOutgoingSlackMs);
    Q_EMIT videoPlayerDidTransition(newPlayer, oldPlayer);
}

void VideoPlayerManager::releaseOutgoing() {
    if (!m_outgoing || m_outgoingShown.isActive())
        return;
    Player* player = m_outgoing->player;
    const bool leftBehind =
        player && player != m_activePlayer && player->currentItem() == m_outgoing->item;
    if (leftBehind && !player->isAtEnd())
        return; // still playing towards its end, where it is let go
    m_outgoing.reset();
    if (leftBehind)
        player->releaseVideo();
}

void VideoPlayerManager::updateDuration() {
    const Player::Duration length = m_activePlayer->duration();
    setDuration(m_activePlayer->currentItem() != 0 && length.isUsable() ? length.seconds : 0.0);
}

void VideoPlayerManager::installEarlyAdvance() {
    if (m_activePlayer->currentItem() == 0)
        return;
    if (transitionType(m_preferences) == TransitionType::None)
        return;
    const Player::Duration length = m_activePlayer->duration();
    if (!length.isUsable())
        return;
    const double t = transitionDuration(m_preferences);
    if (!(length.seconds > t + 1.0))
        return;
    const QPointer<VideoPlayerManager> self(this);
    m_timeObserverToken = m_activePlayer->addBoundaryTimeObserver(length.seconds - t, [self] {
        if (self)
            self->nextVideo();
    });
}

void VideoPlayerManager::installEndObservers() {
    if (m_activePlayer->currentItem() == 0)
        return;
    m_endObservation = PendingItem{m_activePlayer, m_activePlayer->currentItem()};
}

void VideoPlayerManager::removeEndObservers() {
    m_endObservation.reset();
}

void VideoPlayerManager::removeTimeObservers(Player* player) {
    if (m_timeObserverToken) {
        player->removeTimeObserver(*m_timeObserverToken);
        m_timeObserverToken.reset();
    }
    if (m_periodicTimeObserverToken) {
        player->removeTimeObserver(*m_periodicTimeObserverToken);
        m_periodicTimeObserverToken.reset();
    }
}

void VideoPlayerManager::handleEndOfVideo() {
    removeEndObservers();
    if (!m_playlistManager->loopEnabled() &&
        m_currentVideoIndex >= m_playlistManager->videoURLs().size() - 1) {
        qCInfo(lcPlayback, "Playlist complete, not looping");
        // The players are left as they are: the last frame stays on screen.
        setIsPlaying(false);
        return;
    }
    nextVideo();
}

void VideoPlayerManager::applySettings(bool atCreation) {
    const bool preventSleep = Settings::preventDisplaySleep.read(m_preferences);
    const bool muted = Settings::audioMuted.read(m_preferences);
    const float volume = storedFloat(m_preferences, Settings::audioVolume);
    const double rate = m_isPlaying ? activeRate() : 0.0;
    for (Player* player : {m_playerA, m_playerB}) {
        player->setPreventsDisplaySleep(preventSleep);
        player->setMuted(muted);
        player->setVolume(double(volume));
        if (!atCreation)
            player->setRate(rate);
    }
}

double VideoPlayerManager::playbackRate(const Preferences& preferences) {
    return Settings::playbackRate.clamped(storedFloat(preferences, Settings::playbackRate));
}

TransitionType VideoPlayerManager::transitionType(const Preferences& preferences) {
    return toTransitionType(Settings::transitionType.read(preferences));
}

double VideoPlayerManager::transitionDuration(const Preferences& preferences) {
    return Settings::transitionDuration.clamped(Settings::transitionDuration.read(preferences));
}

void VideoPlayerManager::setCurrentTime(double time) {
    if (time == m_currentTime)
        return;
    m_currentTime = time;
    Q_EMIT currentTimeChanged(time);
}

void VideoPlayerManager::setDuration(double duration) {
    if (duration == m_duration)
        return;
    m_duration = duration;
    Q_EMIT durationChanged(duration);
}

void VideoPlayerManager::setCurrentIndex(int index) {
    if (index == m_currentIndex)
        return;
    m_currentIndex = index;
    Q_EMIT currentIndexChanged(index);
}

void VideoPlayerManager::setTotalVideoCount(int count) {
    if (count == m_totalVideoCount)
        return;
    m_totalVideoCount = count;
    Q_EMIT totalVideoCountChanged(count);
}
