#include "support/TestUtil.h"

#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"
#include "library/LocalPath.h"
#include "library/PlaylistPersistence.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <QDebug>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

void PrintTo(const QString& value, std::ostream* os) {
    *os << '"' << value.toStdString() << '"';
}

void PrintTo(const QByteArray& value, std::ostream* os) {
    *os << "QByteArray(" << value.toHex().toStdString() << ")";
}

void PrintTo(const QVariant& value, std::ostream* os) {
    QString text;
    QDebug(&text) << value;
    *os << text.toStdString();
}

void PrintTo(const QUrl& value, std::ostream* os) {
    *os << value.toString().toStdString();
}

namespace testutil {

bool waitUntil(const std::function<bool()>& predicate, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!predicate()) {
        if (deadline.hasExpired())
            return predicate();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

void settle() {
    // Work done on the pool may post events whose handlers start more work.
    for (int round = 0; round < 3; ++round) {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
}

void waitTimerPeriods(int intervalMs, int periods) {
    int fired = 0;
    QTimer probe;
    QObject::connect(&probe, &QTimer::timeout, [&fired] { ++fired; });
    probe.start(intervalMs);
    waitUntil([&] { return fired >= periods; });
}

ProcessResult runProcess(const QString& program, const QStringList& arguments,
                         const QStringList& extraEnv, const QByteArray& input) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString& entry : extraEnv) {
        const qsizetype eq = entry.indexOf(QLatin1Char('='));
        env.insert(entry.left(eq), entry.mid(eq + 1));
    }
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    ProcessResult result;
    if (!process.waitForStarted(30000))
        return result;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(120000);
    result.crashed = process.exitStatus() != QProcess::NormalExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

bool ffmpeg(const QStringList& arguments, QString* error) {
    const QString program = QStandardPaths::findExecutable("ffmpeg");
    const ProcessResult result =
        program.isEmpty() ? ProcessResult{}
                          : runProcess(program, QStringList{"-v", "error", "-y"} + arguments);
    if (result.exitCode == 0)
        return true;
    if (error)
        *error = program.isEmpty()
                     ? QString("ffmpeg is not installed")
                     : "ffmpeg " + arguments.join(u' ') + ": " + QString::fromLocal8Bit(result.err);
    return false;
}

bool encodeClip(const QString& outputPath, const ClipSpec& clip) {
    QDir().mkpath(QFileInfo(outputPath).absolutePath());
    const QString source =
        QStringLiteral("%1%2size=%3:rate=%4:duration=%5")
            .arg(clip.source, QLatin1String(clip.source.contains(u'=') ? ":" : "="), clip.size,
                 QString::number(clip.rate), QString::number(clip.seconds));
    // More inputs may come first among the extra arguments, so they precede output options.
    return ffmpeg(QStringList{"-f", "lavfi", "-i", source} + clip.extraArguments +
                  QStringList{"-pix_fmt", "yuv420p", outputPath}) &&
           QFileInfo(outputPath).size() > 0;
}

QByteArray encodedClip(const QString& format) {
    QTemporaryDir dir;
    const QString path = dir.filePath("clip");
    ClipSpec clip;
    clip.extraArguments = {"-f", format};
    QFile file(path);
    if (!dir.isValid() || !encodeClip(path, clip) || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QColor averageColour(const QImage& image, const QRect& rect) {
    const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
    const QRect area = rect.isNull() ? pixels.rect() : rect.intersected(pixels.rect());
    qint64 sum[3] = {0, 0, 0};
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb pixel = pixels.pixel(x, y);
            sum[0] += qRed(pixel);
            sum[1] += qGreen(pixel);
            sum[2] += qBlue(pixel);
        }
    }
    const qint64 count = std::max<qint64>(1, qint64(area.width()) * area.height());
    return QColor(int(sum[0] / count), int(sum[1] / count), int(sum[2] / count));
}

QString primaryName(const QColor& colour) {
    const int channels[3] = {colour.red(), colour.green(), colour.blue()};
    static const char* const kNames[3] = {"red", "green", "blue"};
    for (int i = 0; i < 3; ++i) {
        if (channels[i] > 100 && channels[(i + 1) % 3] < 60 && channels[(i + 2) % 3] < 60)
            return QString::fromLatin1(kNames[i]);
    }
    return {};
}

QString primaryName(const QImage& image) {
    return primaryName(averageColour(image));
}

void resetUserStore() {
    Preferences& store = Preferences::standard();
    for (const QString& key : store.allKeys())
        store.removeObject(key);
    PlaylistPersistence::resetRegistryForTesting();
}

bool freshStoreWithOneClip(const QString& dir) {
    if (!encodeClip(dir + QStringLiteral("/clips/a.mp4")))
        return false;
    resetUserStore();
    FolderBookmarkManager folders(Preferences::standard());
    return folders.addFolder(QUrl::fromLocalFile(dir + QStringLiteral("/clips")));
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    // Created by its bytes, so that a name that isn't UTF-8 (held as LocalPath text) is made as
    // it is.
    const int fd = ::open(LocalPath::toBytes(path).constData(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    QFile file;
    if (fd >= 0 && file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle))
        file.write(bytes);
    else if (fd >= 0)
        ::close(fd);
}

QStringList fileNames(const QList<PlaylistItem>& items) {
    QStringList names;
    for (const PlaylistItem& item : items)
        names.append(item.filename);
    return names;
}

} // namespace testutil
