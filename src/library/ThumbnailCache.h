#pragma once

#include <QCache>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QUrl>

#include <functional>

// Small still images of videos for the playlist editor's rows, the 50 most recent kept in
// memory. Used on the main thread only; frames are decoded on a worker thread.
class ThumbnailCache : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString cacheSizeText READ cacheSizeText NOTIFY cachedURLsChanged)

public:
    static constexpr int maximumSide = 400;
    static constexpr int countLimit = 50;
    static constexpr qint64 estimatedBytesPerThumbnail = 100000;
    static constexpr int retryDelayMs = 500;

    // The program's cache, created on first use and owned by the application object.
    static ThumbnailCache& shared();
    explicit ThumbnailCache(QObject* parent = nullptr);

    // Delivers the thumbnail (a null image when none could be made) on the main thread: at once
    // when cached; after 0.5 s with whatever the cache then holds when the file is being
    // generated already; else once generated. Nothing is delivered for a generation that ends
    // after the cache is gone.
    void thumbnail(const QUrl& url, std::function<void(const QImage&)> completion);

    // Every file stored since the last clear, including those evicted since.
    QSet<QUrl> cachedURLs() const { return m_cachedURLs; }
    bool isGenerating(const QUrl& url) const { return m_generatingURLs.contains(url); }
    // What the cache holds for a file now; null when nothing.
    QImage cachedImage(const QUrl& url) const;
    // cachedURLs × 100,000 bytes in 1024-based units ("5.7 MB").
    QString cacheSizeText() const;
    void clearCache();

    // The moment a thumbnail is taken from: 10 % of the duration, at most 1 s; the start when
    // the duration is unknown.
    static double frameTime(double duration);
    // A byte count in 1024-based units the way memory sizes are shown: "Zero KB", "512 bytes",
    // whole kilobytes ("98 KB"), megabytes with one decimal ("5.7 MB"), larger units with two.
    static QString memorySizeText(qint64 bytes);

Q_SIGNALS:
    void cachedURLsChanged();

private:
    void store(const QUrl& url, const QImage& image);

    QCache<QUrl, QImage> m_cache;
    QSet<QUrl> m_cachedURLs;
    QSet<QUrl> m_generatingURLs;
};
