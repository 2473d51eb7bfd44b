#include "ui/DisplaySettings.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "library/PlaylistLibrary.h"
#include "library/PlaylistPersistence.h"
#include "playback/SyncManager.h"
#include "ui/PageValue.h"
#include "ui/SettingsContext.h"

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
    return int(pagevalue::read(m_preferences, Settings::videoScaling));
}

void DisplaySettings::setVideoScaling(int scaling) {
    pagevalue::write(m_preferences, Settings::videoScaling, qint64(scaling));
}

int DisplaySettings::transitionType() const {
    return int(pagevalue::read(m_preferences, Settings::transitionType));
}

void DisplaySettings::setTransitionType(int type) {
    pagevalue::write(m_preferences, Settings::transitionType, qint64(type));
}

double DisplaySettings::transitionDuration() const {
    return pagevalue::read(m_preferences, Settings::transitionDuration);
}

void DisplaySettings::setTransitionDuration(double seconds) {
    pagevalue::write(m_preferences, Settings::transitionDuration, seconds);
}

bool DisplaySettings::audioMuted() const {
    return pagevalue::read(m_preferences, Settings::audioMuted);
}

void DisplaySettings::setAudioMuted(bool muted) {
    pagevalue::write(m_preferences, Settings::audioMuted, muted);
}

double DisplaySettings::audioVolume() const {
    return pagevalue::read(m_preferences, Settings::audioVolume);
}

void DisplaySettings::setAudioVolume(double volume) {
    pagevalue::write(m_preferences, Settings::audioVolume, volume);
}

double DisplaySettings::playbackRate() const {
    return pagevalue::read(m_preferences, Settings::playbackRate);
}

void DisplaySettings::setPlaybackRate(double rate) {
    pagevalue::write(m_preferences, Settings::playbackRate, rate);
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
