#pragma once

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <QString>

namespace testutil {

// A sway compositor with a headless output and no XWayland: a Wayland session to start
// programs in. sway refuses to run as root, so under root it runs as "nobody".
class HeadlessSway {
public:
    // More configuration lines (window rules) may follow the defaults.
    explicit HeadlessSway(const QByteArray& extraConfig = {});
    ~HeadlessSway();
    HeadlessSway(const HeadlessSway&) = delete;
    HeadlessSway& operator=(const HeadlessSway&) = delete;

    // Empty until the compositor takes clients; the log says why.
    QString waylandDisplay() const { return m_waylandDisplay; }
    QByteArray log();
    // swaymsg's view of every window, as JSON.
    QByteArray tree() const;
    // Runs a sway command ("create_output"); false when sway refuses it.
    bool command(const QString& command) const;
    // What one output (its name, "HEADLESS-1") shows, taken with grim; null on failure.
    QImage screenshot(const QString& output) const;

private:
    QString m_runtimeDir;
    QString m_waylandDisplay;
    QString m_ipcSocket;
    QProcess m_sway;
};

} // namespace testutil
