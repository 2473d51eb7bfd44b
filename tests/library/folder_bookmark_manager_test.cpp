#include "library/FolderBookmarkManager.h"

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "support/LogCapture.h"
#include "support/TestUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <memory>

namespace {

const QString kFolders = "com.orvanta.folders";
const QString kKey = "videoFoldersBookmarks";

class FolderBookmarkManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = std::make_unique<QTemporaryDir>();
        ASSERT_TRUE(m_dir->isValid()) << "no writable temporary folder";
        m_prefs = std::make_unique<Preferences>(m_dir->filePath("p.sqlite3"));
        ASSERT_TRUE(m_prefs->isOpen());
    }

    QString makeFolder(const QString& name) {
        const QString path = m_dir->filePath(name);
        EXPECT_TRUE(QDir().mkpath(path));
        return path;
    }

    void store(const QStringList& paths) {
        QVariantList bookmarks;
        for (const QString& path : paths)
            bookmarks.append(QVariant(QFile::encodeName(path)));
        m_prefs->set(kKey, bookmarks);
    }

    QStringList stored() const {
        QStringList paths;
        for (const QVariant& bookmark : m_prefs->arrayForKey(kKey).value_or(QVariantList()))
            paths.append(QFile::decodeName(bookmark.toByteArray()));
        return paths;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Preferences> m_prefs;
};

using Urls = QList<QUrl>;

TEST_F(FolderBookmarkManagerTest, NothingStoredGivesNoFolders) {
    FolderBookmarkManager manager(*m_prefs);
    // Nothing, a value of another type, or an array holding anything but data, reads as nothing
    // stored; an empty array as no bookmarks.
    const QString none = "No bookmarks found in UserDefaults";
    const std::pair<QVariant, QString> cases[] = {
        {QVariant(), none},
        {QVariant(QStringLiteral("/videos")), none},
        {QVariant(QVariantList{QByteArray("/videos"), "/"}), none},
        {QVariant(QVariantList()), "Found 0 bookmarks in UserDefaults"}};
    for (const auto& [value, message] : cases) {
        if (value.isValid())
            m_prefs->setValue(kKey, value);
        LogCapture log;
        manager.loadBookmarks();
        EXPECT_TRUE(manager.folderURLs().isEmpty());
        EXPECT_EQ(log.messages(kFolders), QStringList{message});
    }
}

TEST_F(FolderBookmarkManagerTest, AddedFolderIsStoredAndSeenByEveryNewInstance) {
    const QString path = makeFolder("Videos");
    LogCapture log;
    FolderBookmarkManager manager(*m_prefs);
    QSignalSpy changed(&NotificationCenter::instance(), &NotificationCenter::videoFoldersDidChange);
    QSignalSpy urlsChanged(&manager, &FolderBookmarkManager::folderURLsChanged);

    // A trailing slash names the same folder; the stored form is the cleaned absolute path.
    EXPECT_TRUE(manager.addFolder(QUrl::fromLocalFile(path + "/")));
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(urlsChanged.count(), 1);
    EXPECT_EQ(manager.folderURLs(), Urls{QUrl::fromLocalFile(path)});
    EXPECT_TRUE(manager.accessedURLs().contains(QUrl::fromLocalFile(path)));
    EXPECT_EQ(stored(), QStringList{path});
    EXPECT_TRUE(log.contains(kFolders, "Saved bookmark for folder: " + path));
    EXPECT_TRUE(log.contains(kFolders, "Added folder: " + path + " (security-scoped: yes)"));

    log.clear();
    FolderBookmarkManager second(*m_prefs);
    EXPECT_EQ(second.folderURLs(), Urls{QUrl::fromLocalFile(path)});
    EXPECT_EQ(log.messages(kFolders),
              (QStringList{"Found 1 bookmarks in UserDefaults",
                           "Successfully accessed folder: " + path + " (security-scoped: yes)"}));

    // The same folder again, also in another Unicode spelling, is refused and changes nothing.
    log.clear();
    EXPECT_FALSE(second.addFolder(QUrl::fromLocalFile(path)));
    EXPECT_EQ(log.messages(kFolders), QStringList{"Folder already exists: " + path});
    const QString composed = makeFolder("Caf\u00e9");
    EXPECT_TRUE(second.addFolder(QUrl::fromLocalFile(composed)));
    EXPECT_FALSE(second.addFolder(QUrl::fromLocalFile(m_dir->filePath("Cafe\u0301"))));
    EXPECT_EQ(stored(), (QStringList{path, composed}));

    // Letter case does count.
    const QString lower = makeFolder("videos");
    EXPECT_TRUE(second.addFolder(QUrl::fromLocalFile(lower)));
    EXPECT_EQ(second.folderURLs().size(), 3);
    EXPECT_EQ(changed.count(), 3);
}

