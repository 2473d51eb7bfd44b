#include "playback/SyncManager.h"

#include "core/NotificationCenter.h"
#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"
#include "playback/ScreenIdentifier.h"

#include <QCoreApplication>

namespace {

VideoPlayerManager::PlayerFactory& defaultFactory() {
    static VideoPlayerManager::PlayerFactory factory;
    return factory;
}

} // namespace

SyncManager& SyncManager::shared() {
    // Lives as long as the application object, so its players end before the process does.
    static SyncManager* instance =
        new SyncManager(Preferences::standard(), defaultFactory(), QCoreApplication::instance());
    return *instance;
}

void SyncManager::setDefaultPlayerFactory(VideoPlayerManager::PlayerFactory factory) {
    defaultFactory() = std::move(factory);
}

SyncManager::SyncManager(Preferences& preferences, VideoPlayerManager::PlayerFactory factory,
                         QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_factory(std::move(factory)) {
    m_isSyncEnabled = Settings::syncDisplays.read(m_preferences);
    if (m_isSyncEnabled)
        createSharedPlayerManager();
}

SyncManager::~SyncManager() {
    delete m_sharedPlayerManager;
}

void SyncManager::setSyncEnabled(bool enabled) {
    const bool old = m_isSyncEnabled;
    m_isSyncEnabled = enabled;
    Settings::syncDisplays.write(m_preferences, enabled);
    if (enabled == old)
        return;
    if (enabled) {
        if (!m_sharedPlayerManager)
            createSharedPlayerManager();
    } else if (m_sharedPlayerManager) {
        m_sharedPlayerManager->stop();
        // Windows still hold it until they are rebuilt on the notification below.
        m_sharedPlayerManager->deleteLater();
        m_sharedPlayerManager = nullptr;
    }
    Q_EMIT syncModeDidChange();
    Q_EMIT NotificationCenter::instance().syncModeDidChange();
}

VideoPlayerManager* SyncManager::sharedPlayerManager(bool createIfNeeded) {
    if (!m_isSyncEnabled)
        return nullptr;
    if (!m_sharedPlayerManager && createIfNeeded)
        createSharedPlayerManager();
    return m_sharedPlayerManager;
}

void SyncManager::createSharedPlayerManager() {
    m_sharedPlayerManager = new VideoPlayerManager(ScreenIdentifier::sharedIdentifier(),
                                                   m_preferences, m_factory, this);
}
