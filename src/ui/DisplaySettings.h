#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

class Preferences;

// The Display page's values: the playback preferences (shown with the page's defaults while a
// key is absent), the "Sync Displays" switch of the sync manager, and the active playlist of
// the default screen persistence with its options.
class DisplaySettings : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int videoScaling READ videoScaling WRITE setVideoScaling NOTIFY changed)
    Q_PROPERTY(int transitionType READ transitionType WRITE setTransitionType NOTIFY changed)
    Q_PROPERTY(double transitionDuration READ transitionDuration WRITE setTransitionDuration NOTIFY
                   changed)
    Q_PROPERTY(bool audioMuted READ audioMuted WRITE setAudioMuted NOTIFY changed)
    Q_PROPERTY(double audioVolume READ audioVolume WRITE setAudioVolume NOTIFY changed)
    Q_PROPERTY(double playbackRate READ playbackRate WRITE setPlaybackRate NOTIFY changed)
    Q_PROPERTY(bool showsDurationRow READ showsDurationRow NOTIFY changed)
    Q_PROPERTY(bool showsVolumeRow READ showsVolumeRow NOTIFY changed)
    Q_PROPERTY(bool syncEnabled READ syncEnabled WRITE setSyncEnabled NOTIFY syncEnabledChanged)
    Q_PROPERTY(QStringList playlistOptions READ playlistOptions NOTIFY playlistsChanged)
    Q_PROPERTY(int activePlaylistIndex READ activePlaylistIndex WRITE setActivePlaylistIndex NOTIFY
                   playlistsChanged)
    Q_PROPERTY(QString playlistFooter READ playlistFooter NOTIFY playlistsChanged)

public:
    explicit DisplaySettings(QObject* parent = nullptr);
    DisplaySettings(Preferences& preferences, QObject* parent = nullptr);

    int videoScaling() const;
    void setVideoScaling(int scaling);
    int transitionType() const;
    void setTransitionType(int type);
    double transitionDuration() const;
    void setTransitionDuration(double seconds);
    bool audioMuted() const;
    void setAudioMuted(bool muted);
    double audioVolume() const;
    void setAudioVolume(double volume);
    double playbackRate() const;
    void setPlaybackRate(double rate);

    // Hidden rows keep their stored value.
    bool showsDurationRow() const { return transitionType() != 0; }
    bool showsVolumeRow() const { return !audioMuted(); }

    bool syncEnabled() const;
    void setSyncEnabled(bool enabled);

    // "All Videos (Folders)" (no assignment), then every playlist of the library by name.
    QStringList playlistOptions() const;
    int activePlaylistIndex() const;
    // Assigns that option to the default screen persistence, stores it and reloads playback.
    void setActivePlaylistIndex(int index);
    QString playlistFooter() const;

Q_SIGNALS:
    void changed();
    void syncEnabledChanged();
    void playlistsChanged();

private:
    Preferences& m_preferences;
};
