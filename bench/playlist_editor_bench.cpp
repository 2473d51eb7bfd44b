// The Playlists page with one playlist of 50,000 videos, in the settings window under the
// harness's X server, drawn by Qt Quick's software renderer:
//  1. the window from show() to its first frame (every page is built then, the Playlists page
//     with its 50,000 rows included), beside the same window over an empty library;
//  2. scrolling the page's list by 40 px a step: the median and 95th percentile of the time from
//     a step to its frame on screen, thumbnails being made for the rows passing by, beside a
//     plain list of 50,000 one-line texts in a window of the same size scrolled the same way;
//  3. the memory the scroll leaves taken (the thumbnail cache keeps at most 50 pictures), beside
//     the plain list's.
// The videos are hard links of one short clip, so each row has a real file to take a picture of.
//
// Usage: playlist_editor_bench [WORK_DIR]   (runs itself inside scripts/harness)

#include "BenchUtil.h"
#include "library/PlaylistLibrary.h"
#include "ui/SettingsWindow.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QStringListModel>
#include <QTimer>

#include <cstdio>
#include <unistd.h>
#include <vector>

using benchutil::Figure;

namespace {

constexpr int kItems = 50000;
constexpr int kSteps = 300;
constexpr double kStepPixels = 40;
constexpr double kOpenGoalMs = 250.0;
constexpr double kFrameGoalMs = 16.7;
constexpr double kMemoryGoalMiB = 40.0;
constexpr int kFrameTimeoutMs = 5000;

double residentMiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return 0;
}

// Milliseconds from a change to the window's next frame on screen.
double msToFrame(QQuickWindow* window, const std::function<void()>& change) {
    QEventLoop loop;
    bool swapped = false;
    const QMetaObject::Connection connection =
        QObject::connect(window, &QQuickWindow::frameSwapped, &loop, [&] {
            swapped = true;
            loop.quit();
        });
    QTimer::singleShot(kFrameTimeoutMs, &loop, &QEventLoop::quit);
    QElapsedTimer timer;
    timer.start();
    change();
    if (!swapped)
        loop.exec();
    QObject::disconnect(connection);
    return double(timer.nsecsElapsed()) / 1e6;
}

