// The stored JSON forms of items, the metadata cache and the library document, and the value
// types' derived values (texts, totals, sort orders).

#include "library/NamedPlaylist.h"
#include "library/PlaylistItem.h"
#include "library/PlaylistSortOrder.h"
#include "library/StoredJson.h"
#include "support/TestUtil.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

const char* const kItemId = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
const char* const kPlaylistId = "0F1D2C3B-4A59-4687-9A5B-C6D7E8F90A1B";

QJsonValue parsed(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

PlaylistItem item(const QString& filename, const QString& folderPath = QStringLiteral("/videos")) {
    PlaylistItem result;
    result.id = QUuid::createUuid();
    result.filename = filename;
    result.folderPath = folderPath;
    result.addedDate = Timestamp{100.0};
    return result;
}

QStringList names(const QList<PlaylistItem>& items) {
    QStringList result;
    for (const PlaylistItem& entry : items)
        result.append(entry.filename);
    return result;
}

// --- Items -------------------------------------------------------------------------------------

TEST(StoredJsonItems, ReadsTheStoredFormAndIgnoresUnknownKeys) {
    const QByteArray json = R"([
        {"id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","filename":"beach.mp4",
         "folderPath":"/home/me/Videos","isExcluded":true,"customOrder":3,"addedDate":0,
         "duration":12.5,"width":1920,"height":1080,"colour":"blue"},
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E60","filename":"city.mkv",
         "folderPath":"/home/me/Videos","isExcluded":false,"addedDate":694224000.25}
    ])";
    QString error;
    const auto items = StoredJson::decodeItems(json, &error);
    ASSERT_TRUE(items) << error.toStdString();
    ASSERT_EQ(items->size(), 2);

    const PlaylistItem& first = items->at(0);
    // Lower-case UUID text is read as well.
    EXPECT_EQ(first.id, QUuid::fromString(QLatin1String(kItemId)));
    EXPECT_EQ(first.filename, "beach.mp4");
    EXPECT_EQ(first.folderPath, "/home/me/Videos");
    EXPECT_TRUE(first.isExcluded);
    EXPECT_EQ(first.customOrder, 3);
    EXPECT_EQ(first.addedDate.toDateTime(), QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(first.duration, 12.5);
    EXPECT_EQ(first.width, 1920);
    EXPECT_EQ(first.height, 1080);

    const PlaylistItem& second = items->at(1);
    EXPECT_FALSE(second.isExcluded);
    EXPECT_FALSE(second.customOrder);
    EXPECT_FALSE(second.duration);
    EXPECT_FALSE(second.width);
    EXPECT_FALSE(second.height);
    EXPECT_EQ(second.addedDate.toDateTime(),
              QDateTime(QDate(2023, 1, 1), QTime(0, 0, 0, 250), Qt::UTC));
    EXPECT_EQ(second.addedDate.secondsSinceReferenceDate, 694224000.25);
}

TEST(StoredJsonItems, WritesUpperCaseIdsSecondsAndLeavesOutAbsentValues) {
    PlaylistItem full = item(QStringLiteral("beach.mp4"));
    full.id = QUuid::fromString(QString::fromLatin1(kItemId).toLower());
    full.isExcluded = true;
    full.customOrder = 0;
    full.addedDate = Timestamp::fromDateTime(QDateTime(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC));
    full.duration = 61.5;
    full.width = 3840;
    full.height = 2160;
    PlaylistItem bare = item(QStringLiteral("city.mkv"));
    bare.id = QUuid::fromString(QLatin1String("E621E1F8-C36C-495A-93FC-0C247A3E6E60"));

    const auto json = StoredJson::encodeItems({full, bare});
    ASSERT_TRUE(json);
    EXPECT_FALSE(json->contains('\n')) << "no pretty printing";
    const QJsonValue expected = parsed(R"([
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"beach.mp4",
         "folderPath":"/videos","isExcluded":true,"customOrder":0,"addedDate":694224000,
         "duration":61.5,"width":3840,"height":2160},
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E60","filename":"city.mkv",
         "folderPath":"/videos","isExcluded":false,"addedDate":100}
    ])");
    EXPECT_EQ(parsed(*json), expected) << json->toStdString();

    // And back again, unchanged.
    const auto decoded = StoredJson::decodeItems(*json);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, (QList<PlaylistItem>{full, bare}));
}

