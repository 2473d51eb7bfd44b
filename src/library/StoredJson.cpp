#include "library/StoredJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <cmath>

namespace StoredJson {

namespace {

const QString kReadFailure =
    QStringLiteral("The data couldn\u2019t be read because it isn\u2019t in the correct format.");
const QString kMissing = QStringLiteral("The data couldn\u2019t be read because it is missing.");
const QString kWriteFailure = QStringLiteral(
    "The data couldn\u2019t be written because it isn\u2019t in the correct format.");

// Carries the first problem met while decoding, with where it was.
struct Decoder {
    QString problem;

    bool fail(const QString& summary, const QString& detail) {
        if (problem.isEmpty())
            problem = summary + QStringLiteral(" (") + detail + QLatin1Char(')');
        return false;
    }
    bool missing(const QString& where, const char* key) {
        return fail(
            kMissing,
            QStringLiteral("%1: no value for key \"%2\"").arg(where, QString::fromLatin1(key)));
    }
    bool wrongType(const QString& where, const char* key, const char* expected) {
        return fail(kReadFailure,
                    QStringLiteral("%1: \"%2\" is not %3")
                        .arg(where, QString::fromLatin1(key), QString::fromLatin1(expected)));
    }

    bool string(const QJsonObject& object, const char* key, const QString& where, QString* out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return missing(where, key);
        if (!value.isString())
            return wrongType(where, key, "a string");
        *out = value.toString();
        return true;
    }
    bool boolean(const QJsonObject& object, const char* key, const QString& where, bool* out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return missing(where, key);
        if (!value.isBool())
            return wrongType(where, key, "a boolean");
        *out = value.toBool();
        return true;
    }
    bool uuid(const QJsonObject& object, const char* key, const QString& where, QUuid* out) {
        QString text;
        if (!string(object, key, where, &text))
            return false;
        const QUuid id = QUuid::fromString(text);
        // Only the bare 36-character form is a stored UUID.
        if (text.size() != 36 || id.isNull())
            return wrongType(where, key, "a UUID");
        *out = id;
        return true;
    }
    bool date(const QJsonObject& object, const char* key, const QString& where, Timestamp* out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return missing(where, key);
        if (!value.isDouble())
            return wrongType(where, key, "a date (seconds since 2001-01-01)");
        *out = Timestamp{value.toDouble()};
        return true;
    }
    // Absent and null both leave *out empty.
    bool optionalDouble(const QJsonObject& object, const char* key, const QString& where,
                        std::optional<double>* out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull()) {
            out->reset();
            return true;
        }
        if (!value.isDouble())
            return wrongType(where, key, "a number");
        *out = value.toDouble();
        return true;
    }
    bool integerValue(const QJsonValue& value, qint64* out) {
        if (!value.isDouble())
            return false;
        const double d = value.toDouble();
        if (std::trunc(d) != d || !(d >= -9223372036854775808.0 && d < 9223372036854775808.0))
            return false;
        *out = value.toInteger(qint64(d));
        return true;
    }
    bool optionalInteger(const QJsonObject& object, const char* key, const QString& where,
                         std::optional<qint64>* out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull()) {
            out->reset();
            return true;
        }
        qint64 number = 0;
        if (!integerValue(value, &number))
            return wrongType(where, key, "an integer");
        *out = number;
        return true;
    }

    bool item(const QJsonValue& value, const QString& where, PlaylistItem* out) {
        if (!value.isObject())
            return fail(kReadFailure, where + QStringLiteral(" is not an object"));
        const QJsonObject object = value.toObject();
        return uuid(object, "id", where, &out->id) &&
               string(object, "filename", where, &out->filename) &&
               string(object, "folderPath", where, &out->folderPath) &&
               boolean(object, "isExcluded", where, &out->isExcluded) &&
               date(object, "addedDate", where, &out->addedDate) &&
               optionalInteger(object, "customOrder", where, &out->customOrder) &&
               optionalDouble(object, "duration", where, &out->duration) &&
               optionalInteger(object, "width", where, &out->width) &&
               optionalInteger(object, "height", where, &out->height);
    }

    bool items(const QJsonValue& value, const QString& where, QList<PlaylistItem>* out) {
        if (!value.isArray())
            return fail(kReadFailure, where + QStringLiteral(" is not an array"));
        const QJsonArray array = value.toArray();
        out->reserve(array.size());
        for (qsizetype n = 0; n < array.size(); ++n) {
            PlaylistItem decoded;
            if (!item(array.at(n), QStringLiteral("%1[%2]").arg(where).arg(n), &decoded))
                return false;
            out->append(std::move(decoded));
        }
        return true;
    }

