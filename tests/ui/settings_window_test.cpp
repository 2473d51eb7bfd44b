// The real settings window over a real controller with two screens playing under the harness.

#include "app/AppDelegate.h"
#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/PlaylistLibrary.h"
#include "playback/DesktopWindow.h"
#include "playback/DesktopWindowController.h"
#include "playback/SyncManager.h"
#include "playback/VideoPlayerManager.h"
#include "playback/VideoSurface.h"
#include "support/TestUtil.h"
#include "system/HotkeyManager.h"
#include "system/PowerManager.h"
#include "system/PowerSource.h"
#include "ui/AdvancedSettings.h"
#include "ui/HotkeyRecorder.h"
#include "ui/QuickControlsWindowController.h"
#include "ui/SettingsContext.h"
#include "ui/SettingsWindow.h"
#include "ui/VideoPreviewView.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

void collectShown(QQuickItem* item, const char* typeName, QList<QQuickItem*>* found) {
    if (!item->isVisible())
        return;
    if (QByteArray(item->metaObject()->className()).startsWith(typeName))
        found->append(item);
    const QList<QQuickItem*> children = item->childItems();
    for (QQuickItem* child : children)
        collectShown(child, typeName, found);
}

// The first object of that C++ or QML type held by the item or the items in it.
QObject* findInItems(QQuickItem* item, const char* typeName) {
    for (QObject* child : item->children()) {
        const QByteArray name = child->metaObject()->className();
        if (name == typeName || name.startsWith(QByteArray(typeName) + "_QMLTYPE_"))
            return child;
    }
    const QList<QQuickItem*> children = item->childItems();
    for (QQuickItem* child : children) {
        if (QObject* found = findInItems(child, typeName))
            return found;
    }
    return nullptr;
}

// The visible items of the open window whose QML type is named typeName, in drawing order.
QList<QQuickItem*> shownItems(const char* typeName) {
    QList<QQuickItem*> found;
    collectShown(SettingsWindow::window()->contentItem(), typeName, &found);
    return found;
}

