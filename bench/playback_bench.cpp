// Playback latencies on real mpv players (no video output, so decoding is measured, not drawing),
// each beside a bare libmpv handle doing the same work with nothing around it:
//  1. load-to-ready of the inactive player while the active one plays a 1080p30 H.264 clip
//     (20 loads), beside a bare handle with the same options loading the same clips paused
//     until its first frame is decoded, interleaved with them;
//  2. the frozen tail at a switch: how long the outgoing video shows its last frame before
//     the incoming one is fully shown, with no transition (end → load → switch) and with a
//     1.5 s cross dissolve (early advance; the fade ends 1.5 s after the switch), 10 switches
//     each, beside mpv's own switch between playlist entries (end of one file to the first
//     frame of the next, next file prefetched). The goal of both is the load goal: at worst the
//     outgoing video waits for the next one to load.

#include "BenchUtil.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "core/StandardOutput.h"
#include "library/FolderBookmarkManager.h"
#include "playback/MpvPlayer.h"
#include "playback/VideoPlayerManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <mpv/client.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using benchutil::Figure;

namespace {

constexpr int kSamples = 20;
constexpr int kSwitches = 10;
constexpr double kLoadMedianGoalMs = 150.0;
constexpr double kLoadMaxGoalMs = 300.0;

bool encode(const QString& path, double seconds, const QString& source) {
    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.start(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")),
                 {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                  QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                  QStringLiteral("-i"),
                  QStringLiteral("%1=size=1920x1080:rate=30:duration=%2").arg(source).arg(seconds),
                  QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
                  QStringLiteral("veryfast"), QStringLiteral("-g"), QStringLiteral("60"),
                  QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), path});
    return ffmpeg.waitForFinished(300000) && ffmpeg.exitCode() == 0;
}

struct Stats {
    double median = 0;
    double max = 0;
};

Stats stats(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    if (values.empty())
        return {};
    return {values[values.size() / 2], values.back()};
}

// Lets the active player run on a little between loads, as between two videos.
void pauseFor(int ms) {
    QEventLoop pause;
    QTimer::singleShot(ms, &pause, &QEventLoop::quit);
    pause.exec();
}

void wait(const std::function<bool()>& done) {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    poll.start(5);
    if (!done())
        loop.exec();
}

// The anchor: a libmpv handle with nothing around it, no window and no audio. Paused, it loads as
// the program's players do (stops at the first frame, keeps the last); else it plays its playlist
// through, the next entry prefetched.
class BareMpv {
public:
    explicit BareMpv(bool paused)
        : m_mpv(mpv_create()) {
        const char* const options[][2] = {{"vo", "null"},
                                          {"ao", "null"},
                                          {"config", "no"},
                                          {"terminal", "no"},
                                          {"idle", "yes"},
                                          {"aid", "no"},
                                          {"sid", "no"},
                                          {"mute", "yes"},
                                          {"pause", paused ? "yes" : "no"},
                                          {"keep-open", paused ? "always" : "no"},
                                          {"prefetch-playlist", "yes"}};
        for (const auto& option : options)
            mpv_set_option_string(m_mpv, option[0], option[1]);
        mpv_initialize(m_mpv);
    }
    ~BareMpv() { mpv_terminate_destroy(m_mpv); }
    BareMpv(const BareMpv&) = delete;
    BareMpv& operator=(const BareMpv&) = delete;

    void load(const QString& path, const char* how) {
        const QByteArray file = QFile::encodeName(path);
        const char* args[] = {"loadfile", file.constData(), how, nullptr};
        mpv_command(m_mpv, args);
    }
    // The next event, waiting at most `seconds`.
    mpv_event_id next(double seconds) { return mpv_wait_event(m_mpv, seconds)->event_id; }
    // Takes the events so far; true when the first frame of a load was among them.
    bool restarted() {
        bool seen = false;
        for (mpv_event_id id = next(0); id != MPV_EVENT_NONE; id = next(0))
            seen = seen || id == MPV_EVENT_PLAYBACK_RESTART;
        return seen;
    }

private:
    mpv_handle* m_mpv;
};

