#pragma once

#include "library/NamedPlaylist.h"
#include "library/PlaylistItem.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

// The stored JSON forms of the library's records: compact, UUIDs in upper case, dates as
// seconds since 2001-01-01 00:00:00 UTC, absent optionals left out, unknown keys ignored when
// reading. Decoders return nothing and describe the problem in *error.
namespace StoredJson {

// Encoders fail only on a number JSON cannot hold (a duration that is not finite).
std::optional<QByteArray> encodeItems(const QList<PlaylistItem>& items, QString* error = nullptr);
std::optional<QList<PlaylistItem>> decodeItems(const QByteArray& json, QString* error = nullptr);

// The metadata cache: an object from item lookup key to metadata.
std::optional<QByteArray> encodeMetadataCache(const QHash<QString, VideoMetadata>& cache,
                                              QString* error = nullptr);
std::optional<QHash<QString, VideoMetadata>> decodeMetadataCache(const QByteArray& json,
                                                                 QString* error = nullptr);

std::optional<QByteArray> encodePlaylists(const QList<NamedPlaylist>& playlists,
                                          QString* error = nullptr);
// A sort order outside 0 to 4 anywhere makes the whole document undecodable.
std::optional<QList<NamedPlaylist>> decodePlaylists(const QByteArray& json,
                                                    QString* error = nullptr);

// UUIDs as stored: canonical 36-character upper-case text.
QString uuidText(const QUuid& id);

} // namespace StoredJson
