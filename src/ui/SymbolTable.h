#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The one table from the symbols the pages name ("play.fill", "folder", ...) to freedesktop icon
// names. Each name has a single-colour SVG of its own among the program's resources
// (":/icons/NAME.svg") for icon themes that lack it.
class SymbolTable : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // The freedesktop name; the symbol itself when the table lacks it.
    Q_INVOKABLE static QString iconName(const QString& symbol);
    // The bundled fallback as a URL for QML.
    Q_INVOKABLE static QString iconSource(const QString& symbol);
};
