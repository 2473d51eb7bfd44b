#include "app/Logging.h"
#include "app/Preferences.h"
#include "app/TerminationSignals.h"
#include "library/FolderBookmarkManager.h"

#include <QGuiApplication>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("orvanta"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ORVANTA_VERSION));
    QGuiApplication::setQuitOnLastWindowClosed(false);

    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &app,
                     [] { QCoreApplication::quit(); });

    Preferences& preferences = Preferences::standard();
    preferences.applyFirstRunDefaults();

    // Until the desktop windows exist, the program reads the folders and lists what it would
    // play, then keeps running so preference changes can be followed.
    FolderBookmarkManager folders;
    const QList<QUrl> videos = folders.loadVideos();
    qCInfo(lcLaunch, "Orvanta %s started with %lld videos", ORVANTA_VERSION,
           qlonglong(videos.size()));

    return app.exec();
}
