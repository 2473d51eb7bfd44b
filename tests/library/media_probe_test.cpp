#include "library/MediaProbe.h"

#include "support/TestUtil.h"
#include "support/media_clips.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtConcurrent/QtConcurrentMap>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using mediaclips::clips;

const QString kInvalidData =
    "The file couldn’t be opened: Invalid data found when processing input.";

class MediaProbeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { clips(); }
    void SetUp() override {
        ASSERT_FALSE(clips().folder.isEmpty()) << qPrintable(mediaclips::error());
    }

    static MediaProbe::Info probed(const QString& path) {
        QString error;
        const std::optional<MediaProbe::Info> info = MediaProbe::probe(path, &error);
        EXPECT_TRUE(info) << qPrintable(path) << ": " << qPrintable(error);
        return info.value_or(MediaProbe::Info{});
    }

    static QImage frame(const QString& path, double seconds, QSize box = QSize(400, 400)) {
        QString error;
        const std::optional<QImage> image = MediaProbe::frameAt(path, seconds, box, &error);
        EXPECT_TRUE(image) << qPrintable(path) << " at " << seconds << ": " << qPrintable(error);
        return image.value_or(QImage());
    }
};

TEST_F(MediaProbeTest, ReportsDurationVideoAndDisplayedSize) {
    // Rotated clips report their displayed size; a stream without a container has no duration;
    // a file cut in its media still gives what it has.
    const std::tuple<QString, double, QSize> cases[] = {
        {clips().landscape, 3.0, QSize(320, 180)}, {clips().portrait, 3.0, QSize(180, 320)},
        {clips().fullHD, 0.2, QSize(1920, 1080)},  {clips().fullHDPortrait, 0.2, QSize(1080, 1920)},
        {clips().marker90, 1.0, QSize(180, 320)},  {clips().marker180, 1.0, QSize(320, 180)},
        {clips().marker270, 1.0, QSize(180, 320)}, {clips().longColours, 12.0, QSize(160, 90)},
        {clips().audioOnly, 2.0, QSize()},         {clips().rawStream, NAN, QSize(160, 90)},
        {clips().cut, 3.0, QSize(320, 180)}};
    for (const auto& [path, duration, size] : cases) {
        SCOPED_TRACE(qPrintable(path));
        const MediaProbe::Info info = probed(path);
        if (std::isnan(duration))
            EXPECT_TRUE(std::isnan(info.duration)) << info.duration;
        else
            EXPECT_NEAR(info.duration, duration, 0.1);
        EXPECT_EQ(info.hasVideo, !size.isEmpty());
        EXPECT_EQ(info.displaySize, size);
    }

    // A name in Latin-1, not UTF-8 (its "é" held as U+DCE9), is opened by its bytes.
    QTemporaryDir dir;
    QFile original(clips().landscape);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    const QString copy = dir.filePath("caf") + QChar(0xDCE9) + ".mp4";
    testutil::writeFile(copy, original.readAll());
    EXPECT_EQ(probed(copy).displaySize, QSize(320, 180));
    EXPECT_EQ(frame(copy, 1.0).size(), frame(clips().landscape, 1.0).size());
}

TEST_F(MediaProbeTest, UnreadableFilesFailWithADescription) {
    const QList<std::pair<QString, QString>> cases = {
        {clips().notVideo, kInvalidData},
        {clips().empty, kInvalidData},
        {clips().truncated, kInvalidData},
        {clips().folder + "/missing.mp4",
         "The file couldn’t be opened: No such file or directory."}};
    for (const auto& [path, expected] : cases) {
        SCOPED_TRACE(qPrintable(path));
        QString probeError, frameError;
        EXPECT_FALSE(MediaProbe::probe(path, &probeError));
        EXPECT_EQ(probeError, expected);
        EXPECT_FALSE(MediaProbe::frameAt(path, 0.0, QSize(400, 400), &frameError));
        EXPECT_EQ(frameError, expected);
    }
    QString error;
    EXPECT_FALSE(MediaProbe::frameAt(clips().audioOnly, 0.5, QSize(400, 400), &error));
    EXPECT_EQ(error, "The file has no video track.");
}

