#include "support/LogCapture.h"
#include "support/TestUtil.h"
#include "system/UpdateController.h"

#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>

#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString kUpdates = u"com.orvanta.updates"_s;

// An HTTP server on 127.0.0.1 that answers each path with its bytes; a path it does not know gets
// a 404, and the path "/silent" no answer at all.
class LocalServer {
public:
    LocalServer() {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection())
                QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                 [this, socket] { answer(socket); });
        });
        m_server.listen(QHostAddress::LocalHost);
    }
    QString url(const QString& path) const {
        return u"http://127.0.0.1:%1%2"_s.arg(m_server.serverPort()).arg(path);
    }
    void serve(const QString& path, const QByteArray& body) { m_bodies.insert(path, body); }

private:
    void answer(QTcpSocket* socket) {
        if (!socket->canReadLine())
            return;
        const QString path = QString::fromLatin1(socket->readLine().split(' ').value(1));
        if (path == u"/silent")
            return;
        const auto body = m_bodies.constFind(path);
        const bool found = body != m_bodies.cend();
        const QByteArray content = found ? *body : QByteArray();
        socket->write(QByteArray(found ? "HTTP/1.1 200 OK\r\n" : "HTTP/1.1 404 Not Found\r\n") +
                      "Content-Length: " + QByteArray::number(content.size()) +
                      "\r\nConnection: close\r\n\r\n" + content);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QHash<QString, QByteArray> m_bodies;
};

// An Ed25519 key made for the test, as a release's publisher holds it.
class SigningKey {
public:
    SigningKey() {
        const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
            EVP_PKEY_CTX_new_id(EVP_PKEY_ED25519, nullptr), &EVP_PKEY_CTX_free);
        EVP_PKEY* key = nullptr;
        if (context && EVP_PKEY_keygen_init(context.get()) == 1)
            EVP_PKEY_keygen(context.get(), &key);
        m_key.reset(key);
    }
    QByteArray publicKeyBase64() const {
        QByteArray raw(32, '\0');
        size_t size = size_t(raw.size());
        EVP_PKEY_get_raw_public_key(m_key.get(), reinterpret_cast<unsigned char*>(raw.data()),
                                    &size);
        return raw.toBase64();
    }
    QByteArray signatureBase64(const QByteArray& data) const {
        QByteArray signature(64, '\0');
        size_t size = size_t(signature.size());
        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                              &EVP_MD_CTX_free);
        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, m_key.get());
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                       reinterpret_cast<const unsigned char*>(data.constData()),
                       size_t(data.size()));
        return signature.toBase64();
    }

private:
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> m_key{nullptr, &EVP_PKEY_free};
};

// A feed with an old release and the one under test, whose file is named relative to the feed.
QByteArray feed(const QString& version, qint64 length, const QByteArray& signature) {
    return uR"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Orvanta</title>
<item><title>Version 0.0.1</title><sparkle:version>0.0.1</sparkle:version>
<enclosure url="old.tar.gz" length="10" sparkle:edSignature="AAAA"/></item>
<item><title>Version %1</title><link>https://orvanta.example/releases/%1</link>
<sparkle:version>%1</sparkle:version><sparkle:shortVersionString>%1 Beta</sparkle:shortVersionString>
<description><![CDATA[<p>Smoother fades.</p>]]></description>
<enclosure url="orvanta.tar.gz" length="%2" type="application/octet-stream"
 sparkle:edSignature="%3"/></item>
</channel></rss>
)"_s.arg(version)
        .arg(length)
        .arg(QString::fromLatin1(signature))
        .toUtf8();
}

struct Case {
    const char* name;
    QString version;
    // What goes wrong on the way, if anything.
    enum { Nothing, OtherSignature, LongerLength, ShorterLength, CutFeed, BadXml, Silent } fault;
    // The line logged last under "com.orvanta.updates" starts with it.
    QString logged;
};

