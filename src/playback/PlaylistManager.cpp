#include "playback/PlaylistManager.h"

#include "library/PlaylistPersistence.h"

#include <QRandomGenerator>

PlaylistManager::PlaylistManager(const QString& screenId, QObject* parent)
    : QObject(parent)
    , m_screenId(screenId) {
}

void PlaylistManager::setVideoURLs(const QList<QUrl>& urls) {
    m_videoURLs = urls;
    Q_EMIT videoURLsChanged();
}

bool PlaylistManager::shuffleEnabled() const {
    const PlaylistPersistence& persistence = PlaylistPersistence::forScreen(m_screenId);
    if (const auto playlist = persistence.assignedPlaylist())
        return playlist->shuffleEnabled;
    return persistence.shuffleEnabled();
}

bool PlaylistManager::loopEnabled() const {
    const PlaylistPersistence& persistence = PlaylistPersistence::forScreen(m_screenId);
    if (const auto playlist = persistence.assignedPlaylist())
        return playlist->loopEnabled;
    return persistence.loopEnabled();
}

void PlaylistManager::setVideos(const QList<QUrl>& urls) {
    PlaylistPersistence& persistence = PlaylistPersistence::forScreen(m_screenId);
    QList<QUrl> queue;
    if (const auto playlist = persistence.assignedPlaylist()) {
        m_isUsingNamedPlaylist = true;
        queue = playlist->playableURLs();
        if (playlist->shuffleEnabled)
            shuffle(queue);
    } else {
        m_isUsingNamedPlaylist = false;
        persistence.syncWithFolderContents(urls);
        queue = persistence.playableURLs();
        if (persistence.shuffleEnabled())
            shuffle(queue);
    }
    m_currentIndex = -1;
    setVideoURLs(queue);
}

std::optional<QUrl> PlaylistManager::nextVideo(qsizetype after) {
    if (m_videoURLs.isEmpty())
        return std::nullopt;
    qsizetype next = after + 1;
    if (next >= m_videoURLs.size()) {
        if (!loopEnabled())
            return std::nullopt;
        if (shuffleEnabled()) {
            shuffle(m_videoURLs);
            Q_EMIT videoURLsChanged();
        }
        next = 0;
    }
    m_currentIndex = next;
    return m_videoURLs.at(next);
}

std::optional<QUrl> PlaylistManager::previousVideo(qsizetype before) {
    if (m_videoURLs.isEmpty())
        return std::nullopt;
    qsizetype previous = before - 1;
    if (previous < 0) {
        if (!loopEnabled())
            return std::nullopt;
        // Going backwards never re-shuffles.
        previous = m_videoURLs.size() - 1;
    }
    m_currentIndex = previous;
    return m_videoURLs.at(previous);
}

void PlaylistManager::shuffle(QList<QUrl>& urls) {
    const qsizetype count = urls.size();
    for (qsizetype i = 0; i + 1 < count; ++i) {
        // The 64-bit overload: the 32-bit one favours some results for large bounds.
        const auto j = i + qsizetype(QRandomGenerator::system()->bounded(quint64(count - i)));
        if (j != i)
            urls.swapItemsAt(i, j);
    }
}
