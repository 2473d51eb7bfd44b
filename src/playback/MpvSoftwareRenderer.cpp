#include "playback/MpvSoftwareRenderer.h"

#include "playback/MpvHandle.h"
#include "playback/MpvRenderContext.h"

#include <mpv/render.h>

#include <cstdlib>

namespace {

constexpr size_t kAlignment = 64;

size_t strideFor(int width) {
    return (size_t(width) * 4 + kAlignment - 1) / kAlignment * kAlignment;
}

} // namespace

struct MpvSoftwareRenderer::Buffer {
    explicit Buffer(QSize bufferSize)
        : size(bufferSize)
        , stride(strideFor(bufferSize.width()))
        , data(
              static_cast<uchar*>(std::aligned_alloc(kAlignment, stride * size_t(size.height())))) {
    }
    ~Buffer() { std::free(data); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    QSize size;
    size_t stride;
    uchar* data;
};

MpvSoftwareRenderer::MpvSoftwareRenderer(const MpvHandle& mpv, QObject* parent)
    : VideoRenderer(parent) {
    char apiType[] = MPV_RENDER_API_TYPE_SW;
    mpv_render_param params[] = {
        {MPV_RENDER_PARAM_API_TYPE, apiType},
        {MPV_RENDER_PARAM_INVALID, nullptr},
    };
    m_context = MpvRenderContext::create(mpv.get(), params);
    if (!m_context)
        return;
    listenForFrames();
    m_thread = std::thread([this] { run(); });
}

MpvSoftwareRenderer::~MpvSoftwareRenderer() {
    if (!m_context)
        return;
    requestStop();
    m_thread.join();
    m_context.reset();
}

void MpvSoftwareRenderer::releaseHiddenFrames() {
    // Buffers still held by a surface's picture go when the picture lets go of them.
    m_ready.reset();
    std::erase_if(m_pool,
                  [](const std::shared_ptr<Buffer>& buffer) { return buffer.use_count() == 1; });
}

VideoRenderer::Frame MpvSoftwareRenderer::latestFrame() const {
    std::lock_guard lock(m_mutex);
    Frame frame;
    frame.serial = m_readySerial;
    if (!m_ready)
        return frame;
    auto* holder = new std::shared_ptr<Buffer>(m_ready);
    const Buffer& buffer = **holder;
    frame.size = buffer.size;
    frame.image = QImage(
        static_cast<const uchar*>(buffer.data), buffer.size.width(), buffer.size.height(),
        qsizetype(buffer.stride), QImage::Format_RGB32,
        [](void* info) { delete static_cast<std::shared_ptr<Buffer>*>(info); }, holder);
    return frame;
}

std::shared_ptr<MpvSoftwareRenderer::Buffer> MpvSoftwareRenderer::freeBuffer(QSize size) {
    // Only the pool holding a buffer means no image of it is alive.
    std::shared_ptr<Buffer>* spare = nullptr;
    for (auto& buffer : m_pool) {
        if (buffer == m_ready || buffer.use_count() != 1)
            continue;
        if (buffer->size == size)
            return buffer;
        spare = &buffer;
    }
    auto fresh = std::make_shared<Buffer>(size);
    if (spare)
        *spare = fresh;
    else
        m_pool.push_back(fresh);
    return fresh;
}

void MpvSoftwareRenderer::run() {
    // Frames nobody shows are taken into this without being drawn.
    Buffer scratch(QSize(16, 16));
    std::unique_lock lock(m_mutex);
    QSize size;
    while (waitForFrame(lock, &size)) {
        const bool skip = size.isEmpty();
        std::shared_ptr<Buffer> target = skip ? nullptr : freeBuffer(size);
        lock.unlock();
        Buffer& buffer = skip ? scratch : *target;
        int renderSize[2] = {buffer.size.width(), buffer.size.height()};
        char format[] = "bgra";
        size_t stride = buffer.stride;
        int skipRendering = skip ? 1 : 0;
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_SW_SIZE, renderSize},
            {MPV_RENDER_PARAM_SW_FORMAT, format},
            {MPV_RENDER_PARAM_SW_STRIDE, &stride},
            {MPV_RENDER_PARAM_SW_POINTER, buffer.data},
            {MPV_RENDER_PARAM_SKIP_RENDERING, &skipRendering},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        const int rc = mpv_render_context_render(m_context->get(), params);
        lock.lock();
        if (rc < 0 || skip) {
            if (skip)
                countSkipped();
            continue;
        }
        m_ready = target;
        frameDrawn();
    }
}
