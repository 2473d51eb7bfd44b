#pragma once

#include "playback/VideoRenderer.h"

#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QSize>
#include <QString>

class Player;

// A Qt Quick item that shows one player's video, filling the item (the item's geometry decides
// the aspect). It shows the frames the player's renderer draws, wrapped without copying (memory
// on the software path, a shared texture on the OpenGL path), and stops asking for frames while
// it is hidden or fully transparent. Several surfaces may show the same player. Players without
// a drawing output show black.
class VideoSurface : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(bool isDrawing READ isDrawing NOTIFY isDrawingChanged)

public:
    explicit VideoSurface(QQuickItem* parent = nullptr);
    ~VideoSurface() override;

    struct RenderPathChoice {
        VideoRenderer::Path path = VideoRenderer::Path::Software;
        // Why software was chosen; empty for OpenGL.
        QString reason;
        // The OpenGL renderer found, if any.
        QString renderer;
    };

    // Chooses once, before the application object exists, how video and every Qt Quick window
    // are drawn: OpenGL where it is a real GPU, else Qt Quick's software backend fed by mpv's
    // software renderer. ORVANTA_RENDER_PATH=opengl|software overrides the probe. Logs the
    // choice.
    static VideoRenderer::Path chooseRenderPath();
    // What chooseRenderPath() would choose now, without changing anything.
    static RenderPathChoice probeRenderPath();
    // Whether an OpenGL renderer string names a rasteriser running on the CPU.
    static bool isSoftwareRasteriser(const QString& renderer);

    void setPlayer(Player* player);
    Player* player() const;
    // The player's video display size; empty while unknown.
    QSize videoSize() const;

    // Visible and not fully transparent: frames are drawn for it.
    bool isDrawing() const { return m_isDrawing; }
    // Whether a new frame repaints the surface at once (the default). A view that paces the
    // painting itself turns this off and calls update() when it wants the newest frame shown.
    void setRepaintsOnNewFrame(bool repaints) { m_repaintsOnNewFrame = repaints; }

    // Distinct frames put on screen so far, and the last of them.
    quint64 shownFrames() const { return m_shownFrames; }
    // The last frame's image; null on the OpenGL path, where frames are textures.
    QImage shownFrame() const { return m_shown.image; }
    QSize shownFrameSize() const { return m_shown.size; }

Q_SIGNALS:
    void isDrawingChanged(bool drawing);
    void videoSizeChanged(QSize size);
    void frameShown();
    // The player has a new frame for this surface (while it is drawing).
    void newFrame();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;

private:
    // The renderer string of an OpenGL context of the display Qt will use; empty with the
    // reason in failure where none can be made.
    static QString openGLRenderer(QString* failure);

    void updateTarget();

    QPointer<Player> m_player;
    QPointer<VideoRenderer> m_renderer;
    QMetaObject::Connection m_frameConnection;
    QMetaObject::Connection m_rendererGoneConnection;
    QMetaObject::Connection m_sizeConnection;
    bool m_isDrawing = false;
    quint64 m_shownSerial = 0;
    quint64 m_shownFrames = 0;
    // Keeps the shown frame's memory or texture from being drawn into.
    VideoRenderer::Frame m_shown;
    bool m_nodeShowsFrame = false;
    bool m_repaintsOnNewFrame = true;
};
