#pragma once

#include <QString>

// Where the program keeps its files, following the XDG base directories.
class AppPaths {
public:
    // $XDG_CONFIG_HOME/orvanta (default ~/.config/orvanta).
    static QString configDirectory();
    // $XDG_CONFIG_HOME/autostart/orvanta.desktop: the entry that starts the program at login.
    static QString autostartEntry();
    // $XDG_CACHE_HOME/orvanta (default ~/.cache/orvanta).
    static QString cacheDirectory();
    // $XDG_STATE_HOME/orvanta (default ~/.local/state/orvanta).
    static QString stateDirectory();
    // Stored data that could not be read is kept here before anything overwrites it.
    static QString damagedDataDirectory();

    // Copies bytes that could not be decoded into the damaged-data folder under a name made of
    // what and when; returns the file written, or an empty string when that failed.
    static QString keepDamagedData(const QString& what, const QByteArray& bytes);
    // Moves a damaged file into the damaged-data folder; returns its new path or empty.
    static QString moveDamagedFile(const QString& what, const QString& path);

private:
    static QString damagedFileName(const QString& what, const QString& suffix);
};
