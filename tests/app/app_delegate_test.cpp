// The application controller under the harness's two monitors: real desktop windows, real mpv
// players on clips made by ffmpeg; only the battery and the clock are stand-ins.

#include "app/AppDelegate.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "playback/DesktopWindowController.h"
#include "playback/SyncManager.h"
#include "playback/VideoPlayerManager.h"
#include "support/TestUtil.h"
#include "system/CoverageMonitor.h"
#include "system/MediaKeyHandler.h"
#include "system/PowerManager.h"
#include "system/PowerSource.h"
#include "system/ScheduleManager.h"
#include "system/SettableClock.h"

#include <QGuiApplication>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// A machine whose one battery the test plugs and unplugs.
class FakePowerSource : public PowerSource {
public:
    std::optional<Snapshot> snapshot() const override {
        return Snapshot{Source{true, m_onBattery, std::nullopt}};
    }
    void start() override {}
    void setOnBattery(bool onBattery) {
        m_onBattery = onBattery;
        Q_EMIT changed();
    }

private:
    bool m_onBattery = false;
};

class AppDelegateTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        SyncManager::setDefaultPlayerFactory(DesktopWindowController::surfacePlayerFactory());
        s_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(s_dir->isValid());
        testutil::ClipSpec clip;
        clip.seconds = 4.0;
        for (const char* name : {"a", "b"})
            ASSERT_TRUE(testutil::encodeClip(s_dir->filePath(u"clips/%1.mp4"_s.arg(name)), clip));
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
        SyncManager::shared().setSyncEnabled(false);
        testutil::resetUserStore();
        m_store.set(u"transitionType"_s, 0);
        // Wednesday noon.
        m_clock = new SettableClock(QDateTime(QDate(2026, 11, 18), QTime(12, 0)));
        m_schedule = std::make_unique<ScheduleManager>(m_store, std::unique_ptr<Clock>(m_clock));
    }

    void TearDown() override {
        if (m_delegate)
            m_delegate->applicationWillTerminate();
        m_delegate.reset();
        SyncManager::shared().setSyncEnabled(false);
    }

    void addClips() {
        FolderBookmarkManager folders(m_store);
        ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(s_dir->filePath(u"clips"_s))));
    }

    void launch() {
        auto source = std::make_unique<FakePowerSource>();
        m_power = source.get();
        m_delegate = std::make_unique<AppDelegate>(
            m_store, std::make_unique<PowerManager>(std::move(source)), m_schedule.get());
        m_delegate->applicationDidFinishLaunching();
    }

    QList<VideoPlayerManager*> managers() const {
        QList<VideoPlayerManager*> result;
        for (const auto& controller : m_delegate->desktopWindows())
            result.append(controller->playerManager());
        return result;
    }

    template <typename Condition> bool everyManager(Condition condition) const {
        const QList<VideoPlayerManager*> all = managers();
        return std::all_of(all.begin(), all.end(), condition);
    }

    // Every screen shows its queue's video at index; an advance is taken only once the
    // previous one is on screen.
    bool waitForIndex(int index) const {
        return testutil::waitUntil([this, index] {
            return everyManager([index](VideoPlayerManager* manager) {
                return manager->currentIndex() == index && !manager->isPreparingNextVideo();
            });
        });
    }

    bool waitForAllPlaying(bool playing) const {
        return testutil::waitUntil([this, playing] {
            return m_delegate->isPlaying() == playing &&
                   everyManager(
                       [playing](VideoPlayerManager* m) { return m->isPlaying() == playing; });
        });
    }

    static inline std::unique_ptr<QTemporaryDir> s_dir;
    Preferences& m_store = Preferences::standard();
    SettableClock* m_clock = nullptr;
    std::unique_ptr<ScheduleManager> m_schedule;
    FakePowerSource* m_power = nullptr;
    std::unique_ptr<AppDelegate> m_delegate;
};

