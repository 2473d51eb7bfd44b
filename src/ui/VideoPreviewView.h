#pragma once

#include <QMetaObject>
#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

class VideoPlayerManager;
class VideoSurface;

// A live preview of one screen's playback: one more surface of the player that the screen's
// desktop window shows, following the manager's active player. Its frames come from the
// renderer that already draws for the desktop; nothing is decoded twice.
class VideoPreviewView : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* manager READ manager WRITE setManager NOTIFY managerChanged)

public:
    explicit VideoPreviewView(QQuickItem* parent = nullptr);
    ~VideoPreviewView() override;

    QObject* manager() const;
    void setManager(QObject* manager);
    VideoSurface* surface() const { return m_surface; }

Q_SIGNALS:
    void managerChanged();

protected:
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

private:
    void showActivePlayer();

    QPointer<VideoPlayerManager> m_manager;
    VideoSurface* m_surface = nullptr;
    QMetaObject::Connection m_transition;
};
