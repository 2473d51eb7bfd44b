// Times thumbnails and metadata of 200 1080p H.264 clips through MediaProbe against the
// command-line tools over the same files, in the same run: `ffmpegthumbnailer -s 400` for the
// thumbnails, `ffprobe` for duration and size.
//
//   media_bench [DIR]   the clips are made in DIR (kept for later runs) or in a temporary
//                       folder: one 3 s clip (30 frames a second, a key frame every 60) encoded
//                       once and copied under 200 names. Every file is read once before timing,
//                       so all runs read from the page cache.

#include "BenchUtil.h"
#include "core/StandardOutput.h"
#include "library/MediaProbe.h"
#include "library/ThumbnailCache.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include <unistd.h>

using benchutil::median;
using benchutil::millisecondsOf;

namespace {

constexpr int kClips = 200;
constexpr int kRuns = 3;

// Runs a program with its output thrown away; true when it exits with 0.
bool makeClips(const QString& folder, QStringList* paths) {
    const QString master = folder + QStringLiteral("/master.mp4");
    if (!QFile::exists(master)) {
        StandardOutput::printLine(
            QStringLiteral("encoding a 3 s 1080p H.264 clip into %1 ...").arg(folder));
        QDir().mkpath(folder);
        const QString partial = folder + QStringLiteral("/master.partial.mp4");
        if (!benchutil::runQuietly(
                {QStringLiteral("ffmpeg"), QStringLiteral("-v"), QStringLiteral("error"),
                 QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                 QStringLiteral("-i"), QStringLiteral("testsrc2=s=1920x1080:r=30:d=3"),
                 QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-pix_fmt"),
                 QStringLiteral("yuv420p"), QStringLiteral("-g"), QStringLiteral("60"),
                 QStringLiteral("-preset"), QStringLiteral("fast"), partial}) ||
            !QFile::rename(partial, master))
            return false;
    }
    for (int i = 0; i < kClips; ++i) {
        const QString path = folder + QStringLiteral("/clip%1.mp4").arg(i, 3, 10, QLatin1Char('0'));
        if (!QFile::exists(path) && !QFile::copy(master, path))
            return false;
        paths->append(path);
    }
    return true;
}

void readAll(const QStringList& paths) {
    for (const QString& path : paths) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            file.readAll();
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    for (const char* tool : {"ffmpeg", "ffprobe", "ffmpegthumbnailer"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty()) {
            std::fprintf(stderr, "%s is missing (scripts/bench installs it)\n", tool);
            return 1;
        }
    }

    QTemporaryDir temporary;
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();
    const QString folder = QDir(base).absoluteFilePath(QStringLiteral("orvanta-bench-clips"));
    QStringList paths;
    if (!makeClips(folder, &paths)) {
        std::fprintf(stderr, "could not make the clips\n");
        return 1;
    }
    QTemporaryDir output;
    const QString png = output.filePath(QStringLiteral("thumbnail.png"));

    int thumbnails = 0;
    int failures = 0;
    QSize thumbnailSize;
    const auto ourThumbnails = [&] {
        thumbnails = 0;
        for (const QString& path : paths) {
            const std::optional<QImage> image = MediaProbe::frameAt(
                path, &ThumbnailCache::frameTime,
                QSize(ThumbnailCache::maximumSide, ThumbnailCache::maximumSide));
            if (image) {
                ++thumbnails;
                thumbnailSize = image->size();
            }
        }
    };
    const auto theirThumbnails = [&] {
        for (const QString& path : paths) {
            if (!benchutil::runQuietly({QStringLiteral("ffmpegthumbnailer"), QStringLiteral("-s"),
                                        QStringLiteral("400"), QStringLiteral("-i"), path,
                                        QStringLiteral("-o"), png}))
                ++failures;
        }
    };
    int probed = 0;
    QSize probedSize;
    double probedDuration = 0;
    const auto ourProbes = [&] {
        probed = 0;
        for (const QString& path : paths) {
            const std::optional<MediaProbe::Info> info = MediaProbe::probe(path);
            if (info && info->hasVideo) {
                ++probed;
                probedSize = info->displaySize;
                probedDuration = info->duration;
            }
        }
    };
    const auto theirProbes = [&] {
        for (const QString& path : paths) {
            if (!benchutil::runQuietly({QStringLiteral("ffprobe"), QStringLiteral("-v"),
                                        QStringLiteral("error"), QStringLiteral("-show_entries"),
                                        QStringLiteral("stream=width,height:format=duration"),
                                        path}))
                ++failures;
        }
    };

    // Page cache, dynamic linker and decoder tables warm before anything is timed.
    readAll(paths);
    ourThumbnails();
    ourProbes();
    benchutil::runQuietly({QStringLiteral("ffmpegthumbnailer"), QStringLiteral("-s"),
                           QStringLiteral("400"), QStringLiteral("-i"), paths.first(),
                           QStringLiteral("-o"), png});
    benchutil::runQuietly(
        {QStringLiteral("ffprobe"), QStringLiteral("-v"), QStringLiteral("error"), paths.first()});

    std::vector<double> ourThumbnailTimes;
    std::vector<double> theirThumbnailTimes;
    std::vector<double> ourProbeTimes;
    std::vector<double> theirProbeTimes;
    for (int i = 0; i < kRuns; ++i) {
        ourThumbnailTimes.push_back(millisecondsOf(ourThumbnails));
        theirThumbnailTimes.push_back(millisecondsOf(theirThumbnails));
        ourProbeTimes.push_back(millisecondsOf(ourProbes));
        theirProbeTimes.push_back(millisecondsOf(theirProbes));
    }

    const double ourThumbnailMs = median(ourThumbnailTimes);
    const double theirThumbnailMs = median(theirThumbnailTimes);
    const double ourProbeMs = median(ourProbeTimes);
    const double theirProbeMs = median(theirProbeTimes);
    const double thumbnailRatio = ourThumbnailMs / theirThumbnailMs;
    const double probeRatio = ourProbeMs / theirProbeMs;
    std::printf("media: %d copies of a 3 s 1920x1080 H.264 clip (30 fps, key frame every 60)\n",
                kClips);
    std::printf("  thumbnails: %d made, %dx%d, frame at %.2f s\n", thumbnails,
                thumbnailSize.width(), thumbnailSize.height(),
                ThumbnailCache::frameTime(probedDuration));
    std::printf("    MediaProbe::frameAt             median of %d: %9.1f ms (%.1f ms a file)\n",
                kRuns, ourThumbnailMs, ourThumbnailMs / kClips);
    std::printf("    ffmpegthumbnailer -s 400 (PNG)  median of %d: %9.1f ms (%.1f ms a file)\n",
                kRuns, theirThumbnailMs, theirThumbnailMs / kClips);
    std::printf("    ratio frameAt / ffmpegthumbnailer: %.3f (goal <= 0.50)%s\n", thumbnailRatio,
                thumbnailRatio <= 0.5 ? "" : "  MISSED");
    std::printf("  metadata: %d probed, %dx%d, %.2f s\n", probed, probedSize.width(),
                probedSize.height(), probedDuration);
    std::printf("    MediaProbe::probe               median of %d: %9.1f ms (%.2f ms a file)\n",
                kRuns, ourProbeMs, ourProbeMs / kClips);
    std::printf("    ffprobe -show_entries           median of %d: %9.1f ms (%.2f ms a file)\n",
                kRuns, theirProbeMs, theirProbeMs / kClips);
    std::printf("    ratio probe / ffprobe: %.4f (goal <= 0.50)%s\n", probeRatio,
                probeRatio <= 0.5 ? "" : "  MISSED");
    const bool complete = thumbnails == kClips && probed == kClips && failures == 0 &&
                          thumbnailSize == QSize(400, 225) && probedSize == QSize(1920, 1080);
    if (!complete)
        std::fprintf(stderr, "incomplete: %d tool failures\n", failures);
    return complete ? 0 : 1;
}