TEST_F(FolderBookmarkManagerTest, FolderThatCannotBeBookmarkedIsNotAdded) {
    const QString file = m_dir->filePath("file.txt");
    testutil::writeFile(file, "x");
    const QString missing = m_dir->filePath("missing");
    const QList<QPair<QUrl, QString>> cases = {
        {QUrl::fromLocalFile(missing), "The folder “" + missing + "” doesn't exist."},
        {QUrl::fromLocalFile(file), "“" + file + "” isn't a folder."},
        {QUrl("https://example.com/v"),
         "The location “https://example.com/v” isn't a local folder."}};
    FolderBookmarkManager manager(*m_prefs);
    QSignalSpy changed(&NotificationCenter::instance(), &NotificationCenter::videoFoldersDidChange);
    for (const auto& [url, description] : cases) {
        LogCapture log;
        EXPECT_FALSE(manager.addFolder(url));
        EXPECT_EQ(log.messages(kFolders),
                  (QStringList{"Failed to create bookmark: " + description,
                               "Failed to create regular bookmark: " + description}));
        for (const LogCapture::Entry& entry : log.entries())
            EXPECT_EQ(entry.type, QtCriticalMsg);
    }
    EXPECT_EQ(m_prefs->typeForKey(kKey), Preferences::Type::Absent);
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(FolderBookmarkManagerTest, VanishedFolderStaysStoredAndRemovalTakesTheRightBookmark) {
    const QString vanished = makeFolder("Vanished");
    const QString first = makeFolder("First");
    const QString second = makeFolder("Second");
    store({vanished, first, second});
    ASSERT_TRUE(QDir(vanished).removeRecursively());

    LogCapture log;
    FolderBookmarkManager manager(*m_prefs);
    EXPECT_EQ(manager.folderURLs(),
              (Urls{QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)}));
    EXPECT_EQ(log.count(kFolders,
                        "Failed to resolve bookmark: The folder “" + vanished + "” doesn't exist."),
              1);

    QSignalSpy changed(&NotificationCenter::instance(), &NotificationCenter::videoFoldersDidChange);
    manager.removeFolder(2);
    manager.removeFolder(-1);
    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(stored(), (QStringList{vanished, first, second}));

    manager.removeFolder(0);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(manager.folderURLs(), Urls{QUrl::fromLocalFile(second)});
    EXPECT_EQ(stored(), (QStringList{vanished, second}));
    EXPECT_EQ(FolderBookmarkManager(*m_prefs).folderURLs(), Urls{QUrl::fromLocalFile(second)});

    // Once the folder is back, adding it stores a second bookmark beside the kept one; of the
    // equal bookmarks, removing the folder takes its own.
    makeFolder("Vanished");
    EXPECT_TRUE(manager.addFolder(QUrl::fromLocalFile(vanished)));
    EXPECT_EQ(stored(), (QStringList{vanished, second, vanished}));
    manager.removeFolder(1);
    EXPECT_EQ(stored(), (QStringList{vanished, second}));
}

// Out of file descriptors, a folder can't be listed but is still readable: it is shown, without
// access, even to root.
TEST_F(FolderBookmarkManagerTest, FolderThatCannotBeListedButIsReadableIsShown) {
    const QString path = makeFolder("Busy");
    store({path});
    LogCapture log;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const int lowestFree = ::open("/dev/null", O_RDONLY);
    ASSERT_GE(lowestFree, 0);
    close(lowestFree);
    rlimit exhausted = limit;
    exhausted.rlim_cur = rlim_t(lowestFree);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &exhausted), 0);
    auto manager = std::make_unique<FolderBookmarkManager>(*m_prefs);
    setrlimit(RLIMIT_NOFILE, &limit);

    EXPECT_EQ(manager->folderURLs(), Urls{QUrl::fromLocalFile(path)});
    EXPECT_TRUE(manager->accessedURLs().isEmpty());
    EXPECT_TRUE(
        log.contains(kFolders, "Successfully accessed folder: " + path + " (security-scoped: no)"));
}

