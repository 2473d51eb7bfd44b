#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistPersistence.h"
#include "playback/ScreenIdentifier.h"
#include "support/HeadlessSway.h"
#include "support/RunningOrvanta.h"
#include "support/TestUtil.h"
#include "system/GlobalShortcuts.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using testutil::RunningOrvanta;
constexpr int kProcessTimeoutMs = RunningOrvanta::kTimeoutMs;

// A screen saver on the session bus (python3-dbusmock) that logs the calls it answers.
class ScreenSaverMock {
public:
    explicit ScreenSaverMock(const QString& log)
        : m_log(log) {
        m_process.start(u"env"_s,
                        {u"-u"_s, u"LD_PRELOAD"_s, u"/usr/bin/python3"_s, u"-m"_s, u"dbusmock"_s,
                         u"--session"_s, u"-l"_s, log, kName, kPath, kName});
    }
    bool answers() const {
        const QString addMethods = u"call --session --dest %1 --object-path %2 --method "
                                   "org.freedesktop.DBus.Mock.AddMethods %1"_s.arg(kName, kPath);
        return testutil::runProcess(u"gdbus"_s, {u"wait"_s, u"--session"_s, kName}).exitCode == 0 &&
               testutil::runProcess(u"gdbus"_s, addMethods.split(u' ')
                                                    << u"[('Inhibit', 'ss', 'u', 'ret = 7'), "
                                                       "('UnInhibit', 'u', '', '')]"_s)
                       .exitCode == 0;
    }
    // The calls as "Method arguments", once there are `count` of them.
    QStringList calls(qsizetype count) const {
        QStringList lines;
        testutil::waitUntil(
            [&] {
                QFile file(m_log);
                if (file.open(QIODevice::ReadOnly))
                    lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
                return lines.size() >= count;
            },
            kProcessTimeoutMs);
        for (QString& line : lines)
            line = line.section(u' ', 1); // after the time stamp
        return lines;
    }

private:
    static inline const QString kName = u"org.freedesktop.ScreenSaver"_s;
    static inline const QString kPath = u"/org/freedesktop/ScreenSaver"_s;
    QString m_log;
    QProcess m_process;
};

QString storePath(const QTemporaryDir& dir) {
    return dir.filePath(u"config/orvanta/preferences.sqlite3"_s);
}

// Encodes clips a.mp4, b.mp4, ... of an ffmpeg source into root/clips and makes that folder the
// program's source.
void addClipFolder(const QTemporaryDir& dir, int count, double seconds,
                   const QString& source = u"testsrc"_s) {
    testutil::ClipSpec clip;
    clip.seconds = seconds;
    clip.source = source;
    for (int i = 0; i < count; ++i) {
        const QString name = u"clips/%1.mp4"_s.arg(QChar(u'a' + i));
        ASSERT_TRUE(testutil::encodeClip(dir.filePath(name), clip)) << name.toStdString();
    }
    Preferences store(storePath(dir));
    FolderBookmarkManager folders(store);
    ASSERT_TRUE(folders.addFolder(QUrl::fromLocalFile(dir.filePath(u"clips"_s))));
}

QString playerctl(const QStringList& arguments) {
    const testutil::ProcessResult result =
        testutil::runProcess(u"playerctl"_s, QStringList{u"-p"_s, u"orvanta"_s} + arguments);
    return result.exitCode == 0
               ? QString::fromUtf8(result.out).trimmed()
               : u"exit %1: %2"_s.arg(result.exitCode).arg(QString::fromUtf8(result.err).trimmed());
}

// Waits until playerctl reports what is wanted; returns what it reported last.
QString waitForPlayerctl(const QStringList& arguments, const QString& wanted) {
    QString last;
    testutil::waitUntil([&] { return (last = playerctl(arguments)) == wanted; }, kProcessTimeoutMs);
    return last;
}

