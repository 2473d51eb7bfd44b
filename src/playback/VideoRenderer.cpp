#include "playback/VideoRenderer.h"

#include "playback/MpvRenderContext.h"

#include <mpv/render.h>

#include <algorithm>
#include <chrono>

namespace {

std::atomic<VideoRenderer::Path> s_path{VideoRenderer::Path::Software};

// How long a surface that comes into view waits for its first frame before it is painted.
constexpr auto kFirstFrameWait = std::chrono::milliseconds(100);

} // namespace

VideoRenderer::Path VideoRenderer::path() {
    return s_path.load();
}

void VideoRenderer::setPath(Path path) {
    s_path = path;
}

VideoRenderer::VideoRenderer(QObject* parent)
    : QObject(parent) {
}

VideoRenderer::~VideoRenderer() = default;

bool VideoRenderer::anyClientVisible() const {
    return std::any_of(m_clients.begin(), m_clients.end(),
                       [](const auto& entry) { return !entry.second.isEmpty(); });
}

void VideoRenderer::setTargetSize(const void* client, QSize size) {
    std::unique_lock lock(m_mutex);
    const bool wasVisible = anyClientVisible();
    auto entry = std::find_if(m_clients.begin(), m_clients.end(),
                              [client](const auto& known) { return known.first == client; });
    if (entry == m_clients.end())
        m_clients.emplace_back(client, size);
    else if (entry->second == size)
        return;
    else
        entry->second = size;
    m_forceRender = !size.isEmpty();
    m_pending = true;
    m_wakeup.notify_all();
    if (!anyClientVisible()) {
        releaseHiddenFrames();
        return;
    }
    // Coming into view, the ready frame may be from an earlier video (frames are not drawn
    // while nobody shows them): the current one is drawn before the surface is painted.
    if (!wasVisible && isValid()) {
        const quint64 before = m_readySerial;
        m_frameDrawn.wait_for(lock, kFirstFrameWait,
                              [this, before] { return m_stop || m_readySerial != before; });
    }
}

void VideoRenderer::removeClient(const void* client) {
    std::lock_guard lock(m_mutex);
    std::erase_if(m_clients, [client](const auto& entry) { return entry.first == client; });
    if (!anyClientVisible())
        releaseHiddenFrames();
}

void VideoRenderer::listenForFrames() {
    // Called on mpv's threads, which must not be held up: only wake the render thread.
    mpv_render_context_set_update_callback(
        m_context->get(), [](void* self) { static_cast<VideoRenderer*>(self)->wake(false); }, this);
}

bool VideoRenderer::waitForFrame(std::unique_lock<std::mutex>& lock, QSize* size) {
    bool force = false;
    while (waitForWork(lock, size, &force)) {
        lock.unlock();
        const bool newFrame = mpv_render_context_update(m_context->get()) & MPV_RENDER_UPDATE_FRAME;
        lock.lock();
        if (newFrame || (force && !size->isEmpty()))
            return true;
    }
    return false;
}

void VideoRenderer::wake(bool force) {
    {
        std::lock_guard lock(m_mutex);
        m_pending = true;
        m_forceRender = m_forceRender || force;
    }
    m_wakeup.notify_all();
}

bool VideoRenderer::waitForWork(std::unique_lock<std::mutex>& lock, QSize* size, bool* force) {
    m_wakeup.wait(lock, [this] { return m_stop || m_pending; });
    if (m_stop)
        return false;
    m_pending = false;
    *force = std::exchange(m_forceRender, false);
    *size = QSize();
    for (const auto& entry : m_clients) {
        if (entry.second.width() * entry.second.height() > size->width() * size->height())
            *size = entry.second;
    }
    return true;
}

void VideoRenderer::requestStop() {
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wakeup.notify_all();
    m_frameDrawn.notify_all();
}

void VideoRenderer::frameDrawn() {
    ++m_readySerial;
    m_frameDrawn.notify_all();
    ++m_renderedFrames;
    announce();
}

void VideoRenderer::announce() {
    if (m_announced.exchange(true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_announced = false;
            Q_EMIT frameReady();
        },
        Qt::QueuedConnection);
}
