#include "system/MediaControls.h"

#include <algorithm>

bool MediaControls::isCommandEnabled(Command command) const {
    return m_enabled[static_cast<size_t>(command)];
}

void MediaControls::setCommandEnabled(Command command, bool enabled) {
    bool& current = m_enabled[static_cast<size_t>(command)];
    if (current == enabled)
        return;
    current = enabled;
    publish();
}

void MediaControls::setNowPlaying(const std::optional<NowPlaying>& nowPlaying) {
    m_refreshed.start();
    if (m_nowPlaying == nowPlaying)
        return;
    m_nowPlaying = nowPlaying;
    publish();
}

double MediaControls::position() const {
    if (!m_nowPlaying)
        return 0.0;
    const double elapsed = m_nowPlaying->elapsed.value_or(0.0);
    const double since = m_refreshed.isValid() ? double(m_refreshed.nsecsElapsed()) / 1e9 : 0.0;
    const double position = std::max(0.0, elapsed + m_nowPlaying->rate.value_or(0.0) * since);
    const double duration = m_nowPlaying->duration.value_or(0.0);
    return duration > 0.0 ? std::min(position, duration) : position;
}

void MediaControls::receive(Command command) {
    // A client may send what it was told is not possible; such a call has no effect.
    if (isCommandEnabled(command))
        Q_EMIT commandReceived(command);
}
