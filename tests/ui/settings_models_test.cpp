// The Display, Video Folders and Advanced pages' models on the user's real store, library,
// persistence, hotkeys and thumbnails, with a controller that records the reloads they ask for.

#include "core/Preferences.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "library/ThumbnailCache.h"
#include "support/TestUtil.h"
#include "support/media_clips.h"
#include "system/HotkeyManager.h"
#include "ui/AdvancedSettings.h"
#include "ui/DisplaySettings.h"
#include "ui/FolderListModel.h"
#include "ui/HotkeyRowModel.h"
#include "ui/SettingsContext.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class RecordingController : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void reloadAllPlaylists() { ++reloads; }
    int reloads = 0;
};

class SettingsModels : public ::testing::Test {
protected:
    void SetUp() override {
        testutil::resetUserStore();
        SettingsContext::shared().setController(&m_controller);
    }
    void TearDown() override {
        SettingsContext::shared().setController(nullptr);
        SettingsContext::shared().setSystemParts({});
    }

    RecordingController m_controller;
};

// Hidden rows keep their values: showing them again shows what was stored.
TEST_F(SettingsModels, DurationAndVolumeRowsHideWithoutLosingTheirValues) {
    Preferences& store = Preferences::standard();
    DisplaySettings settings;
    EXPECT_EQ(settings.transitionType(), 2);
    EXPECT_TRUE(settings.audioMuted());
    EXPECT_FALSE(settings.showsVolumeRow());

    settings.setTransitionDuration(2.3);
    settings.setTransitionType(0);
    EXPECT_FALSE(settings.showsDurationRow());
    EXPECT_DOUBLE_EQ(store.doubleForKey(u"transitionDuration"_s), 2.3);
    settings.setTransitionType(1);
    EXPECT_TRUE(settings.showsDurationRow());
    EXPECT_DOUBLE_EQ(settings.transitionDuration(), 2.3);

    settings.setAudioMuted(false);
    settings.setAudioVolume(0.35);
    EXPECT_TRUE(settings.showsVolumeRow());
    settings.setAudioMuted(true);
    EXPECT_FALSE(settings.showsVolumeRow());
    EXPECT_DOUBLE_EQ(settings.audioVolume(), 0.35);
    EXPECT_EQ(m_controller.reloads, 0);
}

TEST_F(SettingsModels, ActivePlaylistAssignsTheDefaultScreenAndReloads) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    const NamedPlaylist evening = library.createPlaylist(u"Evening"_s, {});
    DisplaySettings settings;
    const QStringList options = settings.playlistOptions();
    ASSERT_EQ(options.first(), u"All Videos (Folders)"_s);
    ASSERT_EQ(options.size(), library.playlists().size() + 1);
    EXPECT_TRUE(settings.playlistFooter().startsWith(u"Choose which playlist to play."_s));

    const int index = int(options.indexOf(u"Evening"_s));
    settings.setActivePlaylistIndex(index);
    EXPECT_EQ(settings.activePlaylistIndex(), index);
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), evening.id);
    EXPECT_TRUE(Preferences::standard()
                    .stringForKey(PlaylistPersistence::assignedPlaylistKey(u"default"_s))
                    .has_value());
    settings.setActivePlaylistIndex(0);
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), std::nullopt);
    EXPECT_EQ(m_controller.reloads, 2);
    library.deletePlaylist(evening.id);
}

// Only a change of the folders (or of the search depth) reloads playback.
TEST_F(SettingsModels, FoldersAddAndRemoveWithTheirCount) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(QDir(dir.path()).mkpath(u"Holiday Clips"_s));
    const QUrl folder = QUrl::fromLocalFile(dir.filePath(u"Holiday Clips"_s));
    FolderListModel folders;
    EXPECT_EQ(folders.footerText(), u"0 folders configured"_s);

    ASSERT_TRUE(folders.addFolder(folder));
    EXPECT_EQ(folders.footerText(), u"1 folder configured"_s);
    EXPECT_EQ(folders.data(folders.index(0), FolderListModel::NameRole), u"Holiday Clips"_s);
    EXPECT_EQ(folders.data(folders.index(0), FolderListModel::PathRole), folder.toLocalFile());
    EXPECT_FALSE(folders.addFolder(folder));
    EXPECT_EQ(m_controller.reloads, 1);

    folders.setRecursiveScan(true);
    EXPECT_TRUE(Preferences::standard().boolForKey(u"recursiveScan"_s));
    folders.removeFolder(0);
    EXPECT_EQ(folders.count(), 0);
    folders.removeFolder(0);
    EXPECT_EQ(m_controller.reloads, 3);
}