// Lets the work in flight (thumbnails, queued calls) end.
void settleFor(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

double openWindowMs() {
    QElapsedTimer timer;
    timer.start();
    SettingsWindow::show();
    QQuickWindow* window = SettingsWindow::window();
    if (!window)
        return 0;
    QEventLoop loop;
    QObject::connect(window, &QQuickWindow::frameSwapped, &loop, &QEventLoop::quit);
    QTimer::singleShot(kFrameTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return double(timer.nsecsElapsed()) / 1e6;
}

QQuickItem* shownList(QQuickItem* item) {
    if (!item->isVisible())
        return nullptr;
    if (QByteArray(item->metaObject()->className()).startsWith("QQuickListView"))
        return item;
    const QList<QQuickItem*> children = item->childItems();
    for (QQuickItem* child : children) {
        if (QQuickItem* found = shownList(child))
            return found;
    }
    return nullptr;
}

struct Scroll {
    double medianMs = 0;
    double p95Ms = 0;
    double grownMiB = 0;
};

Scroll scroll(QQuickWindow* window, QQuickItem* list) {
    const double before = residentMiB();
    std::vector<double> times;
    for (int step = 1; step <= kSteps; ++step) {
        times.push_back(
            msToFrame(window, [&] { list->setProperty("contentY", step * kStepPixels); }));
    }
    settleFor(3000);
    Scroll result;
    result.medianMs = benchutil::median(times);
    std::sort(times.begin(), times.end());
    result.p95Ms = times[size_t(double(times.size()) * 0.95)];
    result.grownMiB = residentMiB() - before;
    return result;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariable("ORVANTA_HARNESS") != QStringLiteral("1")) {
        const QByteArray harness = ORVANTA_SOURCE_DIR "/scripts/harness";
        std::vector<char*> arguments{const_cast<char*>(harness.constData())};
        for (int i = 0; i < argc; ++i)
            arguments.push_back(argv[i]);
        arguments.push_back(nullptr);
        if (!std::freopen("/dev/null", "r", stdin))
            std::perror("playlist_editor_bench: /dev/null");
        ::execv(harness.constData(), arguments.data());
        std::perror("playlist_editor_bench: cannot start the harness");
        return 1;
    }
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    benchutil::hideInfoLogs();
    const QStringList arguments = QCoreApplication::arguments();
    const QString work = arguments.size() > 1 ? arguments.at(1)
                                              : qEnvironmentVariable("ORVANTA_HARNESS_ROOT") +
                                                    QStringLiteral("/playlist-editor");
    const QString clips = work + QStringLiteral("/clips");
    QDir().mkpath(clips);
    const QString clip = work + QStringLiteral("/clip.mp4");
    if (!QFile::exists(clip) &&
        !benchutil::runQuietly({QStringLiteral("ffmpeg"), QStringLiteral("-v"),
                                QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
                                QStringLiteral("lavfi"), QStringLiteral("-i"),
                                QStringLiteral("testsrc2=s=640x360:r=25:d=2"),
                                QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), clip})) {
        std::fprintf(stderr,
                     "playlist_editor_bench: cannot make the clip (is ffmpeg installed?)\n");
        return 1;
    }
    QList<PlaylistItem> items;
    items.reserve(kItems);
    for (int n = 0; n < kItems; ++n) {
        const QString path =
            clips + QStringLiteral("/video %1.mp4").arg(n, 5, 10, QLatin1Char('0'));
        if (!QFile::exists(path) && ::link(QFile::encodeName(clip), QFile::encodeName(path)) != 0) {
            std::perror("playlist_editor_bench: cannot link the clip");
            return 1;
        }
        PlaylistItem item = PlaylistItem::forFile(QUrl::fromLocalFile(path));
        // Known metadata: the rows load none, so the figures are the list's and the pictures'.
        item.duration = 2.0;
        item.width = 640;
        item.height = 360;
        items.append(item);
    }

    benchutil::printHeading(
        QStringLiteral("Playlists page: %1 videos, software renderer").arg(kItems));
    // The first window also loads the views' code and the engine's own types: not counted.
    openWindowMs();
    SettingsWindow::discard();
    const double emptyOpen = openWindowMs();
    SettingsWindow::discard();
    PlaylistLibrary::shared().createPlaylist(QStringLiteral("Bench"), items);
    const double fullOpen = openWindowMs();
    QQuickWindow* window = SettingsWindow::window();
    if (!window) {
        std::fprintf(stderr, "playlist_editor_bench: the settings window did not open\n");
        return 1;
    }
    benchutil::printLine(
        {QStringLiteral("window open, 50,000 videos"), fullOpen, QStringLiteral("ms")},
        {QStringLiteral("window open, empty library"), emptyOpen, QStringLiteral("ms")},
        QStringLiteral("< 250 ms"), fullOpen < kOpenGoalMs);

    msToFrame(window, [&] { window->setProperty("currentPage", 3); });
    QQuickItem* list = shownList(window->contentItem());
    if (!list) {
        std::fprintf(stderr, "playlist_editor_bench: the page shows no list\n");
        return 1;
    }
    settleFor(1000);
    const Scroll page = scroll(window, list);

    // The anchor: the plainest list Qt Quick offers, as large, in a window of the same size.
    QStringListModel names;
    QStringList rows;
    for (const PlaylistItem& item : std::as_const(items))
        rows.append(item.filename);
    names.setStringList(rows);
    const QString plainView = work + QStringLiteral("/PlainList.qml");
    QFile plainFile(plainView);
    if (!plainFile.open(QIODevice::WriteOnly) ||
        plainFile.write("import QtQuick\n"
                        "ListView {\n"
                        "    delegate: Text {\n"
                        "        required property string display\n"
                        "        height: 52\n"
                        "        text: display\n"
                        "        color: \"white\"\n"
                        "    }\n"
                        "}\n") < 0) {
        std::fprintf(stderr, "playlist_editor_bench: cannot write %s\n", qPrintable(plainView));
        return 1;
    }
    plainFile.close();
    QQuickView plain;
    plain.setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&names)}});
    plain.setResizeMode(QQuickView::SizeRootObjectToView);
    plain.setSource(QUrl::fromLocalFile(plainView));
    plain.setColor(QColor(0x1e, 0x1f, 0x22));
    plain.resize(window->size());
    plain.show();
    msToFrame(&plain, [] {});
    const Scroll anchor = scroll(&plain, plain.rootObject());

    benchutil::printLine(
        {QStringLiteral("scroll frame, median"), page.medianMs, QStringLiteral("ms")},
        {QStringLiteral("plain list, median"), anchor.medianMs, QStringLiteral("ms")},
        QStringLiteral("< 16.7 ms"), page.medianMs < kFrameGoalMs);
    benchutil::printLine(
        {QStringLiteral("scroll frame, 95th percentile"), page.p95Ms, QStringLiteral("ms")},
        {QStringLiteral("plain list, 95th percentile"), anchor.p95Ms, QStringLiteral("ms")},
        QStringLiteral("< 16.7 ms"), page.p95Ms < kFrameGoalMs);
    benchutil::printLine(
        {QStringLiteral("memory taken by the scroll"), page.grownMiB, QStringLiteral("MiB")},
        {QStringLiteral("plain list"), anchor.grownMiB, QStringLiteral("MiB")},
        QStringLiteral("< 40 MiB"), page.grownMiB < kMemoryGoalMiB);
    SettingsWindow::discard();
    return 0;
}
