#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <memory>

class QJSEngine;
class QQmlApplicationEngine;
class QQmlEngine;
class QQuickWindow;

// The quick-controls panel: a small strip near the top of the primary screen with previous,
// play/pause, next, what plays and a close button. Made on first showing, then only shown and
// hidden. It floats above the other windows on every workspace, stays out of the task bar and
// never takes the keyboard from the user's application.
class QuickControlsWindowController : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(QuickControls)
    QML_SINGLETON
    Q_PROPERTY(bool isVisible READ isVisible NOTIFY isVisibleChanged)

public:
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 50;
    // Between the top of the screen's available area and the panel.
    static constexpr int kTopOffset = 40;

    static QuickControlsWindowController& shared();
    static QuickControlsWindowController* create(QQmlEngine* engine, QJSEngine* scriptEngine);
    ~QuickControlsWindowController() override;

    bool isVisible() const { return m_isVisible; }
    // The panel once made; null before.
    QQuickWindow* panel() const;

    Q_INVOKABLE void toggle();
    // The panel's own close button.
    Q_INVOKABLE void hide();
    // Takes the panel down; the next showing makes it anew.
    void releasePanel();

Q_SIGNALS:
    void isVisibleChanged();

private:
    QuickControlsWindowController() = default;
    void show();
    void createPanel();
    void setVisible(bool visible);

    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QQuickWindow> m_panel;
    bool m_isVisible = false;
};
