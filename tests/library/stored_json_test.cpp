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

using namespace Qt::StringLiterals;

namespace {

const char* const kItemId = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
const char* const kPlaylistId = "0F1D2C3B-4A59-4687-9A5B-C6D7E8F90A1B";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

QJsonValue parsed(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

PlaylistItem item(const QString& filename, const QString& folderPath = "/videos") {
    return {QUuid::createUuid(), filename, folderPath, false, {}, Timestamp{100.0}, {}, {}, {}};
}

TEST(StoredJsonItems, ReadsAndWritesTheStoredForm) {
    // The custom order is present though zero.
    const QString folder = "/home/me/Videos";
    const PlaylistItem full{QUuid(kItemId), "beach.mp4", folder, true, 0, {}, 12.5, 1920, 1080};
    PlaylistItem bare = item("city.mkv", folder);
    bare.id = QUuid::fromString(QLatin1String("E621E1F8-C36C-495A-93FC-0C247A3E6E60"));
    bare.addedDate =
        Timestamp::fromDateTime(QDateTime(QDate(2023, 1, 1), QTime(0, 0, 0, 250), Qt::UTC));
    EXPECT_EQ(bare.addedDate.secondsSinceReferenceDate, 694224000.25);
    EXPECT_EQ(full.addedDate.toDateTime(), QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
    const QList<PlaylistItem> items = {full, bare};

    // Read: lower-case UUID text, unknown keys ignored, null optionals read as absent.
    QString error;
    const auto read = StoredJson::decodeItems(R"([
        {"id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","filename":"beach.mp4",
         "folderPath":"/home/me/Videos","isExcluded":true,"customOrder":0,"addedDate":0,
         "duration":12.5,"width":1920,"height":1080,"colour":"blue"},
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E60","filename":"city.mkv",
         "folderPath":"/home/me/Videos","isExcluded":false,"addedDate":694224000.25,
         "customOrder":null,"duration":null,"width":null,"height":null}
    ])",
                                              &error);
    ASSERT_TRUE(read) << error.toStdString();
    EXPECT_EQ(*read, items);

    // Written: compact, upper-case UUIDs, absent values left out; and back again unchanged.
    const auto json = StoredJson::encodeItems(items);
    ASSERT_TRUE(json);
    EXPECT_FALSE(json->contains('\n')) << "no pretty printing";
    EXPECT_EQ(parsed(*json), parsed(R"([
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","filename":"beach.mp4",
         "folderPath":"/home/me/Videos","isExcluded":true,"customOrder":0,"addedDate":0,
         "duration":12.5,"width":1920,"height":1080},
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E60","filename":"city.mkv",
         "folderPath":"/home/me/Videos","isExcluded":false,"addedDate":694224000.25}
    ])"))
        << json->toStdString();
    EXPECT_EQ(StoredJson::decodeItems(*json), items);
}

TEST(StoredJsonItems, ANonFiniteDurationCannotBeWritten) {
    for (double duration : {kNaN, kInfinity}) {
        SCOPED_TRACE(duration);
        PlaylistItem unknown = item("a.mp4");
        unknown.duration = duration;
        QString error;
        EXPECT_FALSE(StoredJson::encodeItems({item("b.mp4"), unknown}, &error));
        EXPECT_FALSE(error.isEmpty());

        NamedPlaylist playlist;
        playlist.id = QUuid::createUuid();
        playlist.items = {unknown};
        EXPECT_FALSE(StoredJson::encodePlaylists({playlist}, &error));
        EXPECT_FALSE(
            StoredJson::encodeMetadataCache({{"/v/a.mp4", VideoMetadata{duration, 1, 1}}}, &error));
    }
}

