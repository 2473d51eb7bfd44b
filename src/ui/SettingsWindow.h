#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class QQmlApplicationEngine;
class QQuickWindow;

// The settings window. At most one exists; it is built with an engine of its own when shown and
// destroyed with that engine when closed, so that its memory goes with it. The program keeps
// running without it.
class SettingsWindow : public QObject {
    Q_OBJECT

public:
    ~SettingsWindow() override;

    // Brings the window forward, building it when none is open.
    static void show();
    // Takes the open window down now, while the rest of the program's windows are still there
    // (the pictures it shares with them are let go of at once, not at their next frame).
    static void discard();
    // The open window; null when none is.
    static QQuickWindow* window();
    // Registers the program's QML module, once, before an engine first loads it.
    static void registerTypes();

private:
    SettingsWindow();
    // Marks the window for the taskbar as "applicationVisibility" asks.
    void applyVisibility();
    // Shows each pictured page from the index-th on in turn and saves it as a PNG file into
    // folder (pictures for the documentation).
    void captureEachPage(const QString& folder, int index);
    void captureQuickControls(const QString& folder);

    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QQuickWindow> m_window;

    static QPointer<SettingsWindow> s_open;
};
