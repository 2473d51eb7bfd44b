#include "library/VideoFileTypes.h"

#include "support/TestUtil.h"

#include <QMimeDatabase>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using Verdict = VideoFileTypes::NameVerdict;

class VideoFileTypesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_mp4 = testutil::encodedClip("mp4");
        s_transportStream = testutil::encodedClip("mpegts");
    }

    void SetUp() override {
        ASSERT_FALSE(s_mp4.isEmpty()) << "ffmpeg could not encode the MP4 fixture";
        ASSERT_FALSE(s_transportStream.isEmpty()) << "ffmpeg could not encode the MPEG-TS fixture";
        ASSERT_TRUE(m_dir.isValid());
    }

    static inline QByteArray s_mp4, s_transportStream;
    QTemporaryDir m_dir;
};

TEST(VideoFileTypesNames, SuffixDecidesInAnyCaseUnlessUnknownOrShared) {
    // ".ts" is both an MPEG transport stream and a Qt translation source.
    const std::pair<Verdict, std::vector<const char*>> cases[] = {
        {Verdict::Video, {"clip.mp4", "CLIP.MKV", "holiday.2023.webm", "Movie.MoV", "old.avi"}},
        {Verdict::NotVideo, {"notes.txt", "photo.JPG", "archive.tar.gz", "song.mp3"}},
        {Verdict::Undecided,
         {"noextension", "file.", "file.nosuchsuffix", "stream.ts", "a.TS", ""}}};
    for (const auto& [verdict, names] : cases) {
        for (const char* name : names)
            EXPECT_EQ(VideoFileTypes::classifyName(name), verdict) << name;
    }
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
            const QString name = "file." + suffix;
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

TEST_F(VideoFileTypesTest, NameDecidesBeforeContentAndContentWhenTheNameCannot) {
    const QByteArray translation = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                                   "<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"de\"></TS>\n";
    const std::tuple<const char*, QByteArray, bool> cases[] = {
        {"clip.mp4", s_mp4, true},
        {"fake.mp4", "just text\n", true},
        {"notes.txt", s_mp4, false},
        {"recording", s_mp4, true},
        {"transcript", "plain words\n", false},
        {"capture.ts", s_transportStream, true},
        {"strings_de.ts", translation, false}};
    for (const auto& [name, bytes, video] : cases) {
        const QString path = m_dir.filePath(QLatin1String(name));
        testutil::writeFile(path, bytes);
        EXPECT_EQ(VideoFileTypes::isVideoFile(path), video) << name;
    }
}

TEST(VideoFileTypesPlayable, VideoTypesFfmpegCanOpenInStableOrder) {
    const QStringList types = VideoFileTypes::playableMimeTypes();
    for (const char* expected : {"video/mp4", "video/x-matroska", "video/webm", "video/quicktime",
                                 "video/x-msvideo", "video/mpeg"})
        EXPECT_TRUE(types.contains(QLatin1String(expected))) << expected;
    // The MPEG-TS demuxer claims no extension: it recognises streams by content.
    EXPECT_FALSE(types.contains("video/mp2t"));
    const QMimeDatabase db;
    for (const QString& name : types)
        EXPECT_TRUE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName(name))) << qPrintable(name);
    // audio/webm is a sub-class of video/webm in the shared MIME database.
    EXPECT_TRUE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName("audio/webm")));
    EXPECT_FALSE(VideoFileTypes::isVideoMimeType(db.mimeTypeForName("audio/mpeg")));
    EXPECT_FALSE(types.contains("audio/mpeg"));
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end()));
    EXPECT_EQ(std::adjacent_find(types.begin(), types.end()), types.end());
    EXPECT_EQ(VideoFileTypes::playableMimeTypes(), types);
}

} // namespace