    bool playlist(const QJsonValue& value, const QString& where, NamedPlaylist* out) {
        if (!value.isObject())
            return fail(kReadFailure, where + QStringLiteral(" is not an object"));
        const QJsonObject object = value.toObject();
        if (!uuid(object, "id", where, &out->id) || !string(object, "name", where, &out->name))
            return false;
        const QJsonValue itemsValue = object.value(QLatin1String("items"));
        if (itemsValue.isUndefined() || itemsValue.isNull())
            return missing(where, "items");
        if (!items(itemsValue, where + QStringLiteral(".items"), &out->items))
            return false;
        if (!boolean(object, "shuffleEnabled", where, &out->shuffleEnabled) ||
            !boolean(object, "loopEnabled", where, &out->loopEnabled))
            return false;
        const QJsonValue orderValue = object.value(QLatin1String("sortOrder"));
        if (orderValue.isUndefined() || orderValue.isNull())
            return missing(where, "sortOrder");
        qint64 order = 0;
        if (!integerValue(orderValue, &order))
            return wrongType(where, "sortOrder", "an integer");
        const auto sortOrder = PlaylistSortOrders::fromValue(order);
        if (!sortOrder) {
            return fail(kReadFailure,
                        QStringLiteral("%1: %2 is not a sort order").arg(where).arg(order));
        }
        out->sortOrder = *sortOrder;
        return date(object, "createdDate", where, &out->createdDate) &&
               date(object, "modifiedDate", where, &out->modifiedDate);
    }

    bool metadata(const QJsonValue& value, const QString& where, VideoMetadata* out) {
        if (!value.isObject())
            return fail(kReadFailure, where + QStringLiteral(" is not an object"));
        const QJsonObject object = value.toObject();
        return optionalDouble(object, "duration", where, &out->duration) &&
               optionalInteger(object, "width", where, &out->width) &&
               optionalInteger(object, "height", where, &out->height);
    }
};

std::optional<QJsonDocument> parse(const QByteArray& json, QString* error) {
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error) {
            *error = kReadFailure + QStringLiteral(" (%1 at offset %2)")
                                        .arg(parseError.errorString())
                                        .arg(parseError.offset);
        }
        return std::nullopt;
    }
    return document;
}

template <typename T>
std::optional<T> finish(Decoder& decoder, bool ok, T&& value, QString* error) {
    if (!ok) {
        if (error)
            *error = decoder.problem;
        return std::nullopt;
    }
    return std::forward<T>(value);
}

// JSON has no NaN or infinity; such a number makes the whole document unwritable.
bool putDouble(QJsonObject& object, const char* key, const std::optional<double>& value,
               const QString& where, QString* problem) {
    if (!value)
        return true;
    if (!std::isfinite(*value)) {
        if (problem->isEmpty()) {
            *problem = kWriteFailure + QStringLiteral(" (%1: \"%2\" is not a finite number)")
                                           .arg(where, QString::fromLatin1(key));
        }
        return false;
    }
    object.insert(QLatin1String(key), *value);
    return true;
}

void putInteger(QJsonObject& object, const char* key, const std::optional<qint64>& value) {
    if (value)
        object.insert(QLatin1String(key), *value);
}

bool itemObject(const PlaylistItem& item, QJsonObject* out, QString* problem) {
    QJsonObject& object = *out;
    object.insert(QLatin1String("id"), uuidText(item.id));
    object.insert(QLatin1String("filename"), item.filename);
    object.insert(QLatin1String("folderPath"), item.folderPath);
    object.insert(QLatin1String("isExcluded"), item.isExcluded);
    putInteger(object, "customOrder", item.customOrder);
    object.insert(QLatin1String("addedDate"), item.addedDate.secondsSinceReferenceDate);
    putInteger(object, "width", item.width);
    putInteger(object, "height", item.height);
    return putDouble(object, "duration", item.duration, item.lookupKey(), problem);
}

bool itemsArray(const QList<PlaylistItem>& items, QJsonArray* out, QString* problem) {
    for (const PlaylistItem& item : items) {
        QJsonObject object;
        if (!itemObject(item, &object, problem))
            return false;
        out->append(object);
    }
    return true;
}

