#include "ui/SettingsContext.h"

#include "core/Logging.h"
#include "library/ThumbnailCache.h"
#include "playback/VideoPlayerManager.h"
#include "system/HotkeyManager.h"
#include "system/LaunchAtLoginManager.h"
#include "system/ScheduleManager.h"

#include <QJSEngine>
#include <QVariantMap>

SettingsContext::SettingsContext(QObject* parent)
    : QObject(parent)
    , m_displays(new DisplayListModel(this)) {
}

SettingsContext& SettingsContext::shared() {
    static SettingsContext* s_instance = new SettingsContext();
    return *s_instance;
}

SettingsContext* SettingsContext::create(QQmlEngine*, QJSEngine*) {
    SettingsContext* context = &shared();
    // Every settings window's engine shares the one instance and none may delete it.
    QJSEngine::setObjectOwnership(context, QJSEngine::CppOwnership);
    return context;
}

void SettingsContext::setController(QObject* controller) {
    if (m_controller)
        disconnect(m_controller, nullptr, this, nullptr);
    m_controller = controller;
    if (controller) {
        // String connections: the controller's type is not known to this layer.
        connect(controller, SIGNAL(isPlayingChanged(bool)), this, SIGNAL(isPlayingChanged()));
        connect(controller, SIGNAL(displaysChanged()), this, SLOT(refreshDisplays()));
    }
    refreshDisplays();
    Q_EMIT isPlayingChanged();
}

void SettingsContext::setUpdateController(UpdateController* updates) {
    m_updates = updates;
    Q_EMIT updatesChanged();
}

QObject* SettingsContext::primaryPlayerManager() const {
    return m_controller ? m_controller->property("primaryPlayerManager").value<QObject*>()
                        : nullptr;
}

ScheduleManager& SettingsContext::schedule() const {
    return m_parts.schedule ? *m_parts.schedule : ScheduleManager::shared();
}

HotkeyManager& SettingsContext::hotkeys() const {
    return m_parts.hotkeys ? *m_parts.hotkeys : HotkeyManager::shared();
}

LaunchAtLoginManager& SettingsContext::launchAtLogin() const {
    return m_parts.launchAtLogin ? *m_parts.launchAtLogin : LaunchAtLoginManager::shared();
}

ThumbnailCache& SettingsContext::thumbnails() const {
    return m_parts.thumbnails ? *m_parts.thumbnails : ThumbnailCache::shared();
}

QString SettingsContext::supportReport() const {
    return m_parts.supportReport ? m_parts.supportReport() : QString();
}

bool SettingsContext::isPlaying() const {
    return m_controller && m_controller->property("isPlaying").toBool();
}

void SettingsContext::togglePlayPause() {
    call("togglePlayPause");
}

void SettingsContext::previousVideo() {
    call("previousVideo");
}

void SettingsContext::nextVideo() {
    call("nextVideo");
}

void SettingsContext::reloadAllPlaylists() {
    call("reloadAllPlaylists");
}

void SettingsContext::call(const char* command) {
    if (m_controller && !QMetaObject::invokeMethod(m_controller, command))
        qCWarning(lcApp, "The controller has no command %s", command);
}

void SettingsContext::refreshDisplays() {
    QList<DisplayListModel::Entry> entries;
    if (m_controller) {
        const QVariantList list = m_controller->property("displayList").toList();
        for (const QVariant& item : list) {
            const QVariantMap map = item.toMap();
            entries.append({map.value(QStringLiteral("screenName")).toString(),
                            qobject_cast<VideoPlayerManager*>(
                                map.value(QStringLiteral("manager")).value<QObject*>())});
        }
    }
    m_displays->setEntries(entries);
    Q_EMIT displaysChanged();
}
