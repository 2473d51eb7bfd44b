#include "app/AppDelegate.h"

#include "app/SessionDisplay.h"
#include "core/Logging.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "playback/DesktopWindowController.h"
#include "playback/PlaylistManager.h"
#include "playback/ScreenWatcher.h"
#include "playback/SyncManager.h"
#include "playback/VideoPlayerManager.h"
#include "system/CoverageMonitor.h"
#include "system/CoverageSource.h"
#include "system/DisplaySleepInhibitor.h"
#include "system/HotkeyManager.h"
#include "system/MediaKeyHandler.h"
#include "system/PowerManager.h"
#include "system/ScheduleManager.h"
#include "ui/HotkeyRecorder.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QInputMethodQueryEvent>
#include <QKeyEvent>
#include <QPalette>
#include <QScreen>
#include <QTimer>
#include <QVariantMap>
#include <QWindow>

#include <algorithm>

QPointer<AppDelegate> AppDelegate::s_shared;

namespace {

// A delay long enough for the new windows to be up before their players start.
constexpr int kResumeAfterRebuildMs = 100;
constexpr int kNowPlayingRefreshMs = 500;

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x1e, 0x1e, 0x1e);
    const QColor base(0x2a, 0x2a, 0x2a);
    const QColor text(0xe6, 0xe6, 0xe6);
    const QColor highlight(0x0a, 0x84, 0xff);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, base);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8e, 0x8e, 0x8e));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x6e, 0x6e, 0x6e));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x6e, 0x6e, 0x6e));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x6e, 0x6e, 0x6e));
    return palette;
}

// Whether the object that receives the window's key events takes them all: a text field being
// edited gets every key, shortcuts included.
bool takesEveryKey(QObject* focusObject) {
    if (!focusObject)
        return false;
    // A hotkey row waiting for its key takes any key, Space included.
    if (const auto* recorder = qobject_cast<const HotkeyRecorder*>(focusObject))
        return recorder->isRecording();
    QInputMethodQueryEvent query(Qt::ImEnabled);
    QCoreApplication::sendEvent(focusObject, &query);
    return query.value(Qt::ImEnabled).toBool();
}

// A screen's visible part in the X server's pixels: Qt scales sizes, and positions from the
// screen's own corner, by the device pixel ratio.
QRect visibleArea(const QScreen* screen) {
    const QPoint origin = screen->geometry().topLeft();
    const QRect area = screen->availableGeometry();
    const qreal ratio = screen->devicePixelRatio();
    return QRect(origin + (area.topLeft() - origin) * ratio, area.size() * ratio);
}

} // namespace

