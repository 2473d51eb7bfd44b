#include "library/FolderBookmarkManager.h"

#include "core/Logging.h"
#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/LocalPath.h"
#include "library/VideoFileTypes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVariant>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* yesNo(bool value) {
    return value ? "yes" : "no";
}

// The stored list, or nothing when it is absent or holds anything but data.
std::optional<QList<QByteArray>> readStoredBookmarks(const Preferences& preferences) {
    const std::optional<QVariantList> array =
        preferences.arrayForKey(Settings::videoFoldersBookmarks.key());
    if (!array)
        return std::nullopt;
    QList<QByteArray> bookmarks;
    bookmarks.reserve(array->size());
    for (const QVariant& element : *array) {
        if (element.typeId() != QMetaType::QByteArray)
            return std::nullopt;
        bookmarks.append(element.toByteArray());
    }
    return bookmarks;
}

void writeStoredBookmarks(Preferences& preferences, const QList<QByteArray>& bookmarks) {
    QVariantList array;
    array.reserve(bookmarks.size());
    for (const QByteArray& bookmark : bookmarks)
        array.append(QVariant(bookmark));
    preferences.set(Settings::videoFoldersBookmarks.key(), array);
}

// Appends a bookmark to the stored list and returns its position there.
qsizetype appendStoredBookmark(Preferences& preferences, const QByteArray& bookmark) {
    QList<QByteArray> bookmarks = readStoredBookmarks(preferences).value_or(QList<QByteArray>());
    bookmarks.append(bookmark);
    writeStoredBookmarks(preferences, bookmarks);
    return bookmarks.size() - 1;
}

// The absolute, cleaned path of a folder URL: the form bookmarks and comparisons use.
QString folderPath(const QUrl& url) {
    const QString local = url.toLocalFile();
    return local.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(local).absoluteFilePath());
}

// There is no sandbox to open here: access to a folder means that it can be listed. A folder
// that can't be listed but is still readable (no file descriptor left at the moment) is kept
// and shown; one that can't be read is skipped and tried again at the next load.
bool startAccessing(const QString& path) {
    DIR* dir = opendir(LocalPath::toBytes(path).constData());
    if (!dir)
        return false;
    closedir(dir);
    return true;
}

// Why a path can't be used as a folder, or nothing. Looked up by its bytes: QFileInfo would look
// a name that isn't UTF-8 up under another one.
std::optional<QString> notAFolder(const QString& path) {
    struct stat status;
    if (stat(LocalPath::toBytes(path).constData(), &status) != 0)
        return QStringLiteral("The folder “%1” doesn't exist.").arg(path);
    if (!S_ISDIR(status.st_mode))
        return QStringLiteral("“%1” isn't a folder.").arg(path);
    return std::nullopt;
}

QString lastPathComponent(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

// The folder walk. It reads each directory whole, sorts its visible entries by name (the order
// of readdir differs between file systems) and closes it before descending, so a deep tree
// holds one file descriptor at a time. Entries are taken in that order and a sub-directory is
// walked where it is met, as a directory enumerator delivers them. Names starting with "." are
// hidden. Links are followed, and each directory is walked once, where the walk first meets it.
struct ScanEntry {
    size_t nameOffset;
    bool isDirectory;
    bool undecided; // a file whose name doesn't tell; its content decides
};

struct ScanState {
    bool recursive = false;
    std::string path;
    // Directories already walked: a link back up the tree or to a walked sub-tree leads nowhere.
    std::set<std::pair<dev_t, ino_t>> visited;
    QList<QUrl> videos;
};

void logAccessError(const std::string& path, int error) {
    qCritical("Error accessing %s: %s", qUtf8Printable(LocalPath::fromBytes(path)),
              qUtf8Printable(qt_error_string(error)));
}

void scanDirectory(ScanState& state) {
    DIR* dir = opendir(state.path.c_str());
    if (!dir) {
        if (state.recursive)
            logAccessError(state.path, errno);
        return;
    }
    const int fd = dirfd(dir);
    if (state.recursive) {
        struct stat status;
        if (fstat(fd, &status) == 0 &&
            !state.visited.emplace(status.st_dev, status.st_ino).second) {
            closedir(dir);
            return;
        }
    }

    // Files that are plainly not videos are dropped here, before any string is made for them.
    std::string names;
    std::vector<ScanEntry> entries;
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(dir);
        if (!entry) {
            if (errno != 0 && state.recursive)
                logAccessError(state.path, errno);
            break;
        }
        const char* name = entry->d_name;
        if (name[0] == '.')
            continue;
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN || type == DT_LNK) {
            struct stat target;
            if (fstatat(fd, name, &target, 0) != 0)
                continue; // a broken link, or gone meanwhile
            type = S_ISDIR(target.st_mode) ? DT_DIR : S_ISREG(target.st_mode) ? DT_REG : DT_UNKNOWN;
        }
        bool undecided = false;
        if (type == DT_REG) {
            const VideoFileTypes::NameVerdict verdict = VideoFileTypes::classifyName(name);
            if (verdict == VideoFileTypes::NameVerdict::NotVideo)
                continue;
            undecided = verdict == VideoFileTypes::NameVerdict::Undecided;
        } else if (type != DT_DIR || !state.recursive) {
            continue;
        }
        entries.push_back({names.size(), type == DT_DIR, undecided});
        names.append(name);
        names.push_back('\0');
    }
    closedir(dir);

    std::sort(entries.begin(), entries.end(), [&names](const ScanEntry& a, const ScanEntry& b) {
        return std::strcmp(names.data() + a.nameOffset, names.data() + b.nameOffset) < 0;
    });
    const size_t parentLength = state.path.size();
    for (const ScanEntry& entry : entries) {
        if (state.path.back() != '/')
            state.path.push_back('/');
        state.path.append(names.data() + entry.nameOffset);
        if (entry.isDirectory) {
            scanDirectory(state);
        } else {
            const QString path = LocalPath::fromBytes(state.path);
            if (!entry.undecided || VideoFileTypes::isVideoFile(path))
                state.videos.append(QUrl::fromLocalFile(path));
        }
        state.path.resize(parentLength);
    }
}

} // namespace