TEST_F(AppDelegateTest, AutoPlayWithEmptyQueuesWaitsForTheFirstVideosAndQuittingClosesEverything) {
    m_store.set(u"autoPlayOnLaunch"_s, true);
    EXPECT_EQ(AppDelegate::shared(), nullptr);
    launch();
    EXPECT_EQ(AppDelegate::shared(), m_delegate.get());
    EXPECT_EQ(m_delegate->totalScreenCount(), 2);
    EXPECT_EQ(m_delegate->displays().size(), 2);
    EXPECT_EQ(m_delegate->primaryPlayerManager(), managers().value(0));
    EXPECT_TRUE(m_delegate->hasKeyEventMonitor());
    EXPECT_FALSE(m_delegate->canTellCoverage());
    EXPECT_EQ(m_delegate->coverageUnavailableReason(), u"no EWMH window manager is running"_s);
    testutil::settle();
    EXPECT_FALSE(m_delegate->isPlaying());
    EXPECT_EQ(m_delegate->playingScreenCount(), 0);
    // The first folder added then plays at once.
    addClips();
    m_delegate->reloadAllPlaylists();
    EXPECT_TRUE(waitForAllPlaying(true));

    m_delegate->applicationWillTerminate();
    EXPECT_FALSE(m_delegate->hasKeyEventMonitor());
    EXPECT_TRUE(m_delegate->desktopWindows().empty());
    EXPECT_EQ(m_delegate->primaryPlayerManager(), nullptr);
    m_delegate.reset();
    EXPECT_EQ(AppDelegate::shared(), nullptr);
}

TEST_F(AppDelegateTest, CommandsReachEveryScreen) {
    addClips();
    m_store.set(u"autoPlayOnLaunch"_s, true);
    launch();
    ASSERT_TRUE(waitForAllPlaying(true));
    EXPECT_EQ(m_delegate->playingScreenCount(), 2);
    ASSERT_TRUE(waitForIndex(0));

    m_delegate->nextVideo();
    EXPECT_TRUE(waitForIndex(1));
    m_delegate->previousVideo();
    EXPECT_TRUE(waitForIndex(0));

    m_delegate->togglePlayPause();
    EXPECT_FALSE(m_delegate->isPlaying());
    EXPECT_EQ(m_delegate->playingScreenCount(), 0);
    for (VideoPlayerManager* manager : managers()) {
        EXPECT_FALSE(manager->isPlaying());
        EXPECT_EQ(manager->activePlayer()->rate(), 0.0) << "paused in place";
        EXPECT_EQ(manager->currentIndex(), 0);
    }
    m_delegate->togglePlayPause();
    EXPECT_TRUE(waitForAllPlaying(true));
    EXPECT_EQ(m_delegate->playingScreenCount(), 2);

    // The media keys follow: on while playback runs, with the primary screen's video, off
    // once everything is stopped.
    EXPECT_TRUE(MediaKeyHandler::shared().isEnabled());
    const auto video = m_delegate->primaryVideo();
    ASSERT_TRUE(video.has_value());
    EXPECT_EQ(video->currentIndex, 0);
    EXPECT_EQ(video->totalVideoCount, managers().first()->totalVideoCount());

    // A rebuild while playing stops, and resumes on the new windows.
    const DesktopWindowController* before = m_delegate->desktopWindows().front().get();
    SyncManager::shared().setSyncEnabled(true);
    EXPECT_FALSE(m_delegate->isPlaying()) << "stopped for the rebuild";
    ASSERT_EQ(m_delegate->desktopWindows().size(), 2u);
    EXPECT_NE(m_delegate->desktopWindows().front().get(), before);
    VideoPlayerManager* shared = SyncManager::shared().sharedPlayerManager();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(managers(), QList<VideoPlayerManager*>(2, shared));
    // Synchronised, the screens are one display, played by the one shared manager.
    ASSERT_EQ(m_delegate->displays().size(), 1);
    EXPECT_EQ(m_delegate->displays().front().screenName, u"All Displays (Synced)"_s);
    EXPECT_EQ(m_delegate->primaryPlayerManager(), shared);
    EXPECT_TRUE(
        testutil::waitUntil([&] { return m_delegate->isPlaying() && shared->isPlaying(); }));
    EXPECT_TRUE(testutil::waitUntil([this] { return m_delegate->playingScreenCount() == 1; }));

    m_delegate->stopAllPlayback();
    EXPECT_FALSE(MediaKeyHandler::shared().isEnabled());
}

