#include "media_clips.h"

#include "support/TestUtil.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
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
        g_error = QStringLiteral("no temporary folder");
        return clips;
    }
    const auto path = [](const char* name) {
        return dir.filePath(QLatin1String(name));
    };
    const QString h264 = QStringLiteral("libx264");
    const QStringList encode = {QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
                                QStringLiteral("-c:v"), h264};
    const auto lavfi = [](const QString& graph) {
        return QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                           graph};
    };
    const auto rotated = [](const QString& from, const QString& to, int degrees) {
        return ffmpeg({QStringLiteral("-i"), from, QStringLiteral("-c"), QStringLiteral("copy"),
                       QStringLiteral("-metadata:s:v:0"), QStringLiteral("rotate=%1").arg(degrees),
                       to});
    };

    bool ok =
        ffmpeg(lavfi(QStringLiteral("testsrc=s=320x180:r=25:d=3")) + encode +
               QStringList{path("landscape.mp4")}) &&
        rotated(path("landscape.mp4"), path("portrait.mp4"), 90) &&
        ffmpeg(lavfi(QStringLiteral("testsrc2=s=1920x1080:r=25:d=0.2")) + encode +
               QStringList{QStringLiteral("-preset"), QStringLiteral("ultrafast"),
                           path("fullhd.mp4")}) &&
        rotated(path("fullhd.mp4"), path("fullhd-portrait.mp4"), 90) &&
        ffmpeg(lavfi(QStringLiteral("color=c=blue:s=320x180:r=25:d=1,"
                                    "drawbox=x=0:y=0:w=80:h=45:c=red:t=fill")) +
               encode + QStringList{path("marker.mp4")}) &&
        rotated(path("marker.mp4"), path("marker90.mp4"), 90) &&
        rotated(path("marker.mp4"), path("marker180.mp4"), 180) &&
        rotated(path("marker.mp4"), path("marker270.mp4"), 270) &&
        ffmpeg(lavfi(QStringLiteral("sine=d=2")) +
               QStringList{QStringLiteral("-c:a"), QStringLiteral("aac"), path("audio.m4a")}) &&
        ffmpeg(lavfi(QStringLiteral("testsrc=s=320x180:r=25:d=3")) + encode +
               QStringList{QStringLiteral("-movflags"), QStringLiteral("+faststart"),
                           path("faststart.mp4")}) &&
        copyPrefix(path("landscape.mp4"), path("truncated.mp4"), 0.5) &&
        copyPrefix(path("faststart.mp4"), path("cut.mp4"), 0.6) &&
        ffmpeg(lavfi(colourSegments("160x90", 25,
                                    {QStringLiteral("red:0.5"), QStringLiteral("green:0.1"),
                                     QStringLiteral("blue:4.4")})) +
               encode + QStringList{path("short-colours.mp4")}) &&
        ffmpeg(lavfi(colourSegments("160x90", 25,
                                    {QStringLiteral("red:1"), QStringLiteral("green:0.2"),
                                     QStringLiteral("blue:10.8")})) +
               encode +
               QStringList{QStringLiteral("-g"), QStringLiteral("12"), path("long-colours.mp4")}) &&
        ffmpeg(lavfi(QStringLiteral("color=c=red:s=64x36:r=1:d=2,"
                                    "drawbox=c=blue:t=fill:enable='eq(n,1)',"
                                    "setpts=N*5/TB")) +
               encode +
               QStringList{QStringLiteral("-fps_mode"), QStringLiteral("passthrough"),
                           path("gap.mp4")}) &&
        ffmpeg(lavfi(QStringLiteral("testsrc=s=160x90:r=10:d=1")) + encode +
               QStringList{QStringLiteral("-f"), QStringLiteral("h264"), path("raw.h264")}) &&
        ffmpeg(lavfi(QStringLiteral("testsrc=s=64x36:r=1:d=1")) + encode +
               QStringList{path("tiny.mp4")});
    if (!ok) {
        if (g_error.isEmpty())
            g_error = QStringLiteral("ffmpeg failed");
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

bool ffmpeg(const QStringList& arguments) {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    if (program.isEmpty()) {
        g_error = QStringLiteral("ffmpeg is not installed");
        return false;
    }
    const testutil::ProcessResult result = testutil::runProcess(
        program, QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")} +
                     arguments);
    if (result.exitCode != 0) {
        g_error = QStringLiteral("ffmpeg %1: %2")
                      .arg(arguments.join(QLatin1Char(' ')), QString::fromLocal8Bit(result.err));
        return false;
    }
    return true;
}

QColor averageColour(const QImage& image, const QRect& rect) {
    const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
    const QRect area = rect.intersected(pixels.rect());
    qint64 red = 0;
    qint64 green = 0;
    qint64 blue = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb pixel = pixels.pixel(x, y);
            red += qRed(pixel);
            green += qGreen(pixel);
            blue += qBlue(pixel);
        }
    }
    const qint64 count = std::max<qint64>(1, qint64(area.width()) * area.height());
    return QColor(int(red / count), int(green / count), int(blue / count));
}

QColor averageColour(const QImage& image) {
    return averageColour(image, image.rect());
}

QString dominantColour(const QImage& image) {
    if (image.isNull())
        return QStringLiteral("no image");
    const QColor colour = averageColour(image);
    const int r = colour.red();
    const int g = colour.green();
    const int b = colour.blue();
    // ffmpeg's "green" is (0, 128, 0).
    if (r > 200 && g < 60 && b < 60)
        return QStringLiteral("red");
    if (g > 100 && r < 60 && b < 60)
        return QStringLiteral("green");
    if (b > 200 && r < 60 && g < 60)
        return QStringLiteral("blue");
    return QStringLiteral("rgb(%1, %2, %3)").arg(r).arg(g).arg(b);
}

} // namespace mediaclips
