// Times the playlist library with one named playlist of 50,000 videos: saving it (encode and
// write to the store) and loading it (read and decode), each beside QJsonDocument writing and
// parsing the same document through the same store (goal 50 ms each); and sorting it by each of
// the five orders beside a plain std::stable_sort on the same key (goal 200 ms each).
//
//   playlist_library_bench

#include "BenchUtil.h"
#include "core/Preferences.h"
#include "library/NamedPlaylist.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistSortOrder.h"
#include "library/StoredJson.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QLocale>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <random>
#include <vector>

using benchutil::Figure;
using benchutil::median;
using benchutil::millisecondsOf;

namespace {

constexpr int kItems = 50000;
constexpr int kRuns = 7;
constexpr double kStoreGoalMs = 50.0;
constexpr double kSortGoalMs = 200.0;

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

// The anchor of each order: the items copied and sorted on the same key with nothing else done.
QList<PlaylistItem> plainlySorted(QList<PlaylistItem> items, PlaylistSortOrder order) {
    const auto by = [&items](auto key) {
        std::stable_sort(
            items.begin(), items.end(),
            [&key](const PlaylistItem& a, const PlaylistItem& b) { return key(a) < key(b); });
    };
    switch (order) {
    case PlaylistSortOrder::Manual:
        by([](const PlaylistItem& item) {
            return item.customOrder.value_or(std::numeric_limits<qint64>::max());
        });
        break;
    case PlaylistSortOrder::Name:
        std::stable_sort(items.begin(), items.end(),
                         [](const PlaylistItem& a, const PlaylistItem& b) {
                             return QString::localeAwareCompare(a.filename, b.filename) < 0;
                         });
        break;
    case PlaylistSortOrder::Duration:
        by([](const PlaylistItem& item) { return item.duration.value_or(0.0); });
        break;
    case PlaylistSortOrder::DateAdded:
        by([](const PlaylistItem& item) { return item.addedDate; });
        break;
    case PlaylistSortOrder::Resolution:
        by([](const PlaylistItem& item) {
            return -item.width.value_or(0) * item.height.value_or(0);
        });
        break;
    }
    return items;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchutil::hideInfoLogs();
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

    // The anchors: the same document written and parsed by QJsonDocument, through the same store.
    QByteArray document = preferences.dataForKey(library.userDefaultsKey()).value_or(QByteArray());
    const QJsonDocument tree = QJsonDocument::fromJson(document);
    const QString key = QStringLiteral("benchDocument");
    const double jsonWriteMs =
        medianOf([&] { preferences.set(key, tree.toJson(QJsonDocument::Compact)); });
    bool parsed = false;
    const double jsonReadMs = medianOf([&] {
        parsed =
            !QJsonDocument::fromJson(preferences.dataForKey(key).value_or(QByteArray())).isNull();
    });

    benchutil::printHeading(
        QStringLiteral("playlist library: one playlist of %1 items, document %2 MB, median of %3")
            .arg(kItems)
            .arg(double(bytes) / 1e6, 0, 'f', 1)
            .arg(kRuns));
    const QString storeGoal = QStringLiteral("<= %1 ms").arg(kStoreGoalMs);
    const QString ms = QStringLiteral("ms");
    benchutil::printLine({QStringLiteral("save (encode + store write)"), saveMs, ms},
                         {QStringLiteral("QJsonDocument toJson + store write"), jsonWriteMs, ms},
                         storeGoal, saveMs <= kStoreGoalMs);
    benchutil::printLine({QStringLiteral("load (store read + decode)"), loadMs, ms},
                         {QStringLiteral("store read + QJsonDocument fromJson"), jsonReadMs, ms},
                         storeGoal, loadMs <= kStoreGoalMs);

    // Where the time of a save and a load goes.
    const QList<NamedPlaylist> playlists = library.playlists();
    const double encodeMs =
        medianOf([&] { document = StoredJson::encodePlaylists(playlists).value_or(QByteArray()); });
    const double writeMs = medianOf([&] { preferences.set(key, document); });
    const double decodeMs = medianOf([&] { StoredJson::decodePlaylists(document); });
    std::printf("    of which encode %.2f ms, store write %.2f ms, decode %.2f ms\n", encodeMs,
                writeMs, decodeMs);

    const QString sortGoal = QStringLiteral("<= %1 ms").arg(kSortGoalMs);
    bool sortedAll = parsed;
    for (PlaylistSortOrder order : PlaylistSortOrders::all) {
        qsizetype count = 0;
        qsizetype plainCount = 0;
        const double sortMs = medianOf([&] { count = NamedPlaylist::sorted(items, order).size(); });
        const double plainMs = medianOf([&] { plainCount = plainlySorted(items, order).size(); });
        sortedAll = sortedAll && count == kItems && plainCount == kItems;
        benchutil::printLine(
            {QStringLiteral("sort by ") + PlaylistSortOrders::label(order), sortMs, ms},
            {QStringLiteral("std::stable_sort, same key"), plainMs, ms}, sortGoal,
            sortMs <= kSortGoalMs);
    }
    if (!loaded || !sortedAll) {
        std::fprintf(stderr, "the playlist did not come back whole\n");
        return 1;
    }
    return 0;
}
