#include "ui/ViewRules.h"

#include <algorithm>
#include <cmath>

ViewRules::Content ViewRules::nowPlayingContent(const QList<int>& queueCounts) {
    if (std::none_of(queueCounts.begin(), queueCounts.end(), [](int count) { return count > 0; }))
        return Content::Empty;
    return queueCounts.size() == 1 ? Content::Single : Content::Multiple;
}

QString ViewRules::formatTime(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0)
        return QStringLiteral("0:00");
    const qint64 s = qint64(seconds);
    const qint64 hours = s / 3600;
    const qint64 minutes = (s % 3600) / 60;
    const qint64 rest = s % 60;
    if (s < 3600)
        return QString::asprintf("%lld:%02lld", minutes, rest);
    return QString::asprintf("%lld:%02lld:%02lld", hours, minutes, rest);
}

double ViewRules::progress(double value, double total) {
    if (!(total > 0))
        return 0.0;
    const double ratio = value / total;
    if (!(ratio > 0))
        return 0.0;
    return std::min(ratio, 1.0);
}

QString ViewRules::playingText(int screenCount) {
    return QStringLiteral("Playing on %1 screen%2")
        .arg(screenCount)
        .arg(screenCount == 1 ? QString() : QStringLiteral("s"));
}

QString ViewRules::folderCountText(int folderCount) {
    return QStringLiteral("%1 folder%2 configured")
        .arg(folderCount)
        .arg(folderCount == 1 ? QString() : QStringLiteral("s"));
}

QString ViewRules::positionText(int currentIndex, int totalVideoCount, const QString& playlistName,
                                bool compact) {
    QStringList parts;
    if (totalVideoCount >= 1) {
        parts.append(
            compact ? QStringLiteral("%1/%2").arg(currentIndex + 1).arg(totalVideoCount)
                    : QStringLiteral("Video %1 of %2").arg(currentIndex + 1).arg(totalVideoCount));
    }
    if (!playlistName.isEmpty())
        parts.append(playlistName);
    return parts.join(QStringLiteral(" \u2022 "));
}

QString ViewRules::durationText(double seconds) {
    return QString::asprintf("%.1f s", seconds);
}

QString ViewRules::rateText(double rate) {
    return QString::asprintf("%.2fx", rate);
}

QString ViewRules::quickPositionText(int currentIndex, int totalVideoCount) {
    if (totalVideoCount < 2)
        return {};
    return QStringLiteral("%1 / %2").arg(currentIndex + 1).arg(totalVideoCount);
}

QStringList ViewRules::twoDigitNumbers(int count) {
    QStringList numbers;
    for (int i = 0; i < count; ++i)
        numbers.append(QStringLiteral("%1").arg(i, 2, 10, QLatin1Char('0')));
    return numbers;
}
