#include "library/VideoFileTypes.h"

#include "library/LocalPath.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include <fcntl.h>
#include <unistd.h>

namespace {

// No glob pattern of the database comes close; longer suffixes are simply unknown, and are not
// remembered either.
constexpr size_t kLongestSuffix = 62;

struct StringViewHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

char asciiLower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// What the MIME database says about a file name with this suffix (lower case): video when every
// type its patterns give is a video type, not video when none is, and undecided when they
// disagree or there is none. Each suffix is asked about once: a scan meets the same few suffixes
// over and over.
VideoFileTypes::NameVerdict verdictForSuffix(std::string_view suffix) {
    using Verdict = VideoFileTypes::NameVerdict;
    static std::shared_mutex s_mutex;
    static std::unordered_map<std::string, Verdict, StringViewHash, std::equal_to<>> s_verdicts;
    {
        const std::shared_lock lock(s_mutex);
        const auto it = s_verdicts.find(suffix);
        if (it != s_verdicts.end())
            return it->second;
    }
    const QString name =
        QStringLiteral("file.") + QString::fromUtf8(suffix.data(), qsizetype(suffix.size()));
    bool video = false;
    bool other = false;
    for (const QMimeType& type : QMimeDatabase().mimeTypesForFileName(name))
        (VideoFileTypes::isVideoMimeType(type) ? video : other) = true;
    const Verdict verdict = video == other ? Verdict::Undecided
                            : video        ? Verdict::Video
                                           : Verdict::NotVideo;
    const std::unique_lock lock(s_mutex);
    s_verdicts.emplace(std::string(suffix), verdict);
    return verdict;
}

} // namespace

VideoFileTypes::NameVerdict VideoFileTypes::classifyName(std::string_view fileName) {
    const size_t dot = fileName.rfind('.');
    if (dot == std::string_view::npos || dot + 1 == fileName.size() ||
        fileName.size() - dot - 1 > kLongestSuffix)
        return NameVerdict::Undecided;
    std::array<char, kLongestSuffix> buffer;
    const std::string_view suffix = fileName.substr(dot + 1);
    std::transform(suffix.begin(), suffix.end(), buffer.begin(), asciiLower);
    return verdictForSuffix(std::string_view(buffer.data(), suffix.size()));
}

bool VideoFileTypes::isVideoFile(const QString& path) {
    const QString fileName = QFileInfo(path).fileName();
    const QByteArray name = LocalPath::toBytes(fileName);
    switch (classifyName(std::string_view(name.constData(), size_t(name.size())))) {
    case NameVerdict::Video:
        return true;
    case NameVerdict::NotVideo:
        return false;
    case NameVerdict::Undecided:
        break;
    }
    // The content is read from the file opened by its bytes: QMimeDatabase would open a name
    // that isn't UTF-8 under another one, and find nothing to read.
    QFile file;
    const int fd = open(LocalPath::toBytes(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (fd >= 0)
            close(fd);
        return isVideoMimeType(QMimeDatabase().mimeTypeForFile(path));
    }
    return isVideoMimeType(QMimeDatabase().mimeTypeForFileNameAndData(fileName, &file));
}

bool VideoFileTypes::isVideoMimeType(const QMimeType& type) {
    const QLatin1String video("video/");
    if (type.name().startsWith(video))
        return true;
    const QStringList ancestors = type.allAncestors();
    return std::any_of(ancestors.begin(), ancestors.end(),
                       [&](const QString& ancestor) { return ancestor.startsWith(video); });
}

QStringList VideoFileTypes::playableMimeTypes() {
    static const QStringList types = [] {
        QMimeDatabase db;
        QSet<QString> names;
        const auto addVideo = [&](const QMimeType& type) {
            if (type.isValid() && isVideoMimeType(type))
                names.insert(type.name());
        };
        void* iterator = nullptr;
        while (const AVInputFormat* format = av_demuxer_iterate(&iterator)) {
            const QString extensions = QString::fromLatin1(format->extensions);
            for (const QString& extension : extensions.split(u',', Qt::SkipEmptyParts)) {
                const QString name = QStringLiteral("file.") + extension.trimmed();
                for (const QMimeType& type : db.mimeTypesForFileName(name))
                    addVideo(type);
            }
            const QString mimeTypes = QString::fromLatin1(format->mime_type);
            for (const QString& mimeType : mimeTypes.split(u',', Qt::SkipEmptyParts))
                addVideo(db.mimeTypeForName(mimeType.trimmed()));
        }
        QStringList sorted(names.begin(), names.end());
        sorted.sort();
        return sorted;
    }();
    return types;
}
