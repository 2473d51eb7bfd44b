#include "playback/ScreenIdentifier.h"

#include <QScreen>

quint32 ScreenIdentifier::fnv1a(const QByteArray& bytes) {
    quint32 hash = 2166136261u;
    for (const char byte : bytes) {
        hash ^= quint8(byte);
        hash *= 16777619u;
    }
    return hash;
}

QString ScreenIdentifier::fromDescription(const QString& manufacturer, const QString& model,
                                          const QString& serialNumber,
                                          const QString& connectorName) {
    QByteArray key;
    if (!manufacturer.isEmpty() || !model.isEmpty() || !serialNumber.isEmpty()) {
        // Separated, so that ("AB", "C") and ("A", "BC") stay apart.
        key = manufacturer.toUtf8() + '\x1f' + model.toUtf8() + '\x1f' + serialNumber.toUtf8();
        // Identical displays without a serial number are told apart by where they are plugged.
        if (serialNumber.isEmpty())
            key += '\x1f' + connectorName.toUtf8();
    } else if (!connectorName.isEmpty()) {
        key = connectorName.toUtf8();
    } else {
        return QStringLiteral("0");
    }
    return QString::number(fnv1a(key));
}

QString ScreenIdentifier::forScreen(const QScreen* screen) {
    if (!screen)
        return QStringLiteral("0");
    return fromDescription(screen->manufacturer(), screen->model(), screen->serialNumber(),
                           screen->name());
}

QString ScreenIdentifier::displayName(const QScreen* screen) {
    if (!screen)
        return {};
    const QString model = screen->model().trimmed();
    return model.isEmpty() ? screen->name() : model;
}