// Load-to-ready latencies of the program's player and of the anchor, interleaved.
std::pair<std::vector<double>, std::vector<double>> loadLatencies(const QString& dir) {
    MpvPlayer active;
    MpvPlayer inactive;
    BareMpv bare(true);
    active.load(QUrl::fromLocalFile(dir + QStringLiteral("/long.mp4")));
    wait([&] { return active.status() == Player::Status::ReadyToPlay; });
    active.setRate(1.0);

    std::vector<double> latencies;
    std::vector<double> anchorLatencies;
    const QStringList clips{QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4"),
                            QStringLiteral("/c.mp4")};
    for (int n = 0; n < kSamples; ++n) {
        QElapsedTimer timer;
        timer.start();
        inactive.load(QUrl::fromLocalFile(dir + clips.at(n % clips.size())));
        wait([&] { return inactive.status() != Player::Status::Loading; });
        latencies.push_back(double(timer.nsecsElapsed()) / 1e6);
        pauseFor(200);
        bare.restarted(); // whatever the last load left behind
        timer.start();
        bare.load(dir + clips.at(n % clips.size()), "replace");
        wait([&] { return bare.restarted(); });
        anchorLatencies.push_back(double(timer.nsecsElapsed()) / 1e6);
        pauseFor(200);
    }
    return {latencies, anchorLatencies};
}

// mpv's own switches between entries of a playlist of the clips: from the end of one file to
// the first frame of the next.
std::vector<double> mpvSwitches(const QString& dir) {
    BareMpv mpv(false);
    const QStringList clips{QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4"),
                            QStringLiteral("/c.mp4")};
    for (int n = 0; n <= kSwitches; ++n)
        mpv.load(dir + clips.at(n % clips.size()), n == 0 ? "replace" : "append");
    QElapsedTimer clock;
    clock.start();
    std::vector<double> gaps;
    double endedAt = -1;
    int restarts = 0;
    while (restarts <= kSwitches && clock.elapsed() < 120000) {
        const mpv_event_id id = mpv.next(1.0);
        if (id == MPV_EVENT_END_FILE) {
            endedAt = double(clock.nsecsElapsed()) / 1e6;
        } else if (id == MPV_EVENT_PLAYBACK_RESTART) {
            ++restarts;
            if (endedAt >= 0)
                gaps.push_back(double(clock.nsecsElapsed()) / 1e6 - endedAt);
            endedAt = -1;
        }
    }
    return gaps;
}

std::vector<double> frozenTails(qint64 transitionType) {
    Preferences& store = Preferences::standard();
    Settings::transitionType.write(store, transitionType);
    Settings::transitionDuration.write(store, 1.5);
    Settings::playbackRate.write(store, 1.0);
    VideoPlayerManager manager(QStringLiteral("bench-%1").arg(transitionType));
    QElapsedTimer clock;
    clock.start();
    const auto now = [&clock] {
        return double(clock.nsecsElapsed()) / 1e6;
    };

    using ItemKey = QPair<Player*, quint64>;
    QHash<ItemKey, double> endedAt;
    for (Player* player : {manager.playerA(), manager.playerB()}) {
        QObject::connect(player, &Player::didPlayToEnd, &manager, [&, player](quint64 item) {
            endedAt[{player, item}] = now();
        });
    }
    // The incoming video is fully shown when the fade that starts at the switch ends.
    const double fade = transitionType == 0 ? 0.0 : 1500.0;
    QList<QPair<ItemKey, double>> outgoing;
    QObject::connect(&manager, &VideoPlayerManager::videoPlayerDidTransition, &manager,
                     [&](Player*, Player* oldPlayer) {
                         if (oldPlayer->currentItem() != 0)
                             outgoing.append({{oldPlayer, oldPlayer->currentItem()}, now() + fade});
                     });
    manager.play();
    wait([&] {
        if (outgoing.size() < kSwitches)
            return false;
        for (qsizetype n = 0; n < kSwitches; ++n) {
            // An outgoing video replaced before its end (a slow machine) never froze.
            const ItemKey& key = outgoing[n].first;
            if (!endedAt.contains(key) && key.first->currentItem() == key.second)
                return false;
        }
        return true;
    });
    manager.stop();

    std::vector<double> tails;
    for (qsizetype n = 0; n < kSwitches; ++n) {
        const auto ended = endedAt.constFind(outgoing[n].first);
        tails.push_back(ended == endedAt.constEnd() ? 0.0
                                                    : std::max(0.0, outgoing[n].second - *ended));
    }
    return tails;
}

} // namespace

