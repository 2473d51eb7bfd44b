#pragma once

#include "system/UpdateController.h"
#include "ui/DisplayListModel.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <functional>

class HotkeyManager;
class LaunchAtLoginManager;
class QJSEngine;
class QQmlEngine;
class ScheduleManager;
class ThumbnailCache;

// What the settings window's pages read from the running program and the commands they call.
// The application controller lives above this layer, so it is held as a plain object: its
// published values are read through its properties ("isPlaying", "displayList"), its commands
// called by name. Without a controller the pages show an empty program and the commands do
// nothing.
class SettingsContext : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(DisplayListModel* displays READ displays CONSTANT)
    // The shared manager in synchronized mode, else the first screen's; null without one.
    Q_PROPERTY(QObject* primaryPlayerManager READ primaryPlayerManager NOTIFY displaysChanged)
    // The update checker the window's menu offers; null where the program has none.
    Q_PROPERTY(UpdateController* updates READ updates NOTIFY updatesChanged)

public:
    // The process-wide parts the Advanced page works on, as the program names them at start-up.
    // A part left null is its shared instance.
    struct SystemParts {
        ScheduleManager* schedule = nullptr;
        HotkeyManager* hotkeys = nullptr;
        LaunchAtLoginManager* launchAtLogin = nullptr;
        ThumbnailCache* thumbnails = nullptr;
        // Builds the support report; without it the report is empty.
        std::function<QString()> supportReport;
    };

    static SettingsContext& shared();
    static SettingsContext* create(QQmlEngine* engine, QJSEngine* scriptEngine);

    // The controller whose values and commands the pages use; null detaches.
    void setController(QObject* controller);
    QObject* controller() const { return m_controller; }

    bool isPlaying() const;
    DisplayListModel* displays() const { return m_displays; }
    QObject* primaryPlayerManager() const;
    UpdateController* updates() const { return m_updates; }
    void setUpdateController(UpdateController* updates);

    void setSystemParts(SystemParts parts) { m_parts = std::move(parts); }
    ScheduleManager& schedule() const;
    HotkeyManager& hotkeys() const;
    LaunchAtLoginManager& launchAtLogin() const;
    ThumbnailCache& thumbnails() const;
    QString supportReport() const;

    Q_INVOKABLE void togglePlayPause();
    Q_INVOKABLE void previousVideo();
    Q_INVOKABLE void nextVideo();
    Q_INVOKABLE void reloadAllPlaylists();

Q_SIGNALS:
    void isPlayingChanged();
    void displaysChanged();
    void updatesChanged();

private Q_SLOTS:
    void refreshDisplays();

private:
    explicit SettingsContext(QObject* parent = nullptr);
    void call(const char* command);

    QPointer<QObject> m_controller;
    DisplayListModel* m_displays = nullptr;
    QPointer<UpdateController> m_updates;
    SystemParts m_parts;
};
