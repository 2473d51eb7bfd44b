#pragma once

#include "system/MediaKeyTarget.h"
#include "system/PowerManager.h"

#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>

#include <memory>
#include <vector>

class CoverageMonitor;
class DesktopWindowController;
class Preferences;
class ScheduleManager;
class ScreenWatcher;
class VideoPlayerManager;

Q_MOC_INCLUDE("playback/VideoPlayerManager.h")

// The one object that wires the running program together: one desktop window per screen, the
// playback commands every control calls, and the reactions to screens, sync mode, playlists,
// power, screen lock and the schedule. Each screen's playback itself belongs to its manager.
class AppDelegate : public QObject, public MediaKeyTarget {
    Q_OBJECT
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(int playingScreenCount READ playingScreenCount NOTIFY playingScreenCountChanged)
    Q_PROPERTY(int totalScreenCount READ totalScreenCount NOTIFY totalScreenCountChanged)
    Q_PROPERTY(
        VideoPlayerManager* primaryPlayerManager READ primaryPlayerManager NOTIFY displaysChanged)
    // displays() for the settings window: maps of "screenName" and "manager".
    Q_PROPERTY(QVariantList displayList READ displayList NOTIFY displaysChanged)
    // Whether this desktop lets covered screens be paused, and if not, why.
    Q_PROPERTY(bool canTellCoverage READ canTellCoverage NOTIFY coverageAvailabilityChanged)
    Q_PROPERTY(QString coverageUnavailableReason READ coverageUnavailableReason NOTIFY
                   coverageAvailabilityChanged)

public:
    struct Display {
        QString screenName;
        VideoPlayerManager* manager = nullptr;
    };

    // Without a power manager the machine's own is read; without a schedule the process's.
    explicit AppDelegate(Preferences& preferences, std::unique_ptr<PowerManager> powerManager = {},
                         ScheduleManager* schedule = nullptr, QObject* parent = nullptr);
    ~AppDelegate() override;

    // The launched controller; empty before launch and after it is gone.
    static AppDelegate* shared();

    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    Q_INVOKABLE void togglePlayPause() override;
    void startAllPlayback() override;
    void pauseAllPlayback() override;
    void stopAllPlayback();
    Q_INVOKABLE void nextVideo() override;
    Q_INVOKABLE void previousVideo() override;
    Q_INVOKABLE void reloadAllPlaylists();
    void rebuildDesktopWindows();

    bool isPlaying() const override { return m_isPlaying; }
    std::optional<Video> primaryVideo() const override;
    int playingScreenCount() const { return m_playingScreenCount; }
    int totalScreenCount() const { return m_totalScreenCount; }
    // In sync mode the shared manager alone (never created by asking), else one per window.
    QList<Display> displays() const;
    VideoPlayerManager* primaryPlayerManager() const;
    QVariantList displayList() const;

    const std::vector<std::unique_ptr<DesktopWindowController>>& desktopWindows() const {
        return m_desktopWindows;
    }
    PowerManager& powerManager() const { return *m_powerManager; }
    // applicationVisibility 1: tray only, the settings window stays out of the taskbar.
    bool isTrayOnly() const { return m_isTrayOnly; }
    bool pausedBySchedule() const { return m_pausedBySchedule; }
    bool wasAudioMutedBeforeLock() const { return m_wasAudioMutedBeforeLock; }
    bool hasKeyEventMonitor() const { return m_keyEventMonitorInstalled; }
    // Made at launch; null before.
    CoverageMonitor* coverageMonitor() const { return m_coverage; }
    bool canTellCoverage() const;
    QString coverageUnavailableReason() const;

Q_SIGNALS:
    void isPlayingChanged(bool isPlaying);
    void playingScreenCountChanged(int count);
    void totalScreenCountChanged(int count);
    void displaysChanged();
    void coverageAvailabilityChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupDesktopWindows();
    void setupPlaybackObservers();
    void observePowerSource();
    void observeSchedule();
    void setupKeyEventMonitor();
    void removeKeyEventMonitor();
    void updatePlayingState();
    void refreshNowPlayingSoon();
    void handlePowerState(bool onBattery);
    void handleScheduleState(bool within);
    void handleScreenLock();
    void handleScreenUnlock();
    void setAllPlayersMuted(bool muted);
    // Tells the coverage monitor which screens each shown manager plays on.
    void updateCoverageTargets();
    void handleCoverage(const QString& screenId, bool covered);
    void clearCancellables();
    // Each distinct manager once, in window order: in sync mode every window holds the same one.
    QList<VideoPlayerManager*> distinctManagers() const;

    void setIsPlaying(bool playing);
    void setPlayingScreenCount(int count);
    // Keeps the display awake while playing, when the user asked for it.
    void updateDisplaySleep();

    Preferences& m_preferences;
    std::vector<std::unique_ptr<DesktopWindowController>> m_desktopWindows;
    std::unique_ptr<PowerManager> m_powerManager;
    ScheduleManager* m_schedule = nullptr;
    ScreenWatcher* m_screenWatcher = nullptr;
    CoverageMonitor* m_coverage = nullptr;
    std::vector<QMetaObject::Connection> m_cancellables;
    bool m_keyEventMonitorInstalled = false;
    bool m_wasAudioMutedBeforeLock = true;
    bool m_isPlaying = false;
    int m_playingScreenCount = 0;
    int m_totalScreenCount = 0;
    bool m_pausedBySchedule = false;
    bool m_awaitingVideos = false;
    bool m_isTrayOnly = false;

    static QPointer<AppDelegate> s_shared;
};
