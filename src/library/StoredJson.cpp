#include "library/StoredJson.h"

#include "library/JsonReader.h"
#include "library/JsonWriter.h"

#include <QStringList>

#include <cmath>
#include <string_view>

// The records are mapped to and from JSON text directly (JsonWriter, JsonReader), without
// QJsonDocument's trees, which cost several times the text itself for a large library.

namespace StoredJson {

namespace {

const QString kMissing = QStringLiteral("The data couldn\u2019t be read because it is missing.");
const QString kWriteFailure = QStringLiteral(
    "The data couldn\u2019t be written because it isn\u2019t in the correct format.");

// --- Writing -----------------------------------------------------------------------------------

// JSON has no NaN or infinity; such a number makes the whole document unwritable. The place
// is described (where() is called) only then.
template <typename Where>
bool putFinite(JsonWriter& writer, const char* key, double value, const Where& where,
               QString* problem) {
    if (!std::isfinite(value)) {
        if (problem->isEmpty()) {
            *problem = kWriteFailure + QStringLiteral(" (%1: \"%2\" is not a finite number)")
                                           .arg(where(), QString::fromLatin1(key));
        }
        return false;
    }
    writer.key(key);
    writer.number(value);
    return true;
}

void putOptionalInteger(JsonWriter& writer, const char* key, const std::optional<qint64>& value) {
    if (!value)
        return;
    writer.key(key);
    writer.integer(*value);
}

bool writeItem(JsonWriter& writer, const PlaylistItem& item, QString* problem) {
    const auto where = [&item] {
        return item.lookupKey();
    };
    writer.put('{');
    writer.key("id");
    writer.string(uuidText(item.id));
    writer.key("filename");
    writer.string(item.filename);
    writer.key("folderPath");
    writer.string(item.folderPath);
    writer.key("isExcluded");
    writer.boolean(item.isExcluded);
    putOptionalInteger(writer, "customOrder", item.customOrder);
    if (!putFinite(writer, "addedDate", item.addedDate.secondsSinceReferenceDate, where, problem) ||
        (item.duration && !putFinite(writer, "duration", *item.duration, where, problem)))
        return false;
    putOptionalInteger(writer, "width", item.width);
    putOptionalInteger(writer, "height", item.height);
    writer.put('}');
    return true;
}

bool writeItems(JsonWriter& writer, const QList<PlaylistItem>& items, QString* problem) {
    writer.put('[');
    for (qsizetype n = 0; n < items.size(); ++n) {
        if (n > 0)
            writer.put(',');
        if (!writeItem(writer, items.at(n), problem))
            return false;
    }
    writer.put(']');
    return true;
}

std::optional<QByteArray> written(bool ok, JsonWriter& writer, const QString& problem,
                                  QString* error) {
    if (!ok) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    return writer.take();
}

// About what one item takes as text, so the buffer rarely grows.
constexpr qsizetype kItemSizeEstimate = 256;

// --- Reading -----------------------------------------------------------------------------------

using Value = JsonReader::Value;

// A member seen in an object: absent until seen; a key seen twice keeps its last value.
struct Member {
    bool seen = false;
    Value value;
    bool absent() const { return !seen || value.kind == Value::Kind::Null; }
};

// Where in the document a record is, made into text only when there is a problem to describe.
struct Where {
    std::string_view name;
    qsizetype index = -1;
    const Where* parent = nullptr;
    bool quoted = false; // a member name from the document