// A newer release whose file checks out is offered; an older or equal one is not, and neither is
// one that fails on the way there, with the reason logged.
TEST(UpdateController, OffersOnlyANewerReleaseWhoseFileChecksOut) {
    const QString current = QStringLiteral(ORVANTA_VERSION);
    const Case cases[] = {
        {"newer", u"99.1"_s, Case::Nothing, u"Offering update 99.1 Beta"_s},
        {"older", u"0.0.9"_s, Case::Nothing, u"No update: Orvanta %1 is the newest"_s.arg(current)},
        {"equal", current + u".0"_s, Case::Nothing, u"No update: Orvanta"_s},
        {"tampered signature", u"99.1"_s, Case::OtherSignature,
         u"No update offered: the signature of 99.1 Beta"_s},
        {"file shorter than given", u"99.1"_s, Case::LongerLength,
         u"No update offered: the download of 99.1 Beta"_s},
        {"file longer than given", u"99.1"_s, Case::ShorterLength,
         u"No update offered: the download of 99.1 Beta"_s},
        {"truncated feed", u"99.1"_s, Case::CutFeed, u"No update offered: the feed"_s},
        {"malformed XML", u"99.1"_s, Case::BadXml, u"No update offered: the feed"_s},
        {"no answer", u"99.1"_s, Case::Silent, u"No update offered: the feed"_s},
    };
    const SigningKey key;
    QByteArray file;
    for (int i = 0; i < 20000; ++i)
        file.append(char(i * 7));

    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LocalServer server;
        qint64 length = file.size();
        length += c.fault == Case::LongerLength ? 1 : c.fault == Case::ShorterLength ? -1 : 0;
        QByteArray document =
            feed(c.version, length,
                 key.signatureBase64(c.fault == Case::OtherSignature ? file + "!" : file));
        if (c.fault == Case::CutFeed)
            document.truncate(document.size() / 2);
        if (c.fault == Case::BadXml)
            document.replace("</channel>", "</chanel>");
        server.serve(u"/appcast.xml"_s, document);
        server.serve(u"/orvanta.tar.gz"_s, file);

        UpdateController updates(
            server.url(c.fault == Case::Silent ? u"/silent"_s : u"/appcast.xml"_s),
            key.publicKeyBase64());
        // Only the silent server is waited out.
        if (c.fault == Case::Silent)
            updates.setTimeout(1s);
        QList<UpdateController::Offer> offers;
        QObject::connect(&updates, &UpdateController::updateFound,
                         [&offers](const UpdateController::Offer& offer) { offers.append(offer); });
        LogCapture log;
        ASSERT_TRUE(updates.canCheckForUpdates());
        updates.checkForUpdates();
        EXPECT_FALSE(updates.canCheckForUpdates());
        ASSERT_TRUE(testutil::waitUntil([&] { return updates.canCheckForUpdates(); }));

        const QStringList lines = log.messages(kUpdates);
        ASSERT_FALSE(lines.isEmpty());
        EXPECT_TRUE(lines.last().startsWith(c.logged)) << lines.last().toStdString();
        if (c.logged.startsWith(u"Offering")) {
            ASSERT_EQ(offers.size(), 1);
            EXPECT_EQ(offers[0].version, u"99.1"_s);
            EXPECT_EQ(offers[0].shortVersion, u"99.1 Beta"_s);
            EXPECT_EQ(offers[0].releaseNotes, u"<p>Smoother fades.</p>"_s);
            EXPECT_EQ(offers[0].page, QUrl(u"https://orvanta.example/releases/99.1"_s));
        } else {
            EXPECT_TRUE(offers.isEmpty());
        }
    }
}

// Without a feed address, or with a key that is not one, there is nothing to check.
TEST(UpdateController, ChecksNothingWithoutAFeedOrAValidKey) {
    const SigningKey key;
    LogCapture log;
    EXPECT_FALSE(UpdateController(QUrl(), key.publicKeyBase64()).canCheckForUpdates());
    EXPECT_FALSE(UpdateController(QUrl(u"http://127.0.0.1:9/appcast.xml"_s), "c2hvcnQ=")
                     .canCheckForUpdates());
    EXPECT_TRUE(log.messages(kUpdates).value(0).startsWith(u"Update checks are off"_s));
    // As a distribution builds it.
    EXPECT_FALSE(UpdateController().canCheckForUpdates());
}

} // namespace
