// The media controls of a Linux desktop: an MPRIS 2 player on the session bus, named
// org.mpris.MediaPlayer2.orvanta (or, while another instance holds that name,
// org.mpris.MediaPlayer2.orvanta.instance<pid>) at /org/mpris/MediaPlayer2.
//
// Enabled commands map to CanPlay, CanPause, CanGoNext and CanGoPrevious; a method whose command
// is disabled has no effect. Quit ends the program as the tray's Quit item does. The playback
// rate of the information becomes PlaybackStatus (MPRIS forbids a Rate of 0): no information is
// "Stopped". Adaptors do not announce property changes, so every change is sent here as
// PropertiesChanged with the properties that differ; Position, which moves all the time, is
// never announced (clients read it when they need it, as MPRIS has them do).

#include "system/MediaControls.h"

#include "core/NotificationCenter.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QLoggingCategory>
#include <QStringList>
#include <QVariantMap>

#include <cmath>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcMpris, "com.orvanta.mpris", QtInfoMsg)

namespace {

const QString kServiceName = QStringLiteral("org.mpris.MediaPlayer2.orvanta");
const QString kObjectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kRootInterface = QStringLiteral("org.mpris.MediaPlayer2");
const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kNoTrack = QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack");

qlonglong microseconds(double seconds) {
    return std::isfinite(seconds) ? qlonglong(std::llround(seconds * 1e6)) : 0;
}

class MprisControls;

// org.mpris.MediaPlayer2: who the player is. Raising it shows the settings window.
class RootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit)
    Q_PROPERTY(bool CanRaise READ canRaise)
    Q_PROPERTY(bool HasTrackList READ hasTrackList)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ supportedUriSchemes)
    Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes)

public:
    explicit RootAdaptor(QObject* parent)
        : QDBusAbstractAdaptor(parent) {}

    bool canQuit() const { return true; }
    bool canRaise() const { return true; }
    bool hasTrackList() const { return false; }
    QString identity() const { return QStringLiteral("Orvanta"); }
    QString desktopEntry() const { return QStringLiteral("orvanta"); }
    QStringList supportedUriSchemes() const { return {}; }
    QStringList supportedMimeTypes() const { return {}; }

public Q_SLOTS:
    void Raise() {
        QMetaObject::invokeMethod(
            &NotificationCenter::instance(),
            [] { Q_EMIT NotificationCenter::instance().settingsWindowRequested(); },
            Qt::QueuedConnection);
    }
    // After the reply has gone out.
    void Quit() {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
    }
};

// org.mpris.MediaPlayer2.Player: reads everything from the controls it belongs to.
class PlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(double MinimumRate READ rate)
    Q_PROPERTY(double MaximumRate READ rate)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(bool CanSeek READ canSeek)
    Q_PROPERTY(bool CanControl READ canControl)
    Q_PROPERTY(bool CanPlay READ canPlay)
    Q_PROPERTY(bool CanPause READ canPause)
    Q_PROPERTY(bool CanGoNext READ canGoNext)
    Q_PROPERTY(bool CanGoPrevious READ canGoPrevious)

public:
    explicit PlayerAdaptor(MprisControls* controls);

    QString playbackStatus() const;
    QVariantMap metadata() const;
    qlonglong position() const;
    // The videos play at their own speed; pausing shows in PlaybackStatus.
    double rate() const { return 1.0; }
    void setRate(double) {}
    // Sound is the preferences' business.
    double volume() const { return 1.0; }
    void setVolume(double) {}
    bool canSeek() const { return false; }
    bool canControl() const { return true; }
    bool canPlay() const;
    bool canPause() const;
    bool canGoNext() const;
    bool canGoPrevious() const;

    // The player's announced properties now, by D-Bus name.
    QVariantMap properties() const;

public Q_SLOTS:
    void Play();
    void Pause();
    void PlayPause();
    void Next();
    void Previous();
    // Stopping belongs to the application; the desktop can only pause.
    void Stop() {}
    void Seek(qlonglong) {}
    void SetPosition(const QDBusObjectPath&, qlonglong) {}
    void OpenUri(const QString&) {}

Q_SIGNALS:
    // Part of the interface; nothing here jumps within a video, so it is never sent.
    void Seeked(qlonglong Position);

private:
    MprisControls* m_controls;
};