TEST(StoredJsonItems, NullOptionalsReadAsAbsentAndMissingRequiredKeysFail) {
    const auto withNulls = StoredJson::decodeItems(
        R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"a.mp4","folderPath":"/v",
             "isExcluded":false,"addedDate":1,"customOrder":null,"duration":null,
             "width":null,"height":null}])");
    ASSERT_TRUE(withNulls);
    EXPECT_FALSE(withNulls->at(0).customOrder);
    EXPECT_FALSE(withNulls->at(0).duration);

    const char* const broken[] = {
        // isExcluded is required.
        R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"a.mp4","folderPath":"/v",
             "addedDate":1}])",
        // addedDate is required.
        R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"a.mp4","folderPath":"/v",
             "isExcluded":false}])",
        // Not a UUID.
        R"([{"id":"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}","filename":"a.mp4",
             "folderPath":"/v","isExcluded":false,"addedDate":1}])",
        // A width that is not an integer.
        R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"a.mp4","folderPath":"/v",
             "isExcluded":false,"addedDate":1,"width":19.5}])",
        // Not an array, and not JSON.
        R"({"items":[]})",
        "[{",
    };
    for (const char* json : broken) {
        QString error;
        EXPECT_FALSE(StoredJson::decodeItems(json, &error)) << json;
        EXPECT_FALSE(error.isEmpty()) << json;
    }
}

TEST(StoredJsonItems, ANonFiniteDurationCannotBeWritten) {
    for (double duration :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        PlaylistItem unknown = item(QStringLiteral("a.mp4"));
        unknown.duration = duration;
        QString error;
        EXPECT_FALSE(StoredJson::encodeItems({item(QStringLiteral("b.mp4")), unknown}, &error));
        EXPECT_FALSE(error.isEmpty());

        NamedPlaylist playlist;
        playlist.id = QUuid::createUuid();
        playlist.items = {unknown};
        EXPECT_FALSE(StoredJson::encodePlaylists({playlist}, &error));
        EXPECT_FALSE(StoredJson::encodeMetadataCache(
            {{QStringLiteral("/v/a.mp4"), VideoMetadata{duration, 1, 1}}}, &error));
    }
}

// --- Text ------------------------------------------------------------------------------------

// The same items as Qt's own JSON writer puts them, to check the two forms against each other.
QByteArray writtenByQt(const QList<PlaylistItem>& items, QJsonDocument::JsonFormat format) {
    QJsonArray array;
    for (const PlaylistItem& entry : items) {
        QJsonObject object{{"id", StoredJson::uuidText(entry.id)},
                           {"filename", entry.filename},
                           {"folderPath", entry.folderPath},
                           {"isExcluded", entry.isExcluded},
                           {"addedDate", entry.addedDate.secondsSinceReferenceDate}};
        if (entry.customOrder)
            object.insert(QStringLiteral("customOrder"), *entry.customOrder);
        if (entry.duration)
            object.insert(QStringLiteral("duration"), *entry.duration);
        if (entry.width)
            object.insert(QStringLiteral("width"), *entry.width);
        if (entry.height)
            object.insert(QStringLiteral("height"), *entry.height);
        array.append(object);
    }
    return QJsonDocument(array).toJson(format);
}

