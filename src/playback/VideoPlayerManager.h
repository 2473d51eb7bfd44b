#pragma once

#include "playback/Player.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <optional>

class FolderBookmarkManager;
class PlaylistManager;
class Preferences;
enum class TransitionType;

// Plays one queue of videos for one screen without gaps on two alternating players: while one
// shows the current video the next is loaded into the other, and when it is ready the players
// switch and videoPlayerDidTransition tells the views to cut or fade between them. With a
// transition chosen, the next video is asked for a transition's length before the current one
// ends, so the outgoing video reaches its end during the fade.
class VideoPlayerManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QUrl currentVideoURL READ currentVideoURL NOTIFY currentVideoURLChanged)
    Q_PROPERTY(QString currentVideoName READ currentVideoName NOTIFY currentVideoURLChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(double currentTime READ currentTime NOTIFY currentTimeChanged)
    Q_PROPERTY(double duration READ duration NOTIFY durationChanged)
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentIndexChanged)
    Q_PROPERTY(int totalVideoCount READ totalVideoCount NOTIFY totalVideoCountChanged)

public:
    using PlayerFactory = std::function<Player*(QObject* parent)>;

    // Players are made by the factory (mpv players without a video output when none is given).
    // The queue is loaded at once; nothing plays until play(). Settings come from preferences,
    // or from the standard store.
    VideoPlayerManager(const QString& screenId, Preferences& preferences,
                       PlayerFactory factory = {}, QObject* parent = nullptr);
    explicit VideoPlayerManager(const QString& screenId, PlayerFactory factory = {},
                                QObject* parent = nullptr);
    ~VideoPlayerManager() override;

    QString screenId() const { return m_screenId; }
    Player* playerA() const { return m_playerA; }
    Player* playerB() const { return m_playerB; }
    Player* activePlayer() const { return m_activePlayer; }
    PlaylistManager& playlistManager() const { return *m_playlistManager; }

    QUrl currentVideoURL() const { return m_currentVideoURL; }
    // The file name without its extension, or "No video".
    QString currentVideoName() const;
    bool isPlaying() const { return m_isPlaying; }
    // The application controller's pause and resume set this directly.
    void setIsPlaying(bool playing);
    // A pause of the players that leaves isPlaying alone: while suspended the players stay
    // paused, and lifting it resumes a manager that is still playing where it was.
    void setSuspended(bool suspended);
    bool isSuspended() const { return m_isSuspended; }
    double currentTime() const { return m_currentTime; }
    double duration() const { return m_duration; }
    int currentIndex() const { return m_currentIndex; }
    int totalVideoCount() const { return m_totalVideoCount; }

    int currentVideoIndex() const { return m_currentVideoIndex; }
    bool isPreparingNextVideo() const { return m_isPreparingNextVideo; }
    int consecutiveFailures() const { return m_consecutiveFailures; }
    // Whether the early advance of the current video is installed.
    bool hasEarlyAdvance() const { return m_timeObserverToken.has_value(); }

    void loadPlaylist();
    // Whether loadPlaylist() would load something else than it last did: another assigned
    // playlist, other files or another order of them, shuffle or loop switched.
    bool queueSourceChanged();
    void play();
    void stop();
    void nextVideo();
    void previousVideo();

    // Reads the playback preferences the way every player applies them.
    static double playbackRate(const Preferences& preferences);
    static TransitionType transitionType(const Preferences& preferences);
    // The stored transition length clamped to 0.5–5.0 s.
    static double transitionDuration(const Preferences& preferences);

Q_SIGNALS:
    // The active player changed: newPlayer shows the current video now.
    void videoPlayerDidTransition(Player* newPlayer, Player* oldPlayer);
    void currentVideoURLChanged();
    void isPlayingChanged(bool playing);
    void currentTimeChanged(double time);
    void durationChanged(double duration);
    void currentIndexChanged(int index);
    void totalVideoCountChanged(int count);

private:
    enum class Direction { Next, Previous };

    void advance(Direction direction);
    void handleStatus(Player* player, quint64 item, Player::Status status);
    void transition(Player* newPlayer);
    void updateDuration();
    void installEarlyAdvance();
    void installEndObservers();
    void removeEndObservers();
    void removeTimeObservers(Player* player);
    void handleEndOfVideo();
    void releaseOutgoing();
    void applySettings(bool atCreation);
    // The rate a playing manager's active player runs at: 0 while suspended.
    double activeRate() const;

    void setCurrentTime(double time);
    void setDuration(double duration);
    void setCurrentIndex(int index);
    void setTotalVideoCount(int count);

    QString m_screenId;
    QStringList m_loadedSource;

    QStringList queueSource();
    Player* m_playerA = nullptr;
    Player* m_playerB = nullptr;
    Player* m_activePlayer = nullptr;
    PlaylistManager* m_playlistManager = nullptr;
    FolderBookmarkManager* m_folderManager = nullptr;
    Preferences& m_preferences;

    QUrl m_currentVideoURL;
    bool m_isPlaying = false;
    bool m_isSuspended = false;
    double m_currentTime = 0.0;
    double m_duration = 0.0;
    int m_currentIndex = -1;
    int m_totalVideoCount = 0;

    int m_currentVideoIndex = -1;
    bool m_isPreparingNextVideo = false;
    int m_consecutiveFailures = 0;
    std::optional<Player::ObserverId> m_timeObserverToken;
    std::optional<Player::ObserverId> m_periodicTimeObserverToken;
    // The item being loaded whose verdict is awaited.
    struct PendingItem {
        QPointer<Player> player;
        quint64 item = 0;
    };
    std::optional<PendingItem> m_statusObservation;
    // The active item whose end is awaited.
    std::optional<PendingItem> m_endObservation;
    // The item the last switch left behind: its decoder goes once it is off screen and ended.
    std::optional<PendingItem> m_outgoing;
    QTimer m_outgoingShown;
    QMetaObject::Connection m_settingsObserver;
};
