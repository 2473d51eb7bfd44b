#pragma once

#include <QImage>
#include <QObject>
#include <QSize>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

class MpvRenderContext;

// Draws one mpv player for the video surfaces that show it, on a thread of its own: into memory
// (software path) or into OpenGL textures (OpenGL path). The path is chosen once per process,
// before the first window exists.
//
// Several surfaces may show the same player (synchronized mode): each tells the size it wants;
// the largest wins. With no visible surface, frames are skipped rather than drawn, which keeps
// mpv's timing going without the cost of drawing, and the ready frame is let go. When a surface
// brings the player into view, its current frame is drawn before the surface is painted, so the
// last frame of an earlier video never shows. Every finished frame is announced by at most one
// queued frameReady() until it was taken.
class VideoRenderer : public QObject {
    Q_OBJECT

public:
    enum class Path { Software, OpenGL };

    // A finished frame. While any copy of it lives, the renderer does not draw into its memory
    // or texture.
    struct Frame {
        quint64 serial = 0;
        QSize size;
        // Software path: the frame's memory as Format_RGB32, not a copy.
        QImage image;
        // OpenGL path: a texture of the context group shared with Qt Quick's windows.
        uint texture = 0;
        std::shared_ptr<const void> hold;

        bool isNull() const { return image.isNull() && texture == 0; }
    };

    // The drawing path of this process; software until chosen otherwise.
    static Path path();
    static void setPath(Path path);

    explicit VideoRenderer(QObject* parent = nullptr);
    ~VideoRenderer() override;

    bool isValid() const { return m_context != nullptr; }

    // The size a surface wants, in device pixels; an empty size withdraws it (hidden surface).
    void setTargetSize(const void* client, QSize size);
    void removeClient(const void* client);

    // The newest finished frame; null before the first.
    virtual Frame latestFrame() const = 0;

    quint64 renderedFrames() const { return m_renderedFrames.load(); }
    quint64 skippedFrames() const { return m_skippedFrames.load(); }

Q_SIGNALS:
    void frameReady();

protected:
    // Wakes the render thread whenever mpv has something new; call once m_context exists.
    void listenForFrames();
    // Render thread, with the lock held, and held again on return: waits until mpv has a new
    // frame, or the current one must be drawn for a surface coming into view. size tells what
    // to draw at; empty means nobody shows the player, and the frame is to be skipped. False
    // once the renderer stops.
    bool waitForFrame(std::unique_lock<std::mutex>& lock, QSize* size);
    // Ends waitForFrame() for good; the derived class then joins its thread.
    void requestStop();
    // Render thread, with the lock held: a drawn frame became the ready one.
    void frameDrawn();
    void countSkipped() { ++m_skippedFrames; }
    // With the lock held: nobody shows the player any more.
    virtual void releaseHiddenFrames() = 0;

    std::unique_ptr<MpvRenderContext> m_context;
    mutable std::mutex m_mutex;
    std::condition_variable m_wakeup;
    // Counts ready frames; guarded by m_mutex.
    quint64 m_readySerial = 0;

private:
    void wake(bool force);
    bool waitForWork(std::unique_lock<std::mutex>& lock, QSize* size, bool* force);
    bool anyClientVisible() const;
    void announce();

    std::condition_variable m_frameDrawn;
    bool m_stop = false;
    bool m_pending = false;
    bool m_forceRender = false;
    std::vector<std::pair<const void*, QSize>> m_clients;
    std::atomic<bool> m_announced{false};
    std::atomic<quint64> m_renderedFrames{0};
    std::atomic<quint64> m_skippedFrames{0};
};
