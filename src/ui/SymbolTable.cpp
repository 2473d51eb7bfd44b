#include "ui/SymbolTable.h"

#include <QHash>

QString SymbolTable::iconName(const QString& symbol) {
    static const QHash<QString, QString> kNames = {
        {QStringLiteral("play.fill"), QStringLiteral("media-playback-start")},
        {QStringLiteral("pause.fill"), QStringLiteral("media-playback-pause")},
        {QStringLiteral("backward.fill"), QStringLiteral("media-skip-backward")},
        {QStringLiteral("forward.fill"), QStringLiteral("media-skip-forward")},
        {QStringLiteral("play.rectangle.fill"), QStringLiteral("orvanta")},
        {QStringLiteral("film.stack"), QStringLiteral("video-x-generic")},
        {QStringLiteral("folder"), QStringLiteral("folder")},
        {QStringLiteral("folder.fill"), QStringLiteral("folder")},
        {QStringLiteral("folder.badge.plus"), QStringLiteral("folder-new")},
        {QStringLiteral("display"), QStringLiteral("video-display")},
        {QStringLiteral("gearshape.2"), QStringLiteral("preferences-system")},
        {QStringLiteral("checkmark.circle.fill"), QStringLiteral("emblem-ok")},
        {QStringLiteral("plus"), QStringLiteral("list-add")},
        {QStringLiteral("minus"), QStringLiteral("list-remove")},
        {QStringLiteral("speaker.fill"), QStringLiteral("audio-volume-muted")},
        {QStringLiteral("speaker.wave.3.fill"), QStringLiteral("audio-volume-high")},
        {QStringLiteral("macwindow"), QStringLiteral("window-new")},
        {QStringLiteral("xmark.circle"), QStringLiteral("application-exit")},
        {QStringLiteral("xmark.circle.fill"), QStringLiteral("window-close")},
        {QStringLiteral("slider.horizontal.below.rectangle"), QStringLiteral("orvanta")},
        {QStringLiteral("arrow.right.circle"), QStringLiteral("system-run")},
    };
    return kNames.value(symbol, symbol);
}

QString SymbolTable::iconSource(const QString& symbol) {
    return QStringLiteral("qrc:/icons/%1.svg").arg(iconName(symbol));
}
