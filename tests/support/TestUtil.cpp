#include "support/TestUtil.h"

#include "core/Preferences.h"
#include "library/PlaylistPersistence.h"
#include "playback/DesktopWindowController.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QThread>

#include <QDebug>

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

void processEventsFor(int ms) {
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
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

bool encodeClip(const QString& outputPath, const ClipSpec& clip) {
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    if (ffmpeg.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(outputPath).absolutePath());
    const QString source =
        QStringLiteral("%1%2size=%3:rate=%4:duration=%5")
            .arg(clip.source,
                 clip.source.contains(QLatin1Char('=')) ? QStringLiteral(":") : QStringLiteral("="),
                 clip.size, QString::number(clip.rate), QString::number(clip.seconds));
    QStringList arguments{QStringLiteral("-v"),
                          QStringLiteral("error"),
                          QStringLiteral("-y"),
                          QStringLiteral("-f"),
                          QStringLiteral("lavfi"),
                          QStringLiteral("-i"),
                          source};
    // More inputs may come first among the extra arguments, so they precede output options.
    arguments += clip.extraArguments;
    arguments += {QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), outputPath};
    const ProcessResult result = runProcess(ffmpeg, arguments);
    return result.exitCode == 0 && QFileInfo(outputPath).size() > 0;
}

ClipSpec solidColourClip(const QString& colour, double seconds) {
    ClipSpec clip;
    clip.seconds = seconds;
    clip.size = QStringLiteral("320x180");
    clip.source = QStringLiteral("color=c=%1").arg(colour);
    return clip;
}

std::vector<std::unique_ptr<DesktopWindowController>>
showDesktopWindows(VideoPlayerManager* shared) {
    std::vector<std::unique_ptr<DesktopWindowController>> controllers;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        controllers.push_back(std::make_unique<DesktopWindowController>(screen, shared));
        controllers.back()->showWindow();
    }
    return controllers;
}

void resetUserStore() {
    Preferences& store = Preferences::standard();
    for (const QString& key : store.allKeys())
        store.removeObject(key);
    PlaylistPersistence::resetRegistryForTesting();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(bytes);
}

} // namespace testutil