TEST_F(MediaProbeTest, FramesFitTheBoxKeepingAspect) {
    const QSize box(400, 400);
    const std::tuple<QString, double, QSize, QSize> cases[] = {
        {clips().fullHD, 0.0, box, QSize(400, 225)},
        {clips().fullHDPortrait, 0.0, box, QSize(225, 400)},
        {clips().portrait, 0.0, box, QSize(180, 320)},
        {clips().landscape, 0.0, box, QSize(320, 180)}, // never enlarged
        {clips().landscape, 0.0, QSize(100, 100), QSize(100, 56)},
        {clips().fullHD, 0.0, QSize(400, 100), QSize(178, 100)},
        // No timestamps to seek by: the frame comes from the start.
        {clips().rawStream, 0.5, box, QSize(160, 90)},
        // The frames at the end are missing: the last one that can be decoded stands in.
        {clips().cut, 0.0, box, QSize(320, 180)},
        {clips().cut, 2.9, box, QSize(320, 180)}};
    for (const auto& [path, seconds, fitInto, size] : cases)
        EXPECT_EQ(frame(path, seconds, fitInto).size(), size) << qPrintable(path) << " " << seconds;
}

TEST_F(MediaProbeTest, FrameIsTheFirstShownAtOrAfterTheTimeUnlessTwoSecondsLate) {
    // The short clip decodes forward from its first key frame, the long one seeks to the key
    // frame before the time (0.96 s). Of the frames at 0 s and 5 s of the gap clip, one more
    // than two seconds late gives way to the one before. Past the end: the last frame.
    const std::pair<QString, std::vector<std::pair<double, const char*>>> cases[] = {
        {clips().shortColours,
         {{0.0, "red"}, {0.45, "red"}, {0.504, "green"}, {0.7, "blue"}, {100.0, "blue"}}},
        {clips().longColours, {{0.95, "red"}, {1.0, "green"}, {1.15, "green"}, {6.0, "blue"}}},
        {clips().gap, {{0.0, "red"}, {2.9, "red"}, {3.5, "blue"}, {100.0, "blue"}}}};
    for (const auto& [path, frames] : cases) {
        for (const auto& [seconds, colour] : frames)
            EXPECT_EQ(testutil::primaryName(frame(path, seconds)), QLatin1String(colour))
                << qPrintable(path) << " at " << seconds;
    }
}

TEST_F(MediaProbeTest, RotatedFramesAreTurnedAsFFmpegTurnsThem) {
    // The quadrant (left to right, top to bottom) where ffmpeg's own command shows the red
    // corner of the marker clip; the others stay blue.
    const std::pair<QString, int> cases[] = {
        {clips().marker, 0}, {clips().marker90, 2}, {clips().marker180, 3}, {clips().marker270, 1}};
    for (const auto& [path, redQuadrant] : cases) {
        const QImage image = frame(path, 0.0);
        const int w = image.width() / 2, h = image.height() / 2;
        for (int quadrant = 0; quadrant < 4; ++quadrant) {
            // The corner fills a quarter of its quadrant.
            const QColor average =
                testutil::averageColour(image, QRect(quadrant % 2 * w, quadrant / 2 * h, w, h));
            EXPECT_EQ(average.red() > 40, quadrant == redQuadrant)
                << qPrintable(path) << " quadrant " << quadrant;
        }
    }
}

TEST_F(MediaProbeTest, CallsFromManyThreadsAtOnceAgreeWithOneAtATime) {
    const QStringList paths = {clips().landscape,   clips().portrait,  clips().fullHD,
                               clips().longColours, clips().audioOnly, clips().empty};
    // What a probe and a frame give: the size (-1 when the probe fails), whether there is video,
    // the frame and the error.
    using Result = std::tuple<QSize, bool, QImage, QString>;
    const auto run = [](const QString& path) {
        const std::optional<MediaProbe::Info> info = MediaProbe::probe(path);
        QString error;
        const QImage image =
            MediaProbe::frameAt(path, 1.0, QSize(400, 400), &error).value_or(QImage());
        return Result{info ? info->displaySize : QSize(-1, -1), info && info->hasVideo, image,
                      error};
    };
    std::vector<Result> serial;
    for (const QString& path : paths)
        serial.push_back(run(path));
    QStringList many;
    for (int i = 0; i < 4; ++i)
        many += paths;
    const QList<Result> parallel = QtConcurrent::blockingMapped(many, run);
    ASSERT_EQ(parallel.size(), many.size());
    for (qsizetype i = 0; i < parallel.size(); ++i)
        EXPECT_TRUE(parallel[i] == serial[size_t(i % paths.size())]) << qPrintable(many[i]);
}

} // namespace