FolderBookmarkManager::FolderBookmarkManager(QObject* parent)
    : FolderBookmarkManager(Preferences::standard(), parent) {
}

FolderBookmarkManager::FolderBookmarkManager(Preferences& preferences, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences) {
    loadBookmarks();
}

FolderBookmarkManager::~FolderBookmarkManager() {
    stopAccessingAllFolders();
}

QList<QUrl> FolderBookmarkManager::folderURLs() const {
    QList<QUrl> urls;
    urls.reserve(m_folders.size());
    for (const Folder& folder : m_folders)
        urls.append(folder.url);
    return urls;
}

void FolderBookmarkManager::loadBookmarks() {
    stopAccessingAllFolders();
    const QList<QUrl> previous = folderURLs();
    m_folders.clear();
    readStoredFolders();
    if (folderURLs() != previous)
        Q_EMIT folderURLsChanged();
}

void FolderBookmarkManager::readStoredFolders() {
    const std::optional<QList<QByteArray>> bookmarks = readStoredBookmarks(m_preferences);
    if (!bookmarks) {
        qCInfo(lcFolders, "No bookmarks found in UserDefaults");
        return;
    }
    qCInfo(lcFolders, "Found %d bookmarks in UserDefaults", int(bookmarks->size()));

    // A bookmark here is never stale, so loading never rewrites the stored list: one that can't
    // be resolved or opened stays stored and is tried again at the next load.
    for (qsizetype i = 0; i < bookmarks->size(); ++i) {
        const QByteArray& bookmark = bookmarks->at(i);
        QString error;
        const QUrl url = folderForBookmark(bookmark, &error);
        if (!url.isValid()) {
            qCCritical(lcFolders, "Failed to resolve bookmark: %s", qUtf8Printable(error));
            continue;
        }
        const QString path = folderPath(url);
        const bool accessed = startAccessing(path);
        if (accessed) {
            m_accessedURLs.insert(url);
        } else if (access(LocalPath::toBytes(path).constData(), R_OK) != 0) {
            qCCritical(lcFolders, "Failed to access folder: %s", qUtf8Printable(path));
            continue;
        }
        m_folders.append(Folder{url, bookmark, i});
        qCInfo(lcFolders, "Successfully accessed folder: %s (security-scoped: %s)",
               qUtf8Printable(path), yesNo(accessed));
    }
}

