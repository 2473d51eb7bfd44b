#include "playback/VideoRenderer.h"

#include "playback/MpvGlRenderer.h"
#include "playback/MpvSoftwareRenderer.h"

namespace {

std::atomic<VideoRenderer::Path> s_path{VideoRenderer::Path::Software};

} // namespace

VideoRenderer::Path VideoRenderer::path() {
    return s_path.load();
}

void VideoRenderer::setPath(Path path) {
    s_path = path;
}

VideoRenderer* VideoRenderer::create(mpv_handle* mpv, QObject* parent) {
    if (path() == Path::OpenGL)
        return new MpvGlRenderer(mpv, parent);
    return new MpvSoftwareRenderer(mpv, parent);
}

VideoRenderer::VideoRenderer(QObject* parent)
    : QObject(parent) {
}

VideoRenderer::~VideoRenderer() = default;

void VideoRenderer::countRendered() {
    ++m_renderedFrames;
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
