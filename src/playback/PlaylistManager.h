#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <optional>

// The play queue of one player manager: the videos one screen (or, in synchronized mode, all
// screens) plays and the position in it. The queue comes from the named playlist assigned to
// the screen, else from the screen's own items; shuffle and loop are read live from there.
class PlaylistManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QList<QUrl> videoURLs READ videoURLs NOTIFY videoURLsChanged)

public:
    explicit PlaylistManager(const QString& screenId, QObject* parent = nullptr);

    QString screenId() const { return m_screenId; }
    const QList<QUrl>& videoURLs() const { return m_videoURLs; }
    void setVideoURLs(const QList<QUrl>& urls);
    qsizetype currentIndex() const { return m_currentIndex; }
    void setCurrentIndex(qsizetype index) { m_currentIndex = index; }
    bool isUsingNamedPlaylist() const { return m_isUsingNamedPlaylist; }
    void setUsingNamedPlaylist(bool value) { m_isUsingNamedPlaylist = value; }

    // The assigned playlist's switches when one is assigned, else the screen's own.
    bool shuffleEnabled() const;
    bool loopEnabled() const;

    // Rebuilds the queue: from the assigned playlist (urls unused), else from the folder scan
    // merged into the screen's items.
    void setVideos(const QList<QUrl>& urls);
    std::optional<QUrl> nextVideo(qsizetype after);
    std::optional<QUrl> previousVideo(qsizetype before);

    // A uniformly random permutation in place (Fisher–Yates, front to back).
    static void shuffle(QList<QUrl>& urls);

Q_SIGNALS:
    void videoURLsChanged();

private:
    QString m_screenId;
    QList<QUrl> m_videoURLs;
    qsizetype m_currentIndex = -1;
    bool m_isUsingNamedPlaylist = false;
};
