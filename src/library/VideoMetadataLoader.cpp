#include "library/VideoMetadataLoader.h"

#include "core/StandardOutput.h"
#include "library/MediaProbe.h"
#include "library/PlaylistLibrary.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QMutexLocker>
#include <QPointer>
#include <QThreadPool>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

// Writes the result into the item if its playlist and the item are still there.
void apply(PlaylistLibrary& library, const QUuid& playlistId, const QUuid& itemId,
           const MediaProbe::Info& info) {
    const QList<NamedPlaylist>& playlists = library.playlists();
    const auto playlist = std::find_if(playlists.begin(), playlists.end(),
                                       [&](const NamedPlaylist& p) { return p.id == playlistId; });
    if (playlist == playlists.end())
        return;
    NamedPlaylist updated = *playlist;
    const auto item = std::find_if(updated.items.begin(), updated.items.end(),
                                   [&](const PlaylistItem& i) { return i.id == itemId; });
    if (item == updated.items.end())
        return;
    item->duration = std::isnan(info.duration) ? std::nullopt : std::optional(info.duration);
    // A stream that doesn't tell its size leaves the stored one alone.
    if (!info.displaySize.isEmpty()) {
        item->width = info.displaySize.width();
        item->height = info.displaySize.height();
    }
    library.updatePlaylist(updated);
}

} // namespace

VideoMetadataLoader& VideoMetadataLoader::shared() {
    // Never destroyed: loads may still be running while the program exits.
    static auto* const loader = new VideoMetadataLoader;
    return *loader;
}

bool VideoMetadataLoader::isLoading(const QUrl& url) const {
    const QMutexLocker locker(&m_mutex);
    return m_loadingURLs.contains(url);
}

bool VideoMetadataLoader::beginLoading(const QUrl& url) {
    const QMutexLocker locker(&m_mutex);
    if (m_loadingURLs.contains(url))
        return false;
    m_loadingURLs.insert(url);
    return true;
}

void VideoMetadataLoader::finishLoading(const QUrl& url) {
    const QMutexLocker locker(&m_mutex);
    m_loadingURLs.remove(url);
}

void VideoMetadataLoader::loadMetadata(const QUrl& url, PlaylistLibrary& library,
                                       const QUuid& playlistId, const QUuid& itemId) {
    if (!beginLoading(url))
        return;
    // Read only on the main thread, where the library lives and dies.
    QPointer<PlaylistLibrary> guard(&library);
    QThreadPool::globalInstance()->start([this, url, guard, playlistId, itemId] {
        const QString name = url.fileName();
        QString error;
        const std::optional<MediaProbe::Info> info = MediaProbe::probe(url.toLocalFile(), &error);
        if (!info || !info->hasVideo) {
            StandardOutput::printLine(
                info ? QStringLiteral("VideoMetadataLoader: No video track for %1").arg(name)
                     : QStringLiteral("VideoMetadataLoader: Failed to load metadata for "
                                      "%1: %2")
                           .arg(name, error));
            finishLoading(url);
            return;
        }
        QObject* const application = QCoreApplication::instance();
        if (!application) {
            finishLoading(url);
            return;
        }
        QMetaObject::invokeMethod(
            application,
            [this, url, guard, playlistId, itemId, result = *info] {
                if (guard)
                    apply(*guard, playlistId, itemId, result);
                finishLoading(url);
            },
            Qt::QueuedConnection);
    });
}
