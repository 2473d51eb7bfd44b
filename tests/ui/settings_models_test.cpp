// The Display and Video Folders pages' models on the user's real store, library and persistence,
// with a controller that records the reloads they ask for.

#include "core/Preferences.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "support/TestUtil.h"
#include "ui/DisplaySettings.h"
#include "ui/FolderListModel.h"
#include "ui/SettingsContext.h"

#include <QDir>
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
    void TearDown() override { SettingsContext::shared().setController(nullptr); }

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

} // namespace

#include "settings_models_test.moc"
