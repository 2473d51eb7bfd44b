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
        {QStringLiteral("music.note.list"), QStringLiteral("view-media-playlist")},
        {QStringLiteral("star.fill"), QStringLiteral("starred")},
        {QStringLiteral("link"), QStringLiteral("insert-link")},
        {QStringLiteral("checkmark.circle.fill"), QStringLiteral("emblem-ok")},
        {QStringLiteral("play.circle"), QStringLiteral("media-playback-start")},
        {QStringLiteral("shuffle"), QStringLiteral("media-playlist-shuffle")},
        {QStringLiteral("repeat"), QStringLiteral("media-playlist-repeat")},
        {QStringLiteral("ellipsis.circle"), QStringLiteral("view-more")},
        {QStringLiteral("arrow.clockwise"), QStringLiteral("view-refresh")},
        {QStringLiteral("magnifyingglass"), QStringLiteral("edit-find")},
        {QStringLiteral("info.circle"), QStringLiteral("dialog-information")},
        {QStringLiteral("pencil"), QStringLiteral("document-edit")},
        {QStringLiteral("trash"), QStringLiteral("edit-delete")},
        {QStringLiteral("lock"), QStringLiteral("changes-prevent")},
        {QStringLiteral("doc.on.doc"), QStringLiteral("edit-copy")},
        {QStringLiteral("circle"), QStringLiteral("radio")},
        {QStringLiteral("film"), QStringLiteral("video-x-generic")},
        {QStringLiteral("line.3.horizontal"), QStringLiteral("open-menu")},
        {QStringLiteral("checkmark"), QStringLiteral("object-select")},
        {QStringLiteral("hand.draw"), QStringLiteral("transform-move")},
        {QStringLiteral("textformat.abc"), QStringLiteral("format-text")},
        {QStringLiteral("clock"), QStringLiteral("appointment-soon")},
        {QStringLiteral("calendar"), QStringLiteral("x-office-calendar")},
        {QStringLiteral("rectangle.expand.vertical"), QStringLiteral("zoom-fit-best")},
    };
    return kNames.value(symbol, symbol);
}

QString SymbolTable::iconSource(const QString& symbol) {
    return QStringLiteral("qrc:/icons/%1.svg").arg(iconName(symbol));
}
