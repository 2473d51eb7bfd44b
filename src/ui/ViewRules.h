#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

// The rules of the settings window's texts and states, kept out of the views so that they can be
// checked without a window. The views reach them through the ViewRules singleton.
class ViewRules : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    // What the Now Playing page shows.
    enum class Content { Empty, Single, Multiple };
    Q_ENUM(Content)

    using QObject::QObject;

    // Empty when no screen has a video in its queue; the single large view for one screen.
    static Content nowPlayingContent(const QList<int>& queueCounts);
    // "0:00", "1:05", "1:02:05"; anything not finite or negative reads "0:00".
    Q_INVOKABLE static QString formatTime(double seconds);
    // value over total within 0–1; 0 while the total is not positive.
    Q_INVOKABLE static double progress(double value, double total);
    // "Playing on 1 screen", "Playing on 3 screens".
    Q_INVOKABLE static QString playingText(int screenCount);
    // "1 folder configured", "3 folders configured".
    Q_INVOKABLE static QString folderCountText(int folderCount);
    // "Video 2 of 5 • Name" (compact: "2/5 • Name"); the position only with at least one video,
    // the playlist's name only when one is assigned.
    Q_INVOKABLE static QString positionText(int currentIndex, int totalVideoCount,
                                            const QString& playlistName, bool compact);
    // The quick controls' "2 / 5", only with at least two videos.
    Q_INVOKABLE static QString quickPositionText(int currentIndex, int totalVideoCount);
    // "1.5 s" and "1.25x".
    Q_INVOKABLE static QString durationText(double seconds);
    Q_INVOKABLE static QString rateText(double rate);
    // A time picker's texts: "00", "01", ... up to count - 1.
    Q_INVOKABLE static QStringList twoDigitNumbers(int count);
};
