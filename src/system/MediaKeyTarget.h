#pragma once

#include <QString>

#include <optional>

// What the media keys drive and what they show: the application controller's commands, whether
// it plays, and the video of its primary player manager.
class MediaKeyTarget {
public:
    // The primary player manager's published state.
    struct Video {
        // currentVideoName: the file name without extension, "No video" without one.
        QString name;
        double duration = 0.0;
        double currentTime = 0.0;
        int currentIndex = -1;
        int totalVideoCount = 0;
    };

    virtual ~MediaKeyTarget() = default;

    virtual void startAllPlayback() = 0;
    virtual void pauseAllPlayback() = 0;
    virtual void togglePlayPause() = 0;
    virtual void nextVideo() = 0;
    virtual void previousVideo() = 0;

    virtual bool isPlaying() const = 0;
    // None while there is no primary player manager.
    virtual std::optional<Video> primaryVideo() const = 0;
};
