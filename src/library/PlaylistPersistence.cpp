#include "library/PlaylistPersistence.h"

#include "core/AppPaths.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "core/StandardOutput.h"
#include "library/PlaylistLibrary.h"
#include "library/StoredJson.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QHash>
#include <QPointer>
#include <QRecursiveMutex>
#include <QThread>

#include <algorithm>
#include <iterator>

namespace {

// Held while the registry is searched or changed. Recursive, because clearing assignments
// emits signals under it and a receiver may look up an instance in turn.
QRecursiveMutex g_registryMutex;

QHash<QString, QPointer<PlaylistPersistence>>& registry() {
    static QHash<QString, QPointer<PlaylistPersistence>> instances;
    return instances;
}

// A UUID's canonical text only (any letter case): braces or other forms do not count.
std::optional<QUuid> parseCanonicalUuid(const QString& text) {
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype n = 0; n < text.size(); ++n) {
        const QChar c = text.at(n);
        const bool dash = n == 8 || n == 13 || n == 18 || n == 23;
        const bool hex = (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
                         (c >= QLatin1Char('a') && c <= QLatin1Char('f')) ||
                         (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
        if (dash ? c != QLatin1Char('-') : !hex)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

// The bytes under a key meant to hold data. A value of another type can't be decoded either;
// its readable form stands in for its bytes when it is kept aside.
struct StoredData {
    bool present = false;
    bool isData = false;
    QByteArray bytes;
};

StoredData storedData(const Preferences& preferences, const QString& key) {
    const QVariant value = preferences.objectForKey(key);
    StoredData stored;
    stored.present = value.isValid();
    stored.isData = Preferences::typeOf(value) == Preferences::Type::Data;
    if (stored.isData)
        stored.bytes = value.toByteArray();
    else if (stored.present)
        stored.bytes = QCborValue::fromVariant(value).toDiagnosticNotation().toUtf8();
    return stored;
}

const QString kNotData =
    QStringLiteral("The data couldn\u2019t be read because it isn\u2019t in the "
                   "correct format. (the stored value is not data)");

} // namespace

PlaylistPersistence& PlaylistPersistence::forScreen(const QString& screenId) {
    QMutexLocker locker(&g_registryMutex);
    if (PlaylistPersistence* instance = registry().value(screenId))
        return *instance;
    QCoreApplication* app = QCoreApplication::instance();
    const bool onAppThread = app && app->thread() == QThread::currentThread();
    // Owned by the application object, like the store it reads, so both go before Qt.
    auto* instance =
        new PlaylistPersistence(screenId, Preferences::standard(), onAppThread ? app : nullptr);
    if (app && !onAppThread)
        instance->moveToThread(app->thread());
    registry().insert(screenId, instance);
    return *instance;
}

PlaylistPersistence& PlaylistPersistence::shared() {
    return forScreen(QStringLiteral("default"));
}

void PlaylistPersistence::clearAssignments(const QUuid& playlistId) {
    QMutexLocker locker(&g_registryMutex);
    // A snapshot: a receiver of the change may register another screen meanwhile.
    const QList<QPointer<PlaylistPersistence>> instances = registry().values();
    for (const QPointer<PlaylistPersistence>& instance : instances) {
        if (instance && instance->assignedPlaylistId() == playlistId)
            instance->setAssignedPlaylistId(std::nullopt);
    }
}

void PlaylistPersistence::resetRegistryForTesting() {
    QMutexLocker locker(&g_registryMutex);
    for (const QPointer<PlaylistPersistence>& instance : std::as_const(registry()))
        delete instance.data();
    registry().clear();
}

PlaylistPersistence::PlaylistPersistence(const QString& screenId, Preferences& preferences,
                                         QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_screenId(screenId) {
    m_shuffleEnabled = m_preferences.boolForKey(shuffleKey(m_screenId));
    // Only a stored Boolean switches looping off; anything else reads as on.
    const QVariant loop = m_preferences.objectForKey(loopKey(m_screenId));
    m_loopEnabled = Preferences::typeOf(loop) == Preferences::Type::Bool ? loop.toBool() : true;
    // A text that is no UUID is left stored as it is, for whoever wrote it.
    if (const auto text = m_preferences.stringForKey(assignedPlaylistKey(m_screenId))) {
        if (const auto id = parseCanonicalUuid(*text))
            setAssignedPlaylistId(*id);
    }
    loadItems();
}

QString PlaylistPersistence::itemsKey(const QString& screenId) {
    return Settings::playlistItems.key(screenId);
}

QString PlaylistPersistence::shuffleKey(const QString& screenId) {
    return Settings::playlistShuffle.key(screenId);
}

QString PlaylistPersistence::loopKey(const QString& screenId) {
    return Settings::playlistLoop.key(screenId);
}

QString PlaylistPersistence::assignedPlaylistKey(const QString& screenId) {
    return Settings::playlistAssigned.key(screenId);
}

QString PlaylistPersistence::metadataCacheKey() {
    return Settings::playlistMetadataCache.key();
}

void PlaylistPersistence::print(const QString& message) const {
    StandardOutput::printLine(QStringLiteral("PlaylistPersistence[") + m_screenId +
                              QStringLiteral("]: ") + message);
}

void PlaylistPersistence::setShuffleEnabled(bool enabled) {
    m_preferences.set(shuffleKey(m_screenId), enabled);
    if (m_shuffleEnabled == enabled)
        return;
    m_shuffleEnabled = enabled;
    Q_EMIT shuffleEnabledChanged(enabled);
}

void PlaylistPersistence::setLoopEnabled(bool enabled) {
    m_preferences.set(loopKey(m_screenId), enabled);
    if (m_loopEnabled == enabled)
        return;
    m_loopEnabled = enabled;
    Q_EMIT loopEnabledChanged(enabled);
}

void PlaylistPersistence::setAssignedPlaylistId(const std::optional<QUuid>& id) {
    if (id)
        m_preferences.set(assignedPlaylistKey(m_screenId), StoredJson::uuidText(*id));
    else
        m_preferences.removeObject(assignedPlaylistKey(m_screenId));
    if (m_assignedPlaylistId == id)
        return;
    m_assignedPlaylistId = id;
    Q_EMIT assignedPlaylistIdChanged();
}

std::optional<NamedPlaylist> PlaylistPersistence::assignedPlaylist() const {
    if (!m_assignedPlaylistId)
        return std::nullopt;
    return PlaylistLibrary::shared().playlist(*m_assignedPlaylistId);
}

QList<PlaylistItem> PlaylistPersistence::enabledItems() const {
    QList<PlaylistItem> enabled;
    std::copy_if(m_items.cbegin(), m_items.cend(), std::back_inserter(enabled),
                 [](const PlaylistItem& item) { return !item.isExcluded; });
    // Items placed by hand come first, in their order; the rest follow oldest first.
    std::stable_sort(enabled.begin(), enabled.end(),
                     [](const PlaylistItem& a, const PlaylistItem& b) {
                         if (a.customOrder && b.customOrder)
                             return *a.customOrder < *b.customOrder;
                         if (a.customOrder || b.customOrder)
                             return a.customOrder.has_value();
                         return a.addedDate < b.addedDate;
                     });
    return enabled;
}

QList<QUrl> PlaylistPersistence::playableURLs() const {
    QList<QUrl> urls;
    const QList<PlaylistItem> enabled = enabledItems();
    urls.reserve(enabled.size());
    for (const PlaylistItem& item : enabled)
        urls.append(item.fileURL());
    return urls;
}

qsizetype PlaylistPersistence::excludedCount() const {
    return std::count_if(m_items.cbegin(), m_items.cend(),
                         [](const PlaylistItem& item) { return item.isExcluded; });
}

void PlaylistPersistence::syncWithFolderContents(const QList<QUrl>& urls) {
    // A scan that found nothing (every folder unreachable, say) never clears a screen's list.
    if (urls.isEmpty() && !m_items.isEmpty())
        return;

    // The same file can be stored twice (one scan can deliver it twice); the first one wins.
    QHash<QString, qsizetype> lookup;
    lookup.reserve(m_items.size());
    for (qsizetype n = 0; n < m_items.size(); ++n) {
        const QString key = m_items.at(n).lookupKey();
        if (!lookup.contains(key))
            lookup.insert(key, n);
    }

    std::optional<QHash<QString, VideoMetadata>> cache;
    bool cacheRead = false;
    QList<PlaylistItem> merged;
    merged.reserve(urls.size());
    for (const QUrl& url : urls) {
        const QString key = PlaylistItem::lookupKey(url);
        const auto found = lookup.constFind(key);
        if (found != lookup.cend()) {
            merged.append(m_items.at(found.value()));
            // A second file with the same key is a new item.
            lookup.erase(found);
            continue;
        }
        PlaylistItem item = PlaylistItem::forFile(url);
        if (!cacheRead) {
            cacheRead = true;
            if (const auto data = m_preferences.dataForKey(metadataCacheKey()))
                cache = StoredJson::decodeMetadataCache(*data);
        }
        if (cache) {
            const auto entry = cache->constFind(key);
            if (entry != cache->cend())
                item.applyMetadata(entry.value());
        }
        merged.append(std::move(item));
    }
    m_items = std::move(merged);
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::toggleExclusion(const QUuid& id) {
    const auto it = std::find_if(m_items.begin(), m_items.end(),
                                 [&id](const PlaylistItem& item) { return item.id == id; });
    if (it == m_items.end())
        return;
    it->isExcluded = !it->isExcluded;
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::setAllExcluded(bool excluded) {
    for (PlaylistItem& item : m_items)
        item.isExcluded = excluded;
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::moveItems(const QList<qsizetype>& fromOffsets, qsizetype toOffset) {
    QList<qsizetype> offsets;
    for (qsizetype offset : fromOffsets) {
        if (offset >= 0 && offset < m_items.size())
            offsets.append(offset);
    }
    std::sort(offsets.begin(), offsets.end());
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    toOffset = std::clamp<qsizetype>(toOffset, 0, m_items.size());

    // The moved items go, in their order, where the destination offset of the list before the
    // move ends up once they are taken out.
    QList<PlaylistItem> moved;
    QList<PlaylistItem> rest;
    qsizetype insertAt = toOffset;
    for (qsizetype n = 0, next = 0; n < m_items.size(); ++n) {
        if (next < offsets.size() && offsets.at(next) == n) {
            moved.append(m_items.at(n));
            ++next;
            if (n < toOffset)
                --insertAt;
        } else {
            rest.append(m_items.at(n));
        }
    }
    for (qsizetype n = 0; n < moved.size(); ++n)
        rest.insert(insertAt + n, moved.at(n));
    for (qsizetype n = 0; n < rest.size(); ++n)
        rest[n].customOrder = n;
    m_items = std::move(rest);
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::resetOrder() {
    for (PlaylistItem& item : m_items)
        item.customOrder.reset();
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::copySettings(const PlaylistPersistence& other) {
    QList<PlaylistItem> items = other.m_items;
    for (PlaylistItem& item : items) {
        item.isExcluded = false;
        item.customOrder.reset();
    }
    const bool shuffle = other.m_shuffleEnabled;
    const bool loop = other.m_loopEnabled;
    m_items = std::move(items);
    setShuffleEnabled(shuffle);
    setLoopEnabled(loop);
    Q_EMIT itemsChanged();
    saveItems();
}

void PlaylistPersistence::loadItems() {
    const StoredData stored = storedData(m_preferences, itemsKey(m_screenId));
    m_unreadableItems.reset();
    if (!stored.present) {
        m_items.clear();
        Q_EMIT itemsChanged();
        return;
    }
    QString error = kNotData;
    std::optional<QList<PlaylistItem>> items;
    if (stored.isData)
        items = StoredJson::decodeItems(stored.bytes, &error);
    if (!items) {
        print(QStringLiteral("Failed to decode items: ") + error);
        m_items.clear();
        m_unreadableItems = stored.bytes;
        Q_EMIT itemsChanged();
        return;
    }
    if (const auto data = m_preferences.dataForKey(metadataCacheKey())) {
        if (const auto cache = StoredJson::decodeMetadataCache(*data)) {
            for (PlaylistItem& item : *items) {
                const auto entry = cache->constFind(item.lookupKey());
                if (entry != cache->cend())
                    item.applyMetadata(entry.value());
            }
        }
    }
    m_items = std::move(*items);
    Q_EMIT itemsChanged();
}

bool PlaylistPersistence::keepUnreadableItems() {
    if (!m_unreadableItems)
        return true;
    const QString key = itemsKey(m_screenId);
    const StoredData stored = storedData(m_preferences, key);
    // Only the unreadable value as it was read is ours to keep; once it is gone or replaced,
    // this save overwrites nothing of it.
    if (stored.present && stored.bytes == *m_unreadableItems) {
        const QString kept = AppPaths::keepDamagedData(key, *m_unreadableItems);
        if (kept.isEmpty()) {
            print(QStringLiteral("Could not keep unreadable items aside; they are not "
                                 "overwritten"));
            return false;
        }
        print(QStringLiteral("Kept unreadable items in ") + kept);
    }
    m_unreadableItems.reset();
    return true;
}

void PlaylistPersistence::saveItems() {
    QString error;
    const std::optional<QByteArray> data = StoredJson::encodeItems(m_items, &error);
    if (!data) {
        print(QStringLiteral("Failed to encode items: ") + error);
        return;
    }
    if (!keepUnreadableItems())
        return;
    m_preferences.set(itemsKey(m_screenId), *data);

    // Metadata of every file seen stays cached, so a file that returns or shows up on another
    // screen keeps it. An unreadable cache is started afresh.
    std::optional<QHash<QString, VideoMetadata>> stored;
    if (const auto cacheData = m_preferences.dataForKey(metadataCacheKey()))
        stored = StoredJson::decodeMetadataCache(*cacheData);
    QHash<QString, VideoMetadata> cache = stored.value_or(QHash<QString, VideoMetadata>());
    bool changed = !stored;
    for (const PlaylistItem& item : std::as_const(m_items)) {
        if (!item.duration || !item.width || !item.height)
            continue;
        const VideoMetadata metadata{item.duration, item.width, item.height};
        auto entry = cache.find(item.lookupKey());
        if (entry == cache.end()) {
            cache.insert(item.lookupKey(), metadata);
            changed = true;
        } else if (!(entry.value() == metadata)) {
            entry.value() = metadata;
            changed = true;
        }
    }
    if (!changed)
        return;
    if (const auto encoded = StoredJson::encodeMetadataCache(cache))
        m_preferences.set(metadataCacheKey(), *encoded);
}
