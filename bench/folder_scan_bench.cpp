// Times a recursive folder scan against `find DIR -type f` over the same tree, in the same run,
// and the cold start of the video-type table in fresh processes against QMimeDatabase's own cold
// start (the first look-up of a name) in fresh processes.
//
//   folder_scan_bench [DIR]   the tree is made in DIR (kept for later runs) or in a temporary
//                             folder: 100,000 empty files in 1,000 folders, 1 % videos by name.

#include "BenchUtil.h"
#include "core/Preferences.h"
#include "core/StandardOutput.h"
#include "library/FolderBookmarkManager.h"
#include "library/VideoFileTypes.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMimeDatabase>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using benchutil::Figure;
using benchutil::median;
using benchutil::millisecondsOf;

namespace {

constexpr int kFolders = 1000;
constexpr int kFilesPerFolder = 100;
constexpr int kRuns = 7;
constexpr int kColdStartRuns = 5;
const char* const kColdStartFlag = "--mime-cold-start";
const char* const kMimeColdStartFlag = "--qmimedatabase-cold-start";

// Folder k (1...1000) lies in folder k / 10, folder 0 being the root: four levels deep.
QString folderPath(const QString& root, int k) {
    return k == 0 ? root : folderPath(root, k / 10) + QStringLiteral("/d%1").arg(k);
}

bool makeTree(const QString& root) {
    const char* videos[] = {"mp4", "mkv", "webm", "mov"};
    const char* others[] = {"jpg", "txt", "png", "pdf", "json"};
    for (int k = 1; k <= kFolders; ++k) {
        const QString folder = folderPath(root, k);
        if (!QDir().mkpath(folder))
            return false;
        for (int j = 0; j < kFilesPerFolder; ++j) {
            const QString name = j == 0 ? QStringLiteral("clip%1.%2").arg(k).arg(videos[k % 4])
                                        : QStringLiteral("file%1.%2").arg(j).arg(others[j % 5]);
            const int fd = open(QFile::encodeName(folder + u'/' + name).constData(),
                                O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd < 0)
                return false;
            close(fd);
        }
    }
    return true;
}

double runFind(const QString& root) {
    bool ok = false;
    const double ms = millisecondsOf([&] {
        ok = benchutil::runQuietly(
            {QStringLiteral("find"), root, QStringLiteral("-type"), QStringLiteral("f")});
    });
    return ok ? ms : -1;
}

// In a fresh process: the first classification builds the table.
int coldStart() {
    const double ms = millisecondsOf([] { VideoFileTypes::classifyName("clip.mp4"); });
    std::printf("%.3f\n", ms);
    return 0;
}

// In a fresh process: QMimeDatabase's first look-up by name loads the shared MIME database.
int mimeColdStart() {
    const double ms = millisecondsOf([] {
        QMimeDatabase().mimeTypeForFile(QStringLiteral("clip.mp4"), QMimeDatabase::MatchExtension);
    });
    std::printf("%.3f\n", ms);
    return 0;
}

double coldStartInChild(const char* flag) {
    QProcess child;
    child.setStandardInputFile(QProcess::nullDevice());
    child.start(QCoreApplication::applicationFilePath(), {QLatin1String(flag)});
    if (!child.waitForFinished(60000) || child.exitCode() != 0)
        return -1;
    return child.readAllStandardOutput().trimmed().toDouble();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc > 1 && std::strcmp(argv[1], kColdStartFlag) == 0)
        return coldStart();
    if (argc > 1 && std::strcmp(argv[1], kMimeColdStartFlag) == 0)
        return mimeColdStart();
    benchutil::hideInfoLogs();

    QTemporaryDir temporary;
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();
    const QString root = QDir(base).absoluteFilePath(QStringLiteral("orvanta-bench-tree"));
    const QString complete = root + QStringLiteral(".complete");
    if (!QFile::exists(complete)) {
        StandardOutput::printLine(QStringLiteral("making %1 files in %2 folders under %3 ...")
                                      .arg(kFolders * kFilesPerFolder)
                                      .arg(kFolders)
                                      .arg(root));
        if (!makeTree(root) || !QFile(complete).open(QIODevice::WriteOnly)) {
            std::fprintf(stderr, "could not make the tree\n");
            return 1;
        }
    }

    QTemporaryDir preferencesDir;
    Preferences preferences(preferencesDir.filePath(QStringLiteral("bench.sqlite3")));
    FolderBookmarkManager manager(preferences);
    const QUrl url = QUrl::fromLocalFile(root);
    qsizetype found = 0;
    const auto scan = [&] {
        found = manager.scanFolder(url, true).size();
    };

    // Warm the page and dentry caches (and the type table) before anything is timed.
    scan();
    if (runFind(root) < 0) {
        std::fprintf(stderr, "find failed\n");
        return 1;
    }
    std::vector<double> scanTimes;
    std::vector<double> findTimes;
    for (int run = 0; run < kRuns; ++run) {
        scanTimes.push_back(millisecondsOf(scan));
        findTimes.push_back(runFind(root));
    }
    std::vector<double> coldTimes;
    std::vector<double> mimeColdTimes;
    for (int run = 0; run < kColdStartRuns; ++run) {
        coldTimes.push_back(coldStartInChild(kColdStartFlag));
        mimeColdTimes.push_back(coldStartInChild(kMimeColdStartFlag));
    }

    const double scanMs = median(scanTimes);
    const double findMs = median(findTimes);
    const double coldMs = median(coldTimes);
    const double mimeColdMs = median(mimeColdTimes);
    benchutil::printHeading(QStringLiteral("folder scan: %1 files in %2 folders, %3 videos found "
                                           "(expected %2), median of %4")
                                .arg(kFolders * kFilesPerFolder)
                                .arg(kFolders)
                                .arg(found)
                                .arg(kRuns));
    const QString ms = QStringLiteral("ms");
    benchutil::printLine({QStringLiteral("recursive scanFolder, warm"), scanMs, ms},
                         {QStringLiteral("find DIR -type f, warm"), findMs, ms},
                         QStringLiteral("ratio <= 1.00"), scanMs <= findMs);
    benchutil::printLine(
        {QStringLiteral("video type table, cold (%1 procs)").arg(kColdStartRuns), coldMs, ms},
        {QStringLiteral("QMimeDatabase first look-up, cold"), mimeColdMs, ms},
        QStringLiteral("<= 50 ms"), coldMs >= 0 && coldMs <= 50);
    return found == kFolders ? 0 : 1;
}
