// Times `orvanta-defaults read` of one small key in a store that also holds a 10 MB playlist
// library document, a whole call from start to exit, beside the sqlite3 shell reading the same
// row of the same file (goal 10 ms a call, median).
//
//   defaults_bench

#include "BenchUtil.h"
#include "core/Preferences.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <vector>

using benchutil::Figure;

namespace {

constexpr int kRuns = 21;
constexpr qsizetype kLibraryBytes = 10 * 1024 * 1024;
constexpr double kGoalMs = 10.0;

// The median time of a program run kRuns times; negative when it fails.
double medianRun(const QStringList& command) {
    std::vector<double> times;
    bool ok = true;
    for (int run = 0; run < kRuns; ++run)
        times.push_back(
            benchutil::millisecondsOf([&] { ok = benchutil::runQuietly(command) && ok; }));
    return ok ? benchutil::median(times) : -1.0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    if (!dir.isValid())
        return 1;
    // The tool finds the user's store through XDG_CONFIG_HOME.
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(dir.path()));
    const QString path = Preferences::standardFilePath();
    {
        Preferences store(path);
        const QByteArray record = R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","filename":)"
                                  R"("Sunset over the bay 0042.mp4","duration":612.5},)";
        QByteArray library = "[" + record.repeated(kLibraryBytes / record.size()) + "]";
        if (!store.set(QStringLiteral("playlistLibrary"), library) ||
            !store.set(QStringLiteral("audioVolume"), 0.35))
            return 1;
    }

    const double tool = medianRun({QStringLiteral(ORVANTA_DEFAULTS_BIN), QStringLiteral("read"),
                                   QStringLiteral("audioVolume")});
    const double shell =
        medianRun({QStringLiteral("sqlite3"), path,
                   QStringLiteral("SELECT value FROM preferences WHERE key = 'audioVolume'")});
    if (tool < 0 || shell < 0)
        return 1;
    benchutil::printLine(
        {QStringLiteral("defaults read, 10 MB library"), tool, QStringLiteral("ms")},
        {QStringLiteral("sqlite3 shell, same row"), shell, QStringLiteral("ms")},
        QStringLiteral("<= 10 ms"), tool <= kGoalMs);
    return 0;
}
