#include "library/ThumbnailCache.h"

#include "core/StandardOutput.h"
#include "library/MediaProbe.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

QPointer<ThumbnailCache> g_shared;

QImage generate(const QUrl& url) {
    QString error;
    const std::optional<QImage> image = MediaProbe::frameAt(
        url.toLocalFile(), &ThumbnailCache::frameTime,
        QSize(ThumbnailCache::maximumSide, ThumbnailCache::maximumSide), &error);
    if (!image) {
        const QString line = QStringLiteral("ThumbnailCache: Failed to generate thumbnail for "
                                            "%1: %2")
                                 .arg(url.fileName(), error);
        StandardOutput::printLine(line);
        return {};
    }
    return *image;
}

} // namespace

ThumbnailCache& ThumbnailCache::shared() {
    if (!g_shared)
        g_shared = new ThumbnailCache(QCoreApplication::instance());
    return *g_shared;
}

ThumbnailCache::ThumbnailCache(QObject* parent)
    : QObject(parent) {
    m_cache.setMaxCost(countLimit);
}

void ThumbnailCache::thumbnail(const QUrl& url, std::function<void(const QImage&)> completion) {
    if (const QImage* image = m_cache.object(url)) {
        completion(*image);
        return;
    }

    // Guards are only read on this (the main) thread.
    QPointer<ThumbnailCache> guard(this);
    if (m_generatingURLs.contains(url)) {
        // Whatever the first request has produced by then; nothing once the cache is gone.
        QTimer::singleShot(retryDelayMs, [guard, url, completion = std::move(completion)] {
            completion(guard ? guard->cachedImage(url) : QImage());
        });
        return;
    }

    m_generatingURLs.insert(url);
    QThreadPool::globalInstance()->start(
        [guard, url, completion = std::move(completion)]() mutable {
            QImage image = generate(url);
            QObject* const application = QCoreApplication::instance();
            if (!application)
                return;
            QMetaObject::invokeMethod(
                application,
                [guard, url, completion = std::move(completion), image = std::move(image)] {
                    if (!guard)
                        return;
                    guard->m_generatingURLs.remove(url);
                    if (!image.isNull())
                        guard->store(url, image);
                    completion(image);
                },
                Qt::QueuedConnection);
        });
}

QImage ThumbnailCache::cachedImage(const QUrl& url) const {
    const QImage* image = m_cache.object(url);
    return image ? *image : QImage();
}

void ThumbnailCache::store(const QUrl& url, const QImage& image) {
    m_cache.insert(url, new QImage(image), 1);
    if (!m_cachedURLs.contains(url)) {
        m_cachedURLs.insert(url);
        Q_EMIT cachedURLsChanged();
    }
}

QString ThumbnailCache::cacheSizeText() const {
    return memorySizeText(m_cachedURLs.size() * estimatedBytesPerThumbnail);
}

void ThumbnailCache::clearCache() {
    m_cache.clear();
    const bool changed = !m_cachedURLs.isEmpty();
    m_cachedURLs.clear();
    if (changed)
        Q_EMIT cachedURLsChanged();
}

double ThumbnailCache::frameTime(double duration) {
    if (!std::isfinite(duration) || duration <= 0)
        return 0.0;
    return std::min(duration * 0.1, 1.0);
}

QString ThumbnailCache::memorySizeText(qint64 bytes) {
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    if (std::abs(bytes) < 1024)
        return std::abs(bytes) == 1 ? QStringLiteral("%1 byte").arg(bytes)
                                    : QStringLiteral("%1 bytes").arg(bytes);
    static constexpr std::array<const char*, 5> units = {"KB", "MB", "GB", "TB", "PB"};
    double value = double(bytes) / 1024;
    size_t unit = 0;
    const auto decimals = [&unit] {
        return unit == 0 ? 0 : unit == 1 ? 1 : 2;
    };
    // Moves up while the rounded figure would reach 1024 of the unit.
    while (unit + 1 < units.size()) {
        const double scale = std::pow(10.0, decimals());
        if (std::abs(std::round(value * scale) / scale) < 1024)
            break;
        value /= 1024;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(value, 0, 'f', decimals()).arg(QLatin1String(units[unit]));
}
