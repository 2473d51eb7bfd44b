#include "ui/DisplaySettings.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "playback/SyncManager.h"
#include "ui/SettingsContext.h"

namespace {

// What the page shows: the page's default while the key is absent.
template <typename T> T pageValue(const Preferences& preferences, const Settings::Key<T>& key) {
    if (preferences.typeForKey(key.key()) == Preferences::Type::Absent)
        return key.pageDefault;
    return key.read(preferences);
}

template <typename T>
void writeChanged(Preferences& preferences, const Settings::Key<T>& key, T value) {
    // An absent key is written even with the page's value: the program's own may differ.
    if (preferences.typeForKey(key.key()) == Preferences::Type::Absent ||
        key.read(preferences) != value)
        key.write(preferences, value);
}

} // namespace

DisplaySettings::DisplaySettings(QObject* parent)
    : DisplaySettings(Preferences::standard(), parent) {
}

DisplaySettings::DisplaySettings(Preferences& preferences, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences) {
    connect(&m_preferences, &Preferences::valueChanged, this, [this](const QString& key) {
        static const QStringList kKeys = {
            Settings::videoScaling.key(),       Settings::transitionType.key(),
            Settings::transitionDuration.key(), Settings::audioMuted.key(),
            Settings::audioVolume.key(),        Settings::playbackRate.key()};
        if (kKeys.contains(key))
            Q_EMIT changed();
    });
    connect(&SyncManager::shared(), &SyncManager::syncModeDidChange, this,
            &DisplaySettings::syncEnabledChanged);
    connect(&PlaylistLibrary::shared(), &PlaylistLibrary::playlistsChanged, this,
            &DisplaySettings::playlistsChanged);
    connect(&PlaylistPersistence::shared(), &PlaylistPersistence::assignedPlaylistIdChanged, this,
            &DisplaySettings::playlistsChanged);
}

int DisplaySettings::videoScaling() const {
    return int(pageValue(m_preferences, Settings::videoScaling));
}

void DisplaySettings::setVideoScaling(int scaling) {
    writeChanged(m_preferences, Settings::videoScaling, qint64(scaling));
}

int DisplaySettings::transitionType() const {
    return int(pageValue(m_preferences, Settings::transitionType));
}

void DisplaySettings::setTransitionType(int type) {
    writeChanged(m_preferences, Settings::transitionType, qint64(type));
}

double DisplaySettings::transitionDuration() const {
    return pageValue(m_preferences, Settings::transitionDuration);
}

void DisplaySettings::setTransitionDuration(double seconds) {
    writeChanged(m_preferences, Settings::transitionDuration, seconds);
}

bool DisplaySettings::audioMuted() const {
    return pageValue(m_preferences, Settings::audioMuted);
}

void DisplaySettings::setAudioMuted(bool muted) {
    writeChanged(m_preferences, Settings::audioMuted, muted);
}

double DisplaySettings::audioVolume() const {
    return pageValue(m_preferences, Settings::audioVolume);
}

void DisplaySettings::setAudioVolume(double volume) {
    writeChanged(m_preferences, Settings::audioVolume, volume);
}

double DisplaySettings::playbackRate() const {
    return pageValue(m_preferences, Settings::playbackRate);
}

void DisplaySettings::setPlaybackRate(double rate) {
    writeChanged(m_preferences, Settings::playbackRate, rate);
}

bool DisplaySettings::syncEnabled() const {
    return SyncManager::shared().isSyncEnabled();
}

void DisplaySettings::setSyncEnabled(bool enabled) {
    if (enabled != syncEnabled())
        SyncManager::shared().setSyncEnabled(enabled);
}

QStringList DisplaySettings::playlistOptions() const {
    QStringList options = {QStringLiteral("All Videos (Folders)")};
    for (const NamedPlaylist& playlist : PlaylistLibrary::shared().playlists())
        options.append(playlist.name);
    return options;
}

int DisplaySettings::activePlaylistIndex() const {
    const std::optional<QUuid> assigned = PlaylistPersistence::shared().assignedPlaylistId();
    if (!assigned || assigned->isNull())
        return 0;
    const QList<NamedPlaylist>& playlists = PlaylistLibrary::shared().playlists();
    for (qsizetype i = 0; i < playlists.size(); ++i) {
        if (playlists[i].id == *assigned)
            return int(i) + 1;
    }
    return 0;
}

void DisplaySettings::setActivePlaylistIndex(int index) {
    const QList<NamedPlaylist>& playlists = PlaylistLibrary::shared().playlists();
    if (index < 0 || index > playlists.size() || index == activePlaylistIndex())
        return;
    std::optional<QUuid> id;
    if (index > 0)
        id = playlists[index - 1].id;
    // Stored at once by the persistence.
    PlaylistPersistence::shared().setAssignedPlaylistId(id);
    SettingsContext::shared().reloadAllPlaylists();
}

QString DisplaySettings::playlistFooter() const {
    if (PlaylistLibrary::shared().playlists().isEmpty()) {
        return QStringLiteral("Create named playlists to organize videos into collections. Go to "
                              "Playlists in the sidebar.");
    }
    return QStringLiteral("Choose which playlist to play. \"All Videos\" uses videos from your "
                          "source folders.");
}
