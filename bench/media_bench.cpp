// Times thumbnails and metadata of 200 distinct small H.264 clips through MediaProbe against the
// same work done in-process by well-known libraries over the same files, in the same run:
//  - thumbnails (a 400-pixel frame at a tenth of the length, as raw pixels) against
//    libffmpegthumbnailer's VideoThumbnailer writing RGB into memory;
//  - metadata (duration and picture size) against avformat_open_input +
//    avformat_find_stream_info.
//
//   media_bench [DIR]   the clips are made in DIR (kept for later runs) or in a temporary folder:
//                       8 encodes (one test pattern and picture size each, 480x270 to 854x480,
//                       24 fps, the hue turning through the clip) cut into 25 clips of 1 to 2 s
//                       each. Every file is read once before timing, so all runs read from the
//                       page cache.

#include "BenchUtil.h"
#include "core/StandardOutput.h"
#include "library/MediaProbe.h"
#include "library/ThumbnailCache.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <libffmpegthumbnailer/videothumbnailer.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdio>
#include <string>
#include <vector>

using benchutil::Figure;
using benchutil::median;
using benchutil::millisecondsOf;

namespace {

constexpr int kEncodes = 8;
constexpr int kClipsPerEncode = 25;
constexpr int kClips = kEncodes * kClipsPerEncode;
constexpr int kRuns = 3;
constexpr double kGoalRatio = 0.5;

struct Source {
    const char* pattern;
    const char* size;
};
constexpr Source kSources[kEncodes] = {{"testsrc2", "640x360"},    {"smptebars", "480x270"},
                                       {"rgbtestsrc", "854x480"},  {"testsrc", "512x288"},
                                       {"smptehdbars", "576x324"}, {"yuvtestsrc", "768x432"},
                                       {"pal100bars", "448x252"},  {"pal75bars", "704x396"}};

// Clip lengths cycle through 1, 1.25, ... 2 s; each cut falls on a forced key frame.
double clipSeconds(int clip) {
    return 1.0 + 0.25 * (clip % 5);
}

bool encodeClips(const QString& folder, int encode) {
    const Source& source = kSources[encode];
    QStringList cuts;
    double at = 0;
    for (int clip = 0; clip < kClipsPerEncode; ++clip) {
        at += clipSeconds(encode + clip);
        cuts.append(QString::number(at, 'f', 2));
    }
    cuts.removeLast();
    // Built by hand: QString::arg would take ffmpeg's "%02d" for one of its own markers.
    const QString pattern =
        folder + QStringLiteral("/clip-") + QString::number(encode) + QStringLiteral("-%02d.mp4");
    const QString input = QStringLiteral("%1=size=%2:rate=24:duration=%3,hue=h=t*%4")
                              .arg(QLatin1String(source.pattern), QLatin1String(source.size))
                              .arg(at, 0, 'f', 2)
                              .arg(40 + encode * 7);
    const QString times = cuts.join(u',');
    QStringList command = QStringLiteral("ffmpeg -nostdin -v error -y -f lavfi -i").split(u' ');
    command << input
            << QStringLiteral("-c:v libx264 -preset ultrafast -pix_fmt yuv420p").split(u' ')
            << QStringLiteral("-force_key_frames") << times << QStringLiteral("-f")
            << QStringLiteral("segment") << QStringLiteral("-segment_times") << times
            << QStringLiteral("-reset_timestamps") << QStringLiteral("1") << pattern;
    return benchutil::runQuietly(command);
}

bool makeClips(const QString& folder, QStringList* paths) {
    const QString complete = folder + QStringLiteral("/complete");
    if (!QFile::exists(complete)) {
        StandardOutput::printLine(
            QStringLiteral("encoding %1 clips into %2 ...").arg(kClips).arg(folder));
        QDir().mkpath(folder);
        for (int encode = 0; encode < kEncodes; ++encode) {
            if (!encodeClips(folder, encode))
                return false;
        }
        if (!QFile(complete).open(QIODevice::WriteOnly))
            return false;
    }
    for (int encode = 0; encode < kEncodes; ++encode) {
        for (int clip = 0; clip < kClipsPerEncode; ++clip) {
            const QString path = QStringLiteral("%1/clip-%2-%3.mp4")
                                     .arg(folder)
                                     .arg(encode)
                                     .arg(clip, 2, 10, QLatin1Char('0'));
            if (!QFile::exists(path))
                return false;
            paths->append(path);
        }
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

// What a plain FFmpeg caller does to learn a file's duration and picture size.
bool probeWithFfmpeg(const QByteArray& path, double* duration) {
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.constData(), nullptr, nullptr) < 0)
        return false;
    bool found = false;
    if (avformat_find_stream_info(format, nullptr) >= 0) {
        const int video = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        found = video >= 0 && format->streams[video]->codecpar->width > 0;
        *duration = double(format->duration) / AV_TIME_BASE;
    }
    avformat_close_input(&format);
    return found;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty()) {
        std::fprintf(stderr, "ffmpeg is missing (scripts/bench installs it)\n");
        return 1;
    }
    av_log_set_level(AV_LOG_ERROR);

