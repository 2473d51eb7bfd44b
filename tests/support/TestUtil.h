#pragma once

#include "library/PlaylistItem.h"

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <ostream>

// Readable values in test failure messages.
void PrintTo(const QString& value, std::ostream* os);
void PrintTo(const QByteArray& value, std::ostream* os);
void PrintTo(const QVariant& value, std::ostream* os);
void PrintTo(const QUrl& value, std::ostream* os);

namespace testutil {

// Runs the event loop until predicate holds or timeoutMs passes; returns the predicate's last
// value. The timeout only keeps a broken test from hanging: tests assert on the outcome.
bool waitUntil(const std::function<bool()>& predicate, int timeoutMs = 15000);

// Runs what is already on its way: the work on the global thread pool, then every event and
// queued call that is pending, until none is left (for checks that something did NOT happen).
void settle();

// Runs the event loop until a timer of the given interval, started now, has fired `periods` times,
// so that one of the same interval started earlier by the code under test has fired too.
void waitTimerPeriods(int intervalMs, int periods = 2);

struct ProcessResult {
    int exitCode = -1;
    bool crashed = false;
    QByteArray out, err;
};

// Runs a program to its end with the current environment plus extraEnv ("NAME=value").
ProcessResult runProcess(const QString& program, const QStringList& arguments,
                         const QStringList& extraEnv = {}, const QByteArray& input = {});

// A clip encoded by ffmpeg from one of its test sources.
struct ClipSpec {
    double seconds = 1.0;
    QString size = QStringLiteral("160x90");
    int rate = 10;
    // An ffmpeg lavfi source without size, rate or duration ("testsrc", "color=c=red").
    QString source = QStringLiteral("testsrc");
    // More ffmpeg arguments after the first input: further inputs, output options.
    QStringList extraArguments;
};

// Runs ffmpeg with the arguments (after "-v error -y"); on failure false, and error says why.
bool ffmpeg(const QStringList& arguments, QString* error = nullptr);

// Encodes a clip to outputPath (its suffix picks the container); false when ffmpeg fails.
bool encodeClip(const QString& outputPath, const ClipSpec& clip = {});

// The bytes of a one-second clip in the given ffmpeg format ("mp4", "mpegts"); empty on failure.
QByteArray encodedClip(const QString& format);

// Empties the user's store of the harness and forgets every per-screen playlist state, so a test
// starts as on a fresh installation.
void resetUserStore();
// The same, with one folder, dir/clips, holding one clip (a.mp4); false when that fails.
bool freshStoreWithOneClip(const QString& dir);

// The average colour of an image, or of a part of it.
QColor averageColour(const QImage& image, const QRect& rect = {});

// "red", "green" or "blue" for a colour that is clearly that primary (ffmpeg's "green" is
// (0, 128, 0)); empty for anything else.
QString primaryName(const QColor& colour);
// The same for an image's average colour.
QString primaryName(const QImage& image);

// Writes bytes to a file, creating parent folders. The file's name may hold bytes that aren't
// UTF-8, as LocalPath holds them; its folders' names may not.
void writeFile(const QString& path, const QByteArray& bytes);

// The items' file names, in order.
QStringList fileNames(const QList<PlaylistItem>& items);

} // namespace testutil
