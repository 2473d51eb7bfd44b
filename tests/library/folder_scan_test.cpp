#include "library/FolderBookmarkManager.h"

#include "core/Preferences.h"
#include "library/LocalPath.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <memory>

namespace {

using Urls = QList<QUrl>;

// A library folder with real clips, other files, misleading names, hidden entries, links and a
// sub-tree:
//   Library/ B.MKV (text)  a.mp4  clip (MP4, no suffix)  fake.mp4 (text)  link.mp4 -> a.mp4
//            c.txt  d.jpg  notes.txt (MP4)  broken.mp4 -> nowhere  pipe.mp4 (FIFO)
//            .hidden.mp4  .private/e.mp4
//            sub/ f.mp4  deeper/g.webm  loop -> ..  zz -> deeper
class FolderScanTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_mp4 = testutil::encodedClip("mp4"); }

    void SetUp() override {
        ASSERT_FALSE(s_mp4.isEmpty()) << "ffmpeg could not encode the MP4 fixture";
        ASSERT_TRUE(m_dir.isValid());
        m_prefs = std::make_unique<Preferences>(m_dir.filePath("p.sqlite3"));
        m_root = m_dir.filePath("Library");
        for (const char* name : {"a.mp4", "clip", "notes.txt", ".hidden.mp4", ".private/e.mp4",
                                 "sub/f.mp4", "sub/deeper/g.webm"})
            write(name, s_mp4);
        write("B.MKV", "not really a video");
        write("fake.mp4", "text");
        write("c.txt", "text");
        write("d.jpg", "jpeg");
        ASSERT_TRUE(QFile::link("a.mp4", path("link.mp4")));
        ASSERT_TRUE(QFile::link("nowhere", path("broken.mp4")));
        ASSERT_TRUE(QFile::link("..", path("sub/loop")));
        ASSERT_TRUE(QFile::link("deeper", path("sub/zz")));
        ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe.mp4")).constData(), 0600), 0);
    }

    QString path(const QString& relative) const { return m_root + u'/' + relative; }
    QUrl url(const char* relative) const {
        return QUrl::fromLocalFile(path(QLatin1String(relative)));
    }
    void write(const QString& relative, const QByteArray& bytes) {
        testutil::writeFile(path(relative), bytes);
    }

    Urls immediateVideos() const {
        return {url("B.MKV"), url("a.mp4"), url("clip"), url("fake.mp4"), url("link.mp4")};
    }

    static inline QByteArray s_mp4;
    QTemporaryDir m_dir;
    std::unique_ptr<Preferences> m_prefs;
    QString m_root;
};

TEST_F(FolderScanTest, FindsVideosByNameOrContentWalkingEachSubFolderOnceInNameOrder) {
    FolderBookmarkManager manager(*m_prefs);
    LogCapture log;
    EXPECT_EQ(manager.scanFolder(QUrl::fromLocalFile(m_root), false), immediateVideos());
    // sub/loop leads back to the library and sub/zz to a folder already walked.
    EXPECT_EQ(manager.scanFolder(QUrl::fromLocalFile(m_root), true),
              (immediateVideos() + Urls{url("sub/deeper/g.webm"), url("sub/f.mp4")}));
    EXPECT_TRUE(log.entries().isEmpty());

    // A missing folder yields nothing, and is logged only when walked.
    const QString missing = m_dir.filePath("missing");
    EXPECT_TRUE(manager.scanFolder(QUrl::fromLocalFile(missing), false).isEmpty());
    EXPECT_TRUE(log.entries().isEmpty());
    EXPECT_TRUE(manager.scanFolder(QUrl::fromLocalFile(missing), true).isEmpty());
    EXPECT_EQ(log.messages("default"),
              QStringList{"Error accessing " + missing + ": No such file or directory"});
}

TEST_F(FolderScanTest, LoadVideosFollowsTheRecursiveScanPreference) {
    // A folder with only hidden files and other files contributes nothing.
    const QString empty = m_dir.filePath("Empty");
    testutil::writeFile(empty + "/.hidden.mp4", s_mp4);
    testutil::writeFile(empty + "/readme.txt", "text");
    FolderBookmarkManager manager(*m_prefs);
    ASSERT_TRUE(manager.addFolder(QUrl::fromLocalFile(m_root)));
    ASSERT_TRUE(manager.addFolder(QUrl::fromLocalFile(empty)));

    for (const bool recursive : {false, true}) {
        if (recursive)
            m_prefs->set("recursiveScan", true);
        LogCapture log;
        const Urls videos = manager.loadVideos();
        EXPECT_EQ(videos.size(), recursive ? 7 : 5);
        EXPECT_EQ(videos.mid(0, 5), immediateVideos());
        EXPECT_EQ(log.messages("com.orvanta.folders"),
                  (QStringList{QStringLiteral("Loading videos from 2 folders (recursive: %1)")
                                   .arg(QLatin1String(recursive ? "yes" : "no")),
                               QStringLiteral("Found %1 videos in Library").arg(videos.size()),
                               "Found 0 videos in Empty"}));
    }
}

TEST_F(FolderScanTest, KeepsTheBytesOfNamesThatAreNotUtf8) {
    // Latin-1 names, as disks and shares filled on other systems hold them; the second file has
    // no suffix, so its content is read.
    const QByteArray folder = QFile::encodeName(m_dir.path()) + "/Vid\xe9os";
    ASSERT_EQ(mkdir(folder.constData(), 0700), 0);
    const QList<QByteArray> files = {folder + "/a\xff\xfe.mp4", folder + "/\xe9t\xe9"};
    for (const QByteArray& file : files)
        testutil::writeFile(LocalPath::fromBytes(file), s_mp4);
    const QUrl folderUrl = QUrl::fromLocalFile(LocalPath::fromBytes(folder));
    EXPECT_EQ(FolderBookmarkManager::bookmarkForFolder(folderUrl), folder);
    ASSERT_TRUE(FolderBookmarkManager(*m_prefs).addFolder(folderUrl));

    FolderBookmarkManager manager(*m_prefs);
    EXPECT_EQ(manager.folderURLs(), Urls{folderUrl});
    QList<QByteArray> found;
    for (const QUrl& video : manager.loadVideos())
        found.append(LocalPath::toBytes(video.toLocalFile()));
    EXPECT_EQ(found, files);
}

} // namespace