// A desktop without global shortcuts: the rows stay hidden, but a row still edits its binding.
TEST_F(SettingsModels, HotkeyRowStoresItsDefaultOnTheFirstChangeOnly) {
    Preferences& store = Preferences::standard();
    HotkeyManager hotkeys(store, nullptr);
    SettingsContext::SystemParts parts;
    parts.hotkeys = &hotkeys;
    SettingsContext::shared().setSystemParts(parts);
    HotkeyRowModel row;
    row.setAction(1);
    EXPECT_EQ(row.displayName(), u"Next Video"_s);
    EXPECT_EQ(row.keyName(), u"→"_s);
    EXPECT_EQ(row.modifiers(), 0x120000);

    row.toggleRecording();
    row.toggleRecording();
    row.recordKey(Qt::Key_K);
    EXPECT_FALSE(store.objectForKey(u"hotkey_nextVideo"_s).isValid());
    row.toggleRecording();
    row.recordKey(Qt::Key_Shift);
    EXPECT_TRUE(row.isRecording());
    row.recordKey(Qt::Key_K);
    EXPECT_FALSE(row.isRecording());
    EXPECT_EQ(store.integerForKey(u"hotkey_nextVideo"_s), 40);
    EXPECT_EQ(store.integerForKey(u"hotkeyModifiers_nextVideo"_s), 0x120000);
    row.setModifier(0x40000, true);
    row.setModifier(0x100000, false);
    EXPECT_EQ(hotkeys.hotkeys().value(HotkeyAction::NextVideo).label(), u"Ctrl+Shift+K"_s);

    AdvancedSettings settings;
    settings.setHotkeysEnabled(true);
    settings.refreshPermission();
    EXPECT_FALSE(settings.showsHotkeyRows());
    EXPECT_TRUE(settings.hotkeysFooter().startsWith(u"Grant Accessibility permission"_s));
    settings.resetHotkeysToDefaults();
    EXPECT_EQ(store.integerForKey(u"hotkey_nextVideo"_s), 124);
}

TEST_F(SettingsModels, ScheduleFooterStorageTextAndSupportCopy) {
    ThumbnailCache cache;
    SettingsContext::SystemParts parts;
    parts.thumbnails = &cache;
    parts.supportReport = [] {
        return u"Orvanta report"_s;
    };
    SettingsContext::shared().setSystemParts(parts);
    AdvancedSettings settings;
    EXPECT_EQ(settings.scheduleFooter(),
              u"Automatically start and stop playback at specific times."_s);
    settings.setScheduleEnabled(true);
    settings.setStartHour(9);
    settings.setEndHour(17);
    settings.setEndMinute(30);
    EXPECT_EQ(settings.scheduleFooter(), u"Playback active: 9:00 - 17:30, weekdays"_s);

    EXPECT_EQ(settings.storageText(), u"0 items (Zero KB)"_s);
    EXPECT_FALSE(settings.canClearCache());
    ASSERT_FALSE(mediaclips::clips().tiny.isEmpty()) << mediaclips::error().toStdString();
    bool delivered = false;
    cache.thumbnail(QUrl::fromLocalFile(mediaclips::clips().tiny),
                    [&](const QImage&) { delivered = true; });
    ASSERT_TRUE(testutil::waitUntil([&] { return delivered; }));
    EXPECT_EQ(settings.storageText(), u"1 items (98 KB)"_s);
    settings.clearCache();
    EXPECT_EQ(settings.storageText(), u"0 items (Zero KB)"_s);

    settings.copySupportInfo();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), u"Orvanta report"_s);
    EXPECT_TRUE(settings.showCopiedFeedback());
    EXPECT_TRUE(testutil::waitUntil([&] { return !settings.showCopiedFeedback(); }));
}

} // namespace

#include "settings_models_test.moc"
