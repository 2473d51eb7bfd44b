#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include <array>
#include <memory>
#include <optional>

// The desktop's media controls as MediaKeyHandler drives them: commands that are switched on and
// off, and the now-playing information on show. This base only keeps the state; the desktop's
// implementation (MPRIS on the session bus) is in mpris_dbus.cpp.
class MediaControls : public QObject {
    Q_OBJECT

public:
    enum class Command { Play, Pause, TogglePlayPause, NextTrack, PreviousTrack };

    // What is on show. Every entry may be missing: the playback state alone can be written over
    // an empty set.
    struct NowPlaying {
        std::optional<QString> title;
        std::optional<QString> artist;
        // "Video N of M"; missing for a single video.
        std::optional<QString> album;
        // Seconds.
        std::optional<double> duration;
        std::optional<double> elapsed;
        // 1.0 while playing, 0.0 while paused.
        std::optional<double> rate;
        // The 0-based place of the video in its queue, so that clients can tell tracks apart.
        std::optional<int> trackIndex;

        bool operator==(const NowPlaying&) const = default;
    };

    using QObject::QObject;

    // MPRIS on the session bus. Without a bus it keeps the state and shows nothing.
    static std::unique_ptr<MediaControls> createDBus();

    bool isCommandEnabled(Command command) const;
    void setCommandEnabled(Command command, bool enabled);

    // None while nothing is shown.
    const std::optional<NowPlaying>& nowPlaying() const { return m_nowPlaying; }
    // Every call is a refresh, also one that changes nothing: the elapsed time counts from it.
    void setNowPlaying(const std::optional<NowPlaying>& nowPlaying);
    // Seconds into the video now: the elapsed time of the last refresh, moved on at its rate by
    // the time since, and kept within the duration. 0 while nothing is shown.
    double position() const;

Q_SIGNALS:
    // A command from the desktop; sent only while that command is enabled.
    void commandReceived(MediaControls::Command command);

protected:
    // Called by the desktop's implementation for each command a client sends.
    void receive(Command command);
    // Shows the state after each change.
    virtual void publish() {}

private:
    std::array<bool, 5> m_enabled{};
    std::optional<NowPlaying> m_nowPlaying;
    QElapsedTimer m_refreshed;
};