TEST(StoredJsonText, AgreesWithQtsJsonReaderAndWriter) {
    // Random items whose texts mix plain text, JSON's special characters, controls, accents, other
    // scripts and characters beyond the basic plane.
    const QList<uint> pool = QString::fromUtf8("abcXYZ019 ./-_\"\\\n\t\r\b\f\x01\x1f\x7f"
                                               "\u00E9\u00FC\u00DF\u65E5\u672C\u0416\U0001F600")
                                 .toUcs4();
    std::uint32_t seed = 12345;
    const auto next = [&seed](std::uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    const auto text = [&] {
        QString result;
        for (int n = int(next(24)); n > 0; --n) {
            const char32_t c = pool.at(qsizetype(next(std::uint32_t(pool.size()))));
            result += QString::fromUcs4(&c, 1);
        }
        return result;
    };
    QList<PlaylistItem> items;
    for (int n = 0; n < 500; ++n) {
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
    const auto ours = StoredJson::encodeItems(items);
    ASSERT_TRUE(ours);
    EXPECT_EQ(StoredJson::decodeItems(*ours), items);
    // Our text is JSON that Qt reads; Qt's text of the same values, compact or indented, reads
    // back as the same items.
    const QJsonDocument read = QJsonDocument::fromJson(*ours);
    ASSERT_EQ(read.array().size(), items.size());
    for (auto format : {QJsonDocument::Compact, QJsonDocument::Indented})
        EXPECT_EQ(StoredJson::decodeItems(read.toJson(format)), items) << format;
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

TEST(StoredJsonText, WritesBackExactlyWhatItRead) {
    // A file-name byte that isn't UTF-8 is held as a lone surrogate (U+DCE9 for Latin-1 "é"):
    // written as its escape, like any other lone surrogate. A leading U+FEFF and a negative zero
    // are kept too.
    const QByteArray json = R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)"
                            "\"filename\":\"\xef\xbb\xbfr\\udc00ed.mp4\","
                            R"("folderPath":"/v/caf\udce9","isExcluded":false,"addedDate":1,)"
                            R"("duration":-0}])";
    const auto items = StoredJson::decodeItems(json);
    ASSERT_TRUE(items);
    const PlaylistItem& entry = items->at(0);
    EXPECT_EQ(entry.filename, QChar(0xFEFF) + u"r"_s + QChar(0xDC00) + u"ed.mp4"_s);
    EXPECT_EQ(entry.folderPath, u"/v/caf"_s + QChar(0xDCE9));
    EXPECT_EQ(StoredJson::encodeItems(*items), json);

    // The metadata cache, keyed by such paths, in key order.
    const QHash<QString, VideoMetadata> cache = {{entry.lookupKey(), VideoMetadata{1.5, 2, 3}},
                                                 {"/v/a.mp4", VideoMetadata{}}};
    const QByteArray cacheJson = "{\"/v/a.mp4\":{},\"/v/caf\\udce9/\xef\xbb\xbfr\\udc00ed.mp4\":"
                                 "{\"duration\":1.5,\"width\":2,\"height\":3}}";
    EXPECT_EQ(StoredJson::encodeMetadataCache(cache), cacheJson);
    EXPECT_EQ(StoredJson::decodeMetadataCache(cacheJson), cache);
}

TEST(StoredJsonText, RefusesMalformedTextAndIncompleteItems) {
    const QByteArray id = R"("id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)";
    const QByteArray item = "{" + id +
                            R"("filename":"a","folderPath":"/v","isExcluded":false,)"
                            R"("addedDate":)";
    QList<QByteArray> broken = {"",     "   ", "[",   "[]x",   "[] []",
                                "[1,]", "[,]", "nul", "[tru]", "{\"a\":1}"}; // the last: no array
    // Numbers: a leading zero, no digits, no fraction or integer part, a plus sign, no exponent
    // digits, beyond a double, not JSON.
    for (const char* number : {"01", "-", "1.", ".5", "+1", "1e", "1e400", "NaN"})
        broken.append("[" + item + number + "}]");
    // After a good number: a trailing comma, a missing comma or colon, an unknown or short
    // escape, a raw control character, not UTF-8, a cut UTF-8 sequence, an encoded surrogate, an
    // unterminated string, too deep nesting, a width that is not an integer.
    for (const QByteArray& rest : std::initializer_list<QByteArray>{
             ",", " \"x\":1", ",\"x\"", ",\"x\":\"\\q\"", ",\"x\":\"\\u12\"", ",\"x\":\"a\nb\"",
             ",\"x\":\"\xff\"", ",\"x\":\"\xc3\"", ",\"x\":\"\xed\xa0\x80\"", ",\"x\":\"abc",
             ",\"x\":" + QByteArray(2000, '[') + QByteArray(2000, ']'), ",\"width\":19.5"})
        broken.append("[" + item + "1" + rest + "}]");
    // No isExcluded, no addedDate, an id not as stored.
    broken.append("[{" + id + R"("filename":"a","folderPath":"/v","addedDate":1}])");
    broken.append("[{" + id + R"("filename":"a","folderPath":"/v","isExcluded":false}])");
    broken.append(R"([{"id":"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}","filename":"a",)"
                  R"("folderPath":"/v","isExcluded":false,"addedDate":1}])");
    // The item itself is fine once complete, also with moderate nesting in an unknown member.
    ASSERT_TRUE(StoredJson::decodeItems("[" + item + "1}]"));
    EXPECT_TRUE(StoredJson::decodeItems("[" + item + "1,\"x\":" + QByteArray(100, '[') +
                                        QByteArray(100, ']') + "}]"));
    for (const QByteArray& json : broken) {
        SCOPED_TRACE(json.left(200).toStdString());
        QString error;
        EXPECT_FALSE(StoredJson::decodeItems(json, &error));
        EXPECT_TRUE(error.startsWith("The data couldn\u2019t be read")) << error.toStdString();
    }
}

