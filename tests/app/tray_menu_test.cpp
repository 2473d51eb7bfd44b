// The tray menu against a real controller with real desktop windows and players under the
// harness (which has no tray: the menu is built and driven all the same).

#include "app/AppDelegate.h"
#include "app/TrayMenu.h"
#include "core/AppPaths.h"
#include "core/Preferences.h"
#include "playback/DesktopWindowController.h"
#include "playback/SyncManager.h"
#include "support/TestUtil.h"
#include "system/PowerManager.h"
#include "system/PowerSource.h"

#include <QAction>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QStringList texts(const QMenu& menu) {
    QStringList result;
    const QList<QAction*> actions = menu.actions();
    for (const QAction* action : actions)
        result.append(action->isSeparator() ? u"-"_s : action->text());
    return result;
}

QAction* action(const QMenu& menu, const QString& text) {
    const QList<QAction*> actions = menu.actions();
    const auto found = std::find_if(actions.begin(), actions.end(), [&](const QAction* candidate) {
        return candidate->text() == text;
    });
    return found == actions.end() ? nullptr : *found;
}

// Whether the icon draws anything at a tray's size.
bool drawsSomething(const QIcon& icon) {
    const QImage image = icon.pixmap(22, 22).toImage().convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                return true;
    return false;
}

// A desktop whose theme lacks the icons still shows Orvanta's own.
TEST(TrayMenu, IconsFallBackToTheBundledOnes) {
    QIcon::setThemeName(u"no-such-theme"_s);
    EXPECT_TRUE(drawsSomething(TrayMenu::icon(u"orvanta"_s)));
    TrayMenu tray;
    const QList<QAction*> actions = tray.menu()->actions();
    for (const QAction* item : actions)
        EXPECT_TRUE(item->isSeparator() || drawsSomething(item->icon()))
            << item->text().toStdString();
    EXPECT_FALSE(drawsSomething(TrayMenu::icon(u"no-such-icon"_s)));
}

TEST(TrayMenu, ItemsDriveTheControllerAndDoNothingWithoutOne) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(testutil::freshStoreWithOneClip(dir.path()));
    Preferences& store = Preferences::standard();
    SyncManager::setDefaultPlayerFactory(DesktopWindowController::surfacePlayerFactory());

    TrayMenu tray;
    const QStringList idle{u"Play/Pause"_s,
                           u"Previous"_s,
                           u"Next"_s,
                           u"-"_s,
                           u"Show Window"_s,
                           u"Show Quick Controls"_s,
                           u"Launch at Login"_s,
                           u"-"_s,
                           u"Quit Orvanta"_s};
    ASSERT_EQ(AppDelegate::shared(), nullptr);
    EXPECT_EQ(texts(*tray.menu()), idle);
    action(*tray.menu(), u"Play/Pause"_s)->trigger();

    AppDelegate delegate(store, std::make_unique<PowerManager>(std::unique_ptr<PowerSource>()));
    delegate.applicationDidFinishLaunching();
    tray.rebuild();
    EXPECT_EQ(texts(*tray.menu()), idle);
    action(*tray.menu(), u"Play/Pause"_s)->trigger();
    EXPECT_TRUE(delegate.isPlaying());
    tray.rebuild();
    EXPECT_EQ(texts(*tray.menu()).first(), u"Playing on 2 screens"_s);
    EXPECT_EQ(TrayMenu::statusText(1), u"Playing on 1 screen"_s);
    EXPECT_FALSE(tray.menu()->actions().first()->isEnabled());
    EXPECT_EQ(texts(*tray.menu()).size(), idle.size() + 2);

    action(*tray.menu(), u"Play/Pause"_s)->trigger();
    EXPECT_FALSE(delegate.isPlaying());

    // The check box writes the autostart entry and shows the request the next time.
    action(*tray.menu(), u"Launch at Login"_s)->trigger();
    EXPECT_TRUE(QFile::exists(AppPaths::autostartEntry()));
    tray.rebuild();
    EXPECT_TRUE(action(*tray.menu(), u"Launch at Login"_s)->isChecked());
    action(*tray.menu(), u"Launch at Login"_s)->trigger();
    EXPECT_FALSE(QFile::exists(AppPaths::autostartEntry()));

    // Space typed into the open menu chooses the highlighted item, and only that.
    QMenu& menu = *tray.menu();
    menu.popup(QPoint(100, 100));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu));
    menu.setActiveAction(action(menu, u"Next"_s));
    QSignalSpy chosen(menu.activeAction(), &QAction::triggered);
    QTest::keyClick(menu.windowHandle(), Qt::Key_Space);
    EXPECT_EQ(chosen.count(), 1);
    EXPECT_FALSE(delegate.isPlaying());
    delegate.applicationWillTerminate();
}

} // namespace
