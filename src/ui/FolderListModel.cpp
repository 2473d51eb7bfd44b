#include "ui/FolderListModel.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/FolderBookmarkManager.h"
#include "ui/SettingsContext.h"
#include "ui/ViewRules.h"

#include <QDir>
#include <QStandardPaths>

FolderListModel::FolderListModel(QObject* parent)
    : FolderListModel(Preferences::standard(), parent) {
}

FolderListModel::FolderListModel(Preferences& preferences, QObject* parent)
    : QAbstractListModel(parent)
    , m_preferences(preferences)
    , m_folders(new FolderBookmarkManager(preferences, this)) {
    m_urls = m_folders->folderURLs();
    connect(m_folders, &FolderBookmarkManager::folderURLsChanged, this, [this] {
        beginResetModel();
        m_urls = m_folders->folderURLs();
        endResetModel();
        Q_EMIT countChanged();
    });
    m_preferences.observe(Settings::recursiveScan.key(), this,
                          [this](const QVariant&) { Q_EMIT recursiveScanChanged(); });
}

FolderListModel::~FolderListModel() = default;

int FolderListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_urls.size());
}

QVariant FolderListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_urls.size())
        return {};
    const QString path = QDir::cleanPath(m_urls[index.row()].toLocalFile());
    switch (role) {
    case NameRole:
        return path == QLatin1String("/") ? path : path.section(u'/', -1);
    case PathRole:
        return path;
    default:
        return {};
    }
}

QHash<int, QByteArray> FolderListModel::roleNames() const {
    return {{NameRole, "name"}, {PathRole, "path"}};
}

QString FolderListModel::footerText() const {
    return ViewRules::folderCountText(count());
}

bool FolderListModel::recursiveScan() const {
    return Settings::recursiveScan.read(m_preferences);
}

void FolderListModel::setRecursiveScan(bool recursive) {
    if (recursive == recursiveScan())
        return;
    Settings::recursiveScan.write(m_preferences, recursive);
    reload();
}

QUrl FolderListModel::startFolder() {
    const QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    return QUrl::fromLocalFile(QDir(videos).exists() ? videos : QDir::homePath());
}

bool FolderListModel::addFolder(const QUrl& url) {
    if (!m_folders->addFolder(url))
        return false;
    reload();
    return true;
}

void FolderListModel::removeFolder(int row) {
    if (row < 0 || row >= m_urls.size())
        return;
    m_folders->removeFolder(row);
    reload();
}

void FolderListModel::reload() {
    SettingsContext::shared().reloadAllPlaylists();
}
