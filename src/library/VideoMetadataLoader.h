#pragma once

#include <QMutex>
#include <QSet>
#include <QUrl>
#include <QUuid>

class PlaylistLibrary;

// Loads the duration and displayed size of videos off the main thread and writes them into
// the matching item of a named playlist. One load per file at a time: a request for a file
// being loaded is dropped.
class VideoMetadataLoader {
public:
    static VideoMetadataLoader& shared();

    // Returns at once; the result lands in the playlist through updatePlaylist() on the main
    // thread, and only if the library, the playlist and the item still exist then. Call on the
    // main thread.
    void loadMetadata(const QUrl& url, PlaylistLibrary& library, const QUuid& playlistId,
                      const QUuid& itemId);

    bool isLoading(const QUrl& url) const;

    // The set of files being loaded now, guarded as one step per test-and-insert.
    bool beginLoading(const QUrl& url);
    void finishLoading(const QUrl& url);

private:
    mutable QMutex m_mutex;
    QSet<QUrl> m_loadingURLs;
};