// Permissions don't bind root. Run as root, these tests run again in a child copy of this
// program that gives root up first, with temporary folders it can enter: the harness's own are
// private to root.
class FolderPermissionsTest : public FolderBookmarkManagerTest {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsSet("ORVANTA_TEST_WITHOUT_ROOT") && geteuid() == 0) {
            const gid_t nobody = 65534;
            ASSERT_TRUE(setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0)
                << "cannot give up root";
        }
        FolderBookmarkManagerTest::SetUp();
    }

    static void runWithoutRoot() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        QTemporaryDir shared("/tmp/orvanta-without-root-XXXXXX");
        ASSERT_TRUE(shared.isValid());
        ASSERT_EQ(::chown(QFile::encodeName(shared.path()).constData(), 65534, 65534), 0);
        const testutil::ProcessResult child = testutil::runProcess(
            QCoreApplication::applicationFilePath(),
            {QStringLiteral("--gtest_filter=%1.%2")
                 .arg(QLatin1String(test->test_suite_name()), QLatin1String(test->name()))},
            {"ORVANTA_TEST_WITHOUT_ROOT=1", "GTEST_OUTPUT=", "TMPDIR=" + shared.path()});
        const QString output = QString::fromUtf8(child.out + child.err);
        EXPECT_EQ(child.exitCode, 0) << qPrintable(output);
        EXPECT_TRUE(output.contains(QLatin1String("[  PASSED  ] 1 test"))) << qPrintable(output);
    }
};

TEST_F(FolderPermissionsTest, UnreadableFolderStaysStoredButIsNotShown) {
    if (geteuid() == 0)
        return runWithoutRoot();
    const QString locked = makeFolder("Locked");
    const QString open = makeFolder("Open");
    store({locked, open});
    ASSERT_TRUE(QFile::setPermissions(locked, QFileDevice::Permissions()));

    LogCapture log;
    FolderBookmarkManager manager(*m_prefs);
    QFile::setPermissions(locked,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(manager.folderURLs(), Urls{QUrl::fromLocalFile(open)});
    const QString failed = "Failed to access folder: " + locked;
    EXPECT_EQ(log.count(kFolders, failed), 1);
    for (const LogCapture::Entry& entry : log.entries())
        EXPECT_TRUE(entry.message != failed || entry.type == QtCriticalMsg);
    EXPECT_EQ(stored(), (QStringList{locked, open}));
}

TEST_F(FolderPermissionsTest, UnreadableSubFolderIsLoggedAndTheWalkGoesOn) {
    if (geteuid() == 0)
        return runWithoutRoot();
    const QString root = makeFolder("Root");
    for (const char* name : {"a.mp4", "locked/b.mp4", "z/c.mp4"})
        testutil::writeFile(root + u'/' + QLatin1String(name), "x");
    const QString locked = root + "/locked";
    ASSERT_TRUE(QFile::setPermissions(locked, QFileDevice::Permissions()));

    FolderBookmarkManager manager(*m_prefs);
    LogCapture log;
    const Urls found = manager.scanFolder(QUrl::fromLocalFile(root), true);
    const Urls flat = manager.scanFolder(QUrl::fromLocalFile(root), false);
    QFile::setPermissions(locked,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    EXPECT_EQ(found,
              (Urls{QUrl::fromLocalFile(root + "/a.mp4"), QUrl::fromLocalFile(root + "/z/c.mp4")}));
    EXPECT_EQ(flat, Urls{QUrl::fromLocalFile(root + "/a.mp4")});
    ASSERT_EQ(log.entries().size(), 1);
    EXPECT_EQ(log.entries().front().category, "default");
    EXPECT_EQ(log.entries().front().type, QtCriticalMsg);
    EXPECT_EQ(log.entries().front().message, "Error accessing " + locked + ": Permission denied");
}

} // namespace
