#include "app/SupportInfoCollector.h"

#include "app/AppDelegate.h"
#include "core/Preferences.h"
#include "library/VideoFileTypes.h"
#include "playback/VideoPlayerManager.h"
#include "system/SupportInfoExporter.h"

#include <QGuiApplication>
#include <QScreen>

QString SupportInfoCollector::report() {
    SupportInfoExporter::Facts facts;
    facts.generated = QDateTime::currentDateTimeUtc();
    facts.version = QStringLiteral(ORVANTA_VERSION);
    facts.build = QStringLiteral(ORVANTA_BUILD);
    facts.osVersion = SupportInfoExporter::osVersion();
    facts.machineModel = SupportInfoExporter::machineModel();
    facts.processorName = SupportInfoExporter::processorName();
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        const QScreen* main = QGuiApplication::primaryScreen();
        const QList<QScreen*> screens = QGuiApplication::screens();
        for (const QScreen* screen : screens) {
            facts.screens.append({double(screen->geometry().width()),
                                  double(screen->geometry().height()), screen->devicePixelRatio(),
                                  screen == main});
        }
    }
    if (const AppDelegate* controller = AppDelegate::shared()) {
        SupportInfoExporter::Playback playback{controller->isPlaying(),
                                               controller->playingScreenCount(),
                                               controller->totalScreenCount(), std::nullopt};
        if (const VideoPlayerManager* primary = controller->primaryPlayerManager())
            playback.primary = {primary->currentVideoName(), primary->totalVideoCount()};
        facts.playback = playback;
    }
    facts.videoTypes = VideoFileTypes::playableMimeTypes();
    return SupportInfoExporter::generateReport(Preferences::standard(), facts);
}
