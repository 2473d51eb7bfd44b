#include "library/VideoFileTypes.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>
#include <QSet>
#include <QStandardPaths>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <unordered_map>

namespace {

// What the glob patterns of one suffix point at; both bits set means the name can't decide.
constexpr unsigned char kVideoBit = 1;
constexpr unsigned char kOtherBit = 2;

// No pattern of the database comes close; longer suffixes are simply unknown.
constexpr size_t kLongestSuffix = 62;

struct StringViewHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

struct SuffixTable {
    std::unordered_map<std::string, unsigned char, StringViewHash, std::equal_to<>> classes;
    size_t longest = 0;
    qsizetype mostParts = 1; // "tar.gz" has two
};

char asciiLower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool hasWildcard(QByteArrayView text) {
    return text.contains('*') || text.contains('?') || text.contains('[');
}

class TableBuilder {
public:
    explicit TableBuilder(SuffixTable& table)
        : m_table(table) {}

    // Patterns that are not plain "*.suffix" are kept aside: the table only looks at suffixes.
    void addPattern(QByteArrayView pattern, bool video) {
        const unsigned char bit = video ? kVideoBit : kOtherBit;
        if (pattern.startsWith("*.") && !hasWildcard(pattern.sliced(2))) {
            const QByteArrayView suffix = pattern.sliced(2);
            if (suffix.isEmpty() || size_t(suffix.size()) > kLongestSuffix)
                return;
            std::string key(suffix.data(), size_t(suffix.size()));
            std::transform(key.begin(), key.end(), key.begin(), asciiLower);
            m_table.classes[key] |= bit;
            m_table.longest = std::max(m_table.longest, key.size());
            m_table.mostParts = std::max(m_table.mostParts, suffix.count('.') + 1);
        } else {
            m_otherPatterns.append({pattern.toByteArray(), bit});
        }
    }

    // A pattern such as "cmakelists.txt" also claims names of a known suffix; where it points
    // at the other kind, that suffix no longer decides.
    void finish() {
        for (const auto& [pattern, bit] : std::as_const(m_otherPatterns)) {
            const qsizetype dot = pattern.lastIndexOf('.');
            if (dot < 0 || hasWildcard(QByteArrayView(pattern).sliced(dot + 1)))
                continue;
            std::string key = pattern.sliced(dot + 1).toStdString();
            std::transform(key.begin(), key.end(), key.begin(), asciiLower);
            const auto it = m_table.classes.find(key);
            if (it != m_table.classes.end())
                it->second |= bit;
        }
    }

private:
    SuffixTable& m_table;
    QList<QPair<QByteArray, unsigned char>> m_otherPatterns;
};

bool isVideoTypeName(const QMimeDatabase& db, const QString& name) {
    const QMimeType type = db.mimeTypeForName(name);
    return type.isValid() ? VideoFileTypes::isVideoMimeType(type)
                          : name.startsWith(QLatin1String("video/"));
}

// Reads the glob lists of the MIME directories QMimeDatabase itself uses. Asking QMimeDatabase
// for every type's patterns would load one XML file per type, which costs about 100 ms at start;
// the "globs2" file beside each directory's cache holds the same patterns in one small file.
// Returns false when some directory has no such file, so only QMimeDatabase can tell.
bool readGlobFiles(const QMimeDatabase& db, TableBuilder& builder) {
    const QStringList dirs =
        QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("mime"),
                                  QStandardPaths::LocateDirectory);
    if (dirs.isEmpty())
        return false;
    QList<QByteArray> contents;
    for (const QString& dir : dirs) {
        QFile file(dir + QStringLiteral("/globs2"));
        if (!file.open(QIODevice::ReadOnly))
            return false;
        contents.append(file.readAll());
    }

    QHash<QByteArray, bool> videoTypes;
    QSet<QByteArray> globsDeleted; // by a more important directory
    for (const QByteArray& content : std::as_const(contents)) {
        QSet<QByteArray> deletedHere;
        for (qsizetype start = 0, end = 0; start < content.size(); start = end + 1) {
            end = content.indexOf('\n', start);
            if (end < 0)
                end = content.size();
            // weight:type:pattern[:flags]
            const QByteArrayView line = QByteArrayView(content).sliced(start, end - start);
            if (line.isEmpty() || line.front() == '#')
                continue;
            const qsizetype first = line.indexOf(':');
            const qsizetype second = first < 0 ? -1 : line.indexOf(':', first + 1);
            if (second < 0)
                continue;
            const QByteArray type = line.sliced(first + 1, second - first - 1).toByteArray();
            QByteArrayView pattern = line.sliced(second + 1);
            if (const qsizetype flags = pattern.indexOf(':'); flags >= 0)
                pattern.truncate(flags);
            if (pattern == "__NOGLOBS__") {
                deletedHere.insert(type);
                continue;
            }
            if (globsDeleted.contains(type))
                continue;
            auto video = videoTypes.constFind(type);
            if (video == videoTypes.constEnd())
                video = videoTypes.insert(type, isVideoTypeName(db, QString::fromLatin1(type)));
            builder.addPattern(pattern, *video);
        }
        globsDeleted.unite(deletedHere);
    }
    return true;
}

const SuffixTable& suffixTable() {
    static const SuffixTable table = [] {
        QMimeDatabase db;
        SuffixTable fromFiles;
        TableBuilder fileBuilder(fromFiles);
        if (readGlobFiles(db, fileBuilder)) {
            fileBuilder.finish();
            return fromFiles;
        }
        SuffixTable fromDatabase;
        TableBuilder databaseBuilder(fromDatabase);
        for (const QMimeType& type : db.allMimeTypes()) {
            const bool video = VideoFileTypes::isVideoMimeType(type);
            for (const QString& pattern : type.globPatterns())
                databaseBuilder.addPattern(pattern.toUtf8(), video);
        }
        databaseBuilder.finish();
        return fromDatabase;
    }();
    return table;
}

} // namespace

VideoFileTypes::NameVerdict VideoFileTypes::classifyName(std::string_view fileName) {
    const SuffixTable& table = suffixTable();

    // Only the tail can hold a known suffix and its dot.
    std::array<char, kLongestSuffix + 1> buffer;
    const size_t length = std::min(fileName.size(), table.longest + 1);
    const std::string_view tail = fileName.substr(fileName.size() - length);
    std::transform(tail.begin(), tail.end(), buffer.begin(), asciiLower);
    const std::string_view lower(buffer.data(), length);

    // Every suffix the name has, up to the longest compound one ("tar.gz", then "gz"); all of
    // them must agree, as QMimeDatabase reads the content whenever several patterns match.
    unsigned char bits = 0;
    size_t dot = lower.rfind('.');
    for (qsizetype parts = 0; dot != std::string_view::npos && parts < table.mostParts; ++parts) {
        const auto it = table.classes.find(lower.substr(dot + 1));
        if (it != table.classes.end())
            bits |= it->second;
        dot = dot == 0 ? std::string_view::npos : lower.rfind('.', dot - 1);
    }
    if (bits == kVideoBit)
        return NameVerdict::Video;
    if (bits == kOtherBit)
        return NameVerdict::NotVideo;
    return NameVerdict::Undecided;
}

bool VideoFileTypes::isVideoFile(const QString& path) {
    const QByteArray name = QFile::encodeName(QFileInfo(path).fileName());
    switch (classifyName(std::string_view(name.constData(), size_t(name.size())))) {
    case NameVerdict::Video:
        return true;
    case NameVerdict::NotVideo:
        return false;
    case NameVerdict::Undecided:
        break;
    }
    return isVideoMimeType(QMimeDatabase().mimeTypeForFile(path));
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
