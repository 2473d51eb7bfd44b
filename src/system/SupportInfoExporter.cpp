#include "system/SupportInfoExporter.h"

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"

#include <QLocale>
#include <QStringList>

#include <cmath>

namespace {

constexpr int kShownVideoTypes = 10;

QString boolText(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

// Entries of the stored folder list, or 0 when it is absent or holds anything but data.
qsizetype configuredFolders(const Preferences& preferences) {
    const std::optional<QVariantList> array =
        preferences.arrayForKey(Settings::videoFoldersBookmarks.key());
    if (!array)
        return 0;
    for (const QVariant& element : *array) {
        if (element.typeId() != QMetaType::QByteArray)
            return 0;
    }
    return array->size();
}

// A screen's size in whole points; what cannot be an integer counts as 0.
qint64 wholePoints(double value) {
    return std::isfinite(value) && std::abs(value) < 1e15 ? qint64(value) : 0;
}

} // namespace

QString SupportInfoExporter::shortestDouble(double value) {
    QString text = QString::number(value, 'g', QLocale::FloatingPointShortest);
    if (std::isfinite(value) && !text.contains(QLatin1Char('.')) &&
        !text.contains(QLatin1Char('e')))
        text += QStringLiteral(".0");
    return text;
}

QString SupportInfoExporter::generateReport(const Preferences& preferences, const Facts& facts) {
    QStringList lines;
    const auto setting = [&](const char* label, const QString& value) {
        lines << QString::fromLatin1(label) + value;
    };
    lines << QStringLiteral("=== Orvanta Support Info ===")
          << QStringLiteral("Generated: ") + facts.generated.toUTC().toString(Qt::ISODate)
          << QString() << QStringLiteral("--- App Info ---");
    if (!facts.version.isEmpty())
        lines << QStringLiteral("Version: ") + facts.version;
    if (!facts.build.isEmpty())
        lines << QStringLiteral("Build: ") + facts.build;

    lines << QString() << QStringLiteral("--- System Info ---")
          << QStringLiteral("macOS: ") + facts.osVersion
          << QStringLiteral("Mac Model: ") + facts.machineModel
          << QStringLiteral("Processor: ") + facts.processorName;

    lines << QString() << QStringLiteral("--- Display Configuration ---");
    for (qsizetype i = 0; i < facts.screens.size(); ++i) {
        const Screen& screen = facts.screens[i];
        lines << QStringLiteral("Display %1%2: %3x%4 @%5x")
                     .arg(i + 1)
                     .arg(screen.isMain ? QStringLiteral(" (Main)") : QString())
                     .arg(wholePoints(screen.width))
                     .arg(wholePoints(screen.height))
                     .arg(shortestDouble(screen.scale));
    }

    // The store as it is, read with the typed getters: absent values print as zero.
    const auto flag = [&](const auto& key) {
        return boolText(preferences.boolForKey(key.key()));
    };
    const auto integer = [&](const auto& key) {
        return QString::number(preferences.integerForKey(key.key()));
    };
    lines << QString() << QStringLiteral("--- Settings ---");
    setting("Auto-play on launch: ", flag(Settings::autoPlayOnLaunch));
    setting("Prevent display sleep: ", flag(Settings::preventDisplaySleep));
    setting("Pause on battery: ", flag(Settings::pauseOnBattery));
    setting("Sync displays: ", flag(Settings::syncDisplays));
    setting("Launch at login: ", flag(Settings::launchAtLogin));
    setting("Transition type: ", integer(Settings::transitionType));
    setting("Transition duration: ",
            shortestDouble(preferences.doubleForKey(Settings::transitionDuration.key())) +
                QLatin1Char('s'));
    setting("Video scaling: ", integer(Settings::videoScaling));

    lines << QString() << QStringLiteral("--- Video Folders ---")
          << QStringLiteral("Configured folders: %1").arg(configuredFolders(preferences));

    lines << QString() << QStringLiteral("--- Playback State ---");
    if (const std::optional<Playback>& playback = facts.playback) {
        lines << QStringLiteral("Playing: ") + boolText(playback->isPlaying)
              << QStringLiteral("Screens playing: %1/%2")
                     .arg(playback->playingScreenCount)
                     .arg(playback->totalScreenCount);
        if (playback->primary) {
            lines << QStringLiteral("Current video: ") + playback->primary->name
                  << QStringLiteral("Total videos: %1").arg(playback->primary->totalVideoCount);
        }
    }

    lines << QString() << QStringLiteral("--- Supported Formats ---")
          << QStringLiteral("Video types: ") +
                 facts.videoTypes.mid(0, kShownVideoTypes).join(QStringLiteral(", ")) +
                 QStringLiteral("...")
          << QString() << QStringLiteral("=== End Support Info ===");
    return lines.join(QLatin1Char('\n'));
}
