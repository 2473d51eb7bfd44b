// Playback latencies on real mpv players (no video output, so decoding is measured, not drawing):
//  1. load-to-ready of the inactive player while the active one plays a 1080p30 H.264 clip;
//  2. the frozen tail at a switch: how long the outgoing video shows its last frame before
//     the incoming one is fully shown, with no transition (end → load → switch) and with a
//     1.5 s cross dissolve (early advance; the fade ends 1.5 s after the switch).
// Prints medians and maxima over 20 of each.

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

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kSamples = 20;

bool encode(const QString& path, double seconds, const QString& source) {
    QProcess ffmpeg;
    ffmpeg.start(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")),
                 {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                  QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
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

std::vector<double> loadLatencies(const QString& dir) {
    MpvPlayer active;
    MpvPlayer inactive;
    active.load(QUrl::fromLocalFile(dir + QStringLiteral("/long.mp4")));
    wait([&] { return active.status() == Player::Status::ReadyToPlay; });
    active.setRate(1.0);

    std::vector<double> latencies;
    const QStringList clips{QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4"),
                            QStringLiteral("/c.mp4")};
    for (int n = 0; n < kSamples; ++n) {
        QElapsedTimer timer;
        timer.start();
        inactive.load(QUrl::fromLocalFile(dir + clips.at(n % clips.size())));
        wait([&] { return inactive.status() != Player::Status::Loading; });
        latencies.push_back(double(timer.nsecsElapsed()) / 1e6);
        // Let the active player run on a little between loads, as between two videos.
        QEventLoop pause;
        QTimer::singleShot(200, &pause, &QEventLoop::quit);
        pause.exec();
    }
    return latencies;
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
        if (outgoing.size() < kSamples)
            return false;
        for (qsizetype n = 0; n < kSamples; ++n) {
            // An outgoing video replaced before its end (a slow machine) never froze.
            const ItemKey& key = outgoing[n].first;
            if (!endedAt.contains(key) && key.first->currentItem() == key.second)
                return false;
        }
        return true;
    });
    manager.stop();

    std::vector<double> tails;
    for (qsizetype n = 0; n < kSamples; ++n) {
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

    const Stats load = stats(loadLatencies(dir));
    StandardOutput::printLine(QStringLiteral("load to ready while another 1080p30 clip plays: "
                                             "median %1 ms, max %2 ms "
                                             "(goal: median <= 150 ms, max <= 300 ms)")
                                  .arg(load.median, 0, 'f', 1)
                                  .arg(load.max, 0, 'f', 1));

    for (const char* name : {"a.mp4", "b.mp4", "c.mp4"}) {
        QFile::copy(dir + QLatin1Char('/') + QString::fromLatin1(name),
                    dir + QStringLiteral("/queue/") + QString::fromLatin1(name));
    }
    FolderBookmarkManager folders(Preferences::standard());
    folders.addFolder(QUrl::fromLocalFile(dir + QStringLiteral("/queue")));
    const Stats cut = stats(frozenTails(0));
    StandardOutput::printLine(
        QStringLiteral("frozen last frame at a switch, no transition: median %1 ms, max %2 ms")
            .arg(cut.median, 0, 'f', 1)
            .arg(cut.max, 0, 'f', 1));
    const Stats dissolve = stats(frozenTails(2));
    std::printf("frozen last frame at a switch, 1.5 s cross dissolve: median %.1f ms, "
                "max %.1f ms\n",
                dissolve.median, dissolve.max);
    return 0;
}
