#pragma once

#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QSize>

class MpvPlayer;
class MpvSoftwareRenderer;
class Player;

// A Qt Quick item that shows one player's video, filling the item (the item's geometry decides
// the aspect). It shows the frames mpv's software renderer draws for the player, wrapped
// without copying, and stops asking for frames while it is hidden or fully transparent.
// Several surfaces may show the same player. Players without a drawing output show black.
class VideoSurface : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(bool isDrawing READ isDrawing NOTIFY isDrawingChanged)

public:
    explicit VideoSurface(QQuickItem* parent = nullptr);
    ~VideoSurface() override;

    // Chooses how every Qt Quick window draws: Qt Quick's software backend, the one mpv's
    // software renderer feeds. Call before the first window exists.
    static void useSoftwareRendering();

    void setPlayer(Player* player);
    Player* player() const;
    // The player's video display size; empty while unknown.
    QSize videoSize() const;

    // Visible and not fully transparent: frames are drawn for it.
    bool isDrawing() const { return m_isDrawing; }
    // Distinct frames put on screen so far, and the last of them.
    quint64 shownFrames() const { return m_shownFrames; }
    QImage shownFrame() const { return m_shownFrame; }

Q_SIGNALS:
    void isDrawingChanged(bool drawing);
    void videoSizeChanged(QSize size);
    void frameShown();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;

private:
    void updateTarget();

    QPointer<MpvPlayer> m_player;
    QPointer<MpvSoftwareRenderer> m_renderer;
    QMetaObject::Connection m_frameConnection;
    QMetaObject::Connection m_sizeConnection;
    bool m_isDrawing = false;
    quint64 m_shownSerial = 0;
    quint64 m_shownFrames = 0;
    QImage m_shownFrame;
    bool m_nodeShowsFrame = false;
};