    QString text() const {
        QString result = parent ? parent->text() : QString();
        if (!name.empty()) {
            if (!result.isEmpty())
                result += QLatin1Char('.');
            const QString part = QString::fromUtf8(name.data(), qsizetype(name.size()));
            result += quoted ? QLatin1Char('"') + part + QLatin1Char('"') : part;
        }
        if (index >= 0)
            result += QLatin1Char('[') + QString::number(index) + QLatin1Char(']');
        return result;
    }
};

bool missing(JsonReader& reader, const Where& where, const char* key) {
    return reader.fail(
        kMissing,
        QStringLiteral("%1: no value for key \"%2\"").arg(where.text(), QString::fromLatin1(key)));
}

bool wrongType(JsonReader& reader, const Where& where, const char* key, const char* expected) {
    return reader.fail(JsonReader::kFormatFailure, QStringLiteral("%1: \"%2\" is not %3")
                                                       .arg(where.text(), QString::fromLatin1(key),
                                                            QString::fromLatin1(expected)));
}

bool notA(JsonReader& reader, const Where& where, const char* what) {
    return reader.fail(JsonReader::kFormatFailure,
                       where.text() + QStringLiteral(" is not ") + QString::fromLatin1(what));
}

bool requiredString(JsonReader& reader, const Member& member, const Where& where, const char* key,
                    QString* out) {
    if (member.absent())
        return missing(reader, where, key);
    if (member.value.kind != Value::Kind::String)
        return wrongType(reader, where, key, "a string");
    *out = member.value.string;
    return true;
}

bool requiredBool(JsonReader& reader, const Member& member, const Where& where, const char* key,
                  bool* out) {
    if (member.absent())
        return missing(reader, where, key);
    if (member.value.kind != Value::Kind::Bool)
        return wrongType(reader, where, key, "a boolean");
    *out = member.value.boolean;
    return true;
}

bool requiredUuid(JsonReader& reader, const Member& member, const Where& where, const char* key,
                  QUuid* out) {
    QString text;
    if (!requiredString(reader, member, where, key, &text))
        return false;
    const QUuid id = QUuid::fromString(text);
    // Only the bare 36-character form is a stored UUID.
    if (text.size() != 36 || id.isNull())
        return wrongType(reader, where, key, "a UUID");
    *out = id;
    return true;
}

bool requiredDate(JsonReader& reader, const Member& member, const Where& where, const char* key,
                  Timestamp* out) {
    if (member.absent())
        return missing(reader, where, key);
    if (member.value.kind != Value::Kind::Number)
        return wrongType(reader, where, key, "a date (seconds since 2001-01-01)");
    *out = Timestamp{member.value.number};
    return true;
}

// Absent and null both leave *out empty.
bool optionalDouble(JsonReader& reader, const Member& member, const Where& where, const char* key,
                    std::optional<double>* out) {
    if (member.absent()) {
        out->reset();
        return true;
    }
    if (member.value.kind != Value::Kind::Number)
        return wrongType(reader, where, key, "a number");
    *out = member.value.number;
    return true;
}

bool optionalInteger(JsonReader& reader, const Member& member, const Where& where, const char* key,
                     std::optional<qint64>* out) {
    if (member.absent()) {
        out->reset();
        return true;
    }
    qint64 number = 0;
    if (!member.value.toInteger(&number))
        return wrongType(reader, where, key, "an integer");
    *out = number;
    return true;
}

bool readItem(JsonReader& reader, const Where& where, PlaylistItem* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && notA(reader, where, "an object");
    }
    Member id, filename, folderPath, isExcluded, addedDate, customOrder, duration, width, height;
    const bool read = reader.object([&](std::string_view key) {
        Member* member = nullptr;
        if (key == "id")
            member = &id;
        else if (key == "filename")
            member = &filename;
        else if (key == "folderPath")
            member = &folderPath;
        else if (key == "isExcluded")
            member = &isExcluded;
        else if (key == "addedDate")
            member = &addedDate;
        else if (key == "customOrder")
            member = &customOrder;
        else if (key == "duration")
            member = &duration;
        else if (key == "width")
            member = &width;
        else if (key == "height")
            member = &height;
        else
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    return read && requiredUuid(reader, id, where, "id", &out->id) &&
           requiredString(reader, filename, where, "filename", &out->filename) &&
           requiredString(reader, folderPath, where, "folderPath", &out->folderPath) &&
           requiredBool(reader, isExcluded, where, "isExcluded", &out->isExcluded) &&
           requiredDate(reader, addedDate, where, "addedDate", &out->addedDate) &&
           optionalInteger(reader, customOrder, where, "customOrder", &out->customOrder) &&
           optionalDouble(reader, duration, where, "duration", &out->duration) &&
           optionalInteger(reader, width, where, "width", &out->width) &&
           optionalInteger(reader, height, where, "height", &out->height);
}

bool readItems(JsonReader& reader, const Where& where, QList<PlaylistItem>* out) {
    if (reader.next() != '[') {
        Value ignored;
        return reader.value(&ignored) && notA(reader, where, "an array");
    }
    out->clear();
    return reader.array([&](qsizetype index) {
        PlaylistItem item;
        if (!readItem(reader, Where{"", index, &where}, &item))
            return false;
        out->append(std::move(item));
        return true;
    });
}

bool readPlaylist(JsonReader& reader, const Where& where, NamedPlaylist* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && notA(reader, where, "an object");
    }
    Member id, name, shuffleEnabled, loopEnabled, sortOrder, createdDate, modifiedDate;
    bool itemsSeen = false;
    bool itemsNull = false;
    const Where itemsWhere{"items", -1, &where};
    const bool read = reader.object([&](std::string_view key) {
        if (key == "items") {
            itemsSeen = true;
            itemsNull = reader.next() == 'n';
            if (itemsNull) {
                Value null;
                return reader.value(&null);
            }
            return readItems(reader, itemsWhere, &out->items);
        }
        Member* member = nullptr;
        if (key == "id")
            member = &id;
        else if (key == "name")
            member = &name;
        else if (key == "shuffleEnabled")
            member = &shuffleEnabled;
        else if (key == "loopEnabled")
            member = &loopEnabled;
        else if (key == "sortOrder")
            member = &sortOrder;
        else if (key == "createdDate")
            member = &createdDate;
        else if (key == "modifiedDate")
            member = &modifiedDate;
        else
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    if (!read || !requiredUuid(reader, id, where, "id", &out->id) ||
        !requiredString(reader, name, where, "name", &out->name))
        return false;
    if (!itemsSeen || itemsNull)
        return missing(reader, where, "items");
    if (!requiredBool(reader, shuffleEnabled, where, "shuffleEnabled", &out->shuffleEnabled) ||
        !requiredBool(reader, loopEnabled, where, "loopEnabled", &out->loopEnabled))
        return false;
    if (sortOrder.absent())
        return missing(reader, where, "sortOrder");
    qint64 order = 0;
    if (!sortOrder.value.toInteger(&order))
        return wrongType(reader, where, "sortOrder", "an integer");
    const auto known = PlaylistSortOrders::fromValue(order);
    if (!known) {
        return reader.fail(
            JsonReader::kFormatFailure,
            QStringLiteral("%1: %2 is not a sort order").arg(where.text()).arg(order));
    }
    out->sortOrder = *known;
    return requiredDate(reader, createdDate, where, "createdDate", &out->createdDate) &&
           requiredDate(reader, modifiedDate, where, "modifiedDate", &out->modifiedDate);
}

bool readMetadata(JsonReader& reader, const Where& where, VideoMetadata* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && notA(reader, where, "an object");
    }
    Member duration, width, height;
    const bool read = reader.object([&](std::string_view key) {
        Member* member = key == "duration" ? &duration
                         : key == "width"  ? &width
                         : key == "height" ? &height
                                           : nullptr;
        if (!member)
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    return read && optionalDouble(reader, duration, where, "duration", &out->duration) &&
           optionalInteger(reader, width, where, "width", &out->width) &&
           optionalInteger(reader, height, where, "height", &out->height);
}

template <typename T>
std::optional<T> finish(JsonReader& reader, bool ok, T&& value, QString* error) {
    ok = ok && reader.finish();
    if (!ok) {
        if (error)
            *error = reader.problem();
        return std::nullopt;
    }
    return std::forward<T>(value);
}

// A top-level value of the wrong kind: a syntax error in it still counts first.
bool expected(JsonReader& reader, const char* what) {
    Value ignored;
    return reader.value(&ignored) && reader.fail(JsonReader::kFormatFailure,
                                                 QStringLiteral("expected ") + QLatin1String(what));
}

} // namespace

QString uuidText(const QUuid& id) {
    // Straight from the bytes: a large library writes tens of thousands of these.
    static const char hex[] = "0123456789ABCDEF";
    const QByteArray bytes = id.toRfc4122();
    char text[36];
    char* out = text;
    for (int n = 0; n < 16; ++n) {
        if (n == 4 || n == 6 || n == 8 || n == 10)
            *out++ = '-';
        const auto byte = static_cast<unsigned char>(bytes.at(n));
        *out++ = hex[byte >> 4];
        *out++ = hex[byte & 0xf];
    }
    return QString::fromLatin1(text, sizeof text);
}

std::optional<QByteArray> encodeItems(const QList<PlaylistItem>& items, QString* error) {
    JsonWriter writer(items.size() * kItemSizeEstimate + 2);
    QString problem;
    const bool ok = writeItems(writer, items, &problem);
    return written(ok, writer, problem, error);
}

std::optional<QList<PlaylistItem>> decodeItems(const QByteArray& json, QString* error) {
    JsonReader reader(json);
    QList<PlaylistItem> items;
    const bool ok = reader.next() == '[' ? readItems(reader, Where{"items"}, &items)
                                         : expected(reader, "an array");
    return finish(reader, ok, std::move(items), error);
}

std::optional<QByteArray> encodeMetadataCache(const QHash<QString, VideoMetadata>& cache,
                                              QString* error) {
    JsonWriter writer(cache.size() * 128 + 2);
    QString problem;
    bool ok = true;
    // In key order, so that the same cache is always written as the same bytes.
    QStringList keys = cache.keys();
    keys.sort();
    writer.put('{');
    for (qsizetype n = 0; ok && n < keys.size(); ++n) {
        const QString& key = keys.at(n);
        if (n > 0)
            writer.put(',');
        writer.string(key);
        writer.put(":{");
        const VideoMetadata& metadata = *cache.constFind(key);
        if (metadata.duration)
            ok = putFinite(
                writer, "duration", *metadata.duration, [&key] { return key; }, &problem);
        putOptionalInteger(writer, "width", metadata.width);
        putOptionalInteger(writer, "height", metadata.height);
        writer.put('}');
    }
    writer.put('}');
    return written(ok, writer, problem, error);
}

std::optional<QHash<QString, VideoMetadata>> decodeMetadataCache(const QByteArray& json,
                                                                 QString* error) {
    JsonReader reader(json);
    QHash<QString, VideoMetadata> cache;
    bool ok = false;
    if (reader.next() == '{') {
        // Member names are file paths here, so each is read as text of its own.
        ok = reader.object([&](std::string_view key) {
            const QString path = reader.memberName(key);
            VideoMetadata metadata;
            if (!readMetadata(reader, Where{key, -1, nullptr, true}, &metadata))
                return false;
            cache.insert(path, metadata);
            return true;
        });
    } else {
        ok = expected(reader, "an object");
    }
    return finish(reader, ok, std::move(cache), error);
}

std::optional<QByteArray> encodePlaylists(const QList<NamedPlaylist>& playlists, QString* error) {
    qsizetype itemCount = 0;
    for (const NamedPlaylist& playlist : playlists)
        itemCount += playlist.items.size();
    JsonWriter writer(itemCount * kItemSizeEstimate + playlists.size() * 256 + 2);
    QString problem;
    bool ok = true;
    writer.put('[');
    for (qsizetype n = 0; ok && n < playlists.size(); ++n) {
        const NamedPlaylist& playlist = playlists.at(n);
        if (n > 0)
            writer.put(',');
        writer.put('{');
        writer.key("id");
        writer.string(uuidText(playlist.id));
        writer.key("name");
        writer.string(playlist.name);
        writer.key("items");
        ok = writeItems(writer, playlist.items, &problem);
        writer.key("shuffleEnabled");
        writer.boolean(playlist.shuffleEnabled);
        writer.key("loopEnabled");
        writer.boolean(playlist.loopEnabled);
        writer.key("sortOrder");
        writer.integer(int(playlist.sortOrder));
        const auto where = [&playlist] {
            return playlist.name;
        };
        ok = ok &&
             putFinite(writer, "createdDate", playlist.createdDate.secondsSinceReferenceDate, where,
                       &problem) &&
             putFinite(writer, "modifiedDate", playlist.modifiedDate.secondsSinceReferenceDate,
                       where, &problem);
        writer.put('}');
    }
    writer.put(']');
    return written(ok, writer, problem, error);
}

std::optional<QList<NamedPlaylist>> decodePlaylists(const QByteArray& json, QString* error) {
    JsonReader reader(json);
    QList<NamedPlaylist> playlists;
    bool ok = false;
    if (reader.next() == '[') {
        ok = reader.array([&](qsizetype index) {
            NamedPlaylist playlist;
            if (!readPlaylist(reader, Where{"playlists", index}, &playlist))
                return false;
            playlists.append(std::move(playlist));
            return true;
        });
    } else {
        ok = expected(reader, "an array");
    }
    return finish(reader, ok, std::move(playlists), error);
}

} // namespace StoredJson
