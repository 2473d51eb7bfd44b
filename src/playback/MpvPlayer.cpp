#include "playback/MpvPlayer.h"

#include "core/Logging.h"
#include "library/LocalPath.h"
#include "playback/MpvGlRenderer.h"
#include "playback/MpvHandle.h"
#include "playback/MpvNode.h"
#include "playback/MpvSoftwareRenderer.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QThread>

#include <mpv/client.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <malloc.h>

namespace {

// Observed property ids.
constexpr uint64_t kEofReached = 1;
constexpr uint64_t kDisplayWidth = 2;
constexpr uint64_t kDisplayHeight = 3;

// A boundary is taken as reached this close before its time: timers fire to the millisecond,
// the position moves by frames.
constexpr double kBoundarySlack = 0.005;

struct OptionSetting {
    const char* name;
    const char* value;
};

// A wallpaper player: no window of its own, no input, no scripts or configuration of the user's
// mpv, starts paused and muted with no audio track (so no audio device is opened), keeps the
// last frame at the end, never blocks the screensaver (mpv does that only for its own windows;
// the application keeps the display awake through the desktop).
constexpr OptionSetting kOptions[] = {
    {"vo", "null"},
    {"config", "no"},
    {"load-scripts", "no"},
    {"terminal", "no"},
    {"input-default-bindings", "no"},
    {"input-vo-keyboard", "no"},
    {"osc", "no"},
    {"ytdl", "no"},
    {"idle", "yes"},
    {"force-window", "no"},
    {"keep-open", "always"},
    {"loop-file", "no"},
    // A short clip on a local disk needs no more than a few seconds of packets ahead, and none
    // behind (nothing seeks back); fewer frames are held between decoder and output.
    {"demuxer-max-bytes", "16MiB"},
    {"demuxer-max-back-bytes", "0"},
    {"video-latency-hacks", "yes"},
    {"pause", "yes"},
    {"mute", "yes"},
    {"aid", "no"},
    {"sid", "no"},
    {"audio-display", "no"},
    {"audio-file-auto", "no"},
    {"sub-auto", "no"},
    {"resume-playback", "no"},
    {"save-position-on-quit", "no"},
    {"stop-screensaver", "no"},
    // The sound servers and ALSA, else a silent output that still clocks playback.
    {"ao", "pipewire,pulse,alsa,null"},
};

// Drawing for a surface. In memory, mpv's software renderer uses the fast scaler (zimg's exact
// one costs several times more and its "bgr0" output leaves alpha at 0); OpenGL ignores those.
// The surface's geometry decides the aspect, so mpv fills whatever size it is given.
constexpr OptionSetting kSurfaceOptions[] = {
    {"vo", "libmpv"},
    {"sws-allow-zimg", "no"},
    {"sws-fast", "yes"},
    {"keepaspect", "no"},
};

// Hardware decoding is tried only where a GPU device node exists: elsewhere mpv would probe
// (and log the failure of) every decoder API at each file.
bool hardwareDecodingAvailable() {
    static const bool available = [] {
        const QDir dri(QStringLiteral("/dev/dri"));
        return !dri.entryList({QStringLiteral("renderD*")}, QDir::System).isEmpty() ||
               QFileInfo::exists(QStringLiteral("/dev/nvidiactl"));
    }();
    return available;
}

// A renderer of the process's drawing path. Made right after mpv_initialize, before anything is
// loaded: a load without a render context fails ("No render context set").
std::unique_ptr<VideoRenderer> createRenderer(const MpvHandle& mpv) {
    if (VideoRenderer::path() == VideoRenderer::Path::OpenGL)
        return std::make_unique<MpvGlRenderer>(mpv);
    return std::make_unique<MpvSoftwareRenderer>(mpv);
}

} // namespace

MpvPlayer::MpvPlayer(QObject* parent)
    : MpvPlayer(VideoOutput::None, parent) {
}

