#include "playback/MpvRenderContext.h"

#include "core/Logging.h"

#include <mpv/render.h>

std::unique_ptr<MpvRenderContext> MpvRenderContext::create(mpv_handle* mpv,
                                                           mpv_render_param* params) {
    mpv_render_context* context = nullptr;
    const int rc = mpv_render_context_create(&context, mpv, params);
    if (rc < 0) {
        qCCritical(lcPlayback, "Cannot create the video renderer: %s", mpv_error_string(rc));
        return nullptr;
    }
    return std::unique_ptr<MpvRenderContext>(new MpvRenderContext(context));
}

MpvRenderContext::MpvRenderContext(mpv_render_context* context)
    : m_context(context) {
}

MpvRenderContext::~MpvRenderContext() {
    // Its owner may be half gone already: mpv calls nobody back while the context is freed.
    mpv_render_context_set_update_callback(m_context, nullptr, nullptr);
    mpv_render_context_free(m_context);
}
