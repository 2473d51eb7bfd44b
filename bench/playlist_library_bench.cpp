// Times the playlist library with one named playlist of 50,000 videos: saving it (encode and
// write to the store), loading it (read and decode), and sorting it by each of the five orders.
// The goal for each is 200 ms.
//
//   playlist_library_bench

#include "BenchUtil.h"
#include "core/Preferences.h"
#include "library/NamedPlaylist.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistSortOrder.h"
#include "library/StoredJson.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

using benchutil::median;
using benchutil::millisecondsOf;

namespace {

constexpr int kItems = 50000;
constexpr int kRuns = 7;
constexpr double kGoalMs = 200.0;

double medianOf(const std::function<void()>& work) {
    std::vector<double> times;
    for (int run = 0; run < kRuns; ++run)
        times.push_back(millisecondsOf(work));
    return median(times);
}

// Items as a large collection has them: a few hundred folders, mixed-case names, most with
// metadata, some placed by hand, some switched off.
QList<PlaylistItem> makeItems() {
    std::mt19937 random(20240601);
    const char* words[] = {"Beach", "city",   "Forest", "night",     "Rain",   "sunset",
                           "Snow",  "aerial", "Ocean",  "timelapse", "Desert", "clouds"};
    const qint64 sizes[][2] = {{3840, 2160}, {1920, 1080}, {1280, 720}, {2560, 1440}, {720, 480}};
    QList<PlaylistItem> items;
    items.reserve(kItems);
    for (int n = 0; n < kItems; ++n) {
        PlaylistItem item;
        item.id = QUuid::createUuid();
        item.filename =
            QStringLiteral("%1 %2 %3.mp4")
                .arg(QLatin1String(words[random() % 12]), QLatin1String(words[random() % 12]))
                .arg(random() % 100000);
        item.folderPath = QStringLiteral("/home/someone/Videos/Collection %1/Part %2")
                              .arg(random() % 40)
                              .arg(random() % 10);
        item.isExcluded = random() % 10 == 0;
        if (random() % 4 == 0)
            item.customOrder = qint64(random() % kItems);
        item.addedDate = Timestamp{700000000.0 + double(random() % 10000000) / 7.0};
        if (random() % 8 != 0) {
            item.duration = double(random() % 600000) / 1000.0;
            const auto& size = sizes[random() % 5];
            item.width = size[0];
            item.height = size[1];
        }
        items.append(item);
    }
    return items;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    // Names are sorted as a user's locale sorts them.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));

    QTemporaryDir directory;
    Preferences preferences(directory.filePath(QStringLiteral("bench.sqlite3")));
    PlaylistLibrary library(preferences);
    // No folders: the first synchronisation finds nothing and creates nothing.
    while (library.isSyncing())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);

    const QList<PlaylistItem> items = makeItems();
    library.createPlaylist(QStringLiteral("Everything"), items);
    const qsizetype bytes =
        preferences.dataForKey(library.userDefaultsKey()).value_or(QByteArray()).size();

    const double saveMs = medianOf([&] { library.save(); });
    bool loaded = true;
    const double loadMs = medianOf([&] {
        library.load();
        loaded = loaded && library.playlists().size() == 1 &&
                 library.playlists().at(0).items.size() == kItems;
    });

    std::printf("playlist library: one playlist of %d items, document %.1f MB\n", kItems,
                double(bytes) / 1e6);
    const auto report = [](const char* what, double ms) {
        std::printf("  %-30s median of %d: %8.2f ms (goal <= %.0f ms)%s\n", what, kRuns, ms,
                    kGoalMs, ms <= kGoalMs ? "" : "  MISSED");
    };
    report("save (encode + write)", saveMs);
    report("load (read + decode)", loadMs);

    // Where the time of a save and a load goes.
    const QList<NamedPlaylist> playlists = library.playlists();
    QByteArray document;
    const double encodeMs =
        medianOf([&] { document = StoredJson::encodePlaylists(playlists).value_or(QByteArray()); });
    const QString key = QStringLiteral("benchDocument");
    const double writeMs = medianOf([&] { preferences.set(key, document); });
    const double decodeMs = medianOf([&] { StoredJson::decodePlaylists(document); });
    std::printf("    of which encode %.2f ms, store write %.2f ms, decode %.2f ms\n", encodeMs,
                writeMs, decodeMs);

    bool sortedAll = true;
    for (PlaylistSortOrder order : PlaylistSortOrders::all) {
        qsizetype count = 0;
        const double ms = medianOf([&] { count = NamedPlaylist::sorted(items, order).size(); });
        sortedAll = sortedAll && count == kItems;
        const QByteArray what =
            (QStringLiteral("sort by ") + PlaylistSortOrders::label(order)).toUtf8();
        report(what.constData(), ms);
    }
    if (!loaded || !sortedAll) {
        std::fprintf(stderr, "the playlist did not come back whole\n");
        return 1;
    }
    return 0;
}