MpvPlayer::MpvPlayer(VideoOutput output, QObject* parent)
    : Player(parent)
    , m_videoOutput(output) {
    m_boundaryTimer.setSingleShot(true);
    m_boundaryTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_boundaryTimer, &QTimer::timeout, this, &MpvPlayer::checkBoundaries);

    auto handle = std::make_unique<MpvHandle>();
    if (!handle->isValid()) {
        qCCritical(lcPlayback, "Cannot create an mpv player");
        return;
    }
    mpv_handle* mpv = handle->get();
    for (const OptionSetting& option : kOptions) {
        const int rc = mpv_set_option_string(mpv, option.name, option.value);
        if (rc < 0) {
            qCWarning(lcMpv, "mpv option %s=%s: %s", option.name, option.value,
                      mpv_error_string(rc));
        }
    }
    if (output == VideoOutput::Surface) {
        for (const OptionSetting& option : kSurfaceOptions)
            mpv_set_option_string(mpv, option.name, option.value);
    }
    // Each decoding thread holds frames of its own, and a background shares the machine with
    // the user's work: half the cores, at most four, decode.
    const QByteArray decoderThreads =
        QByteArray::number(std::clamp(QThread::idealThreadCount() / 2, 1, 4));
    mpv_set_option_string(mpv, "vd-lavc-threads", decoderThreads.constData());
    // Frames drawn in memory would have to be copied back from a decoder's GPU memory; OpenGL
    // takes them where they are.
    const bool hardwareDecoding =
        (output == VideoOutput::None || VideoRenderer::path() == VideoRenderer::Path::OpenGL) &&
        hardwareDecodingAvailable();
    mpv_set_option_string(mpv, "hwdec", hardwareDecoding ? "auto-safe" : "no");
    // Without hardware decoding, OpenGL needs none of the decoders' interop (probing it loads
    // and complains about every GPU vendor's library).
    if (!hardwareDecoding)
        mpv_set_option_string(mpv, "gpu-hwdec-interop", "no");
    if (mpv_initialize(mpv) < 0) {
        qCCritical(lcPlayback, "Cannot start an mpv player");
        return;
    }
    m_mpv = std::move(handle);
    if (output == VideoOutput::Surface) {
        m_renderer = createRenderer(*m_mpv);
        mpv_observe_property(mpv, kDisplayWidth, "dwidth", MPV_FORMAT_INT64);
        mpv_observe_property(mpv, kDisplayHeight, "dheight", MPV_FORMAT_INT64);
    }
    mpv_request_log_messages(mpv, "warn");
    mpv_observe_property(mpv, kEofReached, "eof-reached", MPV_FORMAT_FLAG);
    // Called on mpv's threads: only queue one drain at a time onto the event loop.
    mpv_set_wakeup_callback(
        mpv,
        [](void* context) {
            auto* player = static_cast<MpvPlayer*>(context);
            if (!player->m_drainQueued.exchange(true)) {
                QMetaObject::invokeMethod(player, &MpvPlayer::drainEvents, Qt::QueuedConnection);
            }
        },
        this);
}

MpvPlayer::~MpvPlayer() {
    // Before any member goes: no drain is queued onto a player being destroyed.
    if (m_mpv)
        mpv_set_wakeup_callback(m_mpv->get(), nullptr, nullptr);
}

quint64 MpvPlayer::load(const QUrl& url) {
    m_item = ++m_lastItem;
    m_url = url;
    m_status = Status::Loading;
    m_error.clear();
    m_atEnd = false;
    m_released = false;
    m_entryId = -1;
    // Loaded paused: the manager starts the item when it switches to it.
    setRate(0.0);
    if (!m_mpv) {
        fail(QStringLiteral("The player could not be started."));
        return m_item;
    }
    const QByteArray target =
        url.isLocalFile() ? LocalPath::toBytes(url.toLocalFile()) : url.toEncoded();
    const char* args[] = {"loadfile", target.constData(), "replace", nullptr};
    MpvNode result;
    const int rc = mpv_command_ret(m_mpv->get(), args, result.out());
    if (rc < 0) {
        fail(QString::fromUtf8(mpv_error_string(rc)));
        return m_item;
    }
    m_entryId = result.mapInt64("playlist_entry_id").value_or(-1);
    updateTimers();
    return m_item;
}

