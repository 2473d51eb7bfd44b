#pragma once

#include "system/MediaControls.h"

#include <QObject>

#include <memory>

class MediaKeyTarget;

// Connects playback to the desktop's media controls: the play, pause and track keys and the
// now-playing display. Commands go to the controller; the controller switches the handler on
// when playback starts, off when it stops, and asks it to refresh after every change of video
// or play state. Nothing is refreshed by itself.
class MediaKeyHandler : public QObject {
    Q_OBJECT

public:
    // On the desktop's media controls (MPRIS).
    explicit MediaKeyHandler(QObject* parent = nullptr);
    explicit MediaKeyHandler(std::unique_ptr<MediaControls> controls, QObject* parent = nullptr);
    ~MediaKeyHandler() override;

    // The process's handler, created on first use and kept until the process ends.
    static MediaKeyHandler& shared();

    // Where commands go and where the information comes from. The controller clears it before
    // it goes away; while it is empty commands do nothing and the information is cleared.
    void setController(MediaKeyTarget* controller) { m_controller = controller; }

    bool isEnabled() const { return m_isEnabled; }
    bool commandTargetsRegistered() const { return m_commandTargetsRegistered; }

    // Adds the command handlers on the first call; on every call enables the five commands.
    void setupRemoteCommands();
    // Switches on and shows the information; nothing while already on.
    void enable();
    // Switches off: every command disabled, previous track included (a stopped player has no
    // track to go back from), and the information cleared. The handlers stay.
    void disable();
    // Replaces the information with the primary player's; only while on.
    void updateNowPlayingInfo();
    // Sets the rate and refreshes the elapsed time, keeping the rest; only while on.
    void updatePlaybackState(bool isPlaying);

private:
    void handleCommand(MediaControls::Command command);
    void setCommandsEnabled(bool enabled);

    bool m_isEnabled = false;
    bool m_commandTargetsRegistered = false;
    MediaKeyTarget* m_controller = nullptr;
    std::unique_ptr<MediaControls> m_controls;
};
