#pragma once

#include <QAbstractListModel>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class FolderBookmarkManager;
class Preferences;

// The Video Folders page's list: the stored source folders (name and full path per row), the
// "Search Subfolders" switch, and adding and removing folders, each followed by a reload of
// every screen's playlist.
class FolderListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QString footerText READ footerText NOTIFY countChanged)
    Q_PROPERTY(
        bool recursiveScan READ recursiveScan WRITE setRecursiveScan NOTIFY recursiveScanChanged)
    // Where the folder chooser opens: the user's videos folder, else the home folder.
    Q_PROPERTY(QUrl startFolder READ startFolder CONSTANT)

public:
    enum Role { NameRole = Qt::UserRole + 1, PathRole };

    explicit FolderListModel(QObject* parent = nullptr);
    FolderListModel(Preferences& preferences, QObject* parent = nullptr);
    ~FolderListModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return rowCount(); }
    QString footerText() const;
    bool recursiveScan() const;
    void setRecursiveScan(bool recursive);
    static QUrl startFolder();

    // False (and nothing reloaded) for a folder already listed or one that cannot be stored.
    Q_INVOKABLE bool addFolder(const QUrl& url);
    // The folder of that row (the list's delete action, and "minus" with the last row).
    Q_INVOKABLE void removeFolder(int row);

Q_SIGNALS:
    void countChanged();
    void recursiveScanChanged();

private:
    void reload();

    Preferences& m_preferences;
    FolderBookmarkManager* m_folders = nullptr;
    QList<QUrl> m_urls;
};