bool FolderBookmarkManager::addFolder(const QUrl& url) {
    const QString path = url.isLocalFile() ? folderPath(url) : url.toString();
    // Paths are compared as text, case-sensitively; composed and decomposed spellings of the
    // same characters name the same folder.
    const QString normalized = path.normalized(QString::NormalizationForm_C);
    for (const Folder& folder : std::as_const(m_folders)) {
        if (folderPath(folder.url).normalized(QString::NormalizationForm_C) == normalized) {
            qCInfo(lcFolders, "Folder already exists: %s", qUtf8Printable(path));
            return false;
        }
    }

    QString error;
    const QByteArray bookmark = bookmarkForFolder(url, &error);
    if (!bookmark.isEmpty()) {
        const qsizetype storedIndex = appendStoredBookmark(m_preferences, bookmark);
        qCInfo(lcFolders, "Saved bookmark for folder: %s", qUtf8Printable(path));
        const QUrl folderUrl = QUrl::fromLocalFile(path);
        const bool accessed = startAccessing(path);
        if (accessed)
            m_accessedURLs.insert(folderUrl);
        m_folders.append(Folder{folderUrl, bookmark, storedIndex});
        Q_EMIT folderURLsChanged();
        qCInfo(lcFolders, "Added folder: %s (security-scoped: %s)", qUtf8Printable(path),
               yesNo(accessed));
        Q_EMIT NotificationCenter::instance().videoFoldersDidChange();
        return true;
    }

    // A plain bookmark has the same form here, so this second attempt succeeds only when the
    // folder appeared in between.
    qCCritical(lcFolders, "Failed to create bookmark: %s", qUtf8Printable(error));
    QString plainError;
    const QByteArray plainBookmark = bookmarkForFolder(url, &plainError);
    if (plainBookmark.isEmpty()) {
        qCCritical(lcFolders, "Failed to create regular bookmark: %s", qUtf8Printable(plainError));
        return false;
    }
    const qsizetype storedIndex = appendStoredBookmark(m_preferences, plainBookmark);
    m_folders.append(Folder{QUrl::fromLocalFile(path), plainBookmark, storedIndex});
    Q_EMIT folderURLsChanged();
    qCInfo(lcFolders, "Added folder with regular bookmark: %s", qUtf8Printable(path));
    Q_EMIT NotificationCenter::instance().videoFoldersDidChange();
    return true;
}

void FolderBookmarkManager::removeFolder(qsizetype index) {
    if (index < 0 || index >= m_folders.size())
        return;
    const Folder folder = m_folders.takeAt(index);
    m_accessedURLs.remove(folder.url);
    Q_EMIT folderURLsChanged();

    // The stored list may hold bookmarks that yielded no folder, so positions differ: remove
    // this folder's own bookmark, preferably at the position it was loaded from.
    if (std::optional<QList<QByteArray>> bookmarks = readStoredBookmarks(m_preferences)) {
        qsizetype position = folder.storedIndex;
        if (position < 0 || position >= bookmarks->size() ||
            bookmarks->at(position) != folder.bookmark)
            position = bookmarks->indexOf(folder.bookmark);
        if (position >= 0) {
            bookmarks->removeAt(position);
            writeStoredBookmarks(m_preferences, *bookmarks);
            for (Folder& other : m_folders) {
                if (other.storedIndex > position)
                    --other.storedIndex;
            }
        }
    }
    Q_EMIT NotificationCenter::instance().videoFoldersDidChange();
}

QList<QUrl> FolderBookmarkManager::loadVideos() {
    const bool recursive = Settings::recursiveScan.read(m_preferences);
    qCInfo(lcFolders, "Loading videos from %d folders (recursive: %s)", int(m_folders.size()),
           yesNo(recursive));
    QList<QUrl> videos;
    for (const Folder& folder : std::as_const(m_folders)) {
        const QList<QUrl> found = scanFolder(folder.url, recursive);
        qCInfo(lcFolders, "Found %d videos in %s", int(found.size()),
               qUtf8Printable(lastPathComponent(folderPath(folder.url))));
        videos.append(found);
    }
    return videos;
}

QList<QUrl> FolderBookmarkManager::scanFolder(const QUrl& url, bool recursive) const {
    if (!url.isLocalFile())
        return {};
    ScanState state;
    state.recursive = recursive;
    state.path = LocalPath::toBytes(folderPath(url)).toStdString();
    if (state.path.empty())
        return {};
    scanDirectory(state);
    return state.videos;
}

void FolderBookmarkManager::stopAccessingAllFolders() {
    // Nothing is held open while a folder is accessed; the set only records which were.
    m_accessedURLs.clear();
}

QByteArray FolderBookmarkManager::bookmarkForFolder(const QUrl& url, QString* error) {
    const auto fail = [error](const QString& description) {
        if (error)
            *error = description;
        return QByteArray();
    };
    if (!url.isLocalFile() || url.toLocalFile().isEmpty())
        return fail(QStringLiteral("The location “%1” isn't a local folder.").arg(url.toString()));
    const QString path = folderPath(url);
    if (const std::optional<QString> problem = notAFolder(path))
        return fail(*problem);
    return LocalPath::toBytes(path);
}

QUrl FolderBookmarkManager::folderForBookmark(const QByteArray& bookmark, QString* error) {
    const auto fail = [error](const QString& description) {
        if (error)
            *error = description;
        return QUrl();
    };
    if (bookmark.isEmpty())
        return fail(QStringLiteral("The bookmark is empty."));
    const QString path = LocalPath::fromBytes(bookmark);
    if (!QDir::isAbsolutePath(path))
        return fail(QStringLiteral("The bookmark “%1” isn't an absolute folder path.").arg(path));
    if (const std::optional<QString> problem = notAFolder(path))
        return fail(*problem);
    return QUrl::fromLocalFile(QDir::cleanPath(path));
}