// Starts the real program twice: the first start finds the store locked by another program for
// longer than it waits, goes on, and reads the store and writes the defaults once it is free,
// keeping what was stored, and ends as a session ends it; the second keeps the user's choice,
// answers media controls, keeps the display awake while it plays, rebuilds the windows once when
// a monitor goes and quits through the media controls (this program has a harness of its own).
TEST(OrvantaLaunch, FirstStartWritesDefaultsAndTheRunningProgramFollowsMediaKeysAndMonitors) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    Preferences(storePath(dir)).set(u"videoScaling"_s, 1);
    const QStringList ownStore{u"XDG_CONFIG_HOME="_s + dir.filePath(u"config"_s),
                               u"XDG_STATE_HOME="_s + dir.filePath(u"state"_s)};
    // Before any start the report shows the store's zero values and the screens, main first.
    const testutil::ProcessResult fresh =
        testutil::runProcess(QStringLiteral(ORVANTA_BIN), {u"--support-info"_s}, ownStore);
    EXPECT_EQ(fresh.exitCode, 0);
    for (const char* line :
         {"\nAuto-play on launch: false\n", "\nTransition duration: 0.0s\n", "\nVideo scaling: 1\n",
          "\nDisplay 1 (Main): 1920x1080 @1.0x\nDisplay 2: 1920x1080 @1.0x\n",
          "\n--- Playback State ---\n\n"})
        EXPECT_TRUE(fresh.out.contains(line)) << fresh.out.constData();
    EXPECT_TRUE(fresh.out.endsWith("\n=== End Support Info ===")) << fresh.out.constData();
    {
        sqlite3* holder = nullptr;
        ASSERT_EQ(sqlite3_open(qPrintable(storePath(dir)), &holder), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        RunningOrvanta orvanta(dir.path());
        ASSERT_TRUE(orvanta.start());
        ASSERT_TRUE(orvanta.readUntil("started with")) << orvanta.output().constData();
        sqlite3_close(holder);
        EXPECT_TRUE(orvanta.output().contains("Orvanta " ORVANTA_VERSION " started with 0 videos"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.output().contains(" is in use by another program; waiting up to 5 s"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.readUntil("Preferences: read " + QFile::encodeName(storePath(dir)) +
                                      " now that it can be used again"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    }
    ASSERT_NO_FATAL_FAILURE(addClipFolder(dir, 3, 20.0));
    {
        Preferences store(storePath(dir));
        EXPECT_EQ(store.objectForKey(u"videoScaling"_s), QVariant(qint64(1)));
        EXPECT_EQ(store.objectForKey(u"transitionType"_s), QVariant(qint64(2)));
        store.set(u"transitionType"_s, 0);
        // One shared queue, so the primary screen's video is the only one that moves.
        store.set(u"syncDisplays"_s, true);
        // Long enough that no video ends on its own while the test runs.
        store.set(u"playbackRate"_s, 0.5);
        store.set(u"preventDisplaySleep"_s, true);
    }
    // The display is kept awake while playing, and only then.
    ScreenSaverMock screenSaver(dir.filePath(u"screensaver.log"_s));
    ASSERT_TRUE(screenSaver.answers());
    QStringList inhibitions;
    const auto expectInhibitions = [&](const QStringList& more) {
        for (const QString& call : more)
            inhibitions << (call == u"+"_s ? u"Inhibit \"Orvanta\" \"Playing a video wallpaper\""_s
                                           : u"UnInhibit 7"_s);
        EXPECT_EQ(screenSaver.calls(inhibitions.size()), inhibitions);
    };

    RunningOrvanta orvanta(dir.path());
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("Showing 2 desktop windows")) << orvanta.output().constData();
    EXPECT_TRUE(orvanta.output().contains("started with 3 videos")) << orvanta.output().constData();
    // "All Videos" is made at launch and feeds the shared queue, which loads once: playback that
    // has begun is not restarted by the library's first look at the folders.
    EXPECT_TRUE(orvanta.readUntil("First video frame on screen")) << orvanta.output().constData();
    EXPECT_EQ(orvanta.output().count("Loaded 3 videos from playlist 'All Videos'"), 1)
        << orvanta.output().constData();

    const QStringList status{u"status"_s};
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
    expectInhibitions({u"+"_s});
    // The length is published once the first video has loaded, without any command.
    const QStringList length{u"metadata"_s, u"mpris:length"_s};
    EXPECT_EQ(waitForPlayerctl(length, u"20000000"_s), u"20000000"_s);
    const QStringList fields{u"metadata"_s, u"--format"_s, u"{{artist}}|{{album}}|{{title}}"_s};
    const QString first = playerctl(fields);
    ASSERT_TRUE(first.startsWith(u"Orvanta|Video "_s)) << first.toStdString();

    EXPECT_EQ(playerctl({u"play-pause"_s}), QString());
    EXPECT_EQ(waitForPlayerctl(status, u"Paused"_s), u"Paused"_s);
    expectInhibitions({u"-"_s});
    EXPECT_EQ(playerctl({u"play-pause"_s}), QString());
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
    expectInhibitions({u"+"_s});
    Preferences(storePath(dir)).set(u"preventDisplaySleep"_s, false);
    expectInhibitions({u"-"_s});
    Preferences(storePath(dir)).set(u"preventDisplaySleep"_s, true);
    expectInhibitions({u"+"_s});

    // Next moves one place on in the play order, previous comes back to where it was. A press
    // that comes while the next video still loads is dropped: press again until the title moves.
    const auto press = [&](const QString& command, const QString& from) {
        QString now = from;
        for (int tries = 0; tries < 10 && now == from; ++tries) {
            EXPECT_EQ(playerctl({command}), QString());
            testutil::waitUntil(
                [&] { return (now = playerctl(fields)) != from && !now.startsWith(u"exit"_s); },
                5000);
        }
        return now;
    };
    const QString second = press(u"next"_s, first);
    EXPECT_TRUE(second != first && second.startsWith(u"Orvanta|Video "_s)) << second.toStdString();
    EXPECT_EQ(press(u"previous"_s, second), first);

    // A second start hands over to the running program and goes.
    const testutil::ProcessResult again = testutil::runProcess(QStringLiteral(ORVANTA_BIN), {});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    EXPECT_TRUE(orvanta.readUntil("Another start asked for the settings window"))
        << orvanta.output().constData();
    // The report comes from the running program, which plays on undisturbed.
    const testutil::ProcessResult report =
        testutil::runProcess(QStringLiteral(ORVANTA_BIN), {u"--support-info"_s});
    // One shared player for both screens.
    EXPECT_TRUE(report.out.contains("\nPlaying: true\nScreens playing: 1/2\nCurrent video: "))
        << report.out.constData();
    EXPECT_TRUE(report.out.contains("\nTotal videos: 3\n")) << report.out.constData();
    EXPECT_EQ(playerctl(status), u"Playing"_s);

    const testutil::ProcessResult unplug =
        testutil::runProcess(u"xrandr"_s, {u"--delmonitor"_s, u"DP-2"_s});
    ASSERT_EQ(unplug.exitCode, 0) << unplug.err.toStdString();
    EXPECT_TRUE(orvanta.readUntil("Showing 1 desktop windows")) << orvanta.output().constData();
    EXPECT_EQ(orvanta.output().count("Showing 1 desktop windows"), 1);
    expectInhibitions({u"-"_s, u"+"_s});
    // Quitting through the media controls is quitting from the tray.
    testutil::runProcess(u"gdbus"_s, {u"call"_s, u"--session"_s, u"--dest"_s,
                                      u"org.mpris.MediaPlayer2.orvanta"_s, u"--object-path"_s,
                                      u"/org/mpris/MediaPlayer2"_s, u"--method"_s,
                                      u"org.mpris.MediaPlayer2.Quit"_s});
    EXPECT_TRUE(orvanta.finishes()) << orvanta.output().constData();
    expectInhibitions({u"-"_s});
    EXPECT_EQ(Preferences(storePath(dir)).objectForKey(u"transitionType"_s), QVariant(qint64(0)));
}

// Global hotkeys work from launch on, whichever window is in front. A combination another X client
// holds is reported and the others still work; bindings changed in the store take effect at the
// next start, and the old combination is free again.
TEST(OrvantaLaunch, GlobalHotkeysDrivePlaybackAndFollowTheStoreAtTheNextStart) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_NO_FATAL_FAILURE(addClipFolder(dir, 3, 20.0));
    {
        Preferences store(storePath(dir));
        store.set(u"globalHotkeysEnabled"_s, true);
        store.set(u"syncDisplays"_s, true);
        store.set(u"playbackRate"_s, 0.5);
    }
    const std::unique_ptr<GlobalShortcuts> otherClient = GlobalShortcuts::createX11();
    ASSERT_TRUE(otherClient);
    ASSERT_EQ(otherClient->grab(HotkeyConfig::defaultFor(HotkeyAction::PreviousVideo)),
              GlobalShortcuts::GrabResult::Grabbed);
    const auto press = [](const QString& keys) {
        EXPECT_EQ(
            testutil::runProcess(u"xdotool"_s, QStringList{u"key"_s} + keys.split(u' ')).exitCode,
            0);
    };
    const QStringList status{u"status"_s};
    {
        RunningOrvanta orvanta(dir.path());
        ASSERT_TRUE(orvanta.start());
        ASSERT_TRUE(orvanta.readUntil("Global hotkeys on:")) << orvanta.output().constData();
        EXPECT_TRUE(orvanta.readUntil(
            "Global hotkeys on: Play / Pause (Shift+Super+P), Next Video (Shift+Super+→), "
            "Mute Toggle (Shift+Super+M)\n"))
            << orvanta.output().constData();
        EXPECT_TRUE(orvanta.output().contains(
            "Global hotkey Shift+Super+← for Previous Video is taken by another program\n"))
            << orvanta.output().constData();
        EXPECT_EQ(waitForPlayerctl({u"metadata"_s, u"mpris:length"_s}, u"20000000"_s),
                  u"20000000"_s);
        EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
        press(u"super+shift+p"_s);
        EXPECT_EQ(waitForPlayerctl(status, u"Paused"_s), u"Paused"_s);
        press(u"super+shift+p"_s);
        EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
        const QStringList title{u"metadata"_s, u"title"_s};
        const QString first = playerctl(title);
        press(u"super+shift+Right"_s);
        EXPECT_TRUE(testutil::waitUntil([&] { return playerctl(title) != first; }, 30000));
        press(u"super+shift+m"_s);
        EXPECT_TRUE(testutil::waitUntil([&] {
            return Preferences(storePath(dir)).objectForKey(u"audioMuted"_s) == QVariant(false);
        }));
        EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    }
    // Play / Pause on Ctrl+Super+A; a key code that is not a number keeps the default.
    const QStringList ownStore{u"XDG_CONFIG_HOME="_s + dir.filePath(u"config"_s)};
    for (const QStringList& write : {QStringList{u"hotkey_playPause"_s, u"-int"_s, u"0"_s},
                                     {u"hotkeyModifiers_playPause"_s, u"-int"_s, u"1310720"_s},
                                     {u"hotkey_nextVideo"_s, u"-string"_s, u"right"_s}}) {
        EXPECT_EQ(testutil::runProcess(QStringLiteral(ORVANTA_DEFAULTS_BIN),
                                       QStringList{u"write"_s} + write, ownStore)
                      .exitCode,
                  0);
    }
    RunningOrvanta orvanta(dir.path());
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("Global hotkeys on:")) << orvanta.output().constData();
    EXPECT_TRUE(orvanta.readUntil(
        "Global hotkeys on: Play / Pause (Ctrl+Super+A), Next Video (Shift+Super+→)"))
        << orvanta.output().constData();
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
    // Caps Lock on or off, the same combination.
    press(u"ctrl+super+a"_s);
    EXPECT_EQ(waitForPlayerctl(status, u"Paused"_s), u"Paused"_s);
    press(u"Caps_Lock ctrl+super+a Caps_Lock"_s);
    EXPECT_EQ(waitForPlayerctl(status, u"Playing"_s), u"Playing"_s);
    EXPECT_EQ(otherClient->grab(HotkeyConfig::defaultFor(HotkeyAction::PlayPause)),
              GlobalShortcuts::GrabResult::Grabbed);
    EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
}

// Help and version need no display; a start without any display says so in one line.
TEST(OrvantaLaunch, AnswersWithoutADisplayAndSaysWhenThereIsNone) {
    const QStringList noDisplay{u"DISPLAY="_s, u"WAYLAND_DISPLAY="_s};
    const QString program = QStringLiteral(ORVANTA_BIN);
    const testutil::ProcessResult help = testutil::runProcess(program, {u"--help"_s}, noDisplay);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("Usage: orvanta [--background]\n")) << help.out.toStdString();
    const testutil::ProcessResult version =
        testutil::runProcess(program, {u"--version"_s}, noDisplay);
    EXPECT_EQ(version.out, "orvanta " ORVANTA_VERSION "\n");
    const testutil::ProcessResult start = testutil::runProcess(program, {}, noDisplay);
    EXPECT_EQ(start.exitCode, 1);
    EXPECT_FALSE(start.crashed);
    EXPECT_EQ(start.err.count('\n'), 1) << start.err.toStdString();
    EXPECT_TRUE(start.err.startsWith("orvanta: no display")) << start.err.toStdString();
}

