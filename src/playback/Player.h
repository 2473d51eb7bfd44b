#pragma once

#include <QObject>
#include <QSize>
#include <QString>
#include <QUrl>

#include <functional>

class VideoRenderer;

// One video player as the player manager drives it: holds at most one item, loads it without
// playing, reports readiness or failure, plays at a rate (0 = paused), holds the last frame when
// the item ends, and calls back at times of the item. With a video output it draws its frames
// for the video surfaces that show it.
class Player : public QObject {
    Q_OBJECT

public:
    enum class Status { Empty, Loading, ReadyToPlay, Failed };
    Q_ENUM(Status)

    // The length of an item. A container without a length is "not numeric"; a live source that
    // has no end is "indefinite".
    struct Duration {
        enum class Kind { Numeric, NotNumeric, Indefinite } kind = Kind::NotNumeric;
        double seconds = 0.0;

        bool isUsable() const { return kind == Kind::Numeric; }
    };

    // None decodes without drawing; Surface draws, in memory or into OpenGL textures as the
    // process's render path says, for video surfaces to show.
    enum class VideoOutput { None, Surface };

    using ObserverId = int;

    using QObject::QObject;

    // A player of this program's kind (an mpv player).
    static Player* create(VideoOutput output, QObject* parent = nullptr);

    // Replaces the current item with the file at url, paused. Returns the new item's serial.
    virtual quint64 load(const QUrl& url) = 0;
    // Removes the current item; the player shows nothing.
    virtual void empty() = 0;
    // Lets go of the decoder and frames of an item that has ended and is no longer shown. The
    // item stays current, at its end, with its length; only a new load shows anything again.
    virtual void releaseVideo() = 0;

    // The serial of the current item, 0 when empty. Serials never repeat within a player.
    virtual quint64 currentItem() const = 0;
    virtual QUrl currentURL() const = 0;
    virtual Status status() const = 0;
    virtual QString errorDescription() const = 0;
    virtual Duration duration() const = 0;
    // Seconds into the current item.
    virtual double currentTime() const = 0;
    virtual bool isAtEnd() const = 0;

    // 0 pauses; any other value plays at that speed.
    virtual void setRate(double rate) = 0;
    virtual double rate() const = 0;
    void pause() { setRate(0.0); }
    // 0.0 to 1.0.
    virtual void setVolume(double volume) = 0;
    virtual double volume() const = 0;
    virtual void setMuted(bool muted) = 0;
    virtual bool isMuted() const = 0;
    virtual void setPreventsDisplaySleep(bool prevents) = 0;
    virtual bool preventsDisplaySleep() const = 0;

    // Calls back with the current time every interval seconds while the item plays.
    virtual ObserverId addPeriodicTimeObserver(double interval,
                                               std::function<void(double)> callback) = 0;
    // Calls back once when the current item's time reaches `time`.
    virtual ObserverId addBoundaryTimeObserver(double time, std::function<void()> callback) = 0;
    virtual void removeTimeObserver(ObserverId id) = 0;

    // The renderer surfaces draw from; none without the Surface output.
    virtual VideoRenderer* renderer() const = 0;
    // The current video's display size (aspect applied); empty before the first frame.
    virtual QSize videoSize() const = 0;

Q_SIGNALS:
    // The status of item `serial` changed (to ReadyToPlay or Failed).
    void statusChanged(quint64 serial, Player::Status status);
    // Item `serial` played to its end and holds its last frame.
    void didPlayToEnd(quint64 serial);
    // Item `serial` stopped playing on an error after it had become ready.
    void failedToPlayToEnd(quint64 serial, const QString& error);
    void rateChanged(double rate);
    void videoSizeChanged(QSize size);
};
