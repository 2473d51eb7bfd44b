#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class Preferences;

// The plain-text report a user pastes into a support request: version, system, screens, the main
// settings, the folder count, the playback state and the playable types, in a fixed layout.
// Lines are joined with a line feed, with none after the last.
class SupportInfoExporter {
public:
    struct Screen {
        double width = 0;
        double height = 0;
        double scale = 1;
        bool isMain = false;
    };
    struct PrimaryVideo {
        QString name;
        int totalVideoCount = 0;
    };
    struct Playback {
        bool isPlaying = false;
        int playingScreenCount = 0;
        int totalScreenCount = 0;
        std::optional<PrimaryVideo> primary;
    };
    // What the report shows besides the stored settings; a part that is absent drops its lines.
    struct Facts {
        QDateTime generated;
        QString version;
        QString build;
        QString osVersion;
        QString machineModel;
        QString processorName;
        QList<Screen> screens;
        std::optional<Playback> playback;
        QStringList videoTypes;
    };

    static QString generateReport(const Preferences& preferences, const Facts& facts);

    // The distribution's name and version with the kernel release ("Debian GNU/Linux 12
    // (bookworm), Linux 6.1.0-18-amd64").
    static QString osVersion();
    // The maker and product from the firmware tables ("LENOVO 20XW0055GE"); empty when unknown.
    static QString machineModel();
    // The first processor's model name; empty when unknown.
    static QString processorName();

    // The shortest form that reads back as the same value, with a digit after the point.
    static QString shortestDouble(double value);
};
