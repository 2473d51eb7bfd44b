#pragma once

#include "playback/VideoRenderer.h"

#include <memory>
#include <thread>
#include <vector>

class MpvHandle;
class QOffscreenSurface;
class QOpenGLContext;

// Draws one mpv player into OpenGL textures with mpv's OpenGL renderer, on a thread of its own
// with a context of its own that shares its textures with every Qt Quick window (synchronized
// mode shows one texture in several windows). Needs Qt's global share context
// (Qt::AA_ShareOpenGLContexts).
//
// mpv's update callback only wakes the thread, which renders only when mpv says a new frame
// exists, so a paused player costs nothing. Frames go into a small pool of framebuffer
// textures: one being rendered, one ready, and those still held by the scene graph (a texture is
// drawn into again only when nothing else holds it). A frame is handed out only once the GPU has
// finished it, so no window samples a texture that is still being drawn.
class MpvGlRenderer : public VideoRenderer {
    Q_OBJECT

public:
    // Creates the render context; call right after mpv_initialize, before anything is loaded.
    explicit MpvGlRenderer(const MpvHandle& mpv, QObject* parent = nullptr);
    // Stops the thread, which frees the render context and the textures in its own OpenGL
    // context (before the mpv handle goes).
    ~MpvGlRenderer() override;

    // The texture stays out of the renderer's reach while the frame, or a copy, lives.
    Frame latestFrame() const override;

private:
    struct Target;

    // The X display mpv's hardware decoders share frames through; null off X11.
    static void* x11Display();

    void run(const MpvHandle& mpv, void* display);
    void renderLoop(QOpenGLContext& context);
    std::shared_ptr<Target> freeTarget(QSize size);
    void releaseHiddenFrames() override;

    std::unique_ptr<QOffscreenSurface> m_surface;
    std::thread m_thread;

    bool m_started = false;
    std::vector<std::shared_ptr<Target>> m_pool;
    std::shared_ptr<Target> m_ready;
};