// On a Wayland session with wlr-layer-shell the program runs natively and each output's
// background is a desktop window below the user's own windows, kept out of the window tree, on
// outputs plugged in later too, each with its own queue; a fullscreen window pauses only the
// queue of the output it covers.
TEST(OrvantaLaunch, OnAWaylandSessionDesktopWindowsAreTheBackgroundOfEveryOutput) {
    testutil::HeadlessSway sway("for_window [app_id=\".*\"] floating enable\n");
    ASSERT_FALSE(sway.waylandDisplay().isEmpty()) << sway.log().constData();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_NO_FATAL_FAILURE(addClipFolder(dir, 1, 30.0, u"color=c=red"_s));
    testutil::ClipSpec blue;
    blue.seconds = 30.0;
    blue.source = u"color=c=blue"_s;
    ASSERT_TRUE(testutil::encodeClip(dir.filePath(u"clips/b.mp4"_s), blue));
    // The first output plays the red clip only, the second the blue one only.
    Preferences store(storePath(dir));
    for (const char* keep : {"a.mp4", "b.mp4"}) {
        const QString output = keep[0] == 'a' ? u"HEADLESS-1"_s : u"HEADLESS-2"_s;
        PlaylistPersistence queue(
            ScreenIdentifier::fromDescription(u"headless"_s, u"headless"_s, {}, output), store);
        queue.syncWithFolderContents({QUrl::fromLocalFile(dir.filePath(u"clips/a.mp4"_s)),
                                      QUrl::fromLocalFile(dir.filePath(u"clips/b.mp4"_s))});
        for (const PlaylistItem& item : queue.items()) {
            if (item.filename != QLatin1String(keep))
                queue.toggleExclusion(item.id);
        }
        queue.saveItems();
    }
    RunningOrvanta orvanta(dir.path());
    QProcessEnvironment& env = orvanta.environment();
    env.insert(u"WAYLAND_DISPLAY"_s, sway.waylandDisplay());
    env.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
    env.remove(u"QT_QPA_PLATFORM"_s);
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("First video frame on screen")) << orvanta.output().constData();
    EXPECT_TRUE(orvanta.output().contains("drawn on the compositor's background layer"))
        << orvanta.output().constData();

    QProcess terminal;
    QProcessEnvironment terminalEnv = QProcessEnvironment::systemEnvironment();
    terminalEnv.insert(u"WAYLAND_DISPLAY"_s, sway.waylandDisplay());
    terminal.setProcessEnvironment(terminalEnv);
    terminal.start(u"foot"_s, {u"-o"_s, u"colors.background=00ff00"_s});
    ASSERT_TRUE(terminal.waitForStarted());
    const auto isRed = [](const QColor& c) {
        return c.red() > 200 && c.green() < 60 && c.blue() < 60;
    };
    const auto isGreen = [](const QColor& c) {
        return c.green() > 200 && c.red() < 60;
    };
    // Around the floating terminal, centred on the output, the clip; the terminal above it.
    QImage shot;
    testutil::waitUntil(
        [&] {
            shot = sway.screenshot(u"HEADLESS-1"_s);
            return !shot.isNull() && isGreen(testutil::averageColour(
                                         shot, QRect(shot.rect().center(), QSize(20, 20))));
        },
        kProcessTimeoutMs);
    ASSERT_FALSE(shot.isNull());
    EXPECT_TRUE(isGreen(testutil::averageColour(shot, QRect(shot.rect().center(), QSize(20, 20)))));
    EXPECT_TRUE(isRed(testutil::averageColour(shot, QRect(0, shot.height() - 20, 20, 20))));
    const QByteArray tree = sway.tree();
    EXPECT_TRUE(tree.contains("\"app_id\": \"foot\"") && !tree.contains("Orvanta desktop"))
        << tree.constData();

    ASSERT_TRUE(sway.command(u"create_output"_s));
    ASSERT_TRUE(orvanta.readUntil("Showing 2 desktop windows")) << orvanta.output().constData();
    const auto isBlue = [](const QColor& c) {
        return c.blue() > 200 && c.red() < 60;
    };
    testutil::waitUntil(
        [&] { return isBlue(testutil::averageColour(sway.screenshot(u"HEADLESS-2"_s))); },
        kProcessTimeoutMs);
    EXPECT_TRUE(isBlue(testutil::averageColour(sway.screenshot(u"HEADLESS-2"_s))));
    EXPECT_TRUE(
        isRed(testutil::averageColour(sway.screenshot(u"HEADLESS-1"_s), QRect(0, 0, 20, 20))));

    // Made fullscreen, the terminal covers the first output: its player pauses until the
    // terminal is a window again, and the second output's plays on.
    const auto screen = [](const QString& output) {
        return "Screen " +
               ScreenIdentifier::fromDescription(u"headless"_s, u"headless"_s, {}, output).toUtf8();
    };
    ASSERT_TRUE(sway.command(u"[app_id=foot] fullscreen enable"_s));
    ASSERT_TRUE(orvanta.readUntil(screen(u"HEADLESS-1"_s) + " is covered; pausing its player"))
        << orvanta.output().constData();
    ASSERT_TRUE(sway.command(u"[app_id=foot] fullscreen disable"_s));
    ASSERT_TRUE(orvanta.readUntil(screen(u"HEADLESS-1"_s) + " is uncovered; resuming"))
        << orvanta.output().constData();
    EXPECT_FALSE(orvanta.output().contains(screen(u"HEADLESS-2"_s) + " is covered"))
        << orvanta.output().constData();
    terminal.terminate();
    terminal.waitForFinished(kProcessTimeoutMs);
    EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
}

} // namespace
