#include "library/MediaProbe.h"

#include "support/TestUtil.h"
#include "support/media_clips.h"

#include <QFile>
#include <QStandardPaths>
#include <QtConcurrent/QtConcurrentMap>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using mediaclips::clips;

const QString kInvalidData =
    QStringLiteral("The file couldn’t be opened: Invalid data found when processing input.");

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

    // The first frame as ffmpeg's own command shows it (rotated by its display matrix).
    static QImage ffmpegFrame(const QString& path, QSize size) {
        const QString output = clips().folder + QStringLiteral("/reference.rgba");
        if (!testutil::ffmpeg({QStringLiteral("-i"), path, QStringLiteral("-frames:v"),
                               QStringLiteral("1"), QStringLiteral("-f"),
                               QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"),
                               QStringLiteral("rgba"), output}))
            return {};
        QFile file(output);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QByteArray bytes = file.readAll();
        if (bytes.size() != qsizetype(size.width()) * size.height() * 4)
            return {};
        return QImage(reinterpret_cast<const uchar*>(bytes.constData()), size.width(),
                      size.height(), QImage::Format_RGBA8888)
            .copy();
    }
};

TEST_F(MediaProbeTest, ReportsDurationVideoAndSize) {
    const MediaProbe::Info landscape = probed(clips().landscape);
    EXPECT_NEAR(landscape.duration, 3.0, 0.05);
    EXPECT_TRUE(landscape.hasVideo);
    EXPECT_EQ(landscape.displaySize, QSize(320, 180));

    const MediaProbe::Info fullHD = probed(clips().fullHD);
    EXPECT_TRUE(fullHD.hasVideo);
    EXPECT_EQ(fullHD.displaySize, QSize(1920, 1080));

    const MediaProbe::Info longClip = probed(clips().longColours);
    EXPECT_NEAR(longClip.duration, 12.0, 0.05);
}

TEST_F(MediaProbeTest, RotatedClipsReportTheirDisplayedSize) {
    EXPECT_EQ(probed(clips().portrait).displaySize, QSize(180, 320));
    EXPECT_EQ(probed(clips().fullHDPortrait).displaySize, QSize(1080, 1920));
    EXPECT_EQ(probed(clips().marker90).displaySize, QSize(180, 320));
    EXPECT_EQ(probed(clips().marker180).displaySize, QSize(320, 180));
    EXPECT_EQ(probed(clips().marker270).displaySize, QSize(180, 320));
}

TEST_F(MediaProbeTest, AudioOnlyFileHasDurationButNoVideo) {
    const MediaProbe::Info audio = probed(clips().audioOnly);
    EXPECT_FALSE(audio.hasVideo);
    EXPECT_NEAR(audio.duration, 2.0, 0.1);
    EXPECT_TRUE(audio.displaySize.isEmpty());

    QString error;
    EXPECT_FALSE(MediaProbe::frameAt(clips().audioOnly, 0.5, QSize(400, 400), &error));
    EXPECT_EQ(error, QStringLiteral("The file has no video track."));
}

TEST_F(MediaProbeTest, StreamWithoutContainerHasNoDurationButGivesAFrame) {
    const MediaProbe::Info raw = probed(clips().rawStream);
    EXPECT_TRUE(std::isnan(raw.duration)) << raw.duration;
    EXPECT_TRUE(raw.hasVideo);
    EXPECT_EQ(raw.displaySize, QSize(160, 90));
    // No timestamps to seek by: the frame comes from the start.
    EXPECT_EQ(frame(clips().rawStream, 0.5).size(), QSize(160, 90));
}

TEST_F(MediaProbeTest, UnreadableFilesFailWithADescription) {
    const QList<std::pair<QString, QString>> cases = {
        {clips().notVideo, kInvalidData},
        {clips().empty, kInvalidData},
        {clips().truncated, kInvalidData},
        {clips().folder + QStringLiteral("/missing.mp4"),
         QStringLiteral("The file couldn’t be opened: No such file or directory.")},
    };
    for (const auto& [path, expected] : cases) {
        SCOPED_TRACE(qPrintable(path));
        QString probeError;
        EXPECT_FALSE(MediaProbe::probe(path, &probeError));
        EXPECT_EQ(probeError, expected);
        QString frameError;
        EXPECT_FALSE(MediaProbe::frameAt(path, 0.0, QSize(400, 400), &frameError));
        EXPECT_EQ(frameError, expected);
    }
}

TEST_F(MediaProbeTest, FileCutInItsMediaStillGivesWhatItHas) {
    const MediaProbe::Info cut = probed(clips().cut);
    EXPECT_NEAR(cut.duration, 3.0, 0.05);
    EXPECT_EQ(cut.displaySize, QSize(320, 180));
    EXPECT_EQ(frame(clips().cut, 0.0).size(), QSize(320, 180));
    // The frames at the end are missing: the last one that can be decoded stands in.
    EXPECT_EQ(frame(clips().cut, 2.9).size(), QSize(320, 180));
}

TEST_F(MediaProbeTest, FramesFitTheBoxKeepingAspect) {
    EXPECT_EQ(frame(clips().fullHD, 0.0).size(), QSize(400, 225));
    EXPECT_EQ(frame(clips().fullHDPortrait, 0.0).size(), QSize(225, 400));
    EXPECT_EQ(frame(clips().portrait, 0.0).size(), QSize(180, 320));
    // Never enlarged.
    EXPECT_EQ(frame(clips().landscape, 0.0).size(), QSize(320, 180));
    EXPECT_EQ(frame(clips().landscape, 0.0, QSize(100, 100)).size(), QSize(100, 56));
    EXPECT_EQ(frame(clips().fullHD, 0.0, QSize(400, 100)).size(), QSize(178, 100));
}

