#pragma once

#include <QObject>
#include <QTimer>

class QScreen;

// Turns the platform's screen events (screens added or removed, a new primary screen, changed
// geometry) into one screensChanged() per burst: unplugging a monitor brings several of them.
class ScreenWatcher : public QObject {
    Q_OBJECT

public:
    explicit ScreenWatcher(QObject* parent = nullptr);

Q_SIGNALS:
    void screensChanged();

private:
    void watch(QScreen* screen);

    QTimer m_coalesce;
};
