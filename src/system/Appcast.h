#pragma once

#include <QList>
#include <QString>
#include <QStringView>
#include <QUrl>

#include <optional>

// The releases an update feed lists, in the RSS appcast format Sparkle writes: each <item> names
// its version, the file to download (<enclosure> with its length and Ed25519 signature) and its
// release notes.
class Appcast {
public:
    struct Item {
        QString title;
        // The version that is compared, and the one shown to the user.
        QString version;
        QString shortVersion;
        QUrl url;
        qint64 length = 0;
        // The enclosure's signature as the feed gives it: base64.
        QString signature;
        // The notes in the feed (HTML), or where to read them.
        QString releaseNotes;
        QUrl releaseNotesUrl;
        // The item's own page, where it has one.
        QUrl link;
    };

    // The feed's items that name a version and a complete enclosure for this platform; every
    // other item is logged and left out. Relative addresses are taken against baseUrl. Nothing,
    // and the reason in error, when the document is not a whole, well-formed appcast.
    static std::optional<Appcast> parse(const QByteArray& document, const QUrl& baseUrl,
                                        QString* error);

    // Compares versions component by component ("1.10" > "1.9", "1.0" == "1.0.0"); a component's
    // number decides first, then its text, where a component without text is the newer one
    // ("1.0" > "1.0b2"). Negative, zero or positive, as a is older, the same or newer.
    static int compareVersions(QStringView a, QStringView b);

    // The item with the highest version, or none when the feed lists none.
    const Item* newest() const;

private:
    QList<Item> m_items;
};
