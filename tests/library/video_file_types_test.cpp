#include "library/VideoFileTypes.h"

#include "support/TestUtil.h"

#include <QMimeDatabase>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Verdict = VideoFileTypes::NameVerdict;

Verdict verdictOf(const char* name) {
    return VideoFileTypes::classifyName(name);
}

class VideoFileTypesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_mp4 = testutil::encodedClip(QStringLiteral("mp4"));
        s_transportStream = testutil::encodedClip(QStringLiteral("mpegts"));
    }

    void SetUp() override {
        ASSERT_FALSE(s_mp4.isEmpty()) << "ffmpeg could not encode the MP4 fixture";
        ASSERT_FALSE(s_transportStream.isEmpty()) << "ffmpeg could not encode the MPEG-TS fixture";
        ASSERT_TRUE(m_dir.isValid());
    }

    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = m_dir.filePath(name);
        testutil::writeFile(path, bytes);
        return path;
    }

    static inline QByteArray s_mp4;
    static inline QByteArray s_transportStream;
    QTemporaryDir m_dir;
};

TEST(VideoFileTypesNames, SuffixDecidesInAnyCase) {
    for (const char* name : {"clip.mp4", "CLIP.MKV", "holiday.2023.webm", "Movie.MoV", "old.avi"})
        EXPECT_EQ(verdictOf(name), Verdict::Video) << name;
    for (const char* name : {"notes.txt", "photo.JPG", "doc.pdf", "data.json", "archive.tar.gz",
                             "song.mp3", "image.png"})
        EXPECT_EQ(verdictOf(name), Verdict::NotVideo) << name;
}

TEST(VideoFileTypesNames, UnknownOrSharedSuffixesLeaveItOpen) {
    // ".ts" is both an MPEG transport stream and a Qt translation source.
    for (const char* name : {"noextension", "file.", "file.nosuchsuffix", "stream.ts", "a.TS", ""})
        EXPECT_EQ(verdictOf(name), Verdict::Undecided) << name;
}

// Wherever the table decides a plain "*.suffix" name, QMimeDatabase's own pick by name agrees.
TEST(VideoFileTypesNames, AgreesWithTheMimeDatabaseForEveryDecidedSuffix) {
    const QMimeDatabase db;
    int decided = 0;
    int videos = 0;
    for (const QMimeType& type : db.allMimeTypes()) {
        for (const QString& pattern : type.globPatterns()) {
            const QString suffix = pattern.mid(2);
            if (!pattern.startsWith(QLatin1String("*.")) || suffix.contains(u'*') ||
                suffix.contains(u'?') || suffix.contains(u'['))
                continue;
            const QString name = QStringLiteral("file.") + suffix;
            const Verdict verdict = VideoFileTypes::classifyName(name.toStdString());
            if (verdict == Verdict::Undecided)
                continue;
            ++decided;
            const QMimeType byName = db.mimeTypeForFile(name, QMimeDatabase::MatchExtension);
            const bool video = VideoFileTypes::isVideoMimeType(byName);
            videos += video;
            EXPECT_EQ(verdict == Verdict::Video, video)
                << qPrintable(name) << " is " << qPrintable(byName.name());
        }
    }
    EXPECT_GT(decided, 500);
    EXPECT_GT(videos, 30);
}

TEST(VideoFileTypesMime, VideoTypesAndTheirDescendants) {
    const QMimeDatabase db;
    EXPECT_TRUE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(QStringLiteral("video/mp4"))));
    // audio/webm is a sub-class of video/webm in the shared MIME database.
    EXPECT_TRUE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(QStringLiteral("audio/webm"))));
    EXPECT_FALSE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(QStringLiteral("audio/mpeg"))));
    EXPECT_FALSE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(QStringLiteral("text/plain"))));
}

TEST_F(VideoFileTypesTest, NameDecidesBeforeContent) {
    EXPECT_TRUE(VideoFileTypes::isVideoFile(write(QStringLiteral("clip.mp4"), s_mp4)));
    EXPECT_TRUE(VideoFileTypes::isVideoFile(write(QStringLiteral("fake.mp4"), "just text\n")));
    EXPECT_FALSE(VideoFileTypes::isVideoFile(write(QStringLiteral("notes.txt"), s_mp4)));
}

TEST_F(VideoFileTypesTest, ContentDecidesWhenTheNameCannot) {
    EXPECT_TRUE(VideoFileTypes::isVideoFile(write(QStringLiteral("recording"), s_mp4)));
    EXPECT_FALSE(VideoFileTypes::isVideoFile(write(QStringLiteral("transcript"), "plain words\n")));
    EXPECT_TRUE(
        VideoFileTypes::isVideoFile(write(QStringLiteral("capture.ts"), s_transportStream)));
    const QByteArray translation = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                                   "<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"de\"></TS>\n";
    EXPECT_FALSE(VideoFileTypes::isVideoFile(write(QStringLiteral("strings_de.ts"), translation)));
}

TEST(VideoFileTypesPlayable, VideoTypesFfmpegCanOpenInStableOrder) {
    const QStringList types = VideoFileTypes::playableMimeTypes();
    for (const char* expected : {"video/mp4", "video/x-matroska", "video/webm", "video/quicktime",
                                 "video/x-msvideo", "video/mpeg"})
        EXPECT_TRUE(types.contains(QLatin1String(expected))) << expected;
    // The MPEG-TS demuxer claims no extension: it recognises streams by content.
    EXPECT_FALSE(types.contains(QStringLiteral("video/mp2t")));
    const QMimeDatabase db;
    for (const QString& name : types)
        EXPECT_TRUE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(name))) << qPrintable(name);
    EXPECT_FALSE(types.contains(QStringLiteral("audio/mpeg")));
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end()));
    EXPECT_EQ(std::adjacent_find(types.begin(), types.end()), types.end());
    EXPECT_EQ(VideoFileTypes::playableMimeTypes(), types);
}

} // namespace