TEST(SettingsWindow, OpensOnNowPlayingWithAPreviewPerScreenAndComesBackAfterClosing) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(testutil::freshStoreWithOneClip(dir.path()));
    Preferences& store = Preferences::standard();
    SyncManager::setDefaultPlayerFactory(DesktopWindowController::surfacePlayerFactory());
    AppDelegate delegate(store, std::make_unique<PowerManager>(std::unique_ptr<PowerSource>()));
    delegate.applicationDidFinishLaunching();
    SettingsContext::shared().setController(&delegate);
    delegate.startAllPlayback();

    SettingsWindow::show();
    QQuickWindow* window = SettingsWindow::window();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(testutil::waitUntil([&] { return window->isExposed(); }));
    EXPECT_EQ(window->title(), u"Orvanta"_s);
    // The pages' size; the menu bar sits above them.
    const auto* menuBar = window->property("menuBar").value<QQuickItem*>();
    ASSERT_NE(menuBar, nullptr);
    const QSize bar(0, int(menuBar->height()));
    EXPECT_EQ(window->size() - bar, QSize(710, 470));
    EXPECT_EQ(window->minimumSize() - bar, QSize(650, 420));
    // The desktop windows are not to be taken for it.
    for (const auto& controller : delegate.desktopWindows())
        EXPECT_NE(controller->window()->title(), window->title());

    QStringList rows;
    for (const QQuickItem* row : shownItems("SidebarRow"))
        rows.append(row->property("title").toString());
    EXPECT_EQ(rows, (QStringList{u"Now Playing"_s, u"Playlists"_s, u"Video Folders"_s, u"Display"_s,
                                 u"Advanced"_s}));
    ASSERT_TRUE(testutil::waitUntil([] { return shownItems("DisplayCard").size() == 2; }));
    // Each card's preview is one more surface of its screen's own player, and it draws.
    const QList<QQuickItem*> previews = shownItems("VideoPreviewView");
    ASSERT_EQ(previews.size(), 2);
    for (QQuickItem* item : previews) {
        auto* preview = qobject_cast<VideoPreviewView*>(item);
        ASSERT_NE(preview, nullptr);
        EXPECT_TRUE(testutil::waitUntil([&] { return preview->surface()->shownFrames() > 0; }));
    }

    // A card's play/pause acts on its screen alone.
    DisplayListModel* displays = SettingsContext::shared().displays();
    const QList<AppDelegate::Display> screens = delegate.displays();
    ASSERT_EQ(screens.size(), 2);
    displays->togglePlayback(0);
    EXPECT_FALSE(screens[0].manager->isPlaying());
    EXPECT_TRUE(screens[1].manager->isPlaying());
    displays->togglePlayback(0);
    EXPECT_TRUE(screens[0].manager->isPlaying());

    // In synchronized mode one large preview stands for both screens.
    SyncManager::shared().setSyncEnabled(true);
    EXPECT_TRUE(testutil::waitUntil([] {
        return shownItems("NowPlayingContent").size() == 1 && shownItems("DisplayCard").isEmpty();
    }));
    SyncManager::shared().setSyncEnabled(false);

    // A folder chosen in the folder chooser joins the stored ones.
    window->setProperty("currentPage", 1);
    QObject* chooser = findInItems(window->contentItem(), "QQuickFolderDialog");
    ASSERT_NE(chooser, nullptr);
    QMetaObject::invokeMethod(chooser, "open");
    EXPECT_TRUE(testutil::waitUntil([&] { return chooser->property("visible").toBool(); }));
    ASSERT_TRUE(QDir().mkpath(dir.filePath(u"more"_s)));
    const QUrl more = QUrl::fromLocalFile(dir.filePath(u"more"_s));
    chooser->setProperty("selectedFolder", more);
    QMetaObject::invokeMethod(chooser, "accept");
    FolderBookmarkManager folders(store);
    folders.loadBookmarks();
    EXPECT_EQ(folders.folderURLs().size(), 2);

    // The Playlists page shows the folder's clip with its thumbnail, and a playlist made by
    // typing its name into the sheet is shown at once.
    window->setProperty("currentPage", 3);
    ASSERT_TRUE(testutil::waitUntil([] {
        const QList<QQuickItem*> videos = shownItems("PlaylistVideoRowView");
        const QList<QQuickItem*> pictures = shownItems("QQuickImage");
        return videos.size() == 1 && videos.first()->property("filename") == u"a.mp4"_s &&
               std::any_of(pictures.cbegin(), pictures.cend(), [](const QQuickItem* picture) {
                   return picture->property("source").toString().startsWith(u"image://"_s) &&
                          picture->property("status").toInt() == 1; // Image.Ready
               });
    }));
    QQuickItem* plus = nullptr;
    for (QQuickItem* button : shownItems("SymbolButton")) {
        if (button->property("text") == u"Create new playlist"_s)
            plus = button;
    }
    ASSERT_NE(plus, nullptr);
    QTest::mouseClick(window, Qt::LeftButton, {},
                      plus->mapToScene(QPointF(plus->width() / 2, plus->height() / 2)).toPoint());
    // The sheets are popups, held by the page rather than drawn in its item tree.
    const auto sheetOpen = [window] {
        const QObject* sheet = findInItems(window->contentItem(), "PlaylistNameSheet");
        return sheet && sheet->property("opened").toBool();
    };
    ASSERT_TRUE(testutil::waitUntil(sheetOpen));
    for (const char key : QByteArrayLiteral("Evening"))
        QTest::keyClick(window, key);
    QTest::keyClick(window, Qt::Key_Return);
    ASSERT_TRUE(testutil::waitUntil([&] {
        return PlaylistLibrary::shared().playlists().last().name == u"Evening"_s && !sheetOpen();
    }));
    bool eveningShown = false;
    for (const QQuickItem* tab : shownItems("PlaylistTab"))
        eveningShown |=
            tab->property("name") == u"Evening"_s && tab->property("isSelected").toBool();
    EXPECT_TRUE(eveningShown);
    PlaylistLibrary::shared().deletePlaylist(PlaylistLibrary::shared().playlists().last().id);

    // Dragging a row by its handle below the last one moves it to the end.
    QList<PlaylistItem> three;
    for (const QString& name : {u"x.mp4"_s, u"y.mp4"_s, u"z.mp4"_s}) {
        ASSERT_TRUE(QFile::copy(dir.filePath(u"clips/a.mp4"_s), dir.filePath(name)));
        three.append(PlaylistItem::forFile(QUrl::fromLocalFile(dir.filePath(name))));
    }
    const NamedPlaylist dragged = PlaylistLibrary::shared().createPlaylist(u"Drag"_s, three);
    QObject* editor = findInItems(window->contentItem(), "PlaylistEditor");
    ASSERT_NE(editor, nullptr);
    editor->setProperty("selectedPlaylistId", dragged.id.toString());
    ASSERT_TRUE(testutil::waitUntil([] { return shownItems("PlaylistVideoRowView").size() == 3; }));
    const QList<QQuickItem*> videos = shownItems("PlaylistVideoRowView");
    const auto at = [](const QQuickItem* row, qreal y) {
        return row->mapToScene(QPointF(row->width() - 16, y)).toPoint();
    };
    QTest::mousePress(window, Qt::LeftButton, {}, at(videos[0], videos[0]->height() / 2));
    for (const qreal y : {10.0, 30.0, 50.0})
        QTest::mouseMove(window, at(videos[2], y));
    QTest::mouseRelease(window, Qt::LeftButton, {}, at(videos[2], 50));
    EXPECT_EQ(testutil::fileNames(PlaylistLibrary::shared().playlist(dragged.id)->items),
              (QStringList{u"y.mp4"_s, u"z.mp4"_s, u"x.mp4"_s}));
    PlaylistLibrary::shared().deletePlaylist(dragged.id);

    // The quick controls float at the top of the primary screen, and under a window manager the
    // keyboard stays with the window that had it.
    QProcess windowManager;
    windowManager.start(u"openbox"_s, {u"--sm-disable"_s});
    ASSERT_TRUE(windowManager.waitForStarted());
    const auto activeWindow = [] {
        return testutil::runProcess(u"xdotool"_s, {u"getactivewindow"_s}).out.trimmed();
    };
    const QByteArray settingsId = QByteArray::number(window->winId());
    // Asked again until the window manager has taken the screen over.
    ASSERT_TRUE(testutil::waitUntil([&] {
        window->requestActivate();
        return activeWindow() == settingsId;
    })) << activeWindow().constData()
        << " " << settingsId.constData();
    QuickControlsWindowController& quick = QuickControlsWindowController::shared();
    quick.toggle();
    ASSERT_TRUE(quick.isVisible());
    QQuickWindow* panel = quick.panel();
    ASSERT_TRUE(testutil::waitUntil([&] { return panel->isExposed(); }));
    // Where the X server has it: the window manager's frame hides it from Qt's own geometry.
    const auto placed = [&] {
        return testutil::runProcess(u"xdotool"_s,
                                    {u"getwindowgeometry"_s, QString::number(panel->winId())})
            .out;
    };
    EXPECT_TRUE(testutil::waitUntil([&] {
        return placed().contains("Position: 800,40") && placed().contains("Geometry: 320x50");
    })) << placed().constData();
    // Even a click on it leaves the keyboard where it was.
    testutil::runProcess(u"xdotool"_s, {u"mousemove"_s, u"1000"_s, u"65"_s, u"click"_s, u"1"_s});
    testutil::waitTimerPeriods(100, 5);
    EXPECT_EQ(activeWindow(), settingsId);
    quick.toggle();
    EXPECT_FALSE(quick.isVisible() || panel->isVisible());
    quick.releasePanel();

    // A hotkey is recorded from a key pressed in the window: Space is the key then, not the
    // controller's play/pause.
    HotkeyManager::shared().setEnabled(true);
    window->setProperty("currentPage", 4);
    ASSERT_TRUE(testutil::waitUntil([] { return shownItems("HotkeyRecorder").size() == 4; }));
    auto* recorder = qobject_cast<HotkeyRecorder*>(shownItems("HotkeyRecorder").first());
    ASSERT_NE(recorder, nullptr);
    recorder->row()->toggleRecording();
    ASSERT_TRUE(testutil::waitUntil([&] { return recorder->hasActiveFocus(); }));
    testutil::runProcess(u"xdotool"_s, {u"key"_s, u"space"_s});
    EXPECT_TRUE(testutil::waitUntil([&] { return !recorder->row()->isRecording(); }));
    EXPECT_EQ(store.integerForKey(u"hotkey_playPause"_s), 49);
    EXPECT_TRUE(delegate.isPlaying());
    // The new combination works at once, with another program's window in front.
    QProcess terminal;
    terminal.start(u"xterm"_s, {u"-geometry"_s, u"40x10+100+600"_s});
    ASSERT_TRUE(terminal.waitForStarted());
    EXPECT_TRUE(testutil::waitUntil([&] {
        const QByteArray active = activeWindow();
        return !active.isEmpty() && active != settingsId;
    }));
    testutil::runProcess(u"xdotool"_s, {u"key"_s, u"shift+super+space"_s});
    EXPECT_TRUE(testutil::waitUntil([&] { return !delegate.isPlaying(); }));
    delegate.startAllPlayback();
    terminal.kill();
    terminal.waitForFinished();
    HotkeyManager::shared().setEnabled(false);

    // Tray only keeps the open window out of the taskbar at once, and back in.
    auto* advanced =
        qobject_cast<AdvancedSettings*>(findInItems(window->contentItem(), "AdvancedSettings"));
    ASSERT_NE(advanced, nullptr);
    const auto netState = [&] {
        return testutil::runProcess(u"xprop"_s,
                                    {u"-id"_s, QString::fromLatin1(settingsId), u"_NET_WM_STATE"_s})
            .out;
    };
    advanced->setApplicationVisibility(1);
    EXPECT_TRUE(testutil::waitUntil([&] {
        return netState().contains("_NET_WM_STATE_SKIP_TASKBAR");
    })) << netState().constData();
    advanced->setApplicationVisibility(0);
    EXPECT_TRUE(testutil::waitUntil([&] {
        return !netState().contains("_NET_WM_STATE_SKIP_TASKBAR");
    })) << netState().constData();
    windowManager.terminate();
    windowManager.waitForFinished();

    window->close();
    ASSERT_TRUE(testutil::waitUntil([] { return SettingsWindow::window() == nullptr; }));
    SettingsWindow::show();
    ASSERT_NE(SettingsWindow::window(), nullptr);
    EXPECT_TRUE(testutil::waitUntil([] { return SettingsWindow::window()->isExposed(); }));
    SettingsWindow::window()->close();
    testutil::waitUntil([] { return SettingsWindow::window() == nullptr; });
    SettingsContext::shared().setController(nullptr);
    delegate.applicationWillTerminate();
}

} // namespace
