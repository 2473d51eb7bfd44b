#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

class Preferences;

// The user's source folders and the video files in them.
//
// The folders are stored under "videoFoldersBookmarks" as an ordered list of bookmarks; on this
// platform a bookmark is the folder's absolute path as UTF-8 bytes. Every owner keeps its own
// instance; an instance that adds or removes a folder writes the list at once and posts
// NotificationCenter::videoFoldersDidChange, and other instances pick the change up with
// loadBookmarks().
class FolderBookmarkManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QList<QUrl> folderURLs READ folderURLs NOTIFY folderURLsChanged)

public:
    explicit FolderBookmarkManager(QObject* parent = nullptr);
    explicit FolderBookmarkManager(Preferences& preferences, QObject* parent = nullptr);
    ~FolderBookmarkManager() override;

    QList<QUrl> folderURLs() const;
    QSet<QUrl> accessedURLs() const { return m_accessedURLs; }

    void loadBookmarks();
    bool addFolder(const QUrl& url);
    void removeFolder(qsizetype index);
    QList<QUrl> loadVideos();
    QList<QUrl> scanFolder(const QUrl& url, bool recursive) const;
    void stopAccessingAllFolders();

    // The bookmark form of a folder and back; empty / invalid on failure with a description.
    static QByteArray bookmarkForFolder(const QUrl& url, QString* error = nullptr);
    static QUrl folderForBookmark(const QByteArray& bookmark, QString* error = nullptr);

Q_SIGNALS:
    void folderURLsChanged();

private:
    void readStoredFolders();

    struct Folder {
        QUrl url;
        QByteArray bookmark;
        // Where this instance last saw the bookmark in the stored list; -1 when unknown.
        qsizetype storedIndex = -1;
    };

    Preferences& m_preferences;
    QList<Folder> m_folders;
    QSet<QUrl> m_accessedURLs;
};
