#pragma once

#include "system/CoverageSource.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QRect>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

// Tells which screens the user's windows hide: a screen is covered when a fullscreen or
// maximized window lies over it, or when the windows together hide at least 95 % of its visible
// area, counting only windows shown on the current workspace. A changing window is looked at
// again only once it has kept still a moment, so a window being dragged settles nothing.
class CoverageMonitor : public QObject {
    Q_OBJECT
    // Whether this desktop lets the program tell covered screens at all, and if not, why.
    Q_PROPERTY(bool canTell READ canTell NOTIFY canTellChanged)
    Q_PROPERTY(QString unavailableReason READ unavailableReason NOTIFY canTellChanged)

public:
    // What one player shows on: each area is a screen's visible part in the X server's pixels.
    // The target counts as covered only when every one of its areas is.
    struct Target {
        QString id;
        QList<QRect> areas;
    };

    static constexpr int kSettleMs = 200;

    explicit CoverageMonitor(std::unique_ptr<CoverageSource> source, QObject* parent = nullptr);
    ~CoverageMonitor() override;

    // Whether the windows hide the area (the rule above).
    static bool isCovered(const QRect& area, const CoverageSource::Snapshot& snapshot);

    // Replaces the targets and looks at them at once; a target kept by its id keeps its state.
    void setTargets(const QList<Target>& targets);
    // Off, nothing is watched and nothing counts as covered.
    void setEnabled(bool enabled);
    bool isEnabled() const { return m_enabled; }

    bool isCovered(const QString& id) const { return m_covered.value(id, false); }
    bool canTell() const { return m_canTell; }
    QString unavailableReason() const { return m_unavailableReason; }

Q_SIGNALS:
    void coverageChanged(const QString& id, bool covered);
    void canTellChanged();

private:
    void evaluate();
    // The source's windows now, noting whether it could tell.
    std::optional<CoverageSource::Snapshot> look();
    void setCovered(const QString& id, bool covered);
    void setCanTell(bool canTell, const QString& reason);

    std::unique_ptr<CoverageSource> m_source;
    QList<Target> m_targets;
    QHash<QString, bool> m_covered;
    QTimer m_settle;
    bool m_enabled = false;
    // Whether the source was asked at all since the monitor was made.
    bool m_hasLooked = false;
    bool m_canTell = false;
    QString m_unavailableReason;
};