    QTemporaryDir temporary;
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();
    const QString folder = QDir(base).absoluteFilePath(QStringLiteral("orvanta-bench-media"));
    QStringList paths;
    if (!makeClips(folder, &paths)) {
        std::fprintf(stderr, "could not make the clips\n");
        return 1;
    }
    std::vector<QByteArray> encodedPaths;
    for (const QString& path : std::as_const(paths))
        encodedPaths.push_back(QFile::encodeName(path));

    int failures = 0;
    int thumbnails = 0;
    const auto ourThumbnails = [&] {
        thumbnails = 0;
        for (const QString& path : std::as_const(paths)) {
            const std::optional<QImage> image = MediaProbe::frameAt(
                path, &ThumbnailCache::frameTime,
                QSize(ThumbnailCache::maximumSide, ThumbnailCache::maximumSide));
            if (image && image->width() == ThumbnailCache::maximumSide)
                ++thumbnails;
        }
    };
    // The same frame (a tenth of the length), the same size, raw pixels into memory.
    ffmpegthumbnailer::VideoThumbnailer thumbnailer(ThumbnailCache::maximumSide, false, true, 8,
                                                    false);
    thumbnailer.setSeekPercentage(10);
    std::vector<uint8_t> pixels;
    const auto theirThumbnails = [&] {
        for (const QByteArray& path : encodedPaths) {
            try {
                const ffmpegthumbnailer::VideoFrameInfo info =
                    thumbnailer.generateThumbnail(path.toStdString(), Rgb, pixels);
                if (info.width != ThumbnailCache::maximumSide)
                    ++failures;
            } catch (const std::exception& error) {
                std::fprintf(stderr, "libffmpegthumbnailer: %s\n", error.what());
                ++failures;
            }
        }
    };
    int probed = 0;
    double durations = 0;
    const auto ourProbes = [&] {
        probed = 0;
        durations = 0;
        for (const QString& path : std::as_const(paths)) {
            const std::optional<MediaProbe::Info> info = MediaProbe::probe(path);
            if (info && info->hasVideo && info->displaySize.width() > 0) {
                ++probed;
                durations += info->duration;
            }
        }
    };
    double theirDurations = 0;
    const auto theirProbes = [&] {
        theirDurations = 0;
        for (const QByteArray& path : encodedPaths) {
            double duration = 0;
            if (!probeWithFfmpeg(path, &duration))
                ++failures;
            theirDurations += duration;
        }
    };

    // Page cache and decoder tables warm before anything is timed.
    readAll(paths);
    ourThumbnails();
    ourProbes();
    theirThumbnails();
    theirProbes();
    failures = 0;

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
    benchutil::printHeading(
        QStringLiteral("media: %1 distinct H.264 clips, 448x252 to 854x480, 1 to 2 s at 24 fps, "
                       "median of %2 passes (%3 s of video in all)")
            .arg(kClips)
            .arg(kRuns)
            .arg(durations, 0, 'f', 1));
    const QString goal = QStringLiteral("ratio <= %1").arg(kGoalRatio, 0, 'f', 2);
    benchutil::printLine({QStringLiteral("thumbnails, MediaProbe::frameAt"),
                          ourThumbnailMs / kClips, QStringLiteral("ms")},
                         {QStringLiteral("libffmpegthumbnailer (RGB)"), theirThumbnailMs / kClips,
                          QStringLiteral("ms")},
                         goal, ourThumbnailMs <= kGoalRatio * theirThumbnailMs);
    benchutil::printLine(
        {QStringLiteral("metadata, MediaProbe::probe"), ourProbeMs / kClips, QStringLiteral("ms")},
        {QStringLiteral("avformat open + find_stream_info"), theirProbeMs / kClips,
         QStringLiteral("ms")},
        goal, ourProbeMs <= kGoalRatio * theirProbeMs);
    const bool complete = thumbnails == kClips && probed == kClips && failures == 0 &&
                          std::abs(durations - theirDurations) < 1.0;
    if (!complete)
        std::fprintf(stderr,
                     "incomplete: %d thumbnails, %d probed, %d anchor failures, %.2f s against "
                     "%.2f s of video\n",
                     thumbnails, probed, failures, durations, theirDurations);
    return complete ? 0 : 1;
}
