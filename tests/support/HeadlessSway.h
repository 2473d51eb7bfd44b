#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

namespace testutil {

// A sway compositor with a headless output and no XWayland: a Wayland session to start
// programs in. sway refuses to run as root, so under root it runs as "nobody".
class HeadlessSway {
public:
    HeadlessSway();
    ~HeadlessSway();
    HeadlessSway(const HeadlessSway&) = delete;
    HeadlessSway& operator=(const HeadlessSway&) = delete;

    // Empty until the compositor takes clients; the log says why.
    QString waylandDisplay() const { return m_waylandDisplay; }
    QByteArray log();
    // swaymsg's view of every window, as JSON.
    QByteArray tree() const;

private:
    QString m_runtimeDir;
    QString m_waylandDisplay;
    QString m_ipcSocket;
    QProcess m_sway;
};

} // namespace testutil
