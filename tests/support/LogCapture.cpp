#include "support/LogCapture.h"

#include <QMutexLocker>
#include <QStringList>

#include <algorithm>

namespace {
LogCapture* g_current = nullptr;
QtMessageHandler g_previous = nullptr;
} // namespace

LogCapture::LogCapture()
    : m_outer(g_current) {
    g_current = this;
    m_previous = qInstallMessageHandler(&LogCapture::handler);
    if (!m_outer)
        g_previous = m_previous;
}

LogCapture::~LogCapture() {
    g_current = m_outer;
    qInstallMessageHandler(m_previous);
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context,
                         const QString& message) {
    const QString category = QString::fromUtf8(context.category ? context.category : "default");
    for (LogCapture* capture = g_current; capture; capture = capture->m_outer) {
        QMutexLocker locker(&capture->m_mutex);
        capture->m_entries.append({type, category, message});
    }
    if (g_previous)
        g_previous(type, context, message);
}

QList<LogCapture::Entry> LogCapture::entries() const {
    QMutexLocker locker(&m_mutex);
    return m_entries;
}

QStringList LogCapture::messages(const QString& category) const {
    QMutexLocker locker(&m_mutex);
    QStringList result;
    for (const Entry& entry : m_entries)
        if (entry.category == category)
            result.append(entry.message);
    return result;
}

bool LogCapture::contains(const QString& category, const QString& message) const {
    return count(category, message) > 0;
}

int LogCapture::count(const QString& category, const QString& message) const {
    QMutexLocker locker(&m_mutex);
    return int(std::count_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.category == category && entry.message == message;
    }));
}

void LogCapture::clear() {
    QMutexLocker locker(&m_mutex);
    m_entries.clear();
}
