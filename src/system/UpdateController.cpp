#include "system/UpdateController.h"

#include "core/Logging.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryFile>
#include <QtConcurrent/QtConcurrentRun>

using namespace Qt::StringLiterals;

namespace {

// The item's name in log lines: its version and where its file is.
QString describe(const Appcast::Item& item) {
    return u"%1 (%2)"_s.arg(item.shortVersion, item.url.toDisplayString());
}

} // namespace

UpdateController::UpdateController(QObject* parent)
    : UpdateController(QUrl(QStringLiteral(ORVANTA_UPDATE_FEED_URL)),
                       QByteArrayLiteral(ORVANTA_UPDATE_PUBLIC_KEY), parent) {
}

UpdateController::UpdateController(const QUrl& feedUrl, const QByteArray& publicKeyBase64,
                                   QObject* parent)
    : QObject(parent)
    , m_feedUrl(feedUrl)
    , m_verifier(publicKeyBase64)
    , m_network(new QNetworkAccessManager(this)) {
    if (!m_feedUrl.isEmpty() && !m_verifier.isValid()) {
        qCCritical(lcUpdates,
                   "Update checks are off: the public key is not a base64 Ed25519 key of %lld "
                   "bytes",
                   qlonglong(Ed25519Verifier::kKeySize));
    }
    connect(&m_verification, &QFutureWatcher<bool>::finished, this,
            &UpdateController::finishVerification);
}

UpdateController::~UpdateController() = default;

bool UpdateController::canCheckForUpdates() const {
    return !m_feedUrl.isEmpty() && m_verifier.isValid() && !m_checking;
}

void UpdateController::checkForUpdates() {
    if (!canCheckForUpdates())
        return;
    setChecking(true);
    qCInfo(lcUpdates, "Checking for updates at %s", qUtf8Printable(m_feedUrl.toDisplayString()));
    QNetworkReply* reply = get(m_feedUrl);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { readFeed(reply); });
}

QNetworkReply* UpdateController::get(const QUrl& url) {
    QNetworkRequest request(url);
    request.setTransferTimeout(int(m_timeout.count()));
    return m_network->get(request);
}

void UpdateController::readFeed(QNetworkReply* reply) {
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        refuse(u"the feed %1 %2"_s.arg(m_feedUrl.toDisplayString(), failure(reply)));
        return;
    }
    QString error;
    const std::optional<Appcast> appcast = Appcast::parse(reply->readAll(), reply->url(), &error);
    if (!appcast) {
        refuse(u"the feed %1: %2"_s.arg(m_feedUrl.toDisplayString(), error));
        return;
    }
    const Appcast::Item* newest = appcast->newest();
    if (!newest ||
        Appcast::compareVersions(newest->version, QStringLiteral(ORVANTA_VERSION)) <= 0) {
        qCInfo(lcUpdates, "No update: Orvanta %s is the newest version", ORVANTA_VERSION);
        endCheck();
        return;
    }
    download(*newest);
}

void UpdateController::download(const Appcast::Item& item) {
    // Held on disk, not in memory: a release may be large.
    m_file = std::make_unique<QTemporaryFile>();
    if (!m_file->open()) {
        refuse(u"the download of %1 has nowhere to go: %2"_s.arg(describe(item),
                                                                 m_file->errorString()));
        return;
    }
    m_candidate = item;
    qCInfo(lcUpdates, "Downloading %s to check it", qUtf8Printable(describe(item)));
    QNetworkReply* reply = get(item.url);
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { saveDownload(reply); });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finishDownload(reply); });
}

void UpdateController::saveDownload(QNetworkReply* reply) {
    const QByteArray bytes = reply->readAll();
    QString problem;
    if (m_file->size() + bytes.size() > m_candidate->length) {
        // Not what the feed announced: stop at once rather than fill the disk.
        problem = u"the download of %1 is longer than the %2 bytes the feed gives"_s.arg(
            describe(*m_candidate), QString::number(m_candidate->length));
    } else if (m_file->write(bytes) != bytes.size()) {
        problem = u"the download of %1 could not be kept: %2"_s.arg(describe(*m_candidate),
                                                                    m_file->errorString());
    }
    if (problem.isEmpty())
        return;
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
    refuse(problem);
}

void UpdateController::finishDownload(QNetworkReply* reply) {
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        refuse(u"the download of %1 %2"_s.arg(describe(*m_candidate), failure(reply)));
        return;
    }
    saveDownload(reply);
    if (!m_candidate)
        return;
    if (!m_file->flush() || m_file->size() != m_candidate->length) {
        refuse(u"the download of %1 has %2 bytes where the feed gives %3"_s.arg(
            describe(*m_candidate), QString::number(m_file->size()),
            QString::number(m_candidate->length)));
        return;
    }
    // Checking hashes the whole file: off the main thread.
    const Ed25519Verifier verifier = m_verifier;
    const QString path = m_file->fileName();
    const QByteArray signature = m_candidate->signature.toLatin1();
    m_verification.setFuture(QtConcurrent::run([verifier, path, signature] {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const uchar* data = file.size() > 0 ? file.map(0, file.size()) : nullptr;
        return data && verifier.verify(QByteArrayView(data, file.size()), signature);
    }));
}

void UpdateController::finishVerification() {
    if (!m_candidate)
        return;
    if (!m_verification.result()) {
        refuse(u"the signature of %1 does not match its download"_s.arg(describe(*m_candidate)));
        return;
    }
    const Appcast::Item& item = *m_candidate;
    const Offer offer{item.version, item.shortVersion, item.releaseNotes, item.releaseNotesUrl,
                      item.link.isValid() ? item.link : item.url};
    qCInfo(lcUpdates, "Offering update %s", qUtf8Printable(describe(item)));
    Q_EMIT updateFound(offer);
    endCheck();
}

QString UpdateController::failure(QNetworkReply* reply) const {
    switch (reply->error()) {
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        // The transfer timeout cancels the request.
        return u"did not answer within %1 s"_s.arg(double(m_timeout.count()) / 1000.0);
    default:
        return u"could not be read: %1"_s.arg(reply->errorString());
    }
}

void UpdateController::refuse(const QString& reason) {
    qCCritical(lcUpdates, "No update offered: %s", qUtf8Printable(reason));
    endCheck();
}

void UpdateController::endCheck() {
    m_candidate.reset();
    m_file.reset();
    setChecking(false);
}

void UpdateController::setChecking(bool checking) {
    if (m_checking == checking)
        return;
    m_checking = checking;
    Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
}
