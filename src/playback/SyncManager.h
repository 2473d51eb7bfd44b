#pragma once

#include "playback/VideoPlayerManager.h"

#include <QObject>
#include <QPointer>

class Preferences;

// The "Sync Displays" switch. While it is on, one player manager with the identifier "default"
// plays for every screen and each desktop window draws its players. The switch is read from the
// preferences once, at creation; every assignment writes it back, and a real change is announced
// (syncModeDidChange here and on NotificationCenter) after the shared manager was made or stopped.
class SyncManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isSyncEnabled READ isSyncEnabled WRITE setSyncEnabled NOTIFY syncModeDidChange)

public:
    // The program's instance, on the user's preferences, made on first use.
    static SyncManager& shared();

    // The factory makes the shared manager's players (plain mpv players when none is given).
    explicit SyncManager(Preferences& preferences, VideoPlayerManager::PlayerFactory factory = {},
                         QObject* parent = nullptr);
    ~SyncManager() override;

    // The players the shared manager gets from now on (the program's windows need players that
    // draw; set before the first use of shared()).
    static void setDefaultPlayerFactory(VideoPlayerManager::PlayerFactory factory);

    bool isSyncEnabled() const { return m_isSyncEnabled; }
    void setSyncEnabled(bool enabled);

    // None while the mode is off.
    VideoPlayerManager* sharedPlayerManager() const { return m_sharedPlayerManager; }
    VideoPlayerManager* sharedPlayerManager(bool createIfNeeded);

Q_SIGNALS:
    void syncModeDidChange();

private:
    void createSharedPlayerManager();

    Preferences& m_preferences;
    VideoPlayerManager::PlayerFactory m_factory;
    bool m_isSyncEnabled = false;
    QPointer<VideoPlayerManager> m_sharedPlayerManager;
};
