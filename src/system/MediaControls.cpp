#include "system/MediaControls.h"

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
    if (m_nowPlaying == nowPlaying)
        return;
    m_nowPlaying = nowPlaying;
    publish();
}

void MediaControls::receive(Command command) {
    // A client may send what it was told is not possible; such a call has no effect.
    if (isCommandEnabled(command))
        Q_EMIT commandReceived(command);
}