AppDelegate::AppDelegate(Preferences& preferences, std::unique_ptr<PowerManager> powerManager,
                         ScheduleManager* schedule, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_powerManager(powerManager ? std::move(powerManager) : std::make_unique<PowerManager>())
    , m_schedule(schedule ? schedule : &ScheduleManager::shared()) {
}

AppDelegate::~AppDelegate() {
    if (s_shared == this) {
        MediaKeyHandler::shared().setController(nullptr);
        HotkeyManager::shared().setController(nullptr);
        DisplaySleepInhibitor::shared().setInhibiting(false);
    }
    removeKeyEventMonitor();
    clearCancellables();
    // Windows go before the power manager and the rest they were wired to.
    m_desktopWindows.clear();
}

AppDelegate* AppDelegate::shared() {
    return s_shared.data();
}

void AppDelegate::applicationDidFinishLaunching() {
    s_shared = this;
    MediaKeyHandler::shared().setController(this);
    // Made here, so that stored hotkeys work before any settings page is shown.
    HotkeyManager::shared().setController(this);
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        QGuiApplication::setPalette(darkPalette());
    // No window exists yet to act on; the settings window reads it when it is made.
    m_isTrayOnly = Settings::applicationVisibility.read(m_preferences) == 1;

    m_screenWatcher = new ScreenWatcher(this);
    connect(m_screenWatcher, &ScreenWatcher::screensChanged, this,
            &AppDelegate::rebuildDesktopWindows);
    connect(m_screenWatcher, &ScreenWatcher::screensChanged, &HotkeyManager::shared(),
            &HotkeyManager::screensDidChange);
    NotificationCenter& notifications = NotificationCenter::instance();
    connect(&notifications, &NotificationCenter::syncModeDidChange, this,
            &AppDelegate::rebuildDesktopWindows);
    connect(&notifications, &NotificationCenter::playlistDidChange, this,
            &AppDelegate::reloadAllPlaylists);

    observePowerSource();

    connect(&notifications, &NotificationCenter::screenDidLock, this,
            &AppDelegate::handleScreenLock);
    connect(&notifications, &NotificationCenter::screenDidUnlock, this,
            &AppDelegate::handleScreenUnlock);

    observeSchedule();
    connect(&m_preferences, &Preferences::didChange, this, &AppDelegate::updateDisplaySleep);

    m_coverage = new CoverageMonitor(QGuiApplication::platformName() == QLatin1String("wayland")
                                         ? CoverageSource::createWayland()
                                         : CoverageSource::createX11(),
                                     this);
    connect(m_coverage, &CoverageMonitor::coverageChanged, this, &AppDelegate::handleCoverage);
    connect(m_coverage, &CoverageMonitor::canTellChanged, this,
            &AppDelegate::coverageAvailabilityChanged);
    m_preferences.observe(Settings::pauseWhenCovered.key(), m_coverage, [this](const QVariant&) {
        m_coverage->setEnabled(Settings::pauseWhenCovered.read(m_preferences));
    });
    m_coverage->setEnabled(Settings::pauseWhenCovered.read(m_preferences));
    setupDesktopWindows();

    if (Settings::autoPlayOnLaunch.read(m_preferences) && !m_isPlaying) {
        bool anyVideos = false;
        for (const auto& controller : m_desktopWindows) {
            VideoPlayerManager* manager = controller->playerManager();
            anyVideos = anyVideos || (manager && !manager->playlistManager().videoURLs().isEmpty());
        }
        if (anyVideos)
            startAllPlayback();
        else
            m_awaitingVideos = true; // the first folder the user adds starts playing
    }

    setupKeyEventMonitor();
}

void AppDelegate::applicationWillTerminate() {
    removeKeyEventMonitor();
    HotkeyManager::shared().stopMonitoring();
    stopAllPlayback();
    for (const auto& controller : m_desktopWindows)
        controller->close();
    m_desktopWindows.clear();
    Q_EMIT displaysChanged();
}

void AppDelegate::setupDesktopWindows() {
    for (const auto& controller : m_desktopWindows) {
        // The shared manager may already be gone when sync mode was just switched off.
        if (VideoPlayerManager* manager = controller->playerManager())
            manager->stop();
        controller->close();
    }
    m_desktopWindows.clear();

    SyncManager& sync = SyncManager::shared();
    VideoPlayerManager* shared = sync.isSyncEnabled() ? sync.sharedPlayerManager(true) : nullptr;
    // Elsewhere a desktop window would be an ordinary window over the user's own.
    const QList<QScreen*> screens =
        SessionDisplay::canShowDesktopWindows() ? QGuiApplication::screens() : QList<QScreen*>();
    for (QScreen* screen : screens) {
        m_desktopWindows.push_back(std::make_unique<DesktopWindowController>(screen, shared));
        m_desktopWindows.back()->showWindow();
    }
    qCInfo(lcPlayback, "Showing %lld desktop windows%s", qlonglong(m_desktopWindows.size()),
           shared ? " (synced)" : "");

    const int total = int(m_desktopWindows.size());
    if (total != m_totalScreenCount) {
        m_totalScreenCount = total;
        Q_EMIT totalScreenCountChanged(total);
    }
    Q_EMIT displaysChanged();
    setupPlaybackObservers();
    updateCoverageTargets();
}

void AppDelegate::setupPlaybackObservers() {
    clearCancellables();
    observePowerSource();
    observeSchedule();
    const QList<Display> shown = displays();
    for (const Display& display : shown) {
        m_cancellables.push_back(connect(display.manager, &VideoPlayerManager::isPlayingChanged,
                                         this, &AppDelegate::updatePlayingState,
                                         Qt::QueuedConnection));
    }
    // Media keys show the primary screen's video: its length is known only once it has loaded,
    // and a video that ends hands over to the next, starting from 0, without any command.
    if (VideoPlayerManager* primary = primaryPlayerManager()) {
        const auto refresh = [] {
            MediaKeyHandler::shared().updateNowPlayingInfo();
        };
        m_cancellables.push_back(
            connect(primary, &VideoPlayerManager::currentVideoURLChanged, this, refresh));
        m_cancellables.push_back(
            connect(primary, &VideoPlayerManager::durationChanged, this, refresh));
        m_cancellables.push_back(
            connect(primary, &VideoPlayerManager::videoPlayerDidTransition, this, refresh));
    }
}

void AppDelegate::observePowerSource() {
    m_cancellables.push_back(connect(m_powerManager.get(), &PowerManager::isOnBatteryChanged, this,
                                     &AppDelegate::handlePowerState));
    // The current value counts as the first delivery.
    handlePowerState(m_powerManager->isOnBattery());
}

void AppDelegate::observeSchedule() {
    m_schedule->startMonitoring();
    m_cancellables.push_back(connect(m_schedule, &ScheduleManager::isWithinScheduleChanged, this,
                                     &AppDelegate::handleScheduleState, Qt::QueuedConnection));
}

void AppDelegate::clearCancellables() {
    for (const QMetaObject::Connection& connection : m_cancellables)
        disconnect(connection);
    m_cancellables.clear();
}

QList<VideoPlayerManager*> AppDelegate::distinctManagers() const {
    QList<VideoPlayerManager*> managers;
    for (const auto& controller : m_desktopWindows) {
        VideoPlayerManager* manager = controller->playerManager();
        if (manager && !managers.contains(manager))
            managers.append(manager);
    }
    return managers;
}

void AppDelegate::startAllPlayback() {
    if (m_isPlaying)
        return;
    // Counts windows: in sync mode every screen counts until updatePlayingState() corrects it.
    int count = 0;
    QList<VideoPlayerManager*> started;
    for (const auto& controller : m_desktopWindows) {
        VideoPlayerManager* manager = controller->playerManager();
        if (!manager || manager->playlistManager().videoURLs().isEmpty())
            continue;
        if (!started.contains(manager)) {
            manager->play();
            started.append(manager);
        }
        ++count;
    }
    setPlayingScreenCount(count);
    setIsPlaying(count >= 1);
    // Asked to play with nothing to play: the first videos to arrive start playing.
    m_awaitingVideos = count == 0;

    MediaKeyHandler& mediaKeys = MediaKeyHandler::shared();
    if (!mediaKeys.isEnabled())
        mediaKeys.enable();
    mediaKeys.updateNowPlayingInfo();
}

void AppDelegate::pauseAllPlayback() {
    m_awaitingVideos = false;
    if (!m_isPlaying)
        return;
    // Items and positions stay, so a later play() resumes where each screen was.
    for (VideoPlayerManager* manager : distinctManagers()) {
        manager->playerA()->pause();
        manager->playerB()->pause();
        manager->setIsPlaying(false);
    }
    setPlayingScreenCount(0);
    setIsPlaying(false);
    MediaKeyHandler::shared().updatePlaybackState(false);
}

void AppDelegate::stopAllPlayback() {
    for (VideoPlayerManager* manager : distinctManagers())
        manager->stop();
    setPlayingScreenCount(0);
    setIsPlaying(false);
    MediaKeyHandler::shared().disable();
}

void AppDelegate::togglePlayPause() {
    if (m_isPlaying)
        pauseAllPlayback();
    else
        startAllPlayback();
}

void AppDelegate::nextVideo() {
    for (VideoPlayerManager* manager : distinctManagers())
        manager->nextVideo();
    refreshNowPlayingSoon();
}

void AppDelegate::previousVideo() {
    for (VideoPlayerManager* manager : distinctManagers())
        manager->previousVideo();
    refreshNowPlayingSoon();
}

void AppDelegate::refreshNowPlayingSoon() {
    // The new video is known once it has loaded; by then the media keys show it.
    QTimer::singleShot(kNowPlayingRefreshMs, this,
                       [] { MediaKeyHandler::shared().updateNowPlayingInfo(); });
}

std::optional<MediaKeyTarget::Video> AppDelegate::primaryVideo() const {
    const VideoPlayerManager* manager = primaryPlayerManager();
    if (!manager)
        return std::nullopt;
    return Video{manager->currentVideoName(), manager->duration(), manager->currentTime(),
                 manager->currentIndex(), manager->totalVideoCount()};
}

void AppDelegate::updatePlayingState() {
    bool any = false;
    int count = 0;
    const QList<Display> shown = displays();
    for (const Display& display : shown) {
        if (display.manager->isPlaying()) {
            any = true;
            ++count;
        }
    }
    if (any != m_isPlaying) {
        setIsPlaying(any);
        MediaKeyHandler::shared().updatePlaybackState(any);
    }
    setPlayingScreenCount(count);
}

void AppDelegate::rebuildDesktopWindows() {
    if (!m_isPlaying) {
        setupDesktopWindows();
        return;
    }
    stopAllPlayback();
    setupDesktopWindows();
    // Every screen starts its queue afresh; startAllPlayback() does nothing if already playing.
    QTimer::singleShot(kResumeAfterRebuildMs, this, &AppDelegate::startAllPlayback);
}

void AppDelegate::reloadAllPlaylists() {
    // A change that leaves every queue as it is (a video's duration or size learnt, another
    // playlist edited) does not interrupt what plays.
    const QList<VideoPlayerManager*> managers = distinctManagers();
    if (!managers.isEmpty() && !m_awaitingVideos &&
        std::none_of(managers.begin(), managers.end(),
                     [](VideoPlayerManager* manager) { return manager->queueSourceChanged(); }))
        return;
    const bool wasPlaying = m_isPlaying || m_awaitingVideos;
    stopAllPlayback();
    for (VideoPlayerManager* manager : distinctManagers())
        manager->loadPlaylist();
    if (wasPlaying)
        startAllPlayback();
}

void AppDelegate::handlePowerState(bool onBattery) {
    if (!Settings::pauseOnBattery.read(m_preferences))
        return;
    // No memory of why playback stopped: external power starts a paused or stopped system too.
    if (onBattery) {
        if (m_isPlaying)
            pauseAllPlayback();
    } else if (!m_isPlaying) {
        startAllPlayback();
    }
}

void AppDelegate::handleScheduleState(bool within) {
    if (!m_preferences.boolForKey(m_schedule->scheduleEnabledKey()))
        return;
    if (!within) {
        if (m_isPlaying) {
            pauseAllPlayback();
            m_pausedBySchedule = true;
        }
        return;
    }
    if (m_pausedBySchedule && !m_isPlaying) {
        startAllPlayback();
        m_pausedBySchedule = false;
    }
}

void AppDelegate::handleScreenLock() {
    if (!Settings::pauseOnScreenLock.read(m_preferences))
        return;
    // An absent or odd value counts as muted, so the lock leaves such players alone.
    m_wasAudioMutedBeforeLock = Settings::audioMuted.read(m_preferences);
    if (!m_wasAudioMutedBeforeLock)
        setAllPlayersMuted(true);
}

void AppDelegate::handleScreenUnlock() {
    if (Settings::pauseOnScreenLock.read(m_preferences) && !m_wasAudioMutedBeforeLock)
        setAllPlayersMuted(false);
}

void AppDelegate::setAllPlayersMuted(bool muted) {
    QList<VideoPlayerManager*> managers = distinctManagers();
    if (VideoPlayerManager* shared = SyncManager::shared().sharedPlayerManager();
        shared && !managers.contains(shared))
        managers.append(shared);
    for (VideoPlayerManager* manager : managers) {
        manager->playerA()->setMuted(muted);
        manager->playerB()->setMuted(muted);
    }
}

void AppDelegate::updateCoverageTargets() {
    if (!m_coverage)
        return;
    QList<CoverageMonitor::Target> targets;
    for (const auto& controller : m_desktopWindows) {
        VideoPlayerManager* manager = controller->playerManager();
        QScreen* screen = controller->screen();
        if (!manager || !screen)
            continue;
        // A work area that changes (a panel appears) changes what counts as covered.
        m_cancellables.push_back(connect(screen, &QScreen::availableGeometryChanged, this,
                                         &AppDelegate::updateCoverageTargets,
                                         Qt::UniqueConnection));
        // In sync mode every screen's window holds the one shared manager.
        auto target = std::find_if(targets.begin(), targets.end(), [&](const auto& existing) {
            return existing.id == manager->screenId();
        });
        if (target == targets.end())
            target = targets.insert(targets.end(), {manager->screenId(), {}});
        target->areas.append(visibleArea(screen));
    }
    m_coverage->setTargets(targets);
    // New managers start unsuspended, whatever the monitor already knew of their screens.
    for (const CoverageMonitor::Target& target : std::as_const(targets))
        handleCoverage(target.id, m_coverage->isCovered(target.id));
}

void AppDelegate::handleCoverage(const QString& screenId, bool covered) {
    for (VideoPlayerManager* manager : distinctManagers()) {
        if (manager->screenId() != screenId || manager->isSuspended() == covered)
            continue;
        // Covering only adds a reason to pause: a player the user paused stays paused.
        if (covered)
            qCInfo(lcPlayback, "Screen %s is covered; pausing its player",
                   qUtf8Printable(screenId));
        else if (manager->isPlaying())
            qCInfo(lcPlayback, "Screen %s is uncovered; resuming", qUtf8Printable(screenId));
        else
            qCInfo(lcPlayback, "Screen %s is uncovered", qUtf8Printable(screenId));
        manager->setSuspended(covered);
    }
}

bool AppDelegate::canTellCoverage() const {
    return m_coverage && m_coverage->canTell();
}

QString AppDelegate::coverageUnavailableReason() const {
    return m_coverage ? m_coverage->unavailableReason() : QString();
}

QList<AppDelegate::Display> AppDelegate::displays() const {
    QList<Display> result;
    SyncManager& sync = SyncManager::shared();
    if (sync.isSyncEnabled()) {
        if (VideoPlayerManager* shared = sync.sharedPlayerManager())
            result.append({QStringLiteral("All Displays (Synced)"), shared});
        return result;
    }
    for (const auto& controller : m_desktopWindows) {
        if (VideoPlayerManager* manager = controller->playerManager())
            result.append({controller->screenName(), manager});
    }
    return result;
}

QVariantList AppDelegate::displayList() const {
    QVariantList list;
    for (const Display& display : displays()) {
        list.append(QVariantMap{
            {QStringLiteral("screenName"), display.screenName},
            {QStringLiteral("manager"), QVariant::fromValue<QObject*>(display.manager)}});
    }
    return list;
}

VideoPlayerManager* AppDelegate::primaryPlayerManager() const {
    SyncManager& sync = SyncManager::shared();
    if (sync.isSyncEnabled())
        return sync.sharedPlayerManager();
    return m_desktopWindows.empty() ? nullptr : m_desktopWindows.front()->playerManager();
}

void AppDelegate::setupKeyEventMonitor() {
    if (m_keyEventMonitorInstalled)
        return;
    QCoreApplication::instance()->installEventFilter(this);
    m_keyEventMonitorInstalled = true;
}

void AppDelegate::removeKeyEventMonitor() {
    if (!m_keyEventMonitorInstalled)
        return;
    if (QCoreApplication* app = QCoreApplication::instance())
        app->removeEventFilter(this);
    m_keyEventMonitorInstalled = false;
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    // Only as a window receives it: a window hands the same event on to its items and widgets,
    // which the application's filters see again.
    if (event->type() != QEvent::KeyPress || !watched->isWindowType())
        return false;
    // An open menu's keys are the menu's: Space there chooses the highlighted item.
    const auto* window = static_cast<QWindow*>(watched);
    if (window->type() == Qt::Popup || takesEveryKey(window->focusObject()))
        return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    // Only Control is tested; Ctrl+Alt+Right advances too.
    const bool control = key->modifiers().testFlag(Qt::ControlModifier);
    switch (key->key()) {
    case Qt::Key_Right:
        if (!control)
            return false;
        nextVideo();
        return true;
    case Qt::Key_Left:
        if (!control)
            return false;
        previousVideo();
        return true;
    case Qt::Key_Space:
        togglePlayPause();
        return true;
    default:
        return false;
    }
}

void AppDelegate::setIsPlaying(bool playing) {
    if (playing == m_isPlaying)
        return;
    m_isPlaying = playing;
    updateDisplaySleep();
    Q_EMIT isPlayingChanged(playing);
}

void AppDelegate::updateDisplaySleep() {
    // The players' own setting reaches no desktop: the program holds one inhibition for all.
    DisplaySleepInhibitor::shared().setInhibiting(
        m_isPlaying && Settings::preventDisplaySleep.read(m_preferences));
}

void AppDelegate::setPlayingScreenCount(int count) {
    if (count == m_playingScreenCount)
        return;
    m_playingScreenCount = count;
    Q_EMIT playingScreenCountChanged(count);
}
