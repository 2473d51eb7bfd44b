// Start-up and memory of the whole program under the harness's X server (two 1920x1080
// monitors, no GPU), with a library of 1,000 clips in 10 folders:
//  1. from process start to the first video frame on screen, median of 5 starts (the first
//     start builds the library, the others read it), beside the mpv player (--vo=x11, one
//     window) from its start to its first frame of the same clip, median of 5 (mpv's verbose
//     log says when the first frame is visible);
//  2. resident memory after 60 s of playback on both monitors, each with its own queue, beside
//     that of two mpv players, one window on each monitor, after 60 s of a clip each: the median
//     of samples taken every half second over the last 10 s, so that the moment of a switch
//     (two decoders alive for an instant) does not decide the figure.
// The clips are ten distinct 2 s 1080p30 H.264 clips, each hard-linked ten times per folder.
//
// Usage: startup_bench [WORK_DIR]   (runs itself inside scripts/harness)

#include "core/Preferences.h"
#include "library/FolderBookmarkManager.h"

#include "BenchUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kFolders = 10;
constexpr int kClipsPerFolder = 100;
constexpr int kDistinctClips = 10;
// As long as a short wallpaper loop. Much shorter clips would keep two decoders busy on each
// screen nearly all the time (the default cross dissolve lasts 1.5 s), which no wallpaper does.
constexpr int kClipSeconds = 10;
constexpr int kStarts = 5;
constexpr int kPlaybackSeconds = 60;
constexpr int kSampledSeconds = 10;
constexpr double kStartGoalMs = 1000.0;
constexpr double kMemoryGoalMiB = 200.0;
// The settings window: its first frame after Show Window, the processor time while Now Playing
// shows both screens' previews, and the memory it takes and gives back.
constexpr int kWindowSeconds = 20;
constexpr double kWindowDrawGoalMs = 250.0;
constexpr double kWindowCpuGoal = 1.15;
constexpr double kWindowMemoryGoalMiB = 40.0;
constexpr double kClosedMemorySlackMiB = 10.0;
const QByteArray kOrvantaFirstFrame = "First video frame on screen";
// Logged by mpv (cplayer, verbose) once the VO reports the first frame shown.
const QByteArray kMpvFirstFrame = "first video frame after restart shown";

bool makeLibrary(const QString& work) {
    const QString sources = work + QStringLiteral("/sources");
    QDir().mkpath(sources);
    for (int clip = 0; clip < kDistinctClips; ++clip) {
        const QString path = sources + QStringLiteral("/clip-%1.mp4").arg(clip);
        if (QFile::exists(path))
            continue;
        // A different test pattern phase per clip, so no two clips are the same file.
        if (!benchutil::runQuietly(
                {QStringLiteral("ffmpeg"), QStringLiteral("-nostdin"), QStringLiteral("-v"),
                 QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
                 QStringLiteral("lavfi"), QStringLiteral("-i"),
                 QStringLiteral("testsrc2=size=1920x1080:rate=30:duration=%1,hue=h=%2")
                     .arg(kClipSeconds)
                     .arg(clip * 36),
                 QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
                 QStringLiteral("veryfast"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
                 path}))
            return false;
    }
    for (int folder = 0; folder < kFolders; ++folder) {
        const QString dir = work + QStringLiteral("/library/folder-%1").arg(folder);
        QDir().mkpath(dir);
        for (int i = 0; i < kClipsPerFolder; ++i) {
            const QString link = dir + QStringLiteral("/video-%1.mp4").arg(i, 3, 10, QChar(u'0'));
            const QString target = sources + QStringLiteral("/clip-%1.mp4").arg(i % kDistinctClips);
            if (!QFile::exists(link) &&
                ::link(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()))
                return false;
        }
    }
    return true;
}

// The program's store, as it finds it on a first start: only the folders are chosen.
bool chooseFolders(const QString& work) {
    const QString store =
        qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/orvanta/preferences.sqlite3");
    QFile::remove(store);
    Preferences preferences(store);
    FolderBookmarkManager folders(preferences);
    for (int folder = 0; folder < kFolders; ++folder) {
        const QString dir = work + QStringLiteral("/library/folder-%1").arg(folder);
        if (!folders.addFolder(QUrl::fromLocalFile(dir)))
            return false;
    }
    return true;
}

// A program under measurement: the program or its anchor, its log read as it comes.
class Program {
public:
    Program(const QString& program, const QStringList& arguments = {})
        : m_program(program)
        , m_arguments(arguments) {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.setStandardInputFile(QProcess::nullDevice());
    }
    ~Program() { quit(); }

    bool start() {
        m_timer.start();
        m_process.start(m_program, m_arguments);
        return m_process.waitForStarted();
    }
    // Milliseconds since start() when the line appeared; negative if the program ended first.
    double waitForLine(const QByteArray& line) {
        while (!m_output.contains(line)) {
            if (m_process.state() != QProcess::Running)
                return -1.0;
            m_process.waitForReadyRead(1000);
            m_output += m_process.readAll();
        }
        return double(m_timer.nsecsElapsed()) / 1e6;
    }
    // Keeps reading the log (a full pipe would stall the program) for a while.
    void runFor(qint64 milliseconds) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < milliseconds && m_process.state() == QProcess::Running) {
            m_process.waitForReadyRead(500);
            m_output += m_process.readAll();
        }
    }
    qint64 pid() const { return m_process.processId(); }
    void quit() {
        if (m_process.state() == QProcess::NotRunning)
            return;
        ::kill(pid_t(m_process.processId()), SIGTERM);
        if (!m_process.waitForFinished(30000))
            m_process.kill();
        m_process.waitForFinished();
    }
    const QByteArray& output() const { return m_output; }

