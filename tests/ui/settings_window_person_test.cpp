// The real program driven as a person drives it: controls found by the names a screen reader
// reads (AT-SPI), clicked with the pointer or reached with the keyboard, and the outcome seen on
// the desktop.

#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "support/RunningOrvanta.h"
#include "support/TestUtil.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using testutil::RunningOrvanta;

// The program with its accessibility on. Under the address sanitizer its allocations keep their
// whole stacks (Qt's libraries have no frame pointers), so that the leak checker's suppression of
// Qt's own accessibility leak can match them.
void enableAccessibility(RunningOrvanta& orvanta) {
    QProcessEnvironment& env = orvanta.environment();
    env.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    if (env.contains(u"ASAN_OPTIONS"_s))
        env.insert(u"ASAN_OPTIONS"_s, env.value(u"ASAN_OPTIONS"_s) + u":fast_unwind_on_malloc=0"_s);
}

// Runs the accessibility driver on the running program (see atspi_drive.py).
testutil::ProcessResult drive(const QStringList& arguments) {
    return testutil::runProcess(
        u"env"_s, QStringList{u"-u"_s, u"LD_PRELOAD"_s, u"/usr/bin/python3"_s,
                              QStringLiteral(ORVANTA_SOURCE_DIR "/tests/support/atspi_drive.py"),
                              u"orvanta"_s} +
                      arguments);
}

// Acts on the control of that name once it shows; false when it never does.
bool act(const QString& command, const QString& name, const QString& role = {}) {
    QStringList arguments{command, name};
    if (!role.isEmpty())
        arguments << role;
    return testutil::waitUntil([&] { return drive(arguments).exitCode == 0; });
}

bool showing(const QString& name, const QString& role) {
    return drive({u"exists"_s, name, role}).exitCode == 0;
}

void key(const QString& keys) {
    testutil::runProcess(u"xdotool"_s, {u"key"_s, keys});
}

// The name of the primary colour a monitor's desktop shows, away from the settings window.
QString desktopColour(int monitor) {
    QScreen* screen = QGuiApplication::screens().value(monitor);
    return screen ? testutil::primaryName(screen->grabWindow(0, 1500, 700, 300, 300).toImage())
                  : QString();
}

