#include "core/Preferences.h"
#include "system/SupportInfoExporter.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

SupportInfoExporter::Facts facts() {
    SupportInfoExporter::Facts facts;
    facts.generated = QDateTime(QDate(2026, 11, 16), QTime(19, 27, 18), Qt::UTC);
    facts.version = u"0.1.0"_s;
    facts.osVersion = u"Debian GNU/Linux 12 (bookworm), Linux 6.1.0"_s;
    facts.machineModel = u"LENOVO 20XW"_s;
    facts.processorName = u"AMD EPYC"_s;
    facts.screens = {{1920.7, 1080, 1, false}, {1512, 982, 2, true}};
    facts.videoTypes = {u"video/mp4"_s, u"video/webm"_s, u"video/x-matroska"_s};
    return facts;
}

// The whole layout, with a store that was never started: absent settings print as zero.
TEST(SupportInfo, ReportLayoutWithAFreshStore) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    Preferences store(dir.filePath(u"store.sqlite3"_s));
    EXPECT_EQ(SupportInfoExporter::generateReport(store, facts()),
              u"=== Orvanta Support Info ===\n"
              "Generated: 2026-11-16T19:27:18Z\n"
              "\n"
              "--- App Info ---\n"
              "Version: 0.1.0\n"
              "\n"
              "--- System Info ---\n"
              "macOS: Debian GNU/Linux 12 (bookworm), Linux 6.1.0\n"
              "Mac Model: LENOVO 20XW\n"
              "Processor: AMD EPYC\n"
              "\n"
              "--- Display Configuration ---\n"
              "Display 1: 1920x1080 @1.0x\n"
              "Display 2 (Main): 1512x982 @2.0x\n"
              "\n"
              "--- Settings ---\n"
              "Auto-play on launch: false\n"
              "Prevent display sleep: false\n"
              "Pause on battery: false\n"
              "Sync displays: false\n"
              "Launch at login: false\n"
              "Transition type: 0\n"
              "Transition duration: 0.0s\n"
              "Video scaling: 0\n"
              "\n"
              "--- Video Folders ---\n"
              "Configured folders: 0\n"
              "\n"
              "--- Playback State ---\n"
              "\n"
              "--- Supported Formats ---\n"
              "Video types: video/mp4, video/webm, video/x-matroska...\n"
              "\n"
              "=== End Support Info ==="_s);
}

// Stored values print raw; a folder list with anything but data counts none; the playback lines
// follow the controller and its primary screen.
TEST(SupportInfo, ValuesAndPlaybackLines) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    Preferences store(dir.filePath(u"store.sqlite3"_s));
    store.set(u"transitionDuration"_s, 2.25);
    store.set(u"transitionType"_s, 7);
    store.set(u"videoFoldersBookmarks"_s, QVariantList{QByteArray("a"), QByteArray("b")});
    SupportInfoExporter::Facts given = facts();
    given.playback = SupportInfoExporter::Playback{true, 1, 2, {{u"Clip"_s, 12}}};
    const QString report = SupportInfoExporter::generateReport(store, given);
    for (const QString& line : {u"Transition duration: 2.25s"_s, u"Transition type: 7"_s,
                                u"Configured folders: 2"_s,
                                u"Playing: true\nScreens playing: 1/2\nCurrent video: Clip\n"
                                "Total videos: 12\n"_s})
        EXPECT_TRUE(report.contains(line)) << line.toStdString();

    store.set(u"videoFoldersBookmarks"_s, QVariantList{QByteArray("a"), u"b"_s});
    given.playback->primary.reset();
    const QString without = SupportInfoExporter::generateReport(store, given);
    EXPECT_TRUE(without.contains(u"Configured folders: 0"_s));
    EXPECT_TRUE(without.contains(u"Screens playing: 1/2\n\n"_s));
    EXPECT_EQ(SupportInfoExporter::shortestDouble(0.1), u"0.1"_s);
    EXPECT_EQ(SupportInfoExporter::shortestDouble(1e21), u"1e+21"_s);
}

} // namespace