private:
    QString m_program;
    QStringList m_arguments;
    QProcess m_process;
    QElapsedTimer m_timer;
    QByteArray m_output;
};

// A field of /proc/PID/status in kB, 0 when absent.
qint64 statusKilobytes(qint64 pid, const QByteArray& field) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

// Processor time (user and system) of a process so far, in clock ticks.
qint64 cpuTicks(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // The fields after the command name, which may hold spaces and ends with ")".
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

// Processor time over a while, as a share of one core, and the median resident memory.
struct Load {
    double cpu = 0;
    double residentKilobytes = 0;
    // The part of it that is the program's own (heap and other anonymous memory), without the
    // pages of shared libraries it has read.
    double anonymousKilobytes = 0;
};

Load loadOver(Program& program, int seconds) {
    constexpr int kStepMs = 500;
    const qint64 ticksBefore = cpuTicks(program.pid());
    std::vector<double> samples;
    std::vector<double> anonymous;
    for (int elapsed = 0; elapsed < seconds * 1000; elapsed += kStepMs) {
        program.runFor(kStepMs);
        samples.push_back(double(statusKilobytes(program.pid(), "VmRSS")));
        anonymous.push_back(double(statusKilobytes(program.pid(), "RssAnon")));
    }
    const double ticks = double(cpuTicks(program.pid()) - ticksBefore);
    return {ticks / double(::sysconf(_SC_CLK_TCK)) / seconds, benchutil::median(samples),
            benchutil::median(anonymous)};
}

// The programs' resident memory together after kPlaybackSeconds, the median of samples over
// the last kSampledSeconds; each program's log is read meanwhile.
qint64 residentKilobytes(const std::vector<std::unique_ptr<Program>>& programs) {
    constexpr int kStepMs = 500;
    std::vector<double> samples;
    for (int elapsed = kStepMs; elapsed <= kPlaybackSeconds * 1000; elapsed += kStepMs) {
        qint64 sum = 0;
        for (const auto& program : programs) {
            program->runFor(kStepMs / qint64(programs.size()));
            sum += statusKilobytes(program->pid(), "VmRSS");
        }
        if (elapsed > (kPlaybackSeconds - kSampledSeconds) * 1000)
            samples.push_back(double(sum));
    }
    return qint64(benchutil::median(samples));
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariable("ORVANTA_HARNESS") != QStringLiteral("1")) {
        const QByteArray harness = ORVANTA_SOURCE_DIR "/scripts/harness";
        std::vector<char*> arguments{const_cast<char*>(harness.constData())};
        for (int i = 0; i < argc; ++i)
            arguments.push_back(argv[i]);
        arguments.push_back(nullptr);
        // Nothing started under the harness reads the caller's input.
        if (!std::freopen("/dev/null", "r", stdin))
            std::perror("startup_bench: /dev/null");
        ::execv(harness.constData(), arguments.data());
        std::perror("startup_bench: cannot start the harness");
        return 1;
    }
    QCoreApplication app(argc, argv);
    benchutil::hideInfoLogs();
    const QStringList arguments = QCoreApplication::arguments();
    const QString work = arguments.size() > 1 ? arguments.at(1)
                                              : qEnvironmentVariable("ORVANTA_HARNESS_ROOT") +
                                                    QStringLiteral("/startup");
    if (!makeLibrary(work)) {
        std::fprintf(stderr, "startup_bench: cannot make the clips (is ffmpeg installed?)\n");
        return 1;
    }
    if (!chooseFolders(work)) {
        std::fprintf(stderr, "startup_bench: cannot choose the folders\n");
        return 1;
    }

    const QString clip = work + QStringLiteral("/sources/clip-0.mp4");
    const QString orvantaBin = QStringLiteral(ORVANTA_BIN);
    const QStringList mpvArguments{QStringLiteral("--no-config"),
                                   QStringLiteral("--vo=x11"),
                                   QStringLiteral("--ao=null"),
                                   QStringLiteral("--no-input-terminal"),
                                   QStringLiteral("--msg-level=all=warn,cplayer=v"),
                                   QStringLiteral("--geometry=1920x1080+0+0"),
                                   QStringLiteral("--no-border"),
                                   QStringLiteral("--loop-file=inf"),
                                   clip};
    benchutil::printHeading(QStringLiteral("start-up: %1 clips in %2 folders, two 1920x1080 "
                                           "monitors (Xvfb, no GPU), median of %3 starts")
                                .arg(kFolders * kClipsPerFolder)
                                .arg(kFolders)
                                .arg(kStarts));
    // A panel with a tray, as on most desktops: a start from the login autostart then opens no
    // settings window.
    Program tray(QStringLiteral("trayer"));
    if (!tray.start()) {
        std::fprintf(stderr, "startup_bench: cannot start the tray panel (trayer)\n");
        return 1;
    }
    const QStringList orvantaArguments{QStringLiteral("--background")};
    std::vector<double> starts;
    std::vector<double> mpvStarts;
    for (int run = 0; run < kStarts; ++run) {
        for (const bool anchor : {false, true}) {
            Program program(anchor ? QStringLiteral("mpv") : orvantaBin,
                            anchor ? mpvArguments : orvantaArguments);
            if (!program.start()) {
                std::fprintf(stderr, "startup_bench: cannot start %s\n",
                             anchor ? "mpv" : "the program");
                return 1;
            }
            const double ms = program.waitForLine(anchor ? kMpvFirstFrame : kOrvantaFirstFrame);
            if (ms < 0) {
                std::fprintf(stderr, "startup_bench: no frame shown:\n%s\n",
                             program.output().constData());
                return 1;
            }
            (anchor ? mpvStarts : starts).push_back(ms);
        }
        std::printf("    start %d: first frame after %7.1f ms, mpv %7.1f ms%s\n", run + 1,
                    starts.back(), mpvStarts.back(), run == 0 ? "  (builds the library)" : "");
    }
    const double startMs = benchutil::median(starts);
    const QString ms = QStringLiteral("ms");
    benchutil::printLine(
        {QStringLiteral("start to first frame"), startMs, ms},
        {QStringLiteral("mpv --vo=x11 start to first frame"), benchutil::median(mpvStarts), ms},
        QStringLiteral("<= %1 ms").arg(kStartGoalMs), startMs <= kStartGoalMs);

    // The two mpv players run side by side, as the program's two screens do.
    std::vector<std::unique_ptr<Program>> players;
    for (const char* geometry : {"--geometry=1920x1080+0+0", "--geometry=1920x1080+1920+0"}) {
        QStringList playerArguments = mpvArguments;
        playerArguments.replaceInStrings(QStringLiteral("--geometry=1920x1080+0+0"),
                                         QString::fromLatin1(geometry));
        playerArguments.last() = work + QStringLiteral("/sources/clip-%1.mp4").arg(players.size());
        players.push_back(std::make_unique<Program>(QStringLiteral("mpv"), playerArguments));
        if (!players.back()->start() || players.back()->waitForLine(kMpvFirstFrame) < 0)
            return 1;
    }
    const qint64 mpvRss = residentKilobytes(players);
    players.clear();
    players.push_back(std::make_unique<Program>(orvantaBin, orvantaArguments));
    if (!players.back()->start() || players.back()->waitForLine(kOrvantaFirstFrame) < 0)
        return 1;
    const qint64 rss = residentKilobytes(players);
    const qint64 peak = statusKilobytes(players.back()->pid(), "VmHWM");
    const auto mebibytes = [](qint64 kilobytes) {
        return double(kilobytes) / 1024.0;
    };
    const QString unit = QStringLiteral("MiB");
    benchutil::printLine(
        {QStringLiteral("resident memory, %1 s on two monitors").arg(kPlaybackSeconds),
         mebibytes(rss), unit},
        {QStringLiteral("2 x mpv --vo=x11, one per monitor"), mebibytes(mpvRss), unit},
        QStringLiteral("<= %1 MiB").arg(kMemoryGoalMiB), mebibytes(rss) <= kMemoryGoalMiB);
    std::printf("    peak resident memory %.1f MiB\n", mebibytes(peak));

    // The settings window, asked for as a second start asks for it, then closed with Ctrl+W.
    Program& orvanta = *players.back();
    const Load closed = loadOver(orvanta, kWindowSeconds);
    if (!benchutil::runQuietly(
            {QStringLiteral("gdbus"), QStringLiteral("call"), QStringLiteral("--session"),
             QStringLiteral("--dest"), QStringLiteral("com.orvanta.Orvanta"),
             QStringLiteral("--object-path"), QStringLiteral("/com/orvanta/Orvanta"),
             QStringLiteral("--method"), QStringLiteral("org.freedesktop.Application.Activate"),
             QStringLiteral("{}")}) ||
        orvanta.waitForLine(" ms after it was asked for") < 0) {
        std::fprintf(stderr, "startup_bench: the settings window did not open\n");
        return 1;
    }
    const QByteArray drawn =
        orvanta.output().mid(orvanta.output().indexOf("Settings window drawn "));
    const double drawMs = drawn.mid(22, drawn.indexOf(' ', 22) - 22).toDouble();
    const Load open = loadOver(orvanta, kWindowSeconds);
    benchutil::runQuietly(
        {QStringLiteral("xdotool"), QStringLiteral("key"), QStringLiteral("ctrl+w")});
    if (orvanta.waitForLine("Settings window closed") < 0)
        return 1;
    const Load closedAgain = loadOver(orvanta, kWindowSeconds);
    benchutil::printLine(
        {QStringLiteral("Show Window to first painted frame"), drawMs, ms},
        {QStringLiteral("mpv --vo=x11 start to first frame"), benchutil::median(mpvStarts), ms},
        QStringLiteral("<= %1 ms").arg(kWindowDrawGoalMs), drawMs <= kWindowDrawGoalMs);
    const QString core = QStringLiteral("% core");
    benchutil::printLine(
        {QStringLiteral("CPU, settings window with two previews"), open.cpu * 100, core},
        {QStringLiteral("CPU, window closed"), closed.cpu * 100, core},
        QStringLiteral("ratio <= %1").arg(kWindowCpuGoal), open.cpu <= kWindowCpuGoal * closed.cpu);
    const double added = mebibytes(qint64(open.residentKilobytes - closed.residentKilobytes));
    benchutil::printLine(
        {QStringLiteral("resident memory, window open"), mebibytes(qint64(open.residentKilobytes)),
         unit},
        {QStringLiteral("window closed"), mebibytes(qint64(closed.residentKilobytes)), unit},
        QStringLiteral("+%1 MiB <= %2").arg(added, 0, 'f', 1).arg(kWindowMemoryGoalMiB),
        added <= kWindowMemoryGoalMiB);
    const double left = mebibytes(qint64(closedAgain.residentKilobytes - closed.residentKilobytes));
    benchutil::printLine(
        {QStringLiteral("resident memory, window closed again"),
         mebibytes(qint64(closedAgain.residentKilobytes)), unit},
        {QStringLiteral("before it opened"), mebibytes(qint64(closed.residentKilobytes)), unit},
        QStringLiteral("+%1 MiB <= %2").arg(left, 0, 'f', 1).arg(kClosedMemorySlackMiB),
        left <= kClosedMemorySlackMiB);
    const double leftAnonymous =
        mebibytes(qint64(closedAgain.anonymousKilobytes - closed.anonymousKilobytes));
    benchutil::printLine(
        {QStringLiteral("  of it anonymous (heap), closed again"),
         mebibytes(qint64(closedAgain.anonymousKilobytes)), unit},
        {QStringLiteral("before it opened"), mebibytes(qint64(closed.anonymousKilobytes)), unit},
        QStringLiteral("+%1 MiB <= %2").arg(leftAnonymous, 0, 'f', 1).arg(kClosedMemorySlackMiB),
        leftAnonymous <= kClosedMemorySlackMiB);
    return rss > 0 && mpvRss > 0 ? 0 : 1;
}
