#include "system/CoverageMonitor.h"

#include "core/Logging.h"

#include <QRegion>

namespace {

// Of a covered screen, at most this share may still show (in hundredths).
constexpr qint64 kCoveredPercent = 95;

qint64 areaOf(const QRegion& region) {
    qint64 total = 0;
    for (const QRect& rect : region)
        total += qint64(rect.width()) * rect.height();
    return total;
}

} // namespace

CoverageMonitor::CoverageMonitor(std::unique_ptr<CoverageSource> source, QObject* parent)
    : QObject(parent)
    , m_source(std::move(source)) {
    m_settle.setSingleShot(true);
    m_settle.setInterval(kSettleMs);
    connect(&m_settle, &QTimer::timeout, this, &CoverageMonitor::evaluate);
    // Every change starts the wait again: a window is looked at once it keeps still.
    connect(m_source.get(), &CoverageSource::changed, &m_settle, qOverload<>(&QTimer::start));
}

CoverageMonitor::~CoverageMonitor() {
    if (m_enabled)
        m_source->stop();
}

bool CoverageMonitor::isCovered(const QRect& area, const CoverageSource::Snapshot& snapshot) {
    if (area.isEmpty())
        return false;
    QRegion hidden;
    for (const CoverageSource::Window& window : snapshot.windows) {
        if (window.isHidden || (window.workspace && *window.workspace != snapshot.currentWorkspace))
            continue;
        // Such a window is meant to fill its screen, whatever gaps the window manager leaves.
        if ((window.isFullscreen || window.isMaximized) && window.frame.contains(area.center()))
            return true;
        hidden += window.frame & area;
    }
    return areaOf(hidden) * 100 >= kCoveredPercent * qint64(area.width()) * area.height();
}

void CoverageMonitor::setTargets(const QList<Target>& targets) {
    m_targets = targets;
    // Targets that went away are simply forgotten: their players went with them.
    QHash<QString, bool> kept;
    for (const Target& target : targets)
        kept.insert(target.id, m_covered.value(target.id, false));
    m_covered = kept;
    if (m_enabled)
        evaluate();
}

void CoverageMonitor::setEnabled(bool enabled) {
    if (enabled == m_enabled && m_hasLooked)
        return;
    m_hasLooked = true;
    m_enabled = enabled;
    m_source->start();
    if (enabled) {
        evaluate();
        return;
    }
    // One look, so that the settings can still say whether this desktop could tell.
    look();
    m_settle.stop();
    m_source->stop();
    for (const Target& target : std::as_const(m_targets))
        setCovered(target.id, false);
}

void CoverageMonitor::evaluate() {
    if (!m_enabled)
        return;
    const std::optional<CoverageSource::Snapshot> snapshot = look();
    for (const Target& target : std::as_const(m_targets)) {
        bool covered = snapshot.has_value() && !target.areas.isEmpty();
        for (const QRect& area : target.areas)
            covered = covered && isCovered(area, *snapshot);
        setCovered(target.id, covered);
    }
}

std::optional<CoverageSource::Snapshot> CoverageMonitor::look() {
    std::optional<CoverageSource::Snapshot> snapshot = m_source->snapshot();
    setCanTell(snapshot.has_value(), snapshot ? QString() : m_source->unavailableReason());
    return snapshot;
}

void CoverageMonitor::setCovered(const QString& id, bool covered) {
    if (m_covered.value(id, false) == covered)
        return;
    m_covered.insert(id, covered);
    Q_EMIT coverageChanged(id, covered);
}

void CoverageMonitor::setCanTell(bool canTell, const QString& reason) {
    if (canTell == m_canTell && reason == m_unavailableReason)
        return;
    m_canTell = canTell;
    m_unavailableReason = reason;
    if (!canTell)
        qCInfo(lcPlayback, "Can't tell which screens are covered: %s", qUtf8Printable(reason));
    Q_EMIT canTellChanged();
}