int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_STATE_HOME", home.filePath(QStringLiteral("state")).toUtf8());
    QCoreApplication app(argc, argv);
    benchutil::hideInfoLogs();

    QTemporaryDir clips;
    StandardOutput::printLine(QStringLiteral("Encoding 1080p30 H.264 clips..."));
    const QString dir = clips.path();
    QDir().mkpath(dir + QStringLiteral("/queue"));
    if (!encode(dir + QStringLiteral("/long.mp4"), 30, QStringLiteral("testsrc")) ||
        !encode(dir + QStringLiteral("/a.mp4"), 3, QStringLiteral("testsrc2")) ||
        !encode(dir + QStringLiteral("/b.mp4"), 3, QStringLiteral("smptebars")) ||
        !encode(dir + QStringLiteral("/c.mp4"), 3, QStringLiteral("rgbtestsrc"))) {
        std::fprintf(stderr, "ffmpeg could not make the clips\n");
        return 1;
    }

    const auto [latencies, anchorLatencies] = loadLatencies(dir);
    const Stats load = stats(latencies);
    const Stats anchorLoad = stats(anchorLatencies);
    benchutil::printHeading(QStringLiteral("playback: 1080p30 H.264 clips, no video output"));
    const QString ms = QStringLiteral("ms");
    benchutil::printLine(
        {QStringLiteral("load to ready, median of %1").arg(kSamples), load.median, ms},
        {QStringLiteral("bare libmpv load to first frame"), anchorLoad.median, ms},
        QStringLiteral("<= %1 ms").arg(kLoadMedianGoalMs), load.median <= kLoadMedianGoalMs);
    benchutil::printLine({QStringLiteral("load to ready, max of %1").arg(kSamples), load.max, ms},
                         {QStringLiteral("bare libmpv, max"), anchorLoad.max, ms},
                         QStringLiteral("<= %1 ms").arg(kLoadMaxGoalMs),
                         load.max <= kLoadMaxGoalMs);

    const Stats mpvSwitch = stats(mpvSwitches(dir));
    for (const char* name : {"a.mp4", "b.mp4", "c.mp4"}) {
        QFile::copy(dir + QLatin1Char('/') + QString::fromLatin1(name),
                    dir + QStringLiteral("/queue/") + QString::fromLatin1(name));
    }
    FolderBookmarkManager folders(Preferences::standard());
    folders.addFolder(QUrl::fromLocalFile(dir + QStringLiteral("/queue")));
    const Figure anchor{QStringLiteral("mpv playlist switch, median"), mpvSwitch.median, ms};
    const QString tailGoal = QStringLiteral("<= %1 ms").arg(kLoadMedianGoalMs);
    const Stats cut = stats(frozenTails(0));
    benchutil::printLine({QStringLiteral("frozen tail, no transition, median"), cut.median, ms},
                         anchor, tailGoal, cut.median <= kLoadMedianGoalMs);
    const Stats dissolve = stats(frozenTails(2));
    benchutil::printLine(
        {QStringLiteral("frozen tail, 1.5 s dissolve, median"), dissolve.median, ms}, anchor,
        tailGoal, dissolve.median <= kLoadMedianGoalMs);
    std::printf("    maxima of %d switches: no transition %.1f ms, dissolve %.1f ms, mpv %.1f ms\n",
                kSwitches, cut.max, dissolve.max, mpvSwitch.max);
    return latencies.size() == size_t(kSamples) && anchorLatencies.size() == size_t(kSamples) &&
                   mpvSwitch.max > 0
               ? 0
               : 1;
}
