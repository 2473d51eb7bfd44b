#pragma once

#include <QImage>
#include <QSize>
#include <QString>

#include <functional>
#include <optional>

// What the FFmpeg libraries tell about one media file. Opens the file once per call; safe to
// use from any thread. Decoding is done in software.
class MediaProbe {
public:
    struct Info {
        // Seconds; NaN when neither the container nor its streams give a duration.
        double duration = 0.0;
        bool hasVideo = false;
        // The first video stream's displayed size: coded size with its rotation applied. Empty
        // when the stream doesn't tell its size.
        QSize displaySize;
    };

    // Fails (none, with a description in *error) when the file cannot be opened or read.
    static std::optional<Info> probe(const QString& path, QString* error = nullptr);

    // One frame of the first video stream, decoded forward from the nearest key frame before
    // `seconds`: the first frame shown at or after that time, or, when none comes within two
    // seconds after it, the last one before. Rotated for display and scaled to fit within
    // maxSize keeping its aspect (never enlarged). Fails (none, with a description in *error)
    // when the file has no video or no frame can be decoded.
    static std::optional<QImage> frameAt(const QString& path, double seconds, QSize maxSize,
                                         QString* error = nullptr);

    // The same, with the time chosen from the file's duration (NaN when unknown) once it is
    // open, so a thumbnail at a fraction of the length takes one opening of the file.
    static std::optional<QImage> frameAt(const QString& path,
                                         const std::function<double(double duration)>& timeFor,
                                         QSize maxSize, QString* error = nullptr);
};