void MpvPlayer::empty() {
    m_item = 0;
    m_url.clear();
    m_status = Status::Empty;
    m_error.clear();
    m_atEnd = false;
    m_released = false;
    m_entryId = -1;
    unload();
}

void MpvPlayer::releaseVideo() {
    if (m_released || m_status != Status::ReadyToPlay || !m_atEnd)
        return;
    m_releasedDuration = duration();
    m_releasedTime = currentTime();
    m_released = true;
    unload();
}

void MpvPlayer::unload() {
    // The file goes with its demuxer, decoder and queued frames; with nothing loaded, mpv
    // closes its video output too.
    if (m_mpv) {
        const char* args[] = {"stop", nullptr};
        mpv_command(m_mpv->get(), args);
    }
    updateTimers();
}

Player::Duration MpvPlayer::duration() const {
    Duration result;
    if (m_released)
        return m_releasedDuration;
    if (!m_mpv || m_status != Status::ReadyToPlay)
        return result;
    double seconds = 0.0;
    if (mpv_get_property(m_mpv->get(), "duration", MPV_FORMAT_DOUBLE, &seconds) >= 0 &&
        std::isfinite(seconds)) {
        result.kind = Duration::Kind::Numeric;
        result.seconds = seconds;
        return result;
    }
    // A source that cannot be seeked and has no length is a stream without an end.
    int seekable = 1;
    if (mpv_get_property(m_mpv->get(), "seekable", MPV_FORMAT_FLAG, &seekable) >= 0 && !seekable)
        result.kind = Duration::Kind::Indefinite;
    return result;
}

double MpvPlayer::currentTime() const {
    double seconds = 0.0;
    if (m_released)
        return m_releasedTime;
    if (!m_mpv || m_status != Status::ReadyToPlay ||
        mpv_get_property(m_mpv->get(), "time-pos", MPV_FORMAT_DOUBLE, &seconds) < 0 ||
        !std::isfinite(seconds))
        return 0.0;
    return seconds;
}

double MpvPlayer::effectiveRate() const {
    int paused = 1;
    double speed = 1.0;
    if (!m_mpv || mpv_get_property(m_mpv->get(), "pause", MPV_FORMAT_FLAG, &paused) < 0)
        return 0.0;
    mpv_get_property(m_mpv->get(), "speed", MPV_FORMAT_DOUBLE, &speed);
    return paused ? 0.0 : speed;
}

QString MpvPlayer::mpvProperty(const char* name) const {
    if (!m_mpv)
        return {};
    char* value = mpv_get_property_string(m_mpv->get(), name);
    const QString text = QString::fromUtf8(value ? value : "");
    mpv_free(value);
    return text;
}

void MpvPlayer::setRate(double rate) {
    if (!std::isfinite(rate) || rate < 0.0)
        rate = 0.0;
    const bool changed = rate != m_rate;
    m_rate = rate;
    if (m_mpv) {
        if (rate > 0.0) {
            mpv_set_property(m_mpv->get(), "speed", MPV_FORMAT_DOUBLE, &rate);
            setFlag("pause", false);
        } else {
            setFlag("pause", true);
        }
    }
    updateTimers();
    if (changed)
        Q_EMIT rateChanged(m_rate);
}

void MpvPlayer::setVolume(double volume) {
    m_volume = std::clamp(std::isfinite(volume) ? volume : 0.0, 0.0, 1.0);
    if (m_mpv) {
        double percent = m_volume * 100.0;
        mpv_set_property(m_mpv->get(), "volume", MPV_FORMAT_DOUBLE, &percent);
    }
}

void MpvPlayer::setMuted(bool muted) {
    if (muted == m_muted)
        return;
    m_muted = muted;
    setFlag("mute", muted);
    // Without an audio track no audio device is held open while muted; the track comes back
    // (and the device opens) only when the user turns the sound on.
    setString("aid", muted ? "no" : "auto");
}

