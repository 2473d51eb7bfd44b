#include "system/MediaKeyHandler.h"

#include "system/MediaKeyTarget.h"

using Command = MediaControls::Command;

namespace {

constexpr Command kCommands[] = {Command::Play, Command::Pause, Command::TogglePlayPause,
                                 Command::NextTrack, Command::PreviousTrack};

} // namespace

MediaKeyHandler::MediaKeyHandler(QObject* parent)
    : MediaKeyHandler(MediaControls::createDBus(), parent) {
}

MediaKeyHandler::MediaKeyHandler(std::unique_ptr<MediaControls> controls, QObject* parent)
    : QObject(parent)
    , m_controls(controls ? std::move(controls) : std::make_unique<MediaControls>()) {
}

MediaKeyHandler::~MediaKeyHandler() = default;

MediaKeyHandler& MediaKeyHandler::shared() {
    // Never destroyed: its bus registration must not be torn down after the event loop's.
    static MediaKeyHandler* const instance = new MediaKeyHandler();
    return *instance;
}

void MediaKeyHandler::setupRemoteCommands() {
    if (!m_commandTargetsRegistered) {
        m_commandTargetsRegistered = true;
        connect(m_controls.get(), &MediaControls::commandReceived, this,
                &MediaKeyHandler::handleCommand);
    }
    // Seeking is never offered: the controls have no seek commands to enable.
    setCommandsEnabled(true);
}

void MediaKeyHandler::enable() {
    if (m_isEnabled)
        return;
    m_isEnabled = true;
    setupRemoteCommands();
    updateNowPlayingInfo();
}

void MediaKeyHandler::disable() {
    if (!m_isEnabled)
        return;
    m_isEnabled = false;
    setCommandsEnabled(false);
    m_controls->setNowPlaying(std::nullopt);
}

void MediaKeyHandler::updateNowPlayingInfo() {
    if (!m_isEnabled)
        return;
    const std::optional<MediaKeyTarget::Video> video =
        m_controller ? m_controller->primaryVideo() : std::nullopt;
    if (!video) {
        m_controls->setNowPlaying(std::nullopt);
        return;
    }
    MediaControls::NowPlaying info;
    info.title = video->name;
    info.artist = QStringLiteral("Orvanta");
    info.duration = video->duration;
    info.elapsed = video->currentTime;
    info.rate = m_controller->isPlaying() ? 1.0 : 0.0;
    if (video->totalVideoCount > 1)
        info.album = QStringLiteral("Video %1 of %2")
                         .arg(video->currentIndex + 1)
                         .arg(video->totalVideoCount);
    if (video->currentIndex >= 0)
        info.trackIndex = video->currentIndex;
    m_controls->setNowPlaying(info);
}

void MediaKeyHandler::updatePlaybackState(bool isPlaying) {
    if (!m_isEnabled)
        return;
    MediaControls::NowPlaying info = m_controls->nowPlaying().value_or(MediaControls::NowPlaying{});
    info.rate = isPlaying ? 1.0 : 0.0;
    if (const std::optional<MediaKeyTarget::Video> video =
            m_controller ? m_controller->primaryVideo() : std::nullopt)
        info.elapsed = video->currentTime;
    m_controls->setNowPlaying(info);
}

// Every command succeeds towards the desktop, also while there is no controller.
void MediaKeyHandler::handleCommand(Command command) {
    switch (command) {
    case Command::Play:
        if (m_controller)
            m_controller->startAllPlayback();
        updatePlaybackState(true);
        break;
    case Command::Pause:
        if (m_controller)
            m_controller->pauseAllPlayback();
        updatePlaybackState(false);
        break;
    case Command::TogglePlayPause:
        if (m_controller)
            m_controller->togglePlayPause();
        updatePlaybackState(m_controller && m_controller->isPlaying());
        break;
    case Command::NextTrack:
        if (m_controller)
            m_controller->nextVideo();
        updateNowPlayingInfo();
        break;
    case Command::PreviousTrack:
        if (m_controller)
            m_controller->previousVideo();
        updateNowPlayingInfo();
        break;
    }
}

void MediaKeyHandler::setCommandsEnabled(bool enabled) {
    for (const Command command : kCommands)
        m_controls->setCommandEnabled(command, enabled);
}