std::optional<QByteArray> written(bool ok, const QJsonDocument& document, const QString& problem,
                                  QString* error) {
    if (!ok) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    return document.toJson(QJsonDocument::Compact);
}

} // namespace

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QByteArray> encodeItems(const QList<PlaylistItem>& items, QString* error) {
    QJsonArray array;
    QString problem;
    const bool ok = itemsArray(items, &array, &problem);
    return written(ok, QJsonDocument(array), problem, error);
}

std::optional<QList<PlaylistItem>> decodeItems(const QByteArray& json, QString* error) {
    const auto document = parse(json, error);
    if (!document)
        return std::nullopt;
    Decoder decoder;
    QList<PlaylistItem> items;
    const bool ok =
        document->isArray()
            ? decoder.items(QJsonValue(document->array()), QStringLiteral("items"), &items)
            : decoder.fail(kReadFailure, QStringLiteral("expected an array"));
    return finish(decoder, ok, std::move(items), error);
}

std::optional<QByteArray> encodeMetadataCache(const QHash<QString, VideoMetadata>& cache,
                                              QString* error) {
    QJsonObject object;
    QString problem;
    bool ok = true;
    for (auto it = cache.cbegin(); ok && it != cache.cend(); ++it) {
        QJsonObject entry;
        ok = putDouble(entry, "duration", it.value().duration, it.key(), &problem);
        putInteger(entry, "width", it.value().width);
        putInteger(entry, "height", it.value().height);
        object.insert(it.key(), entry);
    }
    return written(ok, QJsonDocument(object), problem, error);
}

std::optional<QHash<QString, VideoMetadata>> decodeMetadataCache(const QByteArray& json,
                                                                 QString* error) {
    const auto document = parse(json, error);
    if (!document)
        return std::nullopt;
    Decoder decoder;
    QHash<QString, VideoMetadata> cache;
    bool ok =
        document->isObject() || decoder.fail(kReadFailure, QStringLiteral("expected an object"));
    if (ok) {
        const QJsonObject object = document->object();
        cache.reserve(object.size());
        for (auto it = object.constBegin(); ok && it != object.constEnd(); ++it) {
            VideoMetadata metadata;
            ok = decoder.metadata(it.value(), QLatin1Char('"') + it.key() + QLatin1Char('"'),
                                  &metadata);
            cache.insert(it.key(), metadata);
        }
    }
    return finish(decoder, ok, std::move(cache), error);
}

std::optional<QByteArray> encodePlaylists(const QList<NamedPlaylist>& playlists, QString* error) {
    QJsonArray array;
    QString problem;
    bool ok = true;
    for (const NamedPlaylist& playlist : playlists) {
        QJsonArray items;
        ok = itemsArray(playlist.items, &items, &problem);
        if (!ok)
            break;
        QJsonObject object;
        object.insert(QLatin1String("id"), uuidText(playlist.id));
        object.insert(QLatin1String("name"), playlist.name);
        object.insert(QLatin1String("items"), items);
        object.insert(QLatin1String("shuffleEnabled"), playlist.shuffleEnabled);
        object.insert(QLatin1String("loopEnabled"), playlist.loopEnabled);
        object.insert(QLatin1String("sortOrder"), int(playlist.sortOrder));
        object.insert(QLatin1String("createdDate"), playlist.createdDate.secondsSinceReferenceDate);
        object.insert(QLatin1String("modifiedDate"),
                      playlist.modifiedDate.secondsSinceReferenceDate);
        array.append(object);
    }
    return written(ok, QJsonDocument(array), problem, error);
}

std::optional<QList<NamedPlaylist>> decodePlaylists(const QByteArray& json, QString* error) {
    const auto document = parse(json, error);
    if (!document)
        return std::nullopt;
    Decoder decoder;
    QList<NamedPlaylist> playlists;
    bool ok =
        document->isArray() || decoder.fail(kReadFailure, QStringLiteral("expected an array"));
    if (ok) {
        const QJsonArray array = document->array();
        playlists.reserve(array.size());
        for (qsizetype n = 0; ok && n < array.size(); ++n) {
            NamedPlaylist playlist;
            ok = decoder.playlist(array.at(n), QStringLiteral("playlists[%1]").arg(n), &playlist);
            playlists.append(std::move(playlist));
        }
    }
    return finish(decoder, ok, std::move(playlists), error);
}

} // namespace StoredJson
