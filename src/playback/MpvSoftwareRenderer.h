#pragma once

#include <QImage>
#include <QObject>
#include <QSize>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct mpv_handle;
struct mpv_render_context;

// Draws one mpv player into memory with mpv's software renderer, on a thread of its own.
//
// mpv's update callback only wakes the thread, which renders only when mpv says a new frame
// exists, so a paused player costs nothing. Frames go into a small pool of 64-byte aligned
// buffers: one being rendered, one ready, and those still held by the scene graph (a buffer is
// reused only when nothing else holds it), so mpv and Qt never touch the same memory. Every
// finished frame is announced by at most one queued frameReady() until it was taken.
//
// Several surfaces may show the same player (synchronized mode): each tells the size it wants;
// the largest wins. With no visible surface, frames are skipped rather than drawn, which keeps
// mpv's timing going without the cost of drawing.
class MpvSoftwareRenderer : public QObject {
    Q_OBJECT

public:
    // Creates the render context; call right after mpv_initialize, before anything is loaded.
    explicit MpvSoftwareRenderer(mpv_handle* mpv, QObject* parent = nullptr);
    // Stops the thread and frees the render context (before the mpv handle goes).
    ~MpvSoftwareRenderer() override;

    bool isValid() const { return m_context != nullptr; }

    // The size a surface wants, in device pixels; an empty size withdraws it (hidden surface).
    void setTargetSize(const void* client, QSize size);
    void removeClient(const void* client);

    // The newest finished frame (Format_RGB32 wrapping the buffer, not a copy); null before the
    // first. The image keeps its buffer from being reused while it, or a copy of it, lives.
    QImage latestFrame(quint64* serial = nullptr) const;

    quint64 renderedFrames() const { return m_renderedFrames.load(); }
    quint64 skippedFrames() const { return m_skippedFrames.load(); }

Q_SIGNALS:
    void frameReady();

private:
    struct Buffer;

    void run();
    void wake(bool force);
    std::shared_ptr<Buffer> freeBuffer(QSize size);
    void announce();

    mpv_render_context* m_context = nullptr;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    std::condition_variable m_wakeup;
    bool m_stop = false;
    bool m_pending = false;
    bool m_forceRender = false;
    std::vector<std::pair<const void*, QSize>> m_clients;
    std::vector<std::shared_ptr<Buffer>> m_pool;
    std::shared_ptr<Buffer> m_ready;
    quint64 m_readySerial = 0;

    std::atomic<bool> m_announced{false};
    std::atomic<quint64> m_renderedFrames{0};
    std::atomic<quint64> m_skippedFrames{0};
};