QList<PlaylistItem> randomItems(int count) {
    // Plain text, JSON's special characters, controls, accents, other scripts and characters
    // beyond the basic plane.
    const QString pool = QString::fromUtf8("abcXYZ019 ./-_\"\\\n\t\r\b\f\x01\x1f\x7f"
                                           "\u00E9\u00FC\u00DF\u65E5\u672C\u0416\U0001F600");
    std::uint32_t seed = 12345;
    const auto next = [&seed](std::uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    const auto text = [&] {
        QString result;
        const int length = int(next(24));
        for (int n = 0; n < length; ++n) {
            const int at = int(next(std::uint32_t(pool.size())));
            // Keep surrogate pairs whole.
            if (pool.at(at).isLowSurrogate())
                result += pool.mid(at - 1, 2);
            else if (pool.at(at).isHighSurrogate())
                result += pool.mid(at, 2);
            else
                result += pool.at(at);
        }
        return result;
    };
    QList<PlaylistItem> items;
    for (int n = 0; n < count; ++n) {
        PlaylistItem entry;
        entry.id = QUuid::createUuid();
        entry.filename = text();
        entry.folderPath = text();
        entry.isExcluded = next(2) == 1;
        entry.addedDate = Timestamp{(double(next(2000000000)) - 1e9) / double(1 + next(1000))};
        if (next(2))
            entry.customOrder = qint64(next(100000)) - 50000;
        if (next(2))
            entry.duration = double(next(10000000)) / double(1 + next(997));
        if (next(2))
            entry.width = qint64(next(8000));
        if (next(2))
            entry.height = qint64(next(8000)) * 1000000000LL;
        items.append(entry);
    }
    return items;
}

TEST(StoredJsonText, AgreesWithQtsJsonReaderAndWriter) {
    const QList<PlaylistItem> items = randomItems(500);
    const auto ours = StoredJson::encodeItems(items);
    ASSERT_TRUE(ours);
    // Our text is JSON that Qt reads as the same values.
    QJsonParseError parseError;
    const QJsonDocument read = QJsonDocument::fromJson(*ours, &parseError);
    ASSERT_EQ(parseError.error, QJsonParseError::NoError)
        << parseError.errorString().toStdString() << " at " << parseError.offset;
    EXPECT_EQ(read, QJsonDocument::fromJson(writtenByQt(items, QJsonDocument::Compact)));
    EXPECT_EQ(StoredJson::decodeItems(*ours), items);
    // And Qt's text, compact or indented, reads back as the same items.
    for (auto format : {QJsonDocument::Compact, QJsonDocument::Indented}) {
        QString error;
        const auto decoded = StoredJson::decodeItems(writtenByQt(items, format), &error);
        ASSERT_TRUE(decoded) << error.toStdString();
        EXPECT_EQ(*decoded, items);
    }
}

TEST(StoredJsonText, ReadsWhatOtherWritersMayProduce) {
    // Spaces everywhere, escaped slashes, \u escapes (a pair for U+1F600), exponents, integral
    // numbers written with a fraction, unknown members of every kind, a repeated member.
    const QByteArray json =
        "\r\n [ {\n \"id\" : \"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\" ,\n"
        " \"filename\":\"caf\\u00e9 \\ud83d\\ude00 \\\"1\\\".mp4\",\t"
        " \"folderPath\":\"\\/home\\/me\\\\x\",\"isExcluded\":false,"
        " \"extra\":{\"a\":[1,{\"b\":null},[[]],\"}\"],\"c\":true},\"more\":[],\"none\":null,"
        " \"addedDate\":6.94224E8,\"width\":1920.0,\"height\":1.08e3,\"duration\":-0,"
        " \"customOrder\":1,\"customOrder\":2 } ] \n";
    QString error;
    const auto items = StoredJson::decodeItems(json, &error);
    ASSERT_TRUE(items) << error.toStdString();
    ASSERT_EQ(items->size(), 1);
    const PlaylistItem& entry = items->at(0);
    EXPECT_EQ(entry.filename, QString::fromUtf8("caf\u00E9 \U0001F600 \"1\".mp4"));
    EXPECT_EQ(entry.folderPath, "/home/me\\x");
    EXPECT_EQ(entry.addedDate.secondsSinceReferenceDate, 694224000.0);
    EXPECT_EQ(entry.width, 1920);
    EXPECT_EQ(entry.height, 1080);
    EXPECT_EQ(entry.duration, 0.0);
    EXPECT_EQ(entry.customOrder, 2); // the last of a repeated member counts
}

TEST(StoredJsonText, RefusesMalformedText) {
    const QByteArray item =
        R"({"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"a","folderPath":"/v",)"
        R"("isExcluded":false,"addedDate":)";
    const QByteArray broken[] = {
        "",
        "   ",
        "[",
        "[]x",
        "[] []",
        "[1,]",
        "[,]",
        "nul",
        "[tru]",
        "{\"a\":1}",
        "[" + item + "01}]",                       // leading zero
        "[" + item + "-}]",                        // no digits
        "[" + item + "1.}]",                       // no fraction digits
        "[" + item + ".5}]",                       // no integer part
        "[" + item + "+1}]",                       // plus sign
        "[" + item + "1e}]",                       // no exponent digits
        "[" + item + "1e400}]",                    // beyond a double
        "[" + item + "NaN}]",                      // not JSON
        "[" + item + "1,}]",                       // trailing comma
        "[" + item + "1 \"x\":1}]",                // missing comma
        "[" + item + "1,\"x\"}]",                  // missing colon
        "[" + item + "1,\"x\":\"\\q\"}]",          // unknown escape
        "[" + item + "1,\"x\":\"\\u12\"}]",        // short \u escape
        "[" + item + "1,\"x\":\"a\nb\"}]",         // raw control character
        "[" + item + "1,\"x\":\"\xff\"}]",         // not UTF-8
        "[" + item + "1,\"x\":\"\xc3\"}]",         // cut UTF-8 sequence
        "[" + item + "1,\"x\":\"\xed\xa0\x80\"}]", // an encoded surrogate
        "[" + item + "1,\"x\":\"abc}]",            // unterminated string
        "[" + item + "1,\"x\":" + QByteArray(2000, '[') + QByteArray(2000, ']') + "}]",
    };
    // The item itself is fine once complete.
    ASSERT_TRUE(StoredJson::decodeItems("[" + item + "1}]"));
    for (const QByteArray& json : broken) {
        QString error;
        const auto items = StoredJson::decodeItems(json, &error);
        EXPECT_FALSE(items) << json.left(200).toStdString();
        EXPECT_TRUE(error.startsWith(QStringLiteral("The data couldn\u2019t be read")))
            << error.toStdString();
    }
    // Moderate nesting inside an unknown member is read past.
    EXPECT_TRUE(StoredJson::decodeItems("[" + item + "1,\"x\":" + QByteArray(100, '[') +
                                        QByteArray(100, ']') + "}]"));
}