class MprisControls : public MediaControls {
    Q_OBJECT

public:
    MprisControls()
        : m_bus(QDBusConnection::sessionBus()) {
        new RootAdaptor(this);
        m_player = new PlayerAdaptor(this);
        if (!m_bus.isConnected()) {
            qCInfo(lcMpris) << "No session bus; media keys and now-playing are not offered";
            return;
        }
        if (!m_bus.registerObject(kObjectPath, this, QDBusConnection::ExportAdaptors)) {
            qCCritical(lcMpris) << "Could not register" << kObjectPath << m_bus.lastError();
            return;
        }
        m_objectRegistered = true;
        // The name comes last, so that clients watching for it find the object in place.
        const QString instanceName =
            kServiceName + QStringLiteral(".instance") + QString::number(getpid());
        for (const QString& name : {kServiceName, instanceName}) {
            const auto reply =
                m_bus.interface()->registerService(name, QDBusConnectionInterface::DontQueueService,
                                                   QDBusConnectionInterface::DontAllowReplacement);
            if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
                m_serviceName = name;
                break;
            }
        }
        if (m_serviceName.isEmpty())
            qCCritical(lcMpris) << "Could not own" << kServiceName << m_bus.lastError();
        m_announced = m_player->properties();
    }

    ~MprisControls() override {
        if (!m_serviceName.isEmpty())
            m_bus.unregisterService(m_serviceName);
        if (m_objectRegistered)
            m_bus.unregisterObject(kObjectPath);
    }

    void deliver(Command command) { receive(command); }

protected:
    void publish() override {
        if (!m_objectRegistered)
            return;
        const QVariantMap now = m_player->properties();
        QVariantMap changed;
        for (auto it = now.cbegin(); it != now.cend(); ++it) {
            if (m_announced.value(it.key()) != it.value())
                changed.insert(it.key(), it.value());
        }
        m_announced = now;
        if (changed.isEmpty())
            return;
        QDBusMessage signal = QDBusMessage::createSignal(
            kObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("PropertiesChanged"));
        signal << kPlayerInterface << changed << QStringList();
        m_bus.send(signal);
    }

private:
    QDBusConnection m_bus;
    PlayerAdaptor* m_player = nullptr;
    bool m_objectRegistered = false;
    QString m_serviceName;
    // The player's properties as clients were last told them.
    QVariantMap m_announced;
};

PlayerAdaptor::PlayerAdaptor(MprisControls* controls)
    : QDBusAbstractAdaptor(controls)
    , m_controls(controls) {
}

QString PlayerAdaptor::playbackStatus() const {
    const std::optional<MediaControls::NowPlaying>& info = m_controls->nowPlaying();
    if (!info)
        return QStringLiteral("Stopped");
    return info->rate.value_or(0.0) > 0.0 ? QStringLiteral("Playing") : QStringLiteral("Paused");
}

QVariantMap PlayerAdaptor::metadata() const {
    const std::optional<MediaControls::NowPlaying>& info = m_controls->nowPlaying();
    if (!info)
        return {};
    QVariantMap map;
    map.insert(QStringLiteral("mpris:trackid"),
               QVariant::fromValue(QDBusObjectPath(
                   info->trackIndex ? QStringLiteral("/org/orvanta/track/%1").arg(*info->trackIndex)
                                    : kNoTrack)));
    if (info->duration)
        map.insert(QStringLiteral("mpris:length"), microseconds(*info->duration));
    if (info->title)
        map.insert(QStringLiteral("xesam:title"), *info->title);
    if (info->artist)
        map.insert(QStringLiteral("xesam:artist"), QStringList{*info->artist});
    if (info->album)
        map.insert(QStringLiteral("xesam:album"), *info->album);
    return map;
}

qlonglong PlayerAdaptor::position() const {
    return microseconds(m_controls->position());
}

bool PlayerAdaptor::canPlay() const {
    return m_controls->isCommandEnabled(MediaControls::Command::Play);
}

bool PlayerAdaptor::canPause() const {
    return m_controls->isCommandEnabled(MediaControls::Command::Pause);
}

bool PlayerAdaptor::canGoNext() const {
    return m_controls->isCommandEnabled(MediaControls::Command::NextTrack);
}

bool PlayerAdaptor::canGoPrevious() const {
    return m_controls->isCommandEnabled(MediaControls::Command::PreviousTrack);
}

QVariantMap PlayerAdaptor::properties() const {
    return {
        {QStringLiteral("PlaybackStatus"), playbackStatus()},
        {QStringLiteral("Metadata"), metadata()},
        {QStringLiteral("CanPlay"), canPlay()},
        {QStringLiteral("CanPause"), canPause()},
        {QStringLiteral("CanGoNext"), canGoNext()},
        {QStringLiteral("CanGoPrevious"), canGoPrevious()},
    };
}

void PlayerAdaptor::Play() {
    m_controls->deliver(MediaControls::Command::Play);
}

void PlayerAdaptor::Pause() {
    m_controls->deliver(MediaControls::Command::Pause);
}

void PlayerAdaptor::PlayPause() {
    m_controls->deliver(MediaControls::Command::TogglePlayPause);
}

void PlayerAdaptor::Next() {
    m_controls->deliver(MediaControls::Command::NextTrack);
}

void PlayerAdaptor::Previous() {
    m_controls->deliver(MediaControls::Command::PreviousTrack);
}

} // namespace

std::unique_ptr<MediaControls> MediaControls::createDBus() {
    return std::make_unique<MprisControls>();
}

#include "mpris_dbus.moc"