TEST(StoredJsonMetadataCache, RoundTripsAndLeavesOutAbsentValues) {
    const QHash<QString, VideoMetadata> cache = {
        {"/v/a.mp4", VideoMetadata{12.0, 1920, 1080}},
        {"/v/b.mp4", VideoMetadata{std::nullopt, 640, std::nullopt}}};
    const auto json = StoredJson::encodeMetadataCache(cache);
    ASSERT_TRUE(json);
    EXPECT_EQ(parsed(*json), parsed(R"({"/v/a.mp4":{"duration":12,"width":1920,"height":1080},
                                       "/v/b.mp4":{"width":640}})"));
    EXPECT_EQ(StoredJson::decodeMetadataCache(*json), cache);

    const auto read = StoredJson::decodeMetadataCache(
        R"({"/v/c.mp4":{"duration":3.5,"bitrate":9,"height":null}})");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->value("/v/c.mp4"), (VideoMetadata{3.5, std::nullopt, {}}));
    EXPECT_FALSE(StoredJson::decodeMetadataCache(R"([])"));
    EXPECT_FALSE(StoredJson::decodeMetadataCache(R"({"/v/c.mp4":{"width":"wide"}})"));
}

QByteArray libraryDocument(const char* sortOrder) {
    return QByteArray(R"([{"id":")") + kPlaylistId + R"(","name":"Evening","items":[{"id":")" +
           kItemId +
           R"(","filename":"a.mp4","folderPath":"/v","isExcluded":false,"addedDate":5}],)"
           R"("shuffleEnabled":true,"loopEnabled":false,"sortOrder":)" +
           sortOrder + R"(,"createdDate":694224000,"modifiedDate":694224060.5,"pinned":true}])";
}

// The library document with one key of its playlist removed.
QByteArray libraryDocumentWithout(const char* key) {
    QJsonArray document = parsed(libraryDocument("3")).toArray();
    QJsonObject object = document.at(0).toObject();
    object.remove(QLatin1String(key));
    document.replace(0, object);
    return QJsonDocument(document).toJson();
}

TEST(StoredJsonLibrary, ReadsAndWritesTheDocument) {
    QString error;
    const auto playlists = StoredJson::decodePlaylists(libraryDocument("3"), &error);
    ASSERT_TRUE(playlists) << error.toStdString();
    ASSERT_EQ(playlists->size(), 1);
    EXPECT_EQ(playlists->at(0).sortOrder, PlaylistSortOrder::DateAdded);
    EXPECT_EQ(playlists->at(0).modifiedDate.secondsSinceReferenceDate, 694224060.5);

    // Written back: the same document without the unknown key, so every field was read.
    const auto written = StoredJson::encodePlaylists(*playlists);
    ASSERT_TRUE(written);
    EXPECT_EQ(parsed(*written), parsed(libraryDocumentWithout("pinned"))) << written->toStdString();
    EXPECT_EQ(StoredJson::decodePlaylists(*written), playlists);
}

