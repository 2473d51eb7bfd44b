#pragma once

#include "playback/Player.h"

#include <QHash>
#include <QSize>
#include <QTimer>

#include <atomic>
#include <memory>

struct mpv_event;
class MpvHandle;
class VideoRenderer;

// A Player on one libmpv handle. The item is held open at its end (keep-open), so the last
// frame stays; nothing advances by itself. mpv's events are read on the Qt event loop, woken
// by mpv's wakeup callback, never by waiting.
//
// Time callbacks are driven by timers armed from the playback position and rate, so a playing
// item costs no wakeups between callbacks and a paused one none at all.
class MpvPlayer : public Player {
    Q_OBJECT

public:
    explicit MpvPlayer(QObject* parent = nullptr);
    explicit MpvPlayer(VideoOutput output, QObject* parent = nullptr);
    ~MpvPlayer() override;

    bool isValid() const { return m_mpv != nullptr; }
    VideoOutput videoOutput() const { return m_videoOutput; }
    VideoRenderer* renderer() const override { return m_renderer.get(); }
    QSize videoSize() const override { return m_videoSize; }

    quint64 load(const QUrl& url) override;
    void empty() override;
    void releaseVideo() override;

    quint64 currentItem() const override { return m_item; }
    QUrl currentURL() const override { return m_url; }
    Status status() const override { return m_status; }
    QString errorDescription() const override { return m_error; }
    Duration duration() const override;
    double currentTime() const override;
    bool isAtEnd() const override { return m_atEnd; }

    void setRate(double rate) override;
    double rate() const override { return m_rate; }
    void setVolume(double volume) override;
    double volume() const override { return m_volume; }
    void setMuted(bool muted) override;
    bool isMuted() const override { return m_muted; }
    void setPreventsDisplaySleep(bool prevents) override;
    bool preventsDisplaySleep() const override { return m_preventsDisplaySleep; }

    ObserverId addPeriodicTimeObserver(double interval,
                                       std::function<void(double)> callback) override;
    ObserverId addBoundaryTimeObserver(double time, std::function<void()> callback) override;
    void removeTimeObserver(ObserverId id) override;

    // The speed mpv is playing at now (0 when paused), read from the player itself.
    double effectiveRate() const;
    // mpv's own value of a property, as text; empty when it has none.
    QString mpvProperty(const char* name) const;

private:
    struct TimeObserver {
        bool periodic = false;
        double time = 0.0;
        bool fired = false;
        std::function<void(double)> periodicCallback;
        std::function<void()> boundaryCallback;
        std::unique_ptr<QTimer> timer;
    };

    void drainEvents();
    void handleEvent(const mpv_event& event);
    void becomeReady();
    void fail(const QString& description);
    void reachEnd();
    bool isRunning() const;
    void updateTimers();
    void checkBoundaries();
    void setFlag(const char* name, bool value);
    void setString(const char* name, const char* value);
    void unload();

    // Declared before the renderer, whose render context must go first.
    std::unique_ptr<MpvHandle> m_mpv;
    VideoOutput m_videoOutput = VideoOutput::None;
    std::unique_ptr<VideoRenderer> m_renderer;
    QSize m_videoSize;
    std::atomic<bool> m_drainQueued{false};

    quint64 m_item = 0;
    quint64 m_lastItem = 0;
    qint64 m_entryId = -1;      // mpv's playlist entry of the current item
    qint64 m_startedEntry = -1; // the entry mpv is opening or playing
    QUrl m_url;
    Status m_status = Status::Empty;
    QString m_error;
    bool m_atEnd = false;
    // The ended item was unloaded from mpv: its length and position are kept here.
    bool m_released = false;
    Duration m_releasedDuration;
    double m_releasedTime = 0.0;

    double m_rate = 0.0;
    double m_volume = 1.0;
    bool m_muted = true;
    bool m_preventsDisplaySleep = false;

    ObserverId m_nextObserver = 1;
    QHash<ObserverId, std::shared_ptr<TimeObserver>> m_observers;
    QTimer m_boundaryTimer;
};
