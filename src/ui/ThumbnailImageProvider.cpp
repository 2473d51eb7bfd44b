#include "ui/ThumbnailImageProvider.h"

#include "core/Logging.h"
#include "library/ThumbnailCache.h"

#include <QCoreApplication>
#include <QImage>

namespace {

// One request's answer; lives on the loader thread and is deleted by the engine, which may
// happen before the main thread has the image (the connection below then goes with it).
class ThumbnailResponse : public QQuickImageResponse {
    Q_OBJECT

public:
    explicit ThumbnailResponse(const QSize& requestedSize)
        : m_requestedSize(requestedSize) {}

    QQuickTextureFactory* textureFactory() const override {
        return QQuickTextureFactory::textureFactoryForImage(m_image);
    }
    QString errorString() const override { return m_error; }

public Q_SLOTS:
    void deliver(const QImage& image) {
        if (image.isNull())
            m_error = QStringLiteral("No thumbnail");
        else if (m_requestedSize.isValid() && !m_requestedSize.isEmpty())
            m_image = image.scaled(m_requestedSize, Qt::KeepAspectRatioByExpanding,
                                   Qt::SmoothTransformation);
        else
            m_image = image;
        Q_EMIT finished();
    }

private:
    QSize m_requestedSize;
    QImage m_image;
    QString m_error;
};

// Asks the cache on the main thread and hands the image to whichever response still waits.
class ThumbnailRequest : public QObject {
    Q_OBJECT

public:
    explicit ThumbnailRequest(const QUrl& url)
        : m_url(url) {}

    void start() {
        // Held by the cache: a request it never answers (it went first) goes with it.
        setParent(&ThumbnailCache::shared());
        ThumbnailCache::shared().thumbnail(m_url, [this](const QImage& image) {
            Q_EMIT done(image);
            deleteLater();
        });
    }

Q_SIGNALS:
    void done(const QImage& image);

private:
    QUrl m_url;
};

} // namespace

QQuickImageResponse* ThumbnailImageProvider::requestImageResponse(const QString& id,
                                                                  const QSize& requestedSize) {
    auto* response = new ThumbnailResponse(requestedSize);
    const QUrl url = fileForId(id);
    if (!url.isValid() || !url.isLocalFile()) {
        qCWarning(lcApp, "No video for the thumbnail %s", qUtf8Printable(id));
        QMetaObject::invokeMethod(response, "deliver", Qt::QueuedConnection,
                                  Q_ARG(QImage, QImage()));
        return response;
    }
    auto* request = new ThumbnailRequest(url);
    request->moveToThread(QCoreApplication::instance()->thread());
    QObject::connect(request, &ThumbnailRequest::done, response, &ThumbnailResponse::deliver);
    QMetaObject::invokeMethod(
        request, [request] { request->start(); }, Qt::QueuedConnection);
    return response;
}

QString ThumbnailImageProvider::sourceFor(const QUrl& fileURL) {
    return QStringLiteral("image://%1/%2")
        .arg(QLatin1String(providerId),
             QString::fromLatin1(QUrl::toPercentEncoding(fileURL.toString(QUrl::FullyEncoded))));
}

QUrl ThumbnailImageProvider::fileForId(const QString& id) {
    return QUrl(QUrl::fromPercentEncoding(id.toLatin1()), QUrl::StrictMode);
}

#include "ThumbnailImageProvider.moc"
