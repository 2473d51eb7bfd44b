#pragma once

#include "core/Timestamp.h"

#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

// The cached technical data of one video.
struct VideoMetadata {
    std::optional<double> duration;
    std::optional<qint64> width;
    std::optional<qint64> height;

    bool operator==(const VideoMetadata&) const = default;
};

// One video in a playlist.
struct PlaylistItem {
    QUuid id;
    QString filename;
    QString folderPath; // without a trailing separator
    bool isExcluded = false;
    std::optional<qint64> customOrder;
    Timestamp addedDate;
    std::optional<double> duration;
    std::optional<qint64> width;
    std::optional<qint64> height;

    // A fresh item for a file: new id, not excluded, no order, added now, no metadata.
    static PlaylistItem forFile(const QUrl& fileURL);
    // The key that matches items to files: folder path, "/", file name.
    static QString lookupKey(const QUrl& fileURL);

    QString lookupKey() const { return folderPath + QLatin1Char('/') + filename; }
    QUrl fileURL() const;

    void applyMetadata(const VideoMetadata& metadata);

    // "m:ss" below an hour, else "h:mm:ss"; none without a finite duration.
    std::optional<QString> durationText() const;
    // "1920×1080"; none unless both sides are known.
    std::optional<QString> resolutionText() const;
    // The nearest common aspect ratio's label ("16:9"), or "%.2f:1"; none without a size.
    std::optional<QString> aspectText() const;

    bool operator==(const PlaylistItem&) const = default;
};
