#include "support/media_clips.h"

#include "support/TestUtil.h"

#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace mediaclips {

namespace {

QString g_error;

QString colourSegments(const char* size, int rate, const QStringList& segments) {
    // "colour:seconds" pieces joined end to end.
    QString graph;
    QString labels;
    for (int i = 0; i < segments.size(); ++i) {
        const QStringList parts = segments[i].split(QLatin1Char(':'));
        graph += QStringLiteral("color=c=%1:s=%2:r=%3:d=%4[s%5];")
                     .arg(parts[0], QLatin1String(size), QString::number(rate), parts[1])
                     .arg(i);
        labels += QStringLiteral("[s%1]").arg(i);
    }
    return graph + labels + QStringLiteral("concat=n=%1:v=1:a=0").arg(segments.size());
}

bool copyPrefix(const QString& from, const QString& to, double fraction) {
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = source.readAll();
    testutil::writeFile(to, bytes.left(qsizetype(double(bytes.size()) * fraction)));
    return QFile::exists(to);
}

std::unique_ptr<Clips> make() {
    static QTemporaryDir dir;
    auto clips = std::make_unique<Clips>();
    if (!dir.isValid()) {
        g_error = "no temporary folder";
        return clips;
    }
    const auto path = [](const char* name) {
        return dir.filePath(QLatin1String(name));
    };
    const auto ffmpeg = [](const QStringList& arguments) {
        return testutil::ffmpeg(arguments, &g_error);
    };
    // Encodes a lavfi graph to H.264 in the named file, with more output options before it.
    const auto encode = [&](const QString& graph, const char* name, const QStringList& more = {}) {
        return ffmpeg(
            QStringList{"-f", "lavfi", "-i", graph, "-pix_fmt", "yuv420p", "-c:v", "libx264"} +
            more + QStringList{path(name)});
    };
    const auto rotated = [&](const char* from, const char* to, int degrees) {
        return ffmpeg({"-i", path(from), "-c", "copy", "-metadata:s:v:0",
                       QStringLiteral("rotate=%1").arg(degrees), path(to)});
    };

    bool ok =
        encode("testsrc=s=320x180:r=25:d=3", "landscape.mp4") &&
        rotated("landscape.mp4", "portrait.mp4", 90) &&
        encode("testsrc2=s=1920x1080:r=25:d=0.2", "fullhd.mp4", {"-preset", "ultrafast"}) &&
        rotated("fullhd.mp4", "fullhd-portrait.mp4", 90) &&
        encode("color=c=blue:s=320x180:r=25:d=1,drawbox=x=0:y=0:w=80:h=45:c=red:t=fill",
               "marker.mp4") &&
        rotated("marker.mp4", "marker90.mp4", 90) && rotated("marker.mp4", "marker180.mp4", 180) &&
        rotated("marker.mp4", "marker270.mp4", 270) &&
        ffmpeg({"-f", "lavfi", "-i", "sine=d=2", "-c:a", "aac", path("audio.m4a")}) &&
        encode("testsrc=s=320x180:r=25:d=3", "faststart.mp4", {"-movflags", "+faststart"}) &&
        copyPrefix(path("landscape.mp4"), path("truncated.mp4"), 0.5) &&
        copyPrefix(path("faststart.mp4"), path("cut.mp4"), 0.6) &&
        encode(colourSegments("160x90", 25, {"red:0.5", "green:0.1", "blue:4.4"}),
               "short-colours.mp4") &&
        encode(colourSegments("160x90", 25, {"red:1", "green:0.2", "blue:10.8"}),
               "long-colours.mp4", {"-g", "12"}) &&
        encode("color=c=red:s=64x36:r=1:d=2,drawbox=c=blue:t=fill:enable='eq(n,1)',setpts=N*5/TB",
               "gap.mp4", {"-fps_mode", "passthrough"}) &&
        encode("testsrc=s=160x90:r=10:d=1", "raw.h264", {"-f", "h264"}) &&
        encode("testsrc=s=64x36:r=1:d=1", "tiny.mp4");
    if (!ok) {
        if (g_error.isEmpty())
            g_error = "ffmpeg failed";
        return clips;
    }
    testutil::writeFile(path("not-video.mp4"), "This is a text file, not a video.\n");
    testutil::writeFile(path("empty.mp4"), QByteArray());

    clips->folder = dir.path();
    clips->landscape = path("landscape.mp4");
    clips->portrait = path("portrait.mp4");
    clips->fullHD = path("fullhd.mp4");
    clips->fullHDPortrait = path("fullhd-portrait.mp4");
    clips->marker = path("marker.mp4");
    clips->marker90 = path("marker90.mp4");
    clips->marker180 = path("marker180.mp4");
    clips->marker270 = path("marker270.mp4");
    clips->audioOnly = path("audio.m4a");
    clips->notVideo = path("not-video.mp4");
    clips->empty = path("empty.mp4");
    clips->truncated = path("truncated.mp4");
    clips->cut = path("cut.mp4");
    clips->shortColours = path("short-colours.mp4");
    clips->longColours = path("long-colours.mp4");
    clips->gap = path("gap.mp4");
    clips->rawStream = path("raw.h264");
    clips->tiny = path("tiny.mp4");
    return clips;
}

} // namespace

const Clips& clips() {
    static const std::unique_ptr<Clips> made = make();
    return *made;
}

QString error() {
    clips();
    return g_error;
}

} // namespace mediaclips