TEST_F(MediaProbeTest, FrameIsTheFirstShownAtOrAfterTheTime) {
    // From the key frame at the start, decoding forward.
    EXPECT_EQ(testutil::primaryName(frame(clips().shortColours, 0.0)), QStringLiteral("red"));
    EXPECT_EQ(testutil::primaryName(frame(clips().shortColours, 0.45)), QStringLiteral("red"));
    EXPECT_EQ(testutil::primaryName(frame(clips().shortColours, 0.504)), QStringLiteral("green"));
    EXPECT_EQ(testutil::primaryName(frame(clips().shortColours, 0.7)), QStringLiteral("blue"));
    // After a seek to the key frame before the time (0.96 s).
    EXPECT_EQ(testutil::primaryName(frame(clips().longColours, 0.95)), QStringLiteral("red"));
    EXPECT_EQ(testutil::primaryName(frame(clips().longColours, 1.0)), QStringLiteral("green"));
    EXPECT_EQ(testutil::primaryName(frame(clips().longColours, 1.15)), QStringLiteral("green"));
    EXPECT_EQ(testutil::primaryName(frame(clips().longColours, 6.0)), QStringLiteral("blue"));
}

TEST_F(MediaProbeTest, FrameMoreThanTwoSecondsLateGivesWayToTheOneBefore) {
    // Frames at 0 s (red) and 5 s (blue).
    EXPECT_EQ(testutil::primaryName(frame(clips().gap, 0.0)), QStringLiteral("red"));
    EXPECT_EQ(testutil::primaryName(frame(clips().gap, 2.9)), QStringLiteral("red"));
    EXPECT_EQ(testutil::primaryName(frame(clips().gap, 3.5)), QStringLiteral("blue"));
    // Past the end: the last frame.
    EXPECT_EQ(testutil::primaryName(frame(clips().gap, 100.0)), QStringLiteral("blue"));
    EXPECT_EQ(testutil::primaryName(frame(clips().shortColours, 100.0)), QStringLiteral("blue"));
}

TEST_F(MediaProbeTest, TimeMayBeChosenFromTheDuration) {
    double seen = -1;
    QString error;
    const std::optional<QImage> image = MediaProbe::frameAt(
        clips().longColours,
        [&seen](double duration) {
            seen = duration;
            return duration / 10; // 1.2 s: blue
        },
        QSize(400, 400), &error);
    ASSERT_TRUE(image) << qPrintable(error);
    EXPECT_NEAR(seen, 12.0, 0.05);
    EXPECT_EQ(testutil::primaryName(*image), QStringLiteral("blue"));
}

TEST_F(MediaProbeTest, RotatedFramesMatchFFmpegsOwnRotation) {
    for (const QString& path :
         {clips().marker, clips().marker90, clips().marker180, clips().marker270}) {
        SCOPED_TRACE(qPrintable(path));
        const QImage ours = frame(path, 0.0);
        const QImage reference = ffmpegFrame(path, probed(path).displaySize);
        ASSERT_FALSE(reference.isNull());
        ASSERT_EQ(ours.size(), reference.size());
        // The red corner lands in the same quadrant; the others stay blue.
        const int w = ours.width() / 2;
        const int h = ours.height() / 2;
        int redQuadrants = 0;
        for (const QRect& quadrant :
             {QRect(0, 0, w, h), QRect(w, 0, w, h), QRect(0, h, w, h), QRect(w, h, w, h)}) {
            const QColor mine = testutil::averageColour(ours, quadrant);
            const QColor theirs = testutil::averageColour(reference, quadrant);
            EXPECT_NEAR(mine.red(), theirs.red(), 12);
            EXPECT_NEAR(mine.green(), theirs.green(), 12);
            EXPECT_NEAR(mine.blue(), theirs.blue(), 12);
            if (mine.red() > 40) // the corner fills a quarter of its quadrant
                ++redQuadrants;
        }
        EXPECT_EQ(redQuadrants, 1);
    }
}

TEST_F(MediaProbeTest, CallsFromManyThreadsAtOnceAgreeWithOneAtATime) {
    const QStringList paths = {clips().landscape,   clips().portrait,  clips().fullHD,
                               clips().longColours, clips().audioOnly, clips().empty};
    struct Result {
        std::optional<MediaProbe::Info> info;
        std::optional<QImage> image;
        QString error;
    };
    const auto run = [](const QString& path) {
        Result result;
        result.info = MediaProbe::probe(path);
        result.image = MediaProbe::frameAt(path, 1.0, QSize(400, 400), &result.error);
        return result;
    };
    std::vector<Result> serial;
    for (const QString& path : paths)
        serial.push_back(run(path));
    QStringList many;
    for (int i = 0; i < 4; ++i)
        many += paths;
    const QList<Result> parallel = QtConcurrent::blockingMapped(many, run);
    ASSERT_EQ(parallel.size(), many.size());
    for (qsizetype i = 0; i < parallel.size(); ++i) {
        const Result& expected = serial[size_t(i % paths.size())];
        SCOPED_TRACE(qPrintable(many[i]));
        ASSERT_EQ(parallel[i].info.has_value(), expected.info.has_value());
        if (expected.info) {
            EXPECT_EQ(parallel[i].info->displaySize, expected.info->displaySize);
            EXPECT_EQ(parallel[i].info->hasVideo, expected.info->hasVideo);
        }
        ASSERT_EQ(parallel[i].image.has_value(), expected.image.has_value());
        if (expected.image) {
            EXPECT_TRUE(*parallel[i].image == *expected.image);
        }
        EXPECT_EQ(parallel[i].error, expected.error);
    }
}

} // namespace
