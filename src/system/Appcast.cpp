#include "system/Appcast.h"

#include "core/Logging.h"

#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

const QString kSparkle = u"http://www.andymatuschak.org/xml-namespaces/sparkle"_s;

// Reads one <item>, on whose start element the reader stands, up to its end element.
Appcast::Item readItem(QXmlStreamReader& xml, const QUrl& baseUrl) {
    Appcast::Item item;
    QString attributeVersion;
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        if (xml.namespaceUri() == kSparkle) {
            if (name == u"version")
                item.version = xml.readElementText().trimmed();
            else if (name == u"shortVersionString")
                item.shortVersion = xml.readElementText().trimmed();
            else if (name == u"releaseNotesLink")
                item.releaseNotesUrl = baseUrl.resolved(QUrl(xml.readElementText().trimmed()));
            else
                xml.skipCurrentElement();
        } else if (!xml.namespaceUri().isEmpty()) {
            xml.skipCurrentElement();
        } else if (name == u"title") {
            item.title = xml.readElementText().trimmed();
        } else if (name == u"link") {
            item.link = baseUrl.resolved(QUrl(xml.readElementText().trimmed()));
        } else if (name == u"description") {
            item.releaseNotes = xml.readElementText().trimmed();
        } else if (name == u"enclosure") {
            const QXmlStreamAttributes attributes = xml.attributes();
            item.url = baseUrl.resolved(QUrl(attributes.value(u"url"_s).toString()));
            item.length = attributes.value(u"length"_s).toLongLong();
            item.signature = attributes.value(kSparkle, u"edSignature"_s).toString();
            // Older feeds give the versions on the enclosure.
            attributeVersion = attributes.value(kSparkle, u"version"_s).toString();
            if (item.shortVersion.isEmpty())
                item.shortVersion = attributes.value(kSparkle, u"shortVersionString"_s).toString();
            // Items for other systems are someone else's.
            const QStringView os = attributes.value(kSparkle, u"os"_s);
            if (!os.isEmpty() && os != u"linux")
                item.url.clear();
            xml.skipCurrentElement();
        } else {
            xml.skipCurrentElement();
        }
    }
    if (item.version.isEmpty())
        item.version = attributeVersion;
    if (item.shortVersion.isEmpty())
        item.shortVersion = item.version;
    return item;
}

// Why an item cannot be offered; empty when it can.
QString incompleteness(const Appcast::Item& item) {
    if (item.version.isEmpty())
        return u"it names no version"_s;
    if (!item.url.isValid() || item.url.isEmpty())
        return u"it has no file to download for Linux"_s;
    if (item.length <= 0)
        return u"its file has no length"_s;
    if (item.signature.isEmpty())
        return u"its file has no Ed25519 signature"_s;
    return {};
}

// The leading digits of a version component, compared as a number of any size.
int compareNumbers(QStringView a, QStringView b) {
    while (a.startsWith(u'0'))
        a = a.mid(1);
    while (b.startsWith(u'0'))
        b = b.mid(1);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

qsizetype leadingDigits(QStringView component) {
    qsizetype n = 0;
    while (n < component.size() && component[n].isDigit())
        ++n;
    return n;
}

} // namespace

std::optional<Appcast> Appcast::parse(const QByteArray& document, const QUrl& baseUrl,
                                      QString* error) {
    Appcast appcast;
    QXmlStreamReader xml(document);
    bool sawRoot = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (!sawRoot && xml.name() != u"rss") {
            *error = u"it is not an RSS feed (its document is <%1>)"_s.arg(xml.name());
            return std::nullopt;
        }
        sawRoot = true;
        if (xml.name() != u"item" || !xml.namespaceUri().isEmpty())
            continue;
        const Item item = readItem(xml, baseUrl);
        if (xml.hasError())
            break;
        if (const QString why = incompleteness(item); !why.isEmpty()) {
            qCCritical(lcUpdates, "Update feed item \"%s\" left out: %s",
                       qUtf8Printable(item.title.isEmpty() ? item.version : item.title),
                       qUtf8Printable(why));
            continue;
        }
        appcast.m_items.append(item);
    }
    if (xml.error() == QXmlStreamReader::PrematureEndOfDocumentError) {
        *error = u"it ends after %1 bytes, before its document does"_s.arg(document.size());
        return std::nullopt;
    }
    if (xml.hasError()) {
        *error = u"it is not well-formed XML (line %1, column %2: %3)"_s.arg(xml.lineNumber())
                     .arg(xml.columnNumber())
                     .arg(xml.errorString());
        return std::nullopt;
    }
    return appcast;
}

int Appcast::compareVersions(QStringView a, QStringView b) {
    const QList<QStringView> left = a.split(u'.');
    const QList<QStringView> right = b.split(u'.');
    for (qsizetype i = 0; i < std::max(left.size(), right.size()); ++i) {
        // A missing component reads as 0.
        const QStringView x = i < left.size() ? left[i] : u"0";
        const QStringView y = i < right.size() ? right[i] : u"0";
        const qsizetype xDigits = leadingDigits(x);
        const qsizetype yDigits = leadingDigits(y);
        if (const int n = compareNumbers(x.first(xDigits), y.first(yDigits)); n != 0)
            return n;
        const QStringView xText = x.sliced(xDigits);
        const QStringView yText = y.sliced(yDigits);
        if (xText.isEmpty() != yText.isEmpty())
            return xText.isEmpty() ? 1 : -1;
        if (const int t = xText.compare(yText); t != 0)
            return t < 0 ? -1 : 1;
    }
    return 0;
}

const Appcast::Item* Appcast::newest() const {
    const Item* best = nullptr;
    for (const Item& item : m_items) {
        if (!best || compareVersions(item.version, best->version) > 0)
            best = &item;
    }
    return best;
}
