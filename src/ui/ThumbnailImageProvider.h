#pragma once

#include <QQuickAsyncImageProvider>
#include <QUrl>

// Serves "image://thumbnail/<percent-encoded file URL>" from the program's thumbnail cache.
// Requests come on the engine's loader thread and are answered without blocking it: the cache
// (a main-thread object) is asked on the main thread, so a thumbnail it holds is never decoded
// again, and the image comes back scaled to the size the view asked for.
class ThumbnailImageProvider : public QQuickAsyncImageProvider {
public:
    static constexpr const char* providerId = "thumbnail";

    QQuickImageResponse* requestImageResponse(const QString& id,
                                              const QSize& requestedSize) override;

    // The image source of a video's thumbnail.
    static QString sourceFor(const QUrl& fileURL);
    // The video of an image id; invalid for an id that names none.
    static QUrl fileForId(const QString& id);
};
