#include "library/PlaylistItem.h"

#include <QFileInfo>

#include <array>
#include <cmath>

namespace {

struct AspectRatio {
    const char* label;
    double ratio;
};

// Matched in this order; an earlier entry wins a tie.
constexpr std::array<AspectRatio, 8> kAspectRatios = {{{"16:9", 16.0 / 9.0},
                                                       {"4:3", 4.0 / 3.0},
                                                       {"21:9", 7.0 / 3.0},
                                                       {"1:1", 1.0},
                                                       {"9:16", 0.5625},
                                                       {"3:2", 1.5},
                                                       {"2.35:1", 2.35},
                                                       {"1.85:1", 1.85}}};

QString parentPath(const QUrl& fileURL) {
    QString path = fileURL.toLocalFile();
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    // A file at the root has the empty folder path, so its key is "/" + its name.
    if (slash <= 0)
        return QString();
    return path.left(slash);
}

QString lastComponent(const QUrl& fileURL) {
    const QString path = fileURL.toLocalFile();
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

} // namespace

PlaylistItem PlaylistItem::forFile(const QUrl& fileURL) {
    PlaylistItem item;
    item.id = QUuid::createUuid();
    item.filename = lastComponent(fileURL);
    item.folderPath = parentPath(fileURL);
    item.addedDate = Timestamp::now();
    return item;
}

QString PlaylistItem::lookupKey(const QUrl& fileURL) {
    return parentPath(fileURL) + QLatin1Char('/') + lastComponent(fileURL);
}

QUrl PlaylistItem::fileURL() const {
    return QUrl::fromLocalFile(folderPath + QLatin1Char('/') + filename);
}

void PlaylistItem::applyMetadata(const VideoMetadata& metadata) {
    duration = metadata.duration;
    width = metadata.width;
    height = metadata.height;
}

std::optional<QString> PlaylistItem::durationText() const {
    if (!duration || !std::isfinite(*duration))
        return std::nullopt;
    const auto seconds = qint64(*duration);
    if (seconds < 3600) {
        return QString::asprintf("%lld:%02lld", static_cast<long long>(seconds / 60),
                                 static_cast<long long>(seconds % 60));
    }
    return QString::asprintf("%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                             static_cast<long long>((seconds / 60) % 60),
                             static_cast<long long>(seconds % 60));
}

std::optional<QString> PlaylistItem::resolutionText() const {
    if (!width || !height)
        return std::nullopt;
    return QString::number(*width) + QChar(0x00D7) + QString::number(*height);
}

std::optional<QString> PlaylistItem::aspectText() const {
    if (!width || !height || *height < 1)
        return std::nullopt;
    const double ratio = double(*width) / double(*height);
    const AspectRatio* best = &kAspectRatios[0];
    double bestDifference = std::abs(ratio - best->ratio);
    for (const AspectRatio& candidate : kAspectRatios) {
        const double difference = std::abs(ratio - candidate.ratio);
        if (difference < bestDifference) {
            best = &candidate;
            bestDifference = difference;
        }
    }
    if (bestDifference < 0.1)
        return QString::fromLatin1(best->label);
    return QString::asprintf("%.2f:1", ratio);
}
