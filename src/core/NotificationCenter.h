#pragma once

#include <QObject>

// The process-wide carrier of the notifications that parts which do not hold each other use to
// talk. A part's own events are signals of that part instead.
class NotificationCenter : public QObject {
    Q_OBJECT

public:
    static NotificationCenter& instance();

Q_SIGNALS:
    // The list of source folders changed (a folder was added or removed).
    void videoFoldersDidChange();
    // The playlist library or the active playlist changed.
    void playlistDidChange();
    void screenDidLock();
    void screenDidUnlock();
    void scheduleStateDidChange(bool isWithinSchedule);
    void syncModeDidChange();
    // Someone outside asked for the settings window: a second start of the program, the
    // desktop's media controls.
    void settingsWindowRequested();

private:
    NotificationCenter() = default;
};