TEST_F(AppDelegateTest, ScheduleClosingWhileNothingPlaysLeavesPlaybackStoppedOnReopening) {
    addClips();
    m_store.set(u"scheduleEnabled"_s, true);
    m_store.set(u"scheduleStartHour"_s, 9);
    m_store.set(u"scheduleEndHour"_s, 17);
    m_store.set(u"scheduleEnabledDays"_s, QVariantList{0, 1, 2, 3, 4, 5, 6});
    launch();
    ASSERT_TRUE(m_schedule->isWithinSchedule());
    ASSERT_FALSE(m_delegate->isPlaying());
    const auto wednesdayAt = [this](int hour) {
        m_clock->set(QDateTime(QDate(2026, 11, 18), QTime(hour, 0)));
        m_schedule->checkSchedule();
        testutil::settle();
    };
    wednesdayAt(18);
    EXPECT_FALSE(m_delegate->pausedBySchedule());
    wednesdayAt(12);
    EXPECT_FALSE(m_delegate->isPlaying()) << "the schedule never started it";

    // The same closing while playing pauses, and the reopening resumes.
    m_delegate->startAllPlayback();
    ASSERT_TRUE(waitForAllPlaying(true));
    wednesdayAt(18);
    EXPECT_TRUE(waitForAllPlaying(false));
    EXPECT_TRUE(m_delegate->pausedBySchedule());
    wednesdayAt(12);
    EXPECT_TRUE(waitForAllPlaying(true));
    EXPECT_FALSE(m_delegate->pausedBySchedule());
}

TEST_F(AppDelegateTest, ShortcutsDrivePlaybackExceptWhileATextFieldHasFocus) {
    addClips();
    launch();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQuick\n"
                      "Window { width: 200; height: 60; visible: true\n"
                      "  TextInput { objectName: \"field\"; width: 180; height: 20 } }",
                      QUrl());
    std::unique_ptr<QObject> object(component.create());
    ASSERT_TRUE(object) << component.errorString().toStdString();
    auto* window = qobject_cast<QQuickWindow*>(object.get());
    ASSERT_NE(window, nullptr);
    auto* field = window->findChild<QQuickItem*>(u"field"_s);
    ASSERT_NE(field, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));

    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_TRUE(m_delegate->isPlaying());
    ASSERT_TRUE(waitForIndex(0));
    QTest::keyClick(window, Qt::Key_Right);
    testutil::settle();
    EXPECT_TRUE(waitForIndex(0)) << "an arrow without Ctrl is passed on";
    QTest::keyClick(window, Qt::Key_Right, Qt::ControlModifier);
    EXPECT_TRUE(waitForIndex(1));
    QTest::keyClick(window, Qt::Key_Left, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_TRUE(waitForIndex(0));

    field->forceActiveFocus();
    ASSERT_EQ(window->focusObject(), field);
    QTest::keyClick(window, Qt::Key_Space);
    QTest::keyClick(window, Qt::Key_Right, Qt::ControlModifier);
    testutil::settle();
    EXPECT_EQ(field->property("text").toString(), u" "_s);
    EXPECT_TRUE(m_delegate->isPlaying());
    EXPECT_TRUE(waitForIndex(0));

    field->setFocus(false);
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_FALSE(m_delegate->isPlaying());
}

TEST_F(AppDelegateTest, PauseOnBatteryAndLockFollowTheSystem) {
    addClips();
    m_store.set(u"pauseOnBattery"_s, true);
    m_store.set(u"pauseOnScreenLock"_s, true);
    m_store.set(u"audioMuted"_s, false);
    launch();
    // On external power the subscription made with the windows starts playback at once, with
    // auto-play off.
    EXPECT_TRUE(m_delegate->isPlaying());
    ASSERT_TRUE(waitForAllPlaying(true));

    m_power->setOnBattery(true);
    EXPECT_TRUE(waitForAllPlaying(false));
    m_power->setOnBattery(false);
    EXPECT_TRUE(waitForAllPlaying(true));

    m_store.set(u"pauseOnBattery"_s, false);
    m_power->setOnBattery(true);
    testutil::settle();
    EXPECT_TRUE(m_delegate->isPlaying());

    // Locking mutes unmuted players, without touching the preference; unlocking restores them.
    const auto allMuted = [this](bool muted) {
        return everyManager([muted](VideoPlayerManager* manager) {
            return manager->playerA()->isMuted() == muted && manager->playerB()->isMuted() == muted;
        });
    };
    ASSERT_TRUE(allMuted(false));
    Q_EMIT NotificationCenter::instance().screenDidLock();
    EXPECT_FALSE(m_delegate->wasAudioMutedBeforeLock());
    EXPECT_TRUE(allMuted(true));
    EXPECT_EQ(m_store.objectForKey(u"audioMuted"_s), QVariant(false));
    Q_EMIT NotificationCenter::instance().screenDidUnlock();
    EXPECT_TRUE(allMuted(false));
}

