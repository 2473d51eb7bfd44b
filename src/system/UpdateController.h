#pragma once

#include "system/Appcast.h"
#include "system/Ed25519Verifier.h"

#include <QFutureWatcher>
#include <QObject>
#include <QUrl>

#include <chrono>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class QTemporaryFile;

// Looks for a newer release in the update feed when the user asks. A release is offered only once
// its file has been downloaded and found to have the length the feed gives and a valid Ed25519
// signature from the program's key; anything else is logged under "com.orvanta.updates" and
// nothing is offered. Offering means telling the user where to get it: the package manager owns
// the installed files, so nothing is ever replaced here.
class UpdateController : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    // What the user is told about a release.
    struct Offer {
        QString version;
        QString shortVersion;
        // The feed's notes (HTML), or where to read them.
        QString releaseNotes;
        QUrl releaseNotesUrl;
        // Where the user gets the release: the item's page, else its file.
        QUrl page;
    };

    // With the feed and key the program was built with (none: checks are off).
    explicit UpdateController(QObject* parent = nullptr);
    UpdateController(const QUrl& feedUrl, const QByteArray& publicKeyBase64,
                     QObject* parent = nullptr);
    ~UpdateController() override;

    // False without a feed or a valid key, and while a check is under way.
    bool canCheckForUpdates() const;

    // How long a server may stay silent before the check gives up on it.
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

public Q_SLOTS:
    // Reads the feed and, when it lists a newer release that checks out, offers it.
    void checkForUpdates();

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheckForUpdates);
    void updateFound(const UpdateController::Offer& offer);

private:
    QNetworkReply* get(const QUrl& url);
    void readFeed(QNetworkReply* reply);
    void download(const Appcast::Item& item);
    void saveDownload(QNetworkReply* reply);
    void finishDownload(QNetworkReply* reply);
    void finishVerification();
    // Why a reply failed, in words.
    QString failure(QNetworkReply* reply) const;
    // Logs why nothing is offered and ends the check.
    void refuse(const QString& reason);
    void endCheck();
    void setChecking(bool checking);

    const QUrl m_feedUrl;
    const Ed25519Verifier m_verifier;
    QNetworkAccessManager* m_network;
    std::chrono::milliseconds m_timeout{std::chrono::seconds(30)};
    bool m_checking = false;
    // The release being checked, its download so far and the check of its signature.
    std::optional<Appcast::Item> m_candidate;
    std::unique_ptr<QTemporaryFile> m_file;
    QFutureWatcher<bool> m_verification;
};
