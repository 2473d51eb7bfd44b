#pragma once

#include <QMimeType>
#include <QString>
#include <QStringList>

#include <string_view>

// Tells video files from other files: a file is a video when its type in the shared MIME
// database is video/* or inherits from a video/* type.
//
// The name decides wherever the database's glob patterns give its suffix one clear answer, so a
// scan of a large tree reads no file contents; each suffix is looked up in the database once.
// Only names without a known suffix, or with one that video and non-video types share (".ts" is
// also a Qt translation file), are decided by name and content together, as QMimeDatabase
// decides them.
class VideoFileTypes {
public:
    enum class NameVerdict : unsigned char { Video, NotVideo, Undecided };

    // Classifies a bare file name (raw bytes as on disk, no directory part) by its last suffix
    // alone. Thread-safe.
    static NameVerdict classifyName(std::string_view fileName);

    // The full test for a file on disk: by name where that decides, else by name and content.
    static bool isVideoFile(const QString& path);

    static bool isVideoMimeType(const QMimeType& type);

    // The video MIME types whose file-name extensions or MIME types FFmpeg's demuxers claim,
    // sorted by name.
    static QStringList playableMimeTypes();
};