// --- Metadata cache ----------------------------------------------------------------------------

TEST(StoredJsonMetadataCache, RoundTripsAndLeavesOutAbsentValues) {
    const QHash<QString, VideoMetadata> cache = {
        {QStringLiteral("/v/a.mp4"), VideoMetadata{12.0, 1920, 1080}},
        {QStringLiteral("/v/b.mp4"), VideoMetadata{std::nullopt, 640, std::nullopt}},
    };
    const auto json = StoredJson::encodeMetadataCache(cache);
    ASSERT_TRUE(json);
    EXPECT_EQ(parsed(*json), parsed(R"({"/v/a.mp4":{"duration":12,"width":1920,"height":1080},
                                       "/v/b.mp4":{"width":640}})"));
    EXPECT_EQ(StoredJson::decodeMetadataCache(*json), cache);

    const auto read = StoredJson::decodeMetadataCache(
        R"({"/v/c.mp4":{"duration":3.5,"bitrate":9,"height":null}})");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->value(QStringLiteral("/v/c.mp4")), (VideoMetadata{3.5, std::nullopt, {}}));
    EXPECT_FALSE(StoredJson::decodeMetadataCache(R"([])"));
    EXPECT_FALSE(StoredJson::decodeMetadataCache(R"({"/v/c.mp4":{"width":"wide"}})"));
}

// --- Library document --------------------------------------------------------------------------

