#include "library/FolderBookmarkManager.h"

#include "core/Preferences.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"

#include <QDir>
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
    static void SetUpTestSuite() { s_mp4 = testutil::encodedClip(QStringLiteral("mp4")); }

    void SetUp() override {
        ASSERT_FALSE(s_mp4.isEmpty()) << "ffmpeg could not encode the MP4 fixture";
        ASSERT_TRUE(m_dir.isValid());
        m_prefs = std::make_unique<Preferences>(m_dir.filePath(QStringLiteral("p.sqlite3")));
        m_root = m_dir.filePath(QStringLiteral("Library"));
        write(QStringLiteral("a.mp4"), s_mp4);
        write(QStringLiteral("B.MKV"), "not really a video");
        write(QStringLiteral("clip"), s_mp4);
        write(QStringLiteral("fake.mp4"), "text");
        write(QStringLiteral("c.txt"), "text");
        write(QStringLiteral("d.jpg"), "jpeg");
        write(QStringLiteral("notes.txt"), s_mp4);
        write(QStringLiteral(".hidden.mp4"), s_mp4);
        write(QStringLiteral(".private/e.mp4"), s_mp4);
        write(QStringLiteral("sub/f.mp4"), s_mp4);
        write(QStringLiteral("sub/deeper/g.webm"), s_mp4);
        ASSERT_TRUE(QFile::link(QStringLiteral("a.mp4"), path(QStringLiteral("link.mp4"))));
        ASSERT_TRUE(QFile::link(QStringLiteral("nowhere"), path(QStringLiteral("broken.mp4"))));
        ASSERT_TRUE(QFile::link(QStringLiteral(".."), path(QStringLiteral("sub/loop"))));
        ASSERT_TRUE(QFile::link(QStringLiteral("deeper"), path(QStringLiteral("sub/zz"))));
        ASSERT_EQ(mkfifo(QFile::encodeName(path(QStringLiteral("pipe.mp4"))).constData(), 0600), 0);
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
    const QString missing = m_dir.filePath(QStringLiteral("missing"));
    EXPECT_TRUE(manager.scanFolder(QUrl::fromLocalFile(missing), false).isEmpty());
    EXPECT_TRUE(log.entries().isEmpty());
    EXPECT_TRUE(manager.scanFolder(QUrl::fromLocalFile(missing), true).isEmpty());
    EXPECT_EQ(
        log.messages(QStringLiteral("default")),
        QStringList{QStringLiteral("Error accessing %1: No such file or directory").arg(missing)});
}

TEST_F(FolderScanTest, LoadVideosFollowsTheRecursiveScanPreference) {
    // A folder with only hidden files and other files contributes nothing.
    const QString empty = m_dir.filePath(QStringLiteral("Empty"));
    testutil::writeFile(empty + QStringLiteral("/.hidden.mp4"), s_mp4);
    testutil::writeFile(empty + QStringLiteral("/readme.txt"), "text");
    FolderBookmarkManager manager(*m_prefs);
    ASSERT_TRUE(manager.addFolder(QUrl::fromLocalFile(m_root)));
    ASSERT_TRUE(manager.addFolder(QUrl::fromLocalFile(empty)));

    for (const bool recursive : {false, true}) {
        if (recursive)
            m_prefs->set(QStringLiteral("recursiveScan"), true);
        LogCapture log;
        const Urls videos = manager.loadVideos();
        EXPECT_EQ(videos.size(), recursive ? 7 : 5);
        EXPECT_EQ(videos.mid(0, 5), immediateVideos());
        EXPECT_EQ(log.messages(QStringLiteral("com.orvanta.folders")),
                  (QStringList{QStringLiteral("Loading videos from 2 folders (recursive: %1)")
                                   .arg(QLatin1String(recursive ? "yes" : "no")),
                               QStringLiteral("Found %1 videos in Library").arg(videos.size()),
                               QStringLiteral("Found 0 videos in Empty")}));
    }
}

} // namespace