TEST_F(AppDelegateTest, MaximizedWindowsPauseTheScreensTheyCoverAlone) {
    addClips();
    m_store.set(u"autoPlayOnLaunch"_s, true);
    launch();
    ASSERT_TRUE(waitForAllPlaying(true));
    QProcess windowManager;
    windowManager.start(u"openbox"_s, {u"--sm-disable"_s});
    ASSERT_TRUE(windowManager.waitForStarted());
    EXPECT_TRUE(testutil::waitUntil([this] { return m_delegate->canTellCoverage(); }));
    // One terminal on each screen.
    std::array<QProcess, 2> terminals;
    for (int i = 0; i < 2; ++i) {
        terminals[i].start(u"xterm"_s, {u"-title"_s, u"covering-%1"_s.arg(i), u"-geometry"_s,
                                        u"80x24+%1+100"_s.arg(100 + 1920 * i)});
        ASSERT_TRUE(terminals[i].waitForStarted());
    }
    VideoPlayerManager* covered = nullptr;
    VideoPlayerManager* other = nullptr;
    for (const auto& controller : m_delegate->desktopWindows()) {
        const bool under = controller->screen()->geometry().contains(QPoint(100, 100));
        (under ? covered : other) = controller->playerManager();
    }
    ASSERT_TRUE(covered && other);
    const auto maximized = [](int terminal, const QString& change) {
        const QString how = change + u",maximized_vert,maximized_horz"_s;
        return testutil::runProcess(u"wmctrl"_s,
                                    {u"-r"_s, u"covering-%1"_s.arg(terminal), u"-b"_s, how})
                   .exitCode == 0;
    };
    const auto running = [](VideoPlayerManager* manager) {
        return manager->activePlayer()->rate() > 0.0;
    };
    // Asked again until the terminal is up.
    EXPECT_TRUE(
        testutil::waitUntil([&] { return maximized(0, u"add"_s) && covered->isSuspended(); }));
    EXPECT_EQ(covered->activePlayer()->rate(), 0.0);
    EXPECT_TRUE(covered->isPlaying()) << "covered, not paused by the user";
    EXPECT_TRUE(running(other));
    ASSERT_TRUE(maximized(0, u"remove"_s));
    EXPECT_TRUE(testutil::waitUntil([&] { return !covered->isSuspended() && running(covered); }));

    // A pause the user made outlasts the window.
    ASSERT_TRUE(maximized(0, u"add"_s));
    ASSERT_TRUE(testutil::waitUntil([&] { return covered->isSuspended(); }));
    m_delegate->pauseAllPlayback();
    ASSERT_TRUE(maximized(0, u"remove"_s));
    EXPECT_TRUE(testutil::waitUntil([&] { return !covered->isSuspended(); }));
    EXPECT_FALSE(running(covered));

    // Synchronised, the shared player pauses only once both screens are covered.
    m_delegate->startAllPlayback();
    SyncManager::shared().setSyncEnabled(true);
    VideoPlayerManager* shared = SyncManager::shared().sharedPlayerManager();
    ASSERT_TRUE(maximized(0, u"add"_s));
    ASSERT_TRUE(testutil::waitUntil([&] { return shared->isPlaying() && running(shared); }));
    testutil::waitTimerPeriods(CoverageMonitor::kSettleMs);
    EXPECT_FALSE(shared->isSuspended());
    ASSERT_TRUE(maximized(1, u"add"_s));
    EXPECT_TRUE(testutil::waitUntil([&] { return shared->isSuspended() && !running(shared); }));
    for (QProcess* process : {&terminals[0], &terminals[1], &windowManager}) {
        process->terminate();
        process->waitForFinished();
    }
}

} // namespace