TEST(StoredJsonLibrary, AnUnknownSortOrderOrAMissingKeyMakesTheWholeDocumentUnreadable) {
    for (const char* order : {"0", "4"})
        EXPECT_TRUE(StoredJson::decodePlaylists(libraryDocument(order))) << order;
    QList<QByteArray> broken;
    for (const char* order : {"5", "-1", "1.5", "\"name\""})
        broken.append(libraryDocument(order));
    // A good playlist beside a bad one does not survive either.
    broken.append(libraryDocument("1").chopped(1) + "," + libraryDocument("7").mid(1));
    for (const char* key : {"items", "shuffleEnabled", "createdDate", "modifiedDate", "name"})
        broken.append(libraryDocumentWithout(key));
    for (const QByteArray& json : broken) {
        SCOPED_TRACE(json.toStdString());
        QString error;
        EXPECT_FALSE(StoredJson::decodePlaylists(json, &error));
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(PlaylistItemValues, FilesAndLookupKeys) {
    const QUrl url = QUrl::fromLocalFile("/home/me/Sea Side/wave 1.mp4");
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

TEST(PlaylistItemValues, DurationResolutionAndAspectTexts) {
    PlaylistItem entry = item("a.mp4");
    EXPECT_FALSE(entry.durationText());
    EXPECT_FALSE(entry.resolutionText());
    EXPECT_FALSE(entry.aspectText());
    const std::pair<double, const char*> cases[] = {
        {0.0, "0:00"},       {9.99, "0:09"},      {65.9, "1:05"},       {3599.9, "59:59"},
        {3600.0, "1:00:00"}, {3725.0, "1:02:05"}, {36000.0, "10:00:00"}};
    for (const auto& [duration, text] : cases) {
        entry.duration = duration;
        EXPECT_EQ(entry.durationText(), QString::fromLatin1(text)) << duration;
    }
    for (double unknown : {kNaN, kInfinity}) {
        entry.duration = unknown;
        EXPECT_FALSE(entry.durationText()) << unknown;
    }

    entry.width = 1920;
    EXPECT_FALSE(entry.resolutionText());
    EXPECT_FALSE(entry.aspectText());

    // Exact, nearest within 0.1 (2.4 is nearer 2.35 than 21:9), portrait, and none near.
    const std::tuple<qint64, qint64, const char*> aspects[] = {
        {1920, 1080, "16:9"}, {1920, 800, "2.35:1"}, {1080, 1920, "9:16"}, {3000, 1000, "3.00:1"}};
    for (const auto& [width, height, aspect] : aspects) {
        entry.width = width;
        entry.height = height;
        EXPECT_EQ(entry.aspectText(), QString::fromLatin1(aspect)) << width << "x" << height;
    }
    EXPECT_EQ(entry.resolutionText(), QString::fromUtf8("3000\u00D71000"));
    entry.height = 0;
    EXPECT_EQ(entry.resolutionText(), QString::fromUtf8("3000\u00D70"));
    EXPECT_FALSE(entry.aspectText());
}

TEST(NamedPlaylistValues, CountsTotalsAndPlayableFiles) {
    NamedPlaylist playlist;
    PlaylistItem a = item("a.mp4");
    PlaylistItem b = item("b.mp4");
    PlaylistItem c = item("c.mp4", "/other");
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
    EXPECT_EQ(playlist.playableURLs(), (QList<QUrl>{QUrl::fromLocalFile("/videos/a.mp4"),
                                                    QUrl::fromLocalFile("/other/c.mp4")}));
}

TEST(PlaylistSortOrderValues, EachOrderSortsByItsKeyUnknownFirstTiesInStoredOrder) {
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QList<PlaylistItem> items;
    for (const char* name : {"banana", "fig", "Apple", "\u00E9clair", "apple"})
        items.append(item(QString::fromUtf8(name)));
    // No custom orders: the stored order.
    EXPECT_EQ(testutil::fileNames(NamedPlaylist::sorted(items, PlaylistSortOrder::Manual)),
              testutil::fileNames(items));
    // Each order's key, set apart from the others' so that the rows stay independent.
    items[1].customOrder = items[4].customOrder = 7;
    items[3].customOrder = 2;
    items[0].addedDate = items[4].addedDate = Timestamp{50.0};
    items[1].addedDate = Timestamp{-10.0};
    items[0].applyMetadata({30.0, 1920, 1080});
    items[1].applyMetadata({10.0, 3840, 2160});
    items[2].applyMetadata({std::nullopt, 4000, std::nullopt}); // no height: unknown size
    items[3].applyMetadata({10.0, 1080, 1920});
    const QString eclair = QString::fromUtf8("\u00E9clair");
    const std::pair<PlaylistSortOrder, QStringList> cases[] = {
        {PlaylistSortOrder::Manual, {eclair, "fig", "apple", "banana", "Apple"}}, // custom first
        {PlaylistSortOrder::Duration, {"Apple", "apple", "fig", eclair, "banana"}},
        {PlaylistSortOrder::DateAdded, {"fig", "banana", "apple", "Apple", eclair}},
        {PlaylistSortOrder::Resolution, {"fig", "banana", eclair, "Apple", "apple"}},
        // Case does not count ("Apple" and "apple" keep their stored order); "é" sorts with "e".
        {PlaylistSortOrder::Name, {"Apple", "apple", "banana", eclair, "fig"}}};
    for (const auto& [order, expected] : cases) {
        SCOPED_TRACE(PlaylistSortOrders::label(order).toStdString());
        EXPECT_EQ(testutil::fileNames(NamedPlaylist::sorted(items, order)), expected);
    }
    QLocale::setDefault(previous);
}

} // namespace
