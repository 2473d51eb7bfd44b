#pragma once

#include "playback/VideoRenderer.h"

#include <memory>
#include <thread>
#include <vector>

class MpvHandle;

// Draws one mpv player into memory with mpv's software renderer, on a thread of its own.
//
// mpv's update callback only wakes the thread, which renders only when mpv says a new frame
// exists, so a paused player costs nothing. Frames go into a small pool of 64-byte aligned
// buffers: one being rendered, one ready, and those still held by the scene graph (a buffer is
// reused only when nothing else holds it), so mpv and Qt never touch the same memory. A player
// nobody shows keeps no buffers.
class MpvSoftwareRenderer : public VideoRenderer {
    Q_OBJECT

public:
    // Creates the render context; call right after mpv_initialize, before anything is loaded.
    explicit MpvSoftwareRenderer(const MpvHandle& mpv, QObject* parent = nullptr);
    // Stops the thread and frees the render context (before the mpv handle goes).
    ~MpvSoftwareRenderer() override;

    Frame latestFrame() const override;

private:
    struct Buffer;

    void run();
    std::shared_ptr<Buffer> freeBuffer(QSize size);
    void releaseHiddenFrames() override;

    std::thread m_thread;

    std::vector<std::shared_ptr<Buffer>> m_pool;
    std::shared_ptr<Buffer> m_ready;
};