// Only recorded: mpv's stop-screensaver stays off (see kOptions).
void MpvPlayer::setPreventsDisplaySleep(bool prevents) {
    m_preventsDisplaySleep = prevents;
}

Player::ObserverId MpvPlayer::addPeriodicTimeObserver(double interval,
                                                      std::function<void(double)> callback) {
    const ObserverId id = m_nextObserver++;
    auto observer = std::make_shared<TimeObserver>();
    observer->periodic = true;
    observer->periodicCallback = std::move(callback);
    observer->timer = std::make_unique<QTimer>();
    observer->timer->setInterval(std::max(1, int(std::lround(interval * 1000.0))));
    std::weak_ptr<TimeObserver> weak = observer;
    connect(observer->timer.get(), &QTimer::timeout, this, [this, weak] {
        if (const auto alive = weak.lock())
            alive->periodicCallback(currentTime());
    });
    m_observers.insert(id, observer);
    updateTimers();
    return id;
}

Player::ObserverId MpvPlayer::addBoundaryTimeObserver(double time, std::function<void()> callback) {
    const ObserverId id = m_nextObserver++;
    auto observer = std::make_shared<TimeObserver>();
    observer->time = time;
    observer->boundaryCallback = std::move(callback);
    m_observers.insert(id, observer);
    updateTimers();
    return id;
}

void MpvPlayer::removeTimeObserver(ObserverId id) {
    m_observers.remove(id);
    updateTimers();
}

bool MpvPlayer::isRunning() const {
    return m_status == Status::ReadyToPlay && m_rate > 0.0 && !m_atEnd;
}

void MpvPlayer::updateTimers() {
    const bool running = isRunning();
    for (const auto& observer : std::as_const(m_observers)) {
        if (!observer->periodic)
            continue;
        if (running && !observer->timer->isActive())
            observer->timer->start();
        else if (!running)
            observer->timer->stop();
    }
    m_boundaryTimer.stop();
    if (!running)
        return;
    double next = std::numeric_limits<double>::infinity();
    for (const auto& observer : std::as_const(m_observers)) {
        if (!observer->periodic && !observer->fired)
            next = std::min(next, observer->time);
    }
    if (!std::isfinite(next))
        return;
    const double wait = (next - currentTime()) / m_rate;
    m_boundaryTimer.start(std::max(0, int(std::ceil(wait * 1000.0))));
}

void MpvPlayer::checkBoundaries() {
    if (m_status != Status::ReadyToPlay)
        return;
    // At the end every boundary up to the end has been passed.
    double position = currentTime() + kBoundarySlack;
    if (m_atEnd) {
        const Duration length = duration();
        position = length.isUsable() ? length.seconds + kBoundarySlack
                                     : std::numeric_limits<double>::infinity();
    }
    QList<std::shared_ptr<TimeObserver>> due;
    for (const auto& observer : std::as_const(m_observers)) {
        if (!observer->periodic && !observer->fired && observer->time <= position) {
            observer->fired = true;
            due.append(observer);
        }
    }
    // A callback may remove observers or load another item; the list above keeps each alive.
    const quint64 item = m_item;
    for (const auto& observer : std::as_const(due)) {
        if (m_item != item)
            break;
        observer->boundaryCallback();
    }
    if (m_item == item && !m_atEnd && !due.isEmpty())
        updateTimers();
    else if (due.isEmpty() && isRunning()) {
        // Woken early (the position moves by frames): look again a little later.
        m_boundaryTimer.start(10);
    }
}

void MpvPlayer::drainEvents() {
    m_drainQueued = false;
    if (!m_mpv)
        return;
    QPointer<MpvPlayer> self(this);
    for (;;) {
        const mpv_event* event = mpv_wait_event(m_mpv->get(), 0);
        if (event->event_id == MPV_EVENT_NONE)
            break;
        handleEvent(*event);
        if (!self)
            return;
    }
}

