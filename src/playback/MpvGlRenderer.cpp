#include "playback/MpvGlRenderer.h"

#include "core/Logging.h"
#include "playback/MpvHandle.h"
#include "playback/MpvRenderContext.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <mpv/render_gl.h>

#include <algorithm>

namespace {

void* procAddress(void* context, const char* name) {
    return reinterpret_cast<void*>(static_cast<QOpenGLContext*>(context)->getProcAddress(name));
}

} // namespace

// A texture of the pool and the framebuffer mpv draws into it through.
struct MpvGlRenderer::Target {
    GLuint texture = 0;
    GLuint framebuffer = 0;
    QSize size;

    bool create(QOpenGLFunctions& gl, QSize textureSize) {
        gl.glGenTextures(1, &texture);
        gl.glBindTexture(GL_TEXTURE_2D, texture);
        gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        resize(gl, textureSize);
        gl.glGenFramebuffers(1, &framebuffer);
        gl.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        gl.glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        const bool complete =
            gl.glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
        return complete;
    }

    void resize(QOpenGLFunctions& gl, QSize textureSize) {
        gl.glBindTexture(GL_TEXTURE_2D, texture);
        gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, textureSize.width(), textureSize.height(), 0,
                        GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        gl.glBindTexture(GL_TEXTURE_2D, 0);
        size = textureSize;
    }

    void destroy(QOpenGLFunctions& gl) {
        gl.glDeleteFramebuffers(1, &framebuffer);
        gl.glDeleteTextures(1, &texture);
        framebuffer = 0;
        texture = 0;
    }
};

MpvGlRenderer::MpvGlRenderer(const MpvHandle& mpv, QObject* parent)
    : VideoRenderer(parent) {
    QOpenGLContext* shared = QOpenGLContext::globalShareContext();
    if (!shared) {
        qCCritical(lcPlayback, "Cannot draw video with OpenGL: no context shared with windows");
        return;
    }
    // Made here: an offscreen surface belongs to the GUI thread.
    m_surface = std::make_unique<QOffscreenSurface>();
    m_surface->setFormat(shared->format());
    m_surface->create();
    if (!m_surface->isValid()) {
        qCCritical(lcPlayback, "Cannot draw video with OpenGL: no offscreen surface");
        return;
    }
    m_thread = std::thread([this, &mpv, display = x11Display()] { run(mpv, display); });
    std::unique_lock lock(m_mutex);
    m_wakeup.wait(lock, [this] { return m_started; });
    lock.unlock();
    if (!m_context) {
        m_thread.join();
        return;
    }
    listenForFrames();
}

MpvGlRenderer::~MpvGlRenderer() {
    if (!m_context)
        return;
    mpv_render_context_set_update_callback(m_context->get(), nullptr, nullptr);
    requestStop();
    m_thread.join();
}

void MpvGlRenderer::releaseHiddenFrames() {
    // Textures go only on the render thread, in their context; the pool keeps them for later.
    m_ready.reset();
}

VideoRenderer::Frame MpvGlRenderer::latestFrame() const {
    std::lock_guard lock(m_mutex);
    Frame frame;
    frame.serial = m_readySerial;
    if (!m_ready)
        return frame;
    frame.size = m_ready->size;
    frame.texture = m_ready->texture;
    frame.hold = m_ready;
    return frame;
}

std::shared_ptr<MpvGlRenderer::Target> MpvGlRenderer::freeTarget(QSize size) {
    // Only the pool holding a target means no frame of it is alive.
    std::shared_ptr<Target> spare;
    for (const auto& target : m_pool) {
        if (target == m_ready || target.use_count() != 1)
            continue;
        if (target->size == size)
            return target;
        spare = target;
    }
    if (spare)
        return spare;
    m_pool.push_back(std::make_shared<Target>());
    return m_pool.back();
}

void MpvGlRenderer::run(const MpvHandle& mpv, void* display) {
    // Made on this thread, the only one that makes it current.
    QOpenGLContext context;
    context.setShareContext(QOpenGLContext::globalShareContext());
    context.setFormat(m_surface->format());
    std::unique_ptr<MpvRenderContext> renderContext;
    if (!context.create() || !context.makeCurrent(m_surface.get())) {
        qCCritical(lcPlayback, "Cannot draw video with OpenGL: no context for the renderer");
    } else {
        char apiType[] = MPV_RENDER_API_TYPE_OPENGL;
        mpv_opengl_init_params init{procAddress, &context};
        std::vector<mpv_render_param> params = {
            {MPV_RENDER_PARAM_API_TYPE, apiType},
            {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &init},
        };
        // Lets hardware decoders hand their frames over without a copy through memory.
        if (display)
            params.push_back({MPV_RENDER_PARAM_X11_DISPLAY, display});
        params.push_back({MPV_RENDER_PARAM_INVALID, nullptr});
        renderContext = MpvRenderContext::create(mpv.get(), params.data());
    }
    const bool created = renderContext != nullptr;
    {
        std::lock_guard lock(m_mutex);
        m_context = std::move(renderContext);
        m_started = true;
    }
    m_wakeup.notify_all();
    if (!created) {
        context.doneCurrent();
        return;
    }

    renderLoop(context);

    // The render context and the textures go in the context they were made in.
    std::unique_lock lock(m_mutex);
    renderContext = std::move(m_context);
    lock.unlock();
    renderContext.reset();
    QOpenGLFunctions& gl = *context.functions();
    lock.lock();
    m_ready.reset();
    for (const auto& target : m_pool)
        target->destroy(gl);
    m_pool.clear();
    context.doneCurrent();
}

void MpvGlRenderer::renderLoop(QOpenGLContext& context) {
    QOpenGLFunctions& gl = *context.functions();
    // Frames nobody shows are taken into this without being drawn.
    Target scratch;
    scratch.create(gl, QSize(16, 16));
    std::unique_lock lock(m_mutex);
    QSize size;
    while (waitForFrame(lock, &size)) {
        const bool skip = size.isEmpty();
        std::shared_ptr<Target> target = skip ? nullptr : freeTarget(size);
        lock.unlock();
        if (!skip) {
            // Nothing else holds the target now: it may change outside the lock.
            bool ready = true;
            if (target->texture == 0)
                ready = target->create(gl, size);
            else if (target->size != size)
                target->resize(gl, size);
            if (!ready) {
                qCCritical(lcPlayback, "Cannot draw video with OpenGL: incomplete framebuffer");
                lock.lock();
                continue;
            }
        }
        const Target& drawn = skip ? scratch : *target;
        // Unflipped, the image's top row is the texture's first, as Qt Quick samples textures.
        mpv_opengl_fbo framebuffer{int(drawn.framebuffer), drawn.size.width(), drawn.size.height(),
                                   GL_RGBA8};
        int skipRendering = skip ? 1 : 0;
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_OPENGL_FBO, &framebuffer},
            {MPV_RENDER_PARAM_SKIP_RENDERING, &skipRendering},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        const int rc = mpv_render_context_render(m_context->get(), params);
        // Other contexts see a texture's new content only once it is complete.
        if (rc >= 0 && !skip)
            gl.glFinish();
        lock.lock();
        if (rc < 0 || skip) {
            if (skip)
                countSkipped();
            continue;
        }
        m_ready = target;
        frameDrawn();
    }
    lock.unlock();
    scratch.destroy(gl);
}
