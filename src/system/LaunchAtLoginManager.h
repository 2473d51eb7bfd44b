#pragma once

#include <QString>

class Preferences;

// Starts the program at login through an XDG autostart entry, as the user asks. The stored
// "launchAtLogin" records the last request, whether or not it took effect; the entry itself is
// never read back.
class LaunchAtLoginManager {
public:
    // The program's manager, on the user's store.
    static LaunchAtLoginManager& shared();

    explicit LaunchAtLoginManager(Preferences& preferences);

    void setEnabled(bool enabled);

    // The entry's text: the running program (or "orvanta" from the PATH) with --background.
    static QByteArray entryText();

private:
    // Writes or removes the entry; false with the reason when that failed.
    static bool writeEntry(QString* error);
    static bool removeEntry(QString* error);

    Preferences& m_preferences;
};
