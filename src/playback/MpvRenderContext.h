#pragma once

#include <memory>

struct mpv_handle;
struct mpv_render_context;
struct mpv_render_param;

// One mpv render context, freed when this object goes. It is freed on the thread that destroys
// it: an OpenGL one there where its OpenGL context is current, and always before the handle
// it was made for.
class MpvRenderContext {
public:
    // Null, with the reason logged, when mpv cannot make one.
    static std::unique_ptr<MpvRenderContext> create(mpv_handle* mpv, mpv_render_param* params);

    ~MpvRenderContext();
    MpvRenderContext(const MpvRenderContext&) = delete;
    MpvRenderContext& operator=(const MpvRenderContext&) = delete;

    mpv_render_context* get() const { return m_context; }

private:
    explicit MpvRenderContext(mpv_render_context* context);

    mpv_render_context* m_context;
};