TEST(SettingsWindowAsAPersonUsesIt, AddsAFolderSyncsTheScreensAndPicksATransition) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    // Six seconds of red, then six of blue: a screen that is paused stays on one colour.
    const QString clips = dir.filePath(u"home/Videos/Colours"_s);
    testutil::ClipSpec clip;
    clip.source = u"color=c=red"_s;
    clip.seconds = 6;
    clip.extraArguments = {u"-f"_s,
                           u"lavfi"_s,
                           u"-i"_s,
                           u"color=c=blue:size=160x90:rate=10:duration=6"_s,
                           u"-filter_complex"_s,
                           u"[0:v][1:v]concat=n=2:v=1:a=0"_s};
    ASSERT_TRUE(testutil::encodeClip(clips + u"/red-then-blue.mp4"_s, clip));

    QProcess windowManager;
    windowManager.start(u"openbox"_s, {u"--sm-disable"_s});
    ASSERT_TRUE(windowManager.waitForStarted());
    RunningOrvanta orvanta(dir.path());
    orvanta.environment().insert(u"HOME"_s, dir.filePath(u"home"_s));
    enableAccessibility(orvanta);
    ASSERT_TRUE(orvanta.start());
    // Without a folder, a plain start opens the settings window.
    ASSERT_TRUE(orvanta.readUntil("Settings window drawn")) << orvanta.output().constData();

    // Every control of a page is reached with Tab, in reading order.
    ASSERT_TRUE(act(u"click"_s, u"Display"_s));
    ASSERT_TRUE(act(u"focus"_s, u"Active Playlist"_s, u"combo box"_s));
    QStringList reached;
    for (int presses = 0; presses < 12; ++presses) {
        key(u"Tab"_s);
        const QString focused = QString::fromUtf8(drive({u"focused"_s}).out).trimmed();
        if (!reached.contains(focused) && !focused.isEmpty())
            reached << focused;
    }
    for (const QString& control :
         {u"combo box: Video Scaling"_s, u"combo box: Transition"_s, u"slider: Duration"_s,
          u"slider: Playback Speed"_s, u"check box: Sync Displays"_s, u"check box: Mute Audio"_s})
        EXPECT_TRUE(reached.contains(control))
            << control.toStdString() << " not among " << reached.join(u" | ").toStdString();

    // The folder chooser opens in the videos folder; Escape closes it, and a folder picked in it
    // starts playing on both monitors.
    ASSERT_TRUE(act(u"click"_s, u"Video Folders"_s));
    ASSERT_TRUE(act(u"click"_s, u"Add Folder"_s));
    ASSERT_TRUE(act(u"exists"_s, u"Add Video Folder"_s, u"dialog"_s));
    key(u"Escape"_s);
    EXPECT_TRUE(testutil::waitUntil([] { return !showing(u"Add Video Folder"_s, u"dialog"_s); }));
    ASSERT_TRUE(act(u"click"_s, u"Add Folder"_s));
    ASSERT_TRUE(act(u"click"_s, u"Colours"_s));
    ASSERT_TRUE(act(u"click"_s, u"Add"_s, u"push button"_s));
    ASSERT_TRUE(act(u"exists"_s, u"1 folder configured"_s));
    EXPECT_TRUE(orvanta.readUntil("First video frame on screen")) << orvanta.output().constData();
    EXPECT_TRUE(testutil::waitUntil(
        [] { return desktopColour(0) == u"red"_s && desktopColour(1) == u"red"_s; }, 30000))
        << desktopColour(0).toStdString() << " " << desktopColour(1).toStdString();

    // A card's pause holds its own monitor on red while the other one moves on to blue.
    ASSERT_TRUE(act(u"click"_s, u"Now Playing"_s));
    const QString cardNames = QString::fromUtf8(drive({u"names"_s}).out);
    const qsizetype pauseAt = cardNames.indexOf(u"push button: Pause "_s);
    ASSERT_GE(pauseAt, 0) << cardNames.toStdString();
    const QString firstPause = cardNames.mid(pauseAt + 13).section(u'\n', 0, 0);
    ASSERT_TRUE(act(u"click"_s, firstPause, u"push button"_s));
    ASSERT_TRUE(testutil::waitUntil(
        [] { return desktopColour(0) == u"red"_s && desktopColour(1) == u"blue"_s; }, 30000))
        << desktopColour(0).toStdString() << " " << desktopColour(1).toStdString();

    // With the monitors synced one player draws both: the paused one moves again, in step.
    ASSERT_TRUE(act(u"click"_s, u"Display"_s));
    ASSERT_TRUE(act(u"click"_s, u"Sync Displays"_s, u"check box"_s));
    for (const QString& colour : {u"blue"_s, u"red"_s}) {
        EXPECT_TRUE(testutil::waitUntil(
            [&] { return desktopColour(0) == colour && desktopColour(1) == colour; }, 30000))
            << colour.toStdString() << ": " << desktopColour(0).toStdString() << " "
            << desktopColour(1).toStdString();
    }

    // A transition picked from the list is stored at once.
    ASSERT_TRUE(act(u"click"_s, u"Transition"_s, u"combo box"_s));
    ASSERT_TRUE(act(u"click"_s, u"Fade"_s));
    const QString store = dir.filePath(u"config/orvanta/preferences.sqlite3"_s);
    EXPECT_TRUE(testutil::waitUntil([&] {
        return Preferences(store).objectForKey(u"transitionType"_s) == QVariant(qint64(1));
    }));

    // Closed, the window goes and the wallpaper plays on; another start brings it back.
    key(u"ctrl+w"_s);
    EXPECT_TRUE(orvanta.readUntil("Settings window closed")) << orvanta.output().constData();
    EXPECT_FALSE(showing(u"Orvanta"_s, u"frame"_s));
    const testutil::ProcessResult again = testutil::runProcess(QStringLiteral(ORVANTA_BIN), {});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    EXPECT_TRUE(act(u"exists"_s, u"Orvanta"_s, u"frame"_s));

    EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    windowManager.terminate();
    windowManager.waitForFinished();
}