void MpvPlayer::handleEvent(const mpv_event& event) {
    switch (event.event_id) {
    case MPV_EVENT_START_FILE:
        m_startedEntry = static_cast<const mpv_event_start_file*>(event.data)->playlist_entry_id;
        break;
    case MPV_EVENT_PLAYBACK_RESTART:
        // The first frame of a newly loaded item is decoded: it is ready. Later restarts are
        // seeks, after which the boundaries are measured again.
        if (m_startedEntry == m_entryId && m_status == Status::Loading)
            becomeReady();
        else
            updateTimers();
        break;
    case MPV_EVENT_END_FILE: {
        const auto* end = static_cast<const mpv_event_end_file*>(event.data);
        if (end->playlist_entry_id != m_entryId)
            break;
        if (m_released) {
            // mpv has let go of the released item. The allocator would keep what its decoder
            // and frames held for later; it goes back to the system instead.
            malloc_trim(0);
            break;
        }
        if (end->reason == MPV_END_FILE_REASON_ERROR) {
            const QString description = QString::fromUtf8(mpv_error_string(end->error));
            if (m_status == Status::Loading) {
                fail(description);
            } else if (m_status == Status::ReadyToPlay) {
                m_atEnd = true;
                updateTimers();
                Q_EMIT failedToPlayToEnd(m_item, description);
            }
        } else if (end->reason == MPV_END_FILE_REASON_EOF) {
            // Only a file that ends before its first frame gets here (others are kept open).
            if (m_status == Status::Loading)
                fail(QStringLiteral("The file contains no playable frames."));
            else
                reachEnd();
        }
        break;
    }
    case MPV_EVENT_PROPERTY_CHANGE: {
        const auto* property = static_cast<const mpv_event_property*>(event.data);
        if ((event.reply_userdata == kDisplayWidth || event.reply_userdata == kDisplayHeight) &&
            property->format == MPV_FORMAT_INT64) {
            const int value = int(*static_cast<const int64_t*>(property->data));
            QSize size = m_videoSize;
            if (event.reply_userdata == kDisplayWidth)
                size.setWidth(value);
            else
                size.setHeight(value);
            if (size != m_videoSize) {
                m_videoSize = size;
                Q_EMIT videoSizeChanged(size);
            }
            break;
        }
        if (event.reply_userdata == kEofReached && property->format == MPV_FORMAT_FLAG &&
            *static_cast<const int*>(property->data) && m_status == Status::ReadyToPlay &&
            m_startedEntry == m_entryId)
            reachEnd();
        break;
    }
    case MPV_EVENT_LOG_MESSAGE: {
        const auto* message = static_cast<const mpv_event_log_message*>(event.data);
        qCWarning(lcMpv, "%s: %s", message->prefix,
                  QByteArray(message->text).trimmed().constData());
        break;
    }
    default:
        break;
    }
}

void MpvPlayer::becomeReady() {
    m_status = Status::ReadyToPlay;
    updateTimers();
    Q_EMIT statusChanged(m_item, m_status);
}

void MpvPlayer::fail(const QString& description) {
    m_status = Status::Failed;
    m_error = description;
    const quint64 item = m_item;
    // Reported from the event loop, as a load that fails later would be.
    QMetaObject::invokeMethod(
        this,
        [this, item] {
            if (m_item == item && m_status == Status::Failed)
                Q_EMIT statusChanged(item, Status::Failed);
        },
        Qt::QueuedConnection);
}

void MpvPlayer::reachEnd() {
    if (m_atEnd)
        return;
    const quint64 item = m_item;
    m_atEnd = true;
    // Boundaries not met yet (the last frames went by between two checks) are met now.
    checkBoundaries();
    if (m_item != item)
        return;
    updateTimers();
    Q_EMIT didPlayToEnd(item);
}

void MpvPlayer::setFlag(const char* name, bool value) {
    if (!m_mpv)
        return;
    int flag = value ? 1 : 0;
    mpv_set_property(m_mpv->get(), name, MPV_FORMAT_FLAG, &flag);
}

void MpvPlayer::setString(const char* name, const char* value) {
    if (m_mpv)
        mpv_set_property_string(m_mpv->get(), name, value);
}
