#pragma once

#include "playback/VideoRenderer.h"

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
// reused only when nothing else holds it), so mpv and Qt never touch the same memory. A player
// nobody shows keeps no frames; when a surface brings it into view, its current frame is drawn
// before the surface is painted, so an earlier video's last frame never shows.
class MpvSoftwareRenderer : public VideoRenderer {
    Q_OBJECT

public:
    // Creates the render context; call right after mpv_initialize, before anything is loaded.
    explicit MpvSoftwareRenderer(mpv_handle* mpv, QObject* parent = nullptr);
    // Stops the thread and frees the render context (before the mpv handle goes).
    ~MpvSoftwareRenderer() override;

    bool isValid() const override { return m_context != nullptr; }

    void setTargetSize(const void* client, QSize size) override;
    void removeClient(const void* client) override;

    // The image wraps the buffer and keeps it from being reused while it, or a copy, lives.
    Frame latestFrame() const override;

private:
    struct Buffer;

    void run();
    void wake(bool force);
    std::shared_ptr<Buffer> freeBuffer(QSize size);
    bool anyClientVisible() const;
    void releaseHiddenBuffers();

    mpv_render_context* m_context = nullptr;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    std::condition_variable m_wakeup;
    std::condition_variable m_rendered;
    bool m_stop = false;
    bool m_pending = false;
    bool m_forceRender = false;
    std::vector<std::pair<const void*, QSize>> m_clients;
    std::vector<std::shared_ptr<Buffer>> m_pool;
    std::shared_ptr<Buffer> m_ready;
    quint64 m_readySerial = 0;
};