// Two clips, blue.mp4 and red.mp4, play on both monitors from "All Videos"; a playlist made in
// the editor that leaves blue out, made active on the second monitor, changes that one alone.
TEST(SettingsWindowAsAPersonUsesIt, MakesAPlaylistForOneMonitorAndLeavesTheOtherAlone) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const QString& colour : {u"blue"_s, u"red"_s}) {
        testutil::ClipSpec clip;
        clip.source = u"color=c="_s + colour;
        clip.seconds = 20;
        ASSERT_TRUE(testutil::encodeClip(dir.filePath(u"clips/%1.mp4"_s.arg(colour)), clip));
    }
    {
        Preferences store(dir.filePath(u"config/orvanta/preferences.sqlite3"_s));
        ASSERT_TRUE(
            FolderBookmarkManager(store).addFolder(QUrl::fromLocalFile(dir.filePath(u"clips"_s))));
    }
    QProcess windowManager;
    windowManager.start(u"openbox"_s, {u"--sm-disable"_s});
    ASSERT_TRUE(windowManager.waitForStarted());
    RunningOrvanta orvanta(dir.path());
    enableAccessibility(orvanta);
    ASSERT_TRUE(orvanta.start());
    ASSERT_TRUE(orvanta.readUntil("Settings window drawn")) << orvanta.output().constData();
    ASSERT_TRUE(testutil::waitUntil(
        [] { return desktopColour(0) == u"blue"_s && desktopColour(1) == u"blue"_s; }, 30000))
        << desktopColour(0).toStdString() << " " << desktopColour(1).toStdString();

    // A new playlist: named in its sheet, filled from every folder, blue left out.
    ASSERT_TRUE(act(u"click"_s, u"Playlists"_s));
    ASSERT_TRUE(act(u"click"_s, u"Create new playlist"_s));
    ASSERT_TRUE(act(u"exists"_s, u"New Playlist"_s, u"dialog"_s));
    testutil::runProcess(u"xdotool"_s, {u"type"_s, u"Reds"_s});
    key(u"Return"_s);
    ASSERT_TRUE(act(u"exists"_s, u"Reds"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Add videos from Video Folders"_s));
    ASSERT_TRUE(act(u"click"_s, u"All Folders"_s));
    ASSERT_TRUE(act(u"exists"_s, u"red.mp4"_s, u"list item"_s));
    ASSERT_TRUE(act(u"click"_s, u"Exclude from playlist"_s, u"push button"_s)); // blue, the first
    ASSERT_TRUE(act(u"exists"_s, u"Include in playlist"_s, u"push button"_s));
    // A search narrows the list to what matches.
    ASSERT_TRUE(act(u"click"_s, u"Search"_s, u"text"_s));
    testutil::runProcess(u"xdotool"_s, {u"type"_s, u"RED"_s});
    EXPECT_TRUE(testutil::waitUntil([] { return !showing(u"blue.mp4"_s, u"list item"_s); }));
    EXPECT_TRUE(showing(u"red.mp4"_s, u"list item"_s));

    // Made active on the second monitor, it plays there; the first plays on.
    ASSERT_TRUE(act(u"click"_s, u"DP-2"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Set Active"_s));
    EXPECT_TRUE(testutil::waitUntil(
        [] { return desktopColour(0) == u"blue"_s && desktopColour(1) == u"red"_s; }, 30000))
        << desktopColour(0).toStdString() << " " << desktopColour(1).toStdString();
    EXPECT_TRUE(orvanta.readUntil("Loaded 1 videos from playlist 'Reds'"))
        << orvanta.output().constData();

    // Renamed, duplicated and the copy deleted from the tabs' menus; "All Videos" stays.
    ASSERT_TRUE(act(u"menu"_s, u"Reds"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Rename..."_s));
    ASSERT_TRUE(act(u"exists"_s, u"Rename Playlist"_s, u"dialog"_s));
    key(u"ctrl+a"_s);
    testutil::runProcess(u"xdotool"_s, {u"type"_s, u"Warm"_s});
    key(u"Return"_s);
    ASSERT_TRUE(act(u"menu"_s, u"Warm"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Duplicate"_s));
    ASSERT_TRUE(act(u"menu"_s, u"Warm Copy"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Delete"_s));
    EXPECT_TRUE(testutil::waitUntil([] { return !showing(u"Warm Copy"_s, u"push button"_s); }));
    ASSERT_TRUE(act(u"menu"_s, u"All Videos"_s, u"push button"_s));
    ASSERT_TRUE(act(u"click"_s, u"Delete (Protected)"_s));
    key(u"Escape"_s);
    EXPECT_TRUE(showing(u"All Videos"_s, u"push button"_s));
    EXPECT_TRUE(showing(u"Warm"_s, u"push button"_s));

    EXPECT_TRUE(orvanta.quitWith(SIGTERM)) << orvanta.output().constData();
    windowManager.terminate();
    windowManager.waitForFinished();
}

} // namespace
