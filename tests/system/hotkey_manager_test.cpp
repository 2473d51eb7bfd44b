#include "core/Preferences.h"
#include "system/HotkeyManager.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Names follow the program's key numbering; labels list the modifiers in the settings page's
// order.
TEST(HotkeyManager, NamesKeysAndCombinations) {
    EXPECT_EQ(HotkeyManager::keyName(24), u"Key 24"_s);
    EXPECT_EQ(HotkeyManager::keyName(49), u"Space"_s);
    EXPECT_EQ(HotkeyManager::keyName(124), u"→"_s);
    EXPECT_EQ(HotkeyManager::keyName(122), u"F1"_s);
    EXPECT_EQ((HotkeyConfig{0, HotkeyConfig::kMatchingMask}).label(), u"Ctrl+Alt+Shift+Super+A"_s);
    EXPECT_EQ(HotkeyConfig::defaultFor(HotkeyAction::MuteToggle).label(), u"Shift+Super+M"_s);
}

// Each field of a stored binding falls back to its default by itself; a changed binding is
// stored as numbers; without global shortcuts the switch is stored but nothing is watched.
TEST(HotkeyManager, LoadsStoresAndSwitchesWithoutGlobalShortcuts) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    Preferences store(dir.filePath(u"store.sqlite3"_s));
    store.set(u"hotkey_playPause"_s, 0);
    store.set(u"hotkey_nextVideo"_s, u"124"_s);
    store.set(u"hotkey_previousVideo"_s, 70000);
    store.set(u"hotkeyModifiers_previousVideo"_s, qint64(HotkeyConfig::kControl));
    HotkeyManager manager(store, nullptr);
    const QMap<HotkeyAction, HotkeyConfig> expected = {
        {HotkeyAction::PlayPause, {0, HotkeyConfig::kDefaultModifiers}},
        {HotkeyAction::NextVideo, {124, HotkeyConfig::kDefaultModifiers}},
        {HotkeyAction::PreviousVideo, {123, HotkeyConfig::kControl}},
        {HotkeyAction::MuteToggle, {46, HotkeyConfig::kDefaultModifiers}}};
    EXPECT_EQ(manager.hotkeys(), expected);

    manager.updateHotkey({0, HotkeyConfig::kCommand}, HotkeyAction::MuteToggle);
    EXPECT_EQ(store.objectForKey(u"hotkey_muteToggle"_s), QVariant(qint64(0)));
    EXPECT_EQ(store.objectForKey(u"hotkeyModifiers_muteToggle"_s), QVariant(qint64(1048576)));

    EXPECT_FALSE(manager.hasAccessibilityPermission());
    manager.setEnabled(true);
    EXPECT_EQ(store.objectForKey(u"globalHotkeysEnabled"_s), QVariant(true));
    manager.startMonitoring();
    EXPECT_FALSE(manager.isMonitoring());
}

} // namespace
