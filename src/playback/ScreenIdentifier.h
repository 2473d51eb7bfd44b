#pragma once

#include <QString>

class QScreen;

// Names screens inside the program. A screen's identifier keys its player, its queue and its
// stored playlist, so it must stay the same across launches: it is the decimal text of a 32-bit
// FNV-1a hash of the display's manufacturer, model and serial number (from its EDID), with its
// connector name added when the serial number is missing (so that two identical displays stay
// apart), or of the connector name alone when the display reports none of them, and "0" when
// nothing is known.
class ScreenIdentifier {
public:
    // The identifier of the shared player of synchronized mode.
    static QString sharedIdentifier() { return QStringLiteral("default"); }

    static QString forScreen(const QScreen* screen);
    static QString fromDescription(const QString& manufacturer, const QString& model,
                                   const QString& serialNumber, const QString& connectorName);

    // The name shown to the user: the model, else the connector name.
    static QString displayName(const QScreen* screen);

    static quint32 fnv1a(const QByteArray& bytes);
};