QByteArray libraryDocument(const char* sortOrder) {
    return QByteArray(R"([{"id":")") + kPlaylistId + R"(","name":"Evening","items":[{"id":")" +
           kItemId +
           R"(","filename":"a.mp4","folderPath":"/v","isExcluded":false,"addedDate":5}],)"
           R"("shuffleEnabled":true,"loopEnabled":false,"sortOrder":)" +
           sortOrder + R"(,"createdDate":694224000,"modifiedDate":694224060.5,"pinned":true}])";
}

TEST(StoredJsonLibrary, ReadsAndWritesTheDocument) {
    QString error;
    const auto playlists = StoredJson::decodePlaylists(libraryDocument("3"), &error);
    ASSERT_TRUE(playlists) << error.toStdString();
    ASSERT_EQ(playlists->size(), 1);
    const NamedPlaylist& playlist = playlists->at(0);
    EXPECT_EQ(playlist.id, QUuid::fromString(QLatin1String(kPlaylistId)));
    EXPECT_EQ(playlist.name, "Evening");
    ASSERT_EQ(playlist.items.size(), 1);
    EXPECT_EQ(playlist.items.at(0).filename, "a.mp4");
    EXPECT_TRUE(playlist.shuffleEnabled);
    EXPECT_FALSE(playlist.loopEnabled);
    EXPECT_EQ(playlist.sortOrder, PlaylistSortOrder::DateAdded);
    EXPECT_EQ(playlist.createdDate.toDateTime(),
              QDateTime(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(playlist.modifiedDate.secondsSinceReferenceDate, 694224060.5);

    // Written back: the same document without the unknown key.
    const auto written = StoredJson::encodePlaylists(*playlists);
    ASSERT_TRUE(written);
    QJsonArray expected = parsed(libraryDocument("3")).toArray();
    QJsonObject object = expected.at(0).toObject();
    object.remove(QStringLiteral("pinned"));
    expected.replace(0, object);
    EXPECT_EQ(parsed(*written), QJsonValue(expected)) << written->toStdString();
    EXPECT_EQ(StoredJson::decodePlaylists(*written), playlists);
}

TEST(StoredJsonLibrary, AnUnknownSortOrderOrAMissingKeyMakesTheWholeDocumentUnreadable) {
    for (const char* order : {"0", "4"})
        EXPECT_TRUE(StoredJson::decodePlaylists(libraryDocument(order))) << order;
    for (const char* order : {"5", "-1", "1.5", "\"name\""}) {
        QString error;
        EXPECT_FALSE(StoredJson::decodePlaylists(libraryDocument(order), &error)) << order;
        EXPECT_FALSE(error.isEmpty());
    }
    // A good playlist beside a bad one does not survive either.
    const QByteArray good = libraryDocument("1");
    const QByteArray bad = libraryDocument("7");
    EXPECT_FALSE(StoredJson::decodePlaylists(good.chopped(1) + "," + bad.mid(1)));

    for (const char* key : {"items", "shuffleEnabled", "createdDate", "modifiedDate", "name"}) {
        QJsonArray document = parsed(libraryDocument("0")).toArray();
        QJsonObject object = document.at(0).toObject();
        object.remove(QLatin1String(key));
        document.replace(0, object);
        EXPECT_FALSE(StoredJson::decodePlaylists(QJsonDocument(document).toJson())) << key;
    }
}

// --- Value types -------------------------------------------------------------------------------

TEST(PlaylistItemValues, FilesAndLookupKeys) {
    const QUrl url = QUrl::fromLocalFile(QStringLiteral("/home/me/Sea Side/wave 1.mp4"));
    const PlaylistItem fresh = PlaylistItem::forFile(url);
    EXPECT_FALSE(fresh.id.isNull());
    EXPECT_EQ(fresh.filename, "wave 1.mp4");
    EXPECT_EQ(fresh.folderPath, "/home/me/Sea Side");
    EXPECT_FALSE(fresh.isExcluded);
    EXPECT_FALSE(fresh.customOrder || fresh.duration || fresh.width || fresh.height);
    EXPECT_EQ(fresh.fileURL(), url);
    EXPECT_EQ(fresh.lookupKey(), "/home/me/Sea Side/wave 1.mp4");
    EXPECT_EQ(PlaylistItem::lookupKey(url), fresh.lookupKey());
    EXPECT_NE(PlaylistItem::forFile(url).id, fresh.id);
}

TEST(PlaylistItemValues, DurationText) {
    PlaylistItem entry = item(QStringLiteral("a.mp4"));
    EXPECT_FALSE(entry.durationText());
    const std::pair<double, const char*> cases[] = {
        {0.0, "0:00"},       {9.99, "0:09"},      {65.9, "1:05"},       {3599.9, "59:59"},
        {3600.0, "1:00:00"}, {3725.0, "1:02:05"}, {36000.0, "10:00:00"}};
    for (const auto& [duration, text] : cases) {
        entry.duration = duration;
        EXPECT_EQ(entry.durationText(), QString::fromLatin1(text)) << duration;
    }
    entry.duration = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(entry.durationText());
    entry.duration = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(entry.durationText());
}

TEST(PlaylistItemValues, ResolutionAndAspectTexts) {
    PlaylistItem entry = item(QStringLiteral("a.mp4"));
    EXPECT_FALSE(entry.resolutionText());
    EXPECT_FALSE(entry.aspectText());
    entry.width = 1920;
    EXPECT_FALSE(entry.resolutionText());
    EXPECT_FALSE(entry.aspectText());

    const std::tuple<qint64, qint64, const char*, const char*> cases[] = {
        {1920, 1080, "1920\u00D71080", "16:9"},  {1920, 800, "1920\u00D7800", "2.35:1"},
        {1280, 1024, "1280\u00D71024", "4:3"},   {3000, 1000, "3000\u00D71000", "3.00:1"},
        {2520, 1080, "2520\u00D71080", "21:9"},  {1080, 1920, "1080\u00D71920", "9:16"},
        {500, 500, "500\u00D7500", "1:1"},       {1440, 960, "1440\u00D7960", "3:2"},
        {1998, 1080, "1998\u00D71080", "1.85:1"}};
    for (const auto& [width, height, resolution, aspect] : cases) {
        entry.width = width;
        entry.height = height;
        EXPECT_EQ(entry.resolutionText(), QString::fromUtf8(resolution));
        EXPECT_EQ(entry.aspectText(), QString::fromLatin1(aspect)) << width << "x" << height;
    }
    entry.height = 0;
    EXPECT_EQ(entry.resolutionText(), QString::fromUtf8("1998\u00D70"));
    EXPECT_FALSE(entry.aspectText());
}

TEST(NamedPlaylistValues, CountsTotalsAndPlayableFiles) {
    NamedPlaylist playlist;
    PlaylistItem a = item(QStringLiteral("a.mp4"));
    PlaylistItem b = item(QStringLiteral("b.mp4"));
    PlaylistItem c = item(QStringLiteral("c.mp4"), QStringLiteral("/other"));
    b.isExcluded = true;
    b.duration = 1000.0;
    playlist.items = {a, b, c};
    EXPECT_EQ(playlist.enabledCount(), 2);
    // Only an excluded item has a duration: no total.
    EXPECT_FALSE(playlist.totalDuration());
    EXPECT_FALSE(playlist.totalDurationText());

    playlist.items[0].duration = 45 * 60 + 59.9;
    EXPECT_EQ(playlist.totalDuration(), 45 * 60 + 59.9);
    EXPECT_EQ(playlist.totalDurationText(), "45m");
    playlist.items[2].duration = 19 * 60 + 10.5;
    EXPECT_EQ(playlist.totalDurationText(), "1h 5m");
    playlist.items[0].duration = 20.0;
    playlist.items[2].duration = 39.0;
    EXPECT_EQ(playlist.totalDurationText(), "0m");

    playlist.sortOrder = PlaylistSortOrder::Name;
    playlist.items = {c, b, a};
    EXPECT_EQ(playlist.playableURLs(),
              (QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/videos/a.mp4")),
                           QUrl::fromLocalFile(QStringLiteral("/other/c.mp4"))}));
}

TEST(PlaylistSortOrderValues, CasesLabelsAndSymbols) {
    const QStringList labels = {"Manual", "Name", "Duration", "Date Added", "Resolution"};
    const QStringList symbols = {"hand.draw", "textformat.abc", "clock", "calendar",
                                 "rectangle.expand.vertical"};
    int value = 0;
    for (PlaylistSortOrder order : PlaylistSortOrders::all) {
        EXPECT_EQ(int(order), value);
        EXPECT_EQ(PlaylistSortOrders::fromValue(value), order);
        EXPECT_EQ(PlaylistSortOrders::label(order), labels.at(value));
        EXPECT_EQ(PlaylistSortOrders::symbol(order), symbols.at(value));
        ++value;
    }
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(PlaylistSortOrders::fromValue(5));
    EXPECT_FALSE(PlaylistSortOrders::fromValue(-1));
}

TEST(PlaylistSortOrderValues, ManualOrderPutsCustomOrdersFirstAndKeepsTheRest) {
    QList<PlaylistItem> items;
    for (const char* name : {"a", "b", "c", "d", "e"})
        items.append(item(QString::fromLatin1(name)));
    EXPECT_EQ(names(NamedPlaylist::sorted(items, PlaylistSortOrder::Manual)),
              names(items)); // no custom orders: the stored order
    items[1].customOrder = 7;
    items[3].customOrder = 2;
    items[4].customOrder = 7;
    EXPECT_EQ(names(NamedPlaylist::sorted(items, PlaylistSortOrder::Manual)),
              (QStringList{"d", "b", "e", "a", "c"}));
}

TEST(PlaylistSortOrderValues, NameOrderIsCaseInsensitiveAndLocaleAware) {
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QList<PlaylistItem> items;
    for (const char* name :
         {"banana.mp4", "Cherry.mp4", "apple.mp4", "\u00E9clair.mp4", "Apple.mp4", "fig.mp4"})
        items.append(item(QString::fromUtf8(name)));
    const QStringList sorted = names(NamedPlaylist::sorted(items, PlaylistSortOrder::Name));
    QLocale::setDefault(previous);
    // "apple" and "Apple" are equal here, so they keep their stored order; "é" sorts with "e".
    EXPECT_EQ(sorted, (QStringList{"apple.mp4", "Apple.mp4", "banana.mp4", "Cherry.mp4",
                                   QString::fromUtf8("\u00E9clair.mp4"), "fig.mp4"}));
}

TEST(PlaylistSortOrderValues, DurationDateAndResolutionOrders) {
    QList<PlaylistItem> items;
    for (const char* name : {"a", "b", "c", "d", "e"})
        items.append(item(QString::fromLatin1(name)));
    items[0].duration = 30.0;
    items[1].duration = 10.0;
    items[3].duration = 10.0;
    // Unknown (c, e) first, equal durations in stored order.
    EXPECT_EQ(names(NamedPlaylist::sorted(items, PlaylistSortOrder::Duration)),
              (QStringList{"c", "e", "b", "d", "a"}));

    items[0].addedDate = Timestamp{50.0};
    items[1].addedDate = Timestamp{-10.0};
    items[4].addedDate = Timestamp{50.0};
    EXPECT_EQ(names(NamedPlaylist::sorted(items, PlaylistSortOrder::DateAdded)),
              (QStringList{"b", "a", "e", "c", "d"}));

    items[0].width = 1920;
    items[0].height = 1080;
    items[1].width = 3840;
    items[1].height = 2160;
    items[2].width = 4000; // no height: unknown size
    items[3].width = 1080;
    items[3].height = 1920;
    EXPECT_EQ(names(NamedPlaylist::sorted(items, PlaylistSortOrder::Resolution)),
              (QStringList{"b", "a", "d", "c", "e"}));
}

} // namespace
