// The Display, Video Folders, Playlists and Advanced pages' models on the user's real store,
// library, persistence, hotkeys and thumbnails, with a controller that records the reloads they
// ask for.

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "library/ThumbnailCache.h"
#include "playback/SyncManager.h"
#include "support/TestUtil.h"
#include "support/media_clips.h"
#include "system/HotkeyManager.h"
#include "ui/AdvancedSettings.h"
#include "ui/DisplaySettings.h"
#include "ui/FolderListModel.h"
#include "ui/HotkeyRowModel.h"
#include "ui/PlaylistEditor.h"
#include "ui/SettingsContext.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QSignalSpy>
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

QList<PlaylistItem> itemsNamed(const QStringList& names) {
    QList<PlaylistItem> items;
    for (const QString& name : names)
        items.append(PlaylistItem::forFile(QUrl::fromLocalFile(u"/videos/"_s + name)));
    return items;
}

QStringList shownNames(const PlaylistEditor& editor) {
    return testutil::fileNames(editor.items()->items());
}

// "Default" and every attached screen; Set Active writes the edited screen's assignment, the
// shared one while the screens play in step, and has every screen reload.
TEST_F(SettingsModels, PlaylistEditorAssignsTheEditedScreen) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    const NamedPlaylist evening = library.createPlaylist(u"Evening"_s, {});
    PlaylistEditor editor;
    const QStringList ids = editor.screenIds();
    ASSERT_EQ(ids.size(), QGuiApplication::screens().size() + 1);
    EXPECT_EQ(ids.first(), u"default"_s);
    EXPECT_EQ(editor.screens().first().toMap().value(u"title"_s), u"Default"_s);
    EXPECT_TRUE(editor.showsScreenStrip());
    EXPECT_EQ(editor.selectedPlaylistId(),
              library.playlists().first().id.toString(QUuid::WithoutBraces));

    QSignalSpy reloads(&NotificationCenter::instance(), &NotificationCenter::playlistDidChange);
    editor.selectScreen(ids[1]);
    editor.selectPlaylist(evening.id.toString());
    EXPECT_FALSE(editor.selectedIsActive());
    editor.setActive();
    EXPECT_TRUE(editor.selectedIsActive());
    EXPECT_EQ(PlaylistPersistence::forScreen(ids[1]).assignedPlaylistId(), evening.id);
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), std::nullopt);
    EXPECT_EQ(reloads.size(), 1);

    SyncManager::shared().setSyncEnabled(true);
    EXPECT_FALSE(editor.showsScreenStrip());
    EXPECT_FALSE(editor.selectedIsActive());
    editor.setActive();
    EXPECT_EQ(PlaylistPersistence::shared().assignedPlaylistId(), evening.id);
    SyncManager::shared().setSyncEnabled(false);
    library.deletePlaylist(evening.id);
}

// Blank names make nothing, "All Videos" stays, and deleting the shown playlist shows the first.
TEST_F(SettingsModels, PlaylistEditorCreatesAndDeletesPlaylists) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    const NamedPlaylist all = library.createPlaylist(u"All Videos"_s, {});
    PlaylistEditor editor;
    EXPECT_FALSE(editor.isUsableName(u"   "_s));
    const qsizetype before = library.playlists().size();
    editor.createPlaylist(u"   "_s);
    EXPECT_EQ(library.playlists().size(), before);
    editor.createPlaylist(u" Evening "_s);
    ASSERT_EQ(library.playlists().size(), before + 1);
    EXPECT_EQ(library.playlists().last().name, u" Evening "_s);
    EXPECT_EQ(editor.selectedPlaylistId(),
              library.playlists().last().id.toString(QUuid::WithoutBraces));
    EXPECT_EQ(editor.contentState(), u"empty"_s);

    editor.deletePlaylist(all.id.toString());
    EXPECT_TRUE(library.playlist(all.id).has_value());
    editor.deletePlaylist(editor.selectedPlaylistId());
    EXPECT_EQ(library.playlists().size(), before);
    EXPECT_EQ(editor.selectedPlaylistId(),
              library.playlists().first().id.toString(QUuid::WithoutBraces));
    library.deletePlaylist(all.id);
}

// Searching ignores case; a drag makes the shown order the manual one, numbered from 0.
TEST_F(SettingsModels, PlaylistEditorSearchesAndReorders) {
    PlaylistLibrary& library = PlaylistLibrary::shared();
    NamedPlaylist clips =
        library.createPlaylist(u"Clips"_s, itemsNamed({u"c.mp4"_s, u"holiday.mov"_s, u"a.mp4"_s}));
    clips.sortOrder = PlaylistSortOrder::Name;
    library.updatePlaylist(clips);
    PlaylistEditor editor;
    editor.selectPlaylist(clips.id.toString());
    EXPECT_EQ(shownNames(editor), (QStringList{u"a.mp4"_s, u"c.mp4"_s, u"holiday.mov"_s}));

    editor.setSearchText(u"MOV"_s);
    EXPECT_EQ(shownNames(editor), QStringList{u"holiday.mov"_s});
    EXPECT_FALSE(editor.canReorder());
    editor.setSearchText(u"xyz"_s);
    EXPECT_EQ(editor.contentState(), u"noMatches"_s);
    EXPECT_EQ(editor.noMatchesText(), u"No matches for \"xyz\""_s);
    editor.setSearchText({});

    editor.moveItem(2, 0);
    const NamedPlaylist moved = *library.playlist(clips.id);
    EXPECT_EQ(moved.sortOrder, PlaylistSortOrder::Manual);
    EXPECT_EQ(testutil::fileNames(moved.items),
              (QStringList{u"holiday.mov"_s, u"a.mp4"_s, u"c.mp4"_s}));
    for (qsizetype i = 0; i < moved.items.size(); ++i)
        EXPECT_EQ(moved.items[i].customOrder, i);
    EXPECT_EQ(shownNames(editor), testutil::fileNames(moved.items));

    editor.toggleItem(0);
    EXPECT_EQ(editor.countText(), u"2 videos"_s);
    EXPECT_TRUE(
        editor.items()->data(editor.items()->index(0), PlaylistItemsModel::ExcludedRole).toBool());
    library.deletePlaylist(clips.id);
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
