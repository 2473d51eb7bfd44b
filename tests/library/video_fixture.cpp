#include "video_fixture.h"

#include "support/TestUtil.h"

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace videofixture {

QByteArray encodeClip(const QString& container) {
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    QTemporaryDir dir;
    if (ffmpeg.isEmpty() || !dir.isValid())
        return {};
    const QString output = dir.filePath(QStringLiteral("clip"));
    const testutil::ProcessResult result = testutil::runProcess(
        ffmpeg, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                 QStringLiteral("lavfi"), QStringLiteral("-i"),
                 QStringLiteral("testsrc=size=160x90:rate=10"), QStringLiteral("-t"),
                 QStringLiteral("1"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
                 QStringLiteral("-f"), container, output});
    QFile file(output);
    if (result.exitCode != 0 || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

} // namespace videofixture
